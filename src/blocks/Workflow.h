#pragma once
// The panel that hosts the block tree, docked between the palette and the 3D view below the top
// bar and the tabs. It owns the root block, keeps the tree in line with the document (a rebuild
// after a whole reload keeps what was open and selected where the element still exists; other
// changes update the tree in place), offers the search bar and the filter for the assistant's
// changes, brings a chosen block into view, and takes the pointer and the keys for the tree:
// select, fold, drag and drop, the context menu, Delete, Ctrl+C, Ctrl+V and Ctrl+D.
//
// Only the blocks on screen are drawn: the layout is computed once per change (BlockLayout) and
// cached, and drawing, hit tests and drop places read it.
//
// The code is split by subject: Workflow.cpp (panel, tree and document, scrolling) and
// WorkflowInput.cpp (pointer, drag and drop, keys, context menu).
#include <functional>
#include <memory>
#include <string>

#include <pugixml.hpp>

#include "base/LmdSubscription.h"
#include "blocks/Block.h"
#include "blocks/BlockLayout.h"
#include "blocks/BlockTextures.h"
#include "ui/BaseUI.h"

namespace Lumenda3D {

class BlocksHelper;
class BlocksPalette;
class LmdSourceFiles;
struct LmdDocumentChange;

class Workflow : public BaseUI {
public:
    static constexpr const char* kName = "workflow";
    // The ImGui window names of the panel and of the tree's scrolling area.
    static constexpr const char* kWindow = "Workflow";
    static constexpr const char* kBlocksChild = "WorkflowBlocks";

    explicit Workflow(const std::string& name = kName);
    ~Workflow() override;

    void init() override;
    void draw() override;

    // --- Wiring -------------------------------------------------------------------------------
    // The document the tree mirrors: its service (whose changes the tree follows) and the
    // document itself. Subscribes to the changes; a null service detaches.
    void setDocument(LmdSourceFiles* files, std::function<pugi::xml_document*()> getDocument);
    void setBlocksHelper(std::shared_ptr<BlocksHelper> helper) { helper_ = std::move(helper); }
    BlocksHelper* getBlocksHelper() const { return helper_.get(); }
    void setBlocksPalette(BlocksPalette* palette) { palette_ = palette; }
    void setTextures(BlockTextures textures);
    void setDrawAssetLibraryContent(std::function<void()> draw) { drawAssetLibraryContent_ = std::move(draw); }
    // Told the block the user right-clicked (null: the empty tree) before the tree's context menu
    // opens. May be empty.
    void setOnContextMenu(std::function<void(std::shared_ptr<Block>)> f) { onContextMenu_ = std::move(f); }
    // Where the block panels start: below the tabs and the top bar (their bottom edge, less 2).
    static float topBelowBars(const BaseUI& panel);
    // Makes this panel the one blocks read their scale from.
    void setWorkflowReference() { Block::workflow = this; }

    // --- The tree -----------------------------------------------------------------------------
    // Rebuilds the whole tree from `node` (the document's top element), keeping open, closed and
    // selected blocks by their element's guidId, or by their place in the tree.
    void loadXml(pugi::xml_node node);
    // Shows a new element that the caller already placed in the document under `parent`.
    void addBlock(const pugi::xml_node& node, const pugi::xml_node& parent, const pugi::xml_node& after);
    int getInsertionIndex(const std::shared_ptr<Block>& parent, const pugi::xml_node& after) const;
    std::shared_ptr<Block> getBlockById(int xmlId) const { return Block::getBlockById(xmlId); }
    std::shared_ptr<Block> getRootBlock() const { return rootBlock_; }
    // Opens the block's ancestors and scrolls it into view once it has been drawn.
    void scrollToBlock(const std::shared_ptr<Block>& block);
    // Selects the block of an element, opening its ancestors and, with `scroll`, scrolling to it,
    // without telling the engine (for selections that come from the scene or an agent). False
    // when no block has the id.
    bool revealBlock(int xmlId, bool scroll);
    // Keeps the scroll position over the next frames (the tree's height changes after a drop).
    void onDragDrop(const std::shared_ptr<Block>& dragged, const std::shared_ptr<Block>& target);
    bool isDraggingBlock() const;
    float getCurrentDpiScale() const { return dpiScale_; }
    const BlockLayout::Metrics& getMetrics() const { return metrics_; }
    // The search text (what the search bar holds).
    void setSearchText(const std::string& text);
    const std::string& getSearchText() const { return search_; }

