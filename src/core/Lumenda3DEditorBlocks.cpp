// The block editor's wiring: BlocksHelper's callbacks into the engine and the document, the tree
// and the palette connected to the document service and the schema, and the gizmo's copy.
#include "core/Lumenda3DEditor.h"

#include <OgreEntity.h>

#include "assets/AssetLibraryPanel.h"
#include "attributes/AttributesEditor.h"
#include "blocks/Block.h"
#include "blocks/BlockPainter.h"
#include "blocks/BlockTemplate.h"
#include "blocks/BlockTextureLoader.h"
#include "blocks/BlocksHelper.h"
#include "blocks/BlocksPalette.h"
#include "blocks/MultiCopyDialog.h"
#include "blocks/Workflow.h"
#include "chrome/Tabs.h"
#include "core/LmdEditorAssetAccess.h"
#include "engine/editing/LmdDocumentFindings.h"
#include "engine/editing/LmdSourceFiles.h"
#include "engine/gizmo/LmdGizmo.h"
#include "engine/gizmo/LmdGizmo2D.h"
#include "engine/gizmo/LmdGizmoEvents.h"
#include "engine/scene/LmdBase3D.h"
#include "engine/scene/ScriptParser.h"
#include "ui/AllUI.h"

namespace Lumenda3D {

Workflow* Lumenda3DEditor::getWorkflow() const {
    return allUI ? allUI->getPanel<Workflow>().get() : nullptr;
}

bool Lumenda3DEditor::isPointerOnBlockTree() const {
    Workflow* workflow = getWorkflow();
    return workflow && ImGui::GetCurrentContext() && workflow->containsScreenPoint(ImGui::GetIO().MousePos);
}

void Lumenda3DEditor::refresh() {
    if (Workflow* workflow = getWorkflow())
        if (pugi::xml_document* document = getSourceXml())
            workflow->loadXml(document->document_element());
}

void Lumenda3DEditor::setupBlocksHelper() {
    // The attribute panel's pickers create blocks (a missing sound) and select them.
    if (attributesEditor) {
        attributesEditor->setCreateBlockCallback(
            [this](const std::string& name, const std::map<std::string, std::string>& attributes) {
                return createBlock(name, attributes);
            });
        attributesEditor->setSelectBlockCallback([this](int xmlId) {
            Workflow* workflow = getWorkflow();
            if (std::shared_ptr<Block> block = workflow ? workflow->getBlockById(xmlId) : nullptr) {
                attributesEditor->setBlock(block, true);
                block->selectBlock();
            }
        });
    }
    if (!blocksHelper)
        return;
    BlocksHelper& helper = *blocksHelper;
    helper.setUI(allUI);
    helper.setScriptParser(getScriptParser());
    helper.setSourceFiles(sourceFiles);
    helper.setShowErrorCallback([this](const std::string& text) { showErrorMessage(text); });
    helper.setRegisterXmlNodeCallback([this](pugi::xml_node& node) { registerXmlNode(node); });
    helper.setRunPartialSourceCallback([this](pugi::xml_node& node, pugi::xml_node& parent) {
        // Only what the scene shows needs a partial run; the rest takes effect at the next run.
        if (shouldRunPartialSource(node.name(), parent))
            runPartialSource(node, parent);
    });
    helper.setConvert2DTo3DCallback([this](ImVec2 screen) { return convert2DTo3D(screen); });
    helper.setGetSourceXmlCallback([this] { return getSourceXml(); });
    helper.setGetCurLevelCallback([this] { return getCurLevel(); });
    helper.setSetLevelCallback([this](const std::string& level) { setLevel(level); });
    helper.setUpdateScriptCallback(
        [this](bool restart, std::function<void()> done) { updateScript(restart, std::move(done), true); });
    helper.setGizmoDetachCallback([this] {
        if (auto gizmo = getGizmo())
            gizmo->detach();
        if (auto gizmo2D = getGizmo2D())
            gizmo2D->detach();
    });
    helper.setClearSelectedObjectsCallback([this] { clearSelectedObjects(); });
    helper.setSetXmlSourceStringCallback([this](const std::string& xml) { setXmlSourceString(xml); });
    helper.setStopRenderingCallback([this](bool stop) { stopRendering = stop; });
    helper.setGetSelectedObjectCallback([this]() -> void* { return getSelectedObject(); });
    helper.setGetSceneCenterScreenPosCallback([this] { return getSceneCenterScreenPos(); });
    helper.setGetSelectedObjectIdCallback([this] {
        LmdBase3D* selected = getSelectedObject();
        return selected ? selected->getXmlId() : -1;
    });
    helper.setGetModelBoxCallback([this](int xmlId, BlocksHelper::ModelBox& box) {
        LmdBase3D* model = getObjByXmlId(xmlId);
        if (!model || !model->getEntity())
            return false;
        // The mesh's bounds with the shape's own scale (a model's automatic size), around the
        // pivot; the transform relative to the parent, as the element's attributes hold it.
        const Ogre::AxisAlignedBox& bounds = model->getEntity()->getBoundingBox();
        box.infinite = bounds.isInfinite();
        if (bounds.isFinite()) {
            box.boxMin = bounds.getMinimum() * model->getShapeScale();
            box.boxMax = bounds.getMaximum() * model->getShapeScale();
        }
        box.position = model->getPosition();
        box.scale = model->getScale();
        box.orientation = model->getOrientation();
        return true;
    });

    std::shared_ptr<ScriptParser> parser = getScriptParser();
    Block::schema = parser && parser->hasSchema() ? parser->getCodeSchema() : nullptr;
    Block::documentFindings = &LmdDocumentFindings::getInstance();
    std::shared_ptr<BlocksPalette> palette = allUI ? allUI->getPanel<BlocksPalette>() : nullptr;
    Workflow* workflow = getWorkflow();
    BlockTextures textures = BlockTextureLoader::load();
    if (palette) {
        palette->setSchema(Block::schema);
        palette->loadCategoriesAndBlocks();
        palette->setIsRunning([this] { return isRunning(); });
        palette->setIconSize([textures](const std::string& image) {
            return textures.icon ? textures.icon(image).size : ImVec2(0, 0);
        });
        palette->setIsShown([this] {
            auto tabs = allUI ? allUI->getPanel<Tabs>() : nullptr;
            return !tabs || !tabs->isSourceTab();
        });
        // Blocks take the colour of their category.
        Block::setCategoryColors(palette->commandColors());
    }
    BlockTemplate::paintPreview = [textures](ImDrawList& list, const Block& block, ImVec2 origin) {
        BlockPainter::draw(list, block, origin, BlockLayout::Metrics::forScale(BaseUI::getDpiScale()), textures, false);
    };
    if (workflow) {
        workflow->setTextures(textures);
        workflow->setDocument(sourceFiles, [this] { return getSourceXml(); });
    }
    // The scene is shown beside the tree: its centre, drops and placements are in the part of the
    // window right of the block panels.
    if (allUI)
        allUI->setOnTopInset([this](float top, float) {
            Workflow* tree = getWorkflow();
            setViewInsets(tree ? tree->getRightEdge() : 0.0f, top);
        });
}

void Lumenda3DEditor::setupAssetLibrary() {
    if (!assetLibrary)
        return;
    assetAccess = std::make_unique<LmdEditorAssetAccess>(this);
    assetLibrary->setHost(assetAccess.get());
    if (Workflow* workflow = getWorkflow())
        workflow->setDrawAssetLibraryContent([panel = assetLibrary.get()] { panel->drawContent(); });
}

void Lumenda3DEditor::onGizmoCopy(std::shared_ptr<LmdEvent> event) {
    auto copy = std::dynamic_pointer_cast<LmdGizmoCopyEvent>(event);
    if (!copy || !copy->getObject() || !blocksHelper)
        return;
    std::shared_ptr<Block> block = Block::getBlockById(copy->getObject()->getXmlId());
    if (!block)
        return;
    const Ogre::Vector3 direction = copy->getDirection();
    const bool smart = copy->isSmartCopy();
    std::weak_ptr<BlocksHelper> weakHelper = blocksHelper;
    auto run = [weakHelper, block, direction, smart](int count) {
        std::shared_ptr<BlocksHelper> helper = weakHelper.lock();
        if (!helper)
            return;
        // The block may have gone while the dialog was open; the helper refuses it then.
        if (smart)
            helper->onBlockSmartCopy(block, direction, count);
        else
            helper->onBlockCopy(block, direction, count);
    };
    std::shared_ptr<MultiCopyDialog> dialog = allUI ? allUI->getPanel<MultiCopyDialog>() : nullptr;
    if (copy->isRepeatCountRequested() && dialog)
        dialog->show(run);
    else
        run(1);
}

} // namespace Lumenda3D
