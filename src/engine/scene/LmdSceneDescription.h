#pragma once
// What the scene builder makes of a game document, before any OGRE object exists: levels, 3D
// objects and lights with their transforms, sizes, looks and physics, 2D elements, and the
// declarations the objects refer to by name (materials, skies, fog, sounds). LmdSceneReader fills
// it from the document (no window needed); LmdSceneBuilder turns it into scene objects.
//
// Names are scoped: a declaration directly under the root serves every level, one inside a level
// serves that level and hides a root declaration of the same name. An object's `level` is the
// name of the Level it stands in, or "" for an object outside any level (shown with every level).
#include <cstdint>
#include <string>
#include <vector>

#include <OgreQuaternion.h>
#include <OgreVector.h>
#include <pugixml.hpp>

namespace Lumenda3D {

enum class LmdObjectKind {
    Box, Sphere, Cylinder, Cone, Capsule, Plane, Model, Group, Camera,
    AmbientLight, DirectionalLight, PointLight, SpotLight
};

enum class LmdElementKind { Text, Image, Rect, Button, Joystick };

enum class LmdBodyType { None, Static, Dynamic, Kinematic };
enum class LmdShapeType { Auto, Box, Sphere, Capsule, Cylinder, Mesh };

struct LmdPhysicsDesc {
    LmdBodyType body = LmdBodyType::None;
    LmdShapeType shape = LmdShapeType::Auto;
    float mass = 1.0f;
    float friction = 0.5f;
    float restitution = 0.0f;
    float damping = 0.0f;
    bool lockRotation = false;
    bool sensor = false;
};

// One moved vertex of a model: the vertex `index` of submesh `submesh` stands at `offset` from
// the object's pivot, in the object's own (unscaled) units.
struct LmdVertexOffset {
    int submesh = 0;
    int index = 0;
    Ogre::Vector3 offset = Ogre::Vector3::ZERO;
};

struct LmdAnimationDesc {
    std::string name;
    std::string clip;
    float speed = 1.0f;
    bool loop = true;
};

struct LmdObjectDesc {
    LmdObjectKind kind = LmdObjectKind::Group;
    pugi::xml_node node;
    int xmlId = 0;
    std::string element; // the element name, e.g. "Box"
    std::string name;
    std::string level;
    int parent = -1; // index of the enclosing 3D object in LmdSceneDescription::objects, -1 for none
    int parentXmlId = 0; // node id of the enclosing 3D object, 0 for none

    // Transform, relative to the parent.
    Ogre::Vector3 position = Ogre::Vector3::ZERO;
    Ogre::Vector3 rotation = Ogre::Vector3::ZERO; // degrees, see LmdEulerHelper
    Ogre::Quaternion orientation = Ogre::Quaternion::IDENTITY; // from rotation, or orientationX/Y/Z/W
    Ogre::Vector3 scale = Ogre::Vector3::UNIT_SCALE;
    Ogre::Vector3 pivot = Ogre::Vector3::ZERO; // xAxis/yAxis/zAxis: where the shape sits from the node

    // Shape.
    Ogre::Vector3 size = Ogre::Vector3::UNIT_SCALE; // width, height, depth
    float radius = 0.5f;
    int segments = 24;

    // Looks.
    std::uint32_t color = 0xFFFFFF;
    std::string material; // the `texture` attribute: a Material's name
    bool visible = true;
    bool castShadows = true;

    LmdPhysicsDesc physics;

    // Model.
    std::string fileName;
    bool autoScale = true;
    std::string animation;
    std::vector<LmdAnimationDesc> animations;
    std::vector<LmdVertexOffset> vertices;

    // Camera.
    float fov = 60.0f;
    float nearClip = 0.1f;
    float farClip = 1000.0f;
    std::string follow;
    Ogre::Vector3 followOffset{0, 3, 8};
    float smooth = 0.1f;

