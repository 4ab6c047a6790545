#pragma once
// What the block tree's tests and benchmarks share: a game document with its document service
// (undo on), the workflow panel and the palette in a panel container below a stand-in for the
// tabs (the panel stands below them), and frames drawn with the headless ImGui harness.
#include "ImGuiHarness.h"

#include "blocks/Block.h"
#include "blocks/BlocksHelper.h"
#include "blocks/BlocksPalette.h"
#include "blocks/Workflow.h"
#include "engine/document/LmdGameDocument.h"
#include "engine/editing/LmdSourceFiles.h"
#include "engine/scene/ScriptParser.h"
#include "ui/AllUI.h"

#include <imgui_internal.h>

#include <functional>
#include <memory>
#include <string>

namespace Lumenda3D::test {

// Stands where the tabs are: a strip 60 pixels high across the top.
class TopStrip : public BaseUI {
public:
    TopStrip() : BaseUI("tabs") {}
    void draw() override {
        ImGui::SetNextWindowPos(ImVec2(0, 0));
        ImGui::SetNextWindowSize(ImVec2(ImGui::GetIO().DisplaySize.x, 60));
        ImGui::Begin("##topStrip", nullptr, ImGuiWindowFlags_NoDecoration | ImGuiWindowFlags_NoSavedSettings);
        calculateSize();
        ImGui::End();
    }
};

// The game language of media/codeSchema.xml, loaded once.
inline ScriptParser& schemaParser() {
    static ScriptParser instance(ScriptParser::defaultSchemaPath());
    return instance;
}

// The parser as the helper holds it, without owning it.
inline std::shared_ptr<ScriptParser> sharedSchemaParser() {
    return std::shared_ptr<ScriptParser>(&schemaParser(), [](ScriptParser*) {});
}

class BlocksScene {
public:
    explicit BlocksScene(const std::string& xml, float width = 1280.0f, float height = 800.0f)
        : ui(width, height) {
        document.setXmlSourceString(xml);
        files.attachDocument(&document);
        files.setHistoryEnabled(true);
        // Undo hands back the text; the editor reloads it, as here.
        files.setOnSnapshotApplied([this](const std::string& text) { return document.setXmlSourceString(text); });
        container->setElement("tabs", strip);
        container->setElement(Workflow::kName, workflow);
        container->setElement(BlocksPalette::kName, palette);
        workflow->setBlocksPalette(palette.get());
        workflow->setBlocksHelper(helper);
        palette->setWorkflow(workflow.get());
        helper->setWorkflow(workflow.get());
        helper->setSourceFiles(&files);
        helper->setGetSourceXmlCallback([this] { return document.getSourceXml(); });
        helper->setRegisterXmlNodeCallback([this](pugi::xml_node& node) { document.registerXmlNode(node); });
        helper->setSetXmlSourceStringCallback([this](const std::string& text) { document.setXmlSourceString(text); });
        helper->setUpdateScriptCallback([](bool, std::function<void()> done) {
            if (done)
                done();
        });
        workflow->init();
        workflow->setDocument(&files, [this] { return document.getSourceXml(); });
        frame();
        frame();
    }
    ~BlocksScene() {
        files.attachDocument(nullptr);
        Block::searchFilter.clear();
        Block::showOnlyChanges = false;
    }

    // One frame: the strip, then the palette (which draws the tree beside itself).
    void frame() {
        ui.frame([this] {
            strip->draw();
            palette->draw();
        });
    }
    void frames(int count) {
        for (int i = 0; i < count; ++i)
            frame();
    }
    std::shared_ptr<Block> block(int xmlId) const { return Block::getBlockById(xmlId); }
    // The block of the first element named `name` (document order), or null.
    std::shared_ptr<Block> blockNamed(const std::string& name) const {
        pugi::xml_node node = document.root().find_node([&](pugi::xml_node n) { return name == n.name(); });
        return node ? Block::getBlockById(node.attribute("id").as_int(-1)) : nullptr;
    }
    ImVec2 centreOf(const Block& b) const { return workflow->blockScreenCenter(b); }
    std::string text() const { return document.getSourceXmlString(false, false); }

    ImGuiHarness ui;
    LmdGameDocument document;
    LmdSourceFiles files;
    std::shared_ptr<AllUI> container = std::make_shared<AllUI>();
    std::shared_ptr<TopStrip> strip = std::make_shared<TopStrip>();
    std::shared_ptr<Workflow> workflow = std::make_shared<Workflow>();
    std::shared_ptr<BlocksPalette> palette = std::make_shared<BlocksPalette>();
    std::shared_ptr<BlocksHelper> helper = std::make_shared<BlocksHelper>();
};

} // namespace Lumenda3D::test
