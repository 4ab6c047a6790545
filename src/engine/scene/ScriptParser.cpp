#include "engine/scene/ScriptParser.h"

#include "base/LmdLog.h"
#include "base/LmdPaths.h"
#include "engine/scene/LmdPartialSource.h"
#include "engine/scene/LmdScene.h"
#include "engine/scene/LmdSceneFaults.h"
#include "engine/scene/LmdSceneReader.h"

#include <filesystem>

namespace Lumenda3D {
namespace {

ScriptParser* gInstance = nullptr;

pugi::xml_node rootElementOf(const pugi::xml_node& node) {
    if (node.type() != pugi::node_document)
        return node;
    return node.find_child([](const pugi::xml_node& child) { return child.type() == pugi::node_element; });
}

} // namespace

ScriptParser::ScriptParser() : ScriptParser(defaultSchemaPath()) {}

ScriptParser::ScriptParser(const std::string& schemaPath) : codeSchema(std::make_shared<CodeSchema>()) {
    load(schemaPath);
    gInstance = this;
}

ScriptParser::~ScriptParser() {
    if (gInstance == this)
        gInstance = nullptr;
}

ScriptParser* ScriptParser::getInstance() {
    return gInstance;
}

std::string ScriptParser::defaultSchemaPath() {
    return (std::filesystem::path(LmdPaths::mediaDir()) / "codeSchema.xml").string();
}

void ScriptParser::load(const std::string& schemaPath) {
    std::string error;
    if (codeSchema->load(schemaPath, &error))
        LmdLog::message("Command schema loaded from " + schemaPath);
    // A failed load has logged its reason; the scene is then built without schema defaults.
}

LmdSceneReader ScriptParser::reader(LmdSceneFaults& faults) const {
    return LmdSceneReader(codeSchema.get(), faults);
}

void ScriptParser::describe(const pugi::xml_node& root, LmdSceneDescription& out, const std::string& onlyLevel,
                            LmdSceneFaults& faults) const {
    LmdSceneReader::Options options;
    options.onlyLevel = onlyLevel;
    reader(faults).read(rootElementOf(root), out, options);
}

void ScriptParser::describeSubtree(const pugi::xml_node& node, LmdSceneDescription& out, LmdSceneFaults& faults) const {
    reader(faults).readSubtree(node, out);
}

void ScriptParser::buildScene(LmdScene& scene, const pugi::xml_node& root, const std::string& onlyLevel,
                              LmdSceneFaults& faults) const {
    LmdSceneDescription description;
    describe(root, description, onlyLevel, faults);
    scene.build(std::move(description));
}

bool ScriptParser::shouldRunPartialSource(const std::string& nameOrAttribute, const pugi::xml_node& node) const {
    LmdSceneFaults quiet;
    quiet.setLogging(false);
    return LmdPartialSource::shouldRun(nameOrAttribute, node, reader(quiet));
}

} // namespace Lumenda3D
