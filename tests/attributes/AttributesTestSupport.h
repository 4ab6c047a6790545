#pragma once
// What the attribute panel's tests and benchmark share: an engine that records what the live
// scene is told instead of building one, its document under the document service (undo on), and
// the panel on the real schema, drawn with the headless ImGui harness.
#include "ImGuiHarness.h"

#include "attributes/AttributesEditor.h"
#include "blocks/Block.h"
#include "engine/Lumenda3DEngine.h"
#include "engine/editing/LmdSourceFiles.h"
#include "engine/scene/ScriptParser.h"

#include <memory>
#include <string>
#include <vector>

namespace Lumenda3D::test {

// The live scene as a list of what it was told.
class RecordingEngine : public Lumenda3DEngine {
public:
    struct Update {
        int xmlId;
        std::string name, value, type;
    };
    RecordingEngine() : Lumenda3DEngine("AttributesTest") {}
    bool updateLuaAttribute(int xmlId, const std::string& attribute, const std::string& value,
                            const std::string& type) override {
        updates.push_back({xmlId, attribute, value, type});
        return true;
    }
    void rebuildMaterialObject(int xmlId, bool) override { rebuilt.push_back(xmlId); }
    void updateScript(bool, std::function<void()> done, bool) override {
        ++rebuilds;
        if (done)
            done();
    }
    std::vector<Update> updates;
    std::vector<int> rebuilt;
    int rebuilds = 0;
};

// The game language of media/codeSchema.xml, loaded once.
inline ScriptParser& attributesSchemaParser() {
    static ScriptParser instance(ScriptParser::defaultSchemaPath());
    return instance;
}

// A game document in a recording engine with its document service, and the panel showing one
// element of it through a block of its own.
class AttributesScene {
public:
    AttributesScene(const std::string& xml, ImGuiHarness& harness) : ui(harness) {
        engine.setXmlSourceString(xml);
        files.attachDocument(&engine.getDocument());
        files.setHistoryEnabled(true);
        files.setOnSnapshotApplied([this](const std::string& text) { return engine.setXmlSourceString(text); });
        engine.sourceFiles = &files;
        panel->setSchema(attributesSchemaParser().getCodeSchema());
        panel->setEngine(&engine);
    }
    ~AttributesScene() {
        panel->setBlock(nullptr, false);
        if (block)
            block->clear();
        engine.sourceFiles = nullptr;
        files.attachDocument(nullptr);
    }

    pugi::xml_node element(const std::string& name) {
        return engine.getDocument().root().find_node([&](pugi::xml_node n) { return name == n.name(); });
    }
    // Shows the first element named `name` in the panel.
    void show(const std::string& name) {
        pugi::xml_node node = element(name);
        if (block)
            block->clear();
        block = std::make_shared<Block>(node.name(), ImVec4(1, 1, 1, 1), node, nullptr);
        block->init();
        panel->setBlock(block, true);
    }
    void frame() {
        ui.frame([this] { panel->draw(); });
    }
    std::string value(const std::string& element, const char* attribute) {
        return this->element(element).attribute(attribute).as_string();
    }

    ImGuiHarness& ui;
    RecordingEngine engine;
    LmdSourceFiles files;
    std::shared_ptr<AttributesEditor> panel = std::make_shared<AttributesEditor>();
    std::shared_ptr<Block> block;
};

} // namespace Lumenda3D::test