    // --- Geometry of the last frame, for hit tests and tests ---------------------------------
    // Screen position of the tree's origin (the root's top left).
    ImVec2 getTreeOrigin() const { return treeOrigin_; }
    // The screen rectangle of the tree's scrolling area.
    ImVec2 getBlocksAreaMin() const { return areaMin_; }
    ImVec2 getBlocksAreaMax() const { return areaMax_; }
    float getScrollY() const { return scrollY_; }
    // The right edge of the panel's window when it was drawn in the last frame, else 0.
    float getRightEdge() const;
    // Whether a screen point is inside the panel's window (last frame).
    bool containsScreenPoint(ImVec2 point) const;
    // The screen centre of a block's box by the cached layout (it need not be on screen).
    ImVec2 blockScreenCenter(const Block& block) const;
    // How many blocks the last frame drew.
    int getDrawnBlockCount() const { return drawnBlocks_; }
    // The findings shown as the tooltip of a block's warning mark in the last frame ("" for none).
    const std::string& getFindingsTooltip() const { return findingsTooltip_; }
    // Brings the layout up to date now (inside an ImGui frame).
    void ensureLayout();

    // --- Operations on the selected block (the commands and the keys) ------------------------
    bool deleteSelected();
    bool duplicateSelected();
    bool copySelected();
    bool pasteAtSelection(bool asChild);
    bool hasSelection() const;

private:
    void onDocumentChanged(const LmdDocumentChange& change);
    void drawSearchBar();
    void drawTree();
    void paintVisible(ImDrawList& list);
    void restoreScroll();
    void applyScrollToBlock();
    std::string keyOf(const Block& block) const;
    void reselectAfterSync();
    // Records the identity of a new selection while its element lives.
    void noteSelection();
    BlockLayout::IconSize iconSizes() const;

    // WorkflowInput.cpp
    void handlePointer();
    void handleDragAndDrop(bool mouseDown);
    void beginBlockDrag();
    void dropTemplate();
    void dropBlock();
    void resetDragState();
    void cancelDrag();
    void autoScrollWhileDragging();
    void drawInsertionLine(ImDrawList& list);
    void drawDragPreview();
    void handleKeys();
    void drawContextMenu();
    bool canDrop() const;
    ImVec2 toTree(ImVec2 screen) const { return ImVec2(screen.x - treeOrigin_.x, screen.y - treeOrigin_.y); }

    std::shared_ptr<Block> rootBlock_;
    std::shared_ptr<BlocksHelper> helper_;
    BlocksPalette* palette_ = nullptr;
    LmdSourceFiles* files_ = nullptr;
    std::function<pugi::xml_document*()> getDocument_;
    LmdSubscription changes_;
    BlockTextures textures_;
    std::function<void()> drawAssetLibraryContent_;
    std::function<void(std::shared_ptr<Block>)> onContextMenu_;

    BlockLayout::Metrics metrics_;
    float dpiScale_ = 1.0f;
    std::string search_;
    // What the cached layout was computed for.
    int layoutGeneration_ = -1;
    std::string layoutSearch_;
    bool layoutChanges_ = false;
    float layoutScale_ = 0.0f;
    float layoutFontSize_ = 0.0f;

    // Scrolling.
    float savedScrollY_ = 0.0f;
    float scrollTargetY_ = 0.0f;
    int scrollRestoreFrames_ = 0;
    float scrollY_ = 0.0f;
    std::shared_ptr<Block> pendingScrollBlock_;
    std::string pendingScrollKey_;
    // Identities (guidId or place) of what a rebuild keeps: the selection, blocks opened in memory.
    std::string selectedKey_;
    const Block* lastSelected_ = nullptr;
    std::vector<std::string> openedKeys_;
    int scrollDrawnFrames_ = 0;
    int scrollFramesLeft_ = 0;

    // Geometry of the last frame.
    ImVec2 treeOrigin_{0, 0};
    ImVec2 areaMin_{0, 0}, areaMax_{0, 0};
    ImVec2 windowMin_{0, 0}, windowMax_{0, 0};
    bool areaHovered_ = false;
    int drawnBlocks_ = 0;
    std::string findingsTooltip_;
    bool widthSet_ = false;
    int windowFrame_ = -1;

    // Pointer and drag state.
    double pressTime_ = 0.0;
    bool selectedOnPress_ = false;
    bool dragging_ = false;
    ImVec2 dragOffset_{0, 0};
    float lastDragMouseY_ = -1.0f;
    bool hasEnteredFromBelow_ = false;
    std::shared_ptr<Block> contextBlock_;
    bool openContextMenu_ = false;
};

} // namespace Lumenda3D
