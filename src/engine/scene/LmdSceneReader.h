#pragma once
// Reads a game document into an LmdSceneDescription: which levels exist, which 3D objects,
// lights and 2D elements each holds (with their attributes read through LmdNodeReader, so that
// defaults come from the schema and bad values are reported once), and the declarations they
// refer to. Logic blocks are left to the logic runtime; an element the language does not know is
// reported and its children are read as if they stood in its place, so that the rest of the game
// still loads. No window or OGRE root is needed.
#include <string>
#include <string_view>
#include <vector>

#include <pugixml.hpp>

#include "engine/scene/LmdSceneDescription.h"

namespace Lumenda3D {

class CodeSchema;
class LmdSceneFaults;

class LmdSceneReader {
public:
    // What an element is to the scene.
    enum class Role { Level, Object3D, Element2D, Declaration, Part, Logic, Unknown };

    struct Options {
        // Empty: every level's contents. Otherwise only that level's contents (and what stands
        // outside any level); all levels are still listed in `levels`.
        std::string onlyLevel;
    };

    LmdSceneReader(const CodeSchema* schema, LmdSceneFaults& faults);

    // Reads the whole document under its root element into `out` (which is cleared first).
    void read(const pugi::xml_node& root, LmdSceneDescription& out, const Options& options);
    void read(const pugi::xml_node& root, LmdSceneDescription& out) { read(root, out, Options()); }
    // Reads one element and its subtree into `out` (appending), placed where it stands in the
    // document: its level and its enclosing object come from its ancestors. A new object's
    // `parent` is -1 and `parentXmlId` names the enclosing object, which already exists.
    void readSubtree(const pugi::xml_node& node, LmdSceneDescription& out);

    // A Level element's own values (not its contents).
    LmdLevelDesc readLevelDesc(const pugi::xml_node& level);

    Role roleOf(std::string_view element) const;
    static bool objectKindOf(std::string_view element, LmdObjectKind& kind);
    static bool elementKindOf(std::string_view element, LmdElementKind& kind);

    // Levels: names in document order, the Level element of a name, and the name of the level an
    // element stands in ("" outside any level).
    static std::vector<std::string> levelNames(const pugi::xml_node& root);
    static pugi::xml_node findLevel(const pugi::xml_node& root, const std::string& name);
    static std::string levelOf(const pugi::xml_node& node);
    // The nearest ancestor that is a 3D object (or light), or an empty node.
    pugi::xml_node enclosingObject(const pugi::xml_node& node) const;
    pugi::xml_node enclosingElement2D(const pugi::xml_node& node) const;

private:
    struct Context {
        std::string level;
        int parentObject = -1;
        int parentObjectXmlId = 0;
        int parentElement = -1;
        int parentElementXmlId = 0;
        bool underRoot = false;
        bool skipLevelContents = false;
    };

    void walk(const pugi::xml_node& parent, const Context& context, LmdSceneDescription& out);
    void readNode(const pugi::xml_node& node, const Context& context, LmdSceneDescription& out);
    void readLevel(const pugi::xml_node& node, LmdSceneDescription& out);
    int readObject(const pugi::xml_node& node, LmdObjectKind kind, const Context& context, LmdSceneDescription& out);
    int readElement(const pugi::xml_node& node, LmdElementKind kind, const Context& context, LmdSceneDescription& out);
    void readDeclaration(const pugi::xml_node& node, const Context& context, LmdSceneDescription& out);
    void readModelParts(const pugi::xml_node& node, LmdObjectDesc& object);

    const CodeSchema* mSchema;
    LmdSceneFaults& mFaults;
    Options mOptions;
};

} // namespace Lumenda3D
