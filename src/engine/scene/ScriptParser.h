#pragma once
// The bridge from the game document to the scene. It holds the command schema (its first member,
// read from codeSchema.xml in the media folder) and reads documents with it: which levels exist,
// which objects, lights and 2D elements each holds, and what they look like. The engine asks it
// to build its edit scene (every level) and its play scene (one level), and to read single new
// elements for live additions (runPartialSource).
//
// getInstance() is the parser the engine made, or null before there is one; consumers also test
// that its schema is loaded.
#include <memory>
#include <string>

#include <pugixml.hpp>

#include "engine/scene/LmdSceneDescription.h"
#include "engine/schema/CodeSchema.h"

namespace Lumenda3D {

class LmdScene;
class LmdSceneFaults;
class LmdSceneReader;

class ScriptParser {
public:
    // The schema every consumer reads; empty (not loaded) when the file is missing or malformed.
    std::shared_ptr<CodeSchema> codeSchema;

    // Loads the schema from LmdPaths::mediaDir()/codeSchema.xml.
    ScriptParser();
    // Loads the schema from the given file.
    explicit ScriptParser(const std::string& schemaPath);
    ~ScriptParser();
    ScriptParser(const ScriptParser&) = delete;
    ScriptParser& operator=(const ScriptParser&) = delete;

    // The newest parser alive, or null.
    static ScriptParser* getInstance();

    CodeSchema* getCodeSchema() const { return codeSchema.get(); }
    bool hasSchema() const { return codeSchema && codeSchema->isLoaded(); }
    static std::string defaultSchemaPath();

    // Reads the document (its root element, or the XML document) into a scene description: every
    // level's contents, or only `onlyLevel`'s (and what stands outside levels).
    void describe(const pugi::xml_node& root, LmdSceneDescription& out, const std::string& onlyLevel,
                  LmdSceneFaults& faults) const;
    // Reads one element and its subtree, placed where it stands in the document.
    void describeSubtree(const pugi::xml_node& node, LmdSceneDescription& out, LmdSceneFaults& faults) const;
    // Reads and builds: the scene then holds the document's objects.
    void buildScene(LmdScene& scene, const pugi::xml_node& root, const std::string& onlyLevel,
                    LmdSceneFaults& faults) const;
    // Lumenda3DEngine::shouldRunPartialSource's decision (see LmdPartialSource).
    bool shouldRunPartialSource(const std::string& nameOrAttribute, const pugi::xml_node& node) const;
    // A reader over this parser's schema (for callers that classify elements).
    LmdSceneReader reader(LmdSceneFaults& faults) const;

private:
    void load(const std::string& schemaPath);
};

} // namespace Lumenda3D
