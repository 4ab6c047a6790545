#pragma once
// What a finished gizmo drag writes into the game document: the attributes the language uses for
// a 3D object's transform (x, y, z; rotationX/Y/Z, and orientationX/Y/Z/W when the element
// carries them; scaleX/Y/Z) or a 2D element's numbers (x, y, width, height, fontSize, radius).
// Everything goes through the document service between one beginEditGroup and endEditGroup, so
// that the drag is one undo step. Only values that changed are written, and only attributes that
// the element's command has in the schema (without a schema, or for a command it does not know,
// every attribute is written).
#include <string>
#include <utility>
#include <vector>

#include <OgreQuaternion.h>
#include <OgreVector.h>
#include <pugixml.hpp>

namespace Lumenda3D {

class CodeSchema;
class LmdSourceFiles;

class LmdGizmoCommit {
public:
    // Steps the values are rounded to before they are written (and put back on the object), so
    // that the document reads "2.35" and the scene shows what it says.
    static constexpr double kPositionStep = 0.001;
    static constexpr double kRotationStep = 0.01; // degrees
    static constexpr double kScaleStep = 0.001;
    static constexpr double kPixelStep = 1.0;

    struct Transform {
        Ogre::Vector3 position = Ogre::Vector3::ZERO;
        Ogre::Vector3 rotation = Ogre::Vector3::ZERO; // degrees, rotationX/Y/Z
        Ogre::Quaternion orientation = Ogre::Quaternion::IDENTITY;
        Ogre::Vector3 scale = Ogre::Vector3::UNIT_SCALE;
    };

    // Writes the components of `after` that differ from `before`. Returns how many attributes
    // were written (0: the document is untouched).
    static int writeTransform(LmdSourceFiles& files, const pugi::xml_node& node, const Transform& before,
                              const Transform& after, const CodeSchema* schema);
    // Writes named numbers whose text differs from what the element holds now.
    static int writeNumbers(LmdSourceFiles& files, const pugi::xml_node& node,
                            const std::vector<std::pair<std::string, float>>& values, const CodeSchema* schema);
    // Whether the element's command has that attribute (true when it cannot be told).
    static bool hasAttribute(const pugi::xml_node& node, const std::string& attribute, const CodeSchema* schema);
};

} // namespace Lumenda3D