    // Lights (colour is `color`).
    float intensity = 1.0f;
    Ogre::Vector3 direction{-0.5f, -1.0f, -0.5f};
    float range = 20.0f;
    float angle = 45.0f;

    bool isLight() const { return kind >= LmdObjectKind::AmbientLight; }
    bool isPrimitive() const { return kind <= LmdObjectKind::Plane; }
    // Whether the object has a shape that can be seen and picked.
    bool hasShape() const { return isPrimitive() || kind == LmdObjectKind::Model; }
};

struct LmdElementDesc {
    LmdElementKind kind = LmdElementKind::Text;
    pugi::xml_node node;
    int xmlId = 0;
    std::string element;
    std::string name;
    std::string level;
    int parent = -1; // index of the enclosing 2D element in LmdSceneDescription::elements
    int parentXmlId = 0; // node id of the enclosing 2D element, 0 for none

    float x = 0.0f, y = 0.0f;
    std::string anchor = "topLeft";
    int layer = 0;
    bool visible = true;
    float opacity = 1.0f;
    float width = 100.0f, height = 100.0f;
    std::uint32_t color = 0xFFFFFF;
    std::string text;
    int fontSize = 24;
    std::string align = "left";
    std::uint32_t textColor = 0xFFFFFF;
    std::string picture;
    float cornerRadius = 0.0f;
    float radius = 70.0f; // joystick
};

struct LmdMaterialDesc {
    pugi::xml_node node;
    int xmlId = 0;
    std::string name;
    std::string level;
    std::uint32_t color = 0xFFFFFF;
    std::string picture;
    float opacity = 1.0f;
    float shininess = 0.0f;
    bool lighting = true;
    float tileU = 1.0f, tileV = 1.0f;
    float scrollU = 0.0f, scrollV = 0.0f;
    std::string reflectionPicture;
    float reflectivity = 0.0f;
};

struct LmdSkyDesc {
    pugi::xml_node node;
    int xmlId = 0;
    std::string name;
    std::string level;
    std::string picture;
    std::uint32_t color = 0xFFFFFF;
    float distance = 5000.0f;
};

struct LmdFogDesc {
    pugi::xml_node node;
    int xmlId = 0;
    std::string name;
    std::string level;
    bool exponential = false;
    std::uint32_t color = 0xC0C8D0;
    float start = 20.0f, end = 200.0f;
    float density = 0.01f;
};

struct LmdSoundDesc {
    pugi::xml_node node;
    int xmlId = 0;
    std::string name;
    std::string level;
    std::string fileName;
    float volume = 1.0f;
    bool loop = false;
    bool autoPlay = false;
};

struct LmdLevelDesc {
    pugi::xml_node node;
    int xmlId = 0;
    std::string name;
    std::string skyBox;
    std::string fog;
    std::uint32_t backgroundColor = 0x87CEEB;
    Ogre::Vector3 gravity{0.0f, -9.81f, 0.0f};
    bool shadows = true; // the sun's shadows are drawn
};

struct LmdSceneDescription {
    std::vector<LmdLevelDesc> levels;
    std::vector<LmdObjectDesc> objects;   // parents before their children
    std::vector<LmdElementDesc> elements; // parents before their children
    std::vector<LmdMaterialDesc> materials;
    std::vector<LmdSkyDesc> skies;
    std::vector<LmdFogDesc> fogs;
    std::vector<LmdSoundDesc> sounds;

    const LmdLevelDesc* findLevel(const std::string& name) const;
    // The declaration of that name seen from `level`: the level's own first, then the root's.
    const LmdMaterialDesc* findMaterial(const std::string& name, const std::string& level) const;
    const LmdSkyDesc* findSky(const std::string& name, const std::string& level) const;
    const LmdFogDesc* findFog(const std::string& name, const std::string& level) const;
    const LmdSoundDesc* findSound(const std::string& name, const std::string& level) const;
};

} // namespace Lumenda3D
