#include "blocks/Workflow.h"

#include <algorithm>
#include <unordered_map>

#include "blocks/BlockPainter.h"
#include "blocks/BlockTemplate.h"
#include "blocks/BlocksHelper.h"
#include "blocks/BlocksPalette.h"
#include "engine/editing/LmdSourceFiles.h"
#include "ui/AssetDrop.h"

namespace Lumenda3D {
namespace {

// The element's place in the tree: element indices from the top, "0/3/1".
std::string pathOf(pugi::xml_node node) {
    std::string path;
    while (node.parent() && node.parent().type() == pugi::node_element) {
        int index = 0;
        for (pugi::xml_node s = node.previous_sibling(); s; s = s.previous_sibling())
            if (s.type() == pugi::node_element)
                ++index;
        path = std::to_string(index) + (path.empty() ? "" : "/" + path);
        node = node.parent();
    }
    return path;
}

void indexKeys(Block& block, const std::string& path, std::unordered_map<std::string, Block*>& byKey) {
    const char* guid = block.getXmlNode().attribute("guidId").value();
    if (*guid)
        byKey.emplace(std::string("g:") + guid, &block);
    byKey.emplace("p:" + path, &block);
    int index = 0;
    for (const auto& child : block.getChilds())
        indexKeys(*child, path.empty() ? std::to_string(index++) : path + "/" + std::to_string(index++), byKey);
}

} // namespace

Workflow::Workflow(const std::string& name) : BaseUI(name) {
    Block::dragDropDelegate.push_back(
        [this](std::shared_ptr<Block> dragged, std::shared_ptr<Block> target) { onDragDrop(dragged, target); });
}

Workflow::~Workflow() {
    changes_.cancel();
    if (Block::workflow == this)
        Block::workflow = nullptr;
    Block::dragDropDelegate.clear();
    if (rootBlock_) {
        rootBlock_->clear();
        if (Block::mainBlock == rootBlock_)
            Block::mainBlock.reset();
    }
    Block::selectedBlock.reset();
    Block::mouseHoverBlock.reset();
    Block::pressedBlock.reset();
    Block::dragSource.reset();
    Block::dragTarget.reset();
}

void Workflow::init() {
    setWorkflowReference();
}

void Workflow::setTextures(BlockTextures textures) {
    textures_ = std::move(textures);
    Block::recalcSize();
}

void Workflow::setDocument(LmdSourceFiles* files, std::function<pugi::xml_document*()> getDocument) {
    changes_.cancel();
    files_ = files;
    getDocument_ = std::move(getDocument);
    Block::sourceFiles = files;
    if (files_)
        changes_ = files_->subscribeChanges([this](const LmdDocumentChange& change) { onDocumentChanged(change); });
    if (pugi::xml_document* document = getDocument_ ? getDocument_() : nullptr)
        loadXml(document->document_element());
}

// --- The tree and the document -------------------------------------------------------------------

std::string Workflow::keyOf(const Block& block) const {
    const char* guid = block.getXmlNode().attribute("guidId").value();
    if (*guid)
        return std::string("g:") + guid;
    return "p:" + pathOf(block.getXmlNode());
}

void Workflow::loadXml(pugi::xml_node node) {
    // What to keep, by identity: the selected block, the block waiting to be scrolled to, and the
    // blocks opened in memory only (their "isCollapse" says closed). The old elements may be gone
    // already, so these keys were taken while they lived (selection and reveals record them).
    std::string selectedKey = selectedKey_;
    std::string scrollKey = pendingScrollBlock_ ? pendingScrollKey_ : "";
    std::vector<std::string> opened = openedKeys_;

    if (!rootBlock_ || Block::mainBlock != rootBlock_) {
        if (Block::mainBlock && Block::mainBlock != rootBlock_)
            Block::mainBlock.reset();
        rootBlock_ = std::make_shared<Block>(node.name(), Block::getBlockColor(node.name()), node, nullptr, false);
        rootBlock_->init();
    }
    Block::selectedBlock.reset();
    Block::mouseHoverBlock.reset();
    Block::pressedBlock.reset();
    Block::dragSource.reset();
    Block::dragTarget.reset();
    dragging_ = false;
    pendingScrollBlock_.reset();
    rootBlock_->loadXml(node);
    if (!Block::hasAiChanges)
        Block::showOnlyChanges = false;

    if (selectedKey.empty() && scrollKey.empty() && opened.empty())
        return;
    std::unordered_map<std::string, Block*> byKey;
    indexKeys(*rootBlock_, "", byKey);
    auto find = [&byKey](const std::string& key) -> Block* {
        auto it = byKey.find(key);
        return it == byKey.end() ? nullptr : it->second;
    };
    openedKeys_.clear();
    for (const std::string& key : opened)
        if (Block* block = find(key)) {
            block->setCollapsed(false);
            openedKeys_.push_back(key);
        }
    if (Block* selected = find(selectedKey)) {
        Block::selectedBlock = selected->shared_from_this();
        selectedKey_ = selectedKey;
        lastSelected_ = selected;
    } else {
        selectedKey_.clear();
    }
    if (Block* pending = find(scrollKey))
        scrollToBlock(pending->shared_from_this());
}

void Workflow::noteSelection() {
    if (Block::selectedBlock.get() == lastSelected_)
        return;
    lastSelected_ = Block::selectedBlock.get();
    selectedKey_ = Block::selectedBlock && Block::selectedBlock->isAlive() ? keyOf(*Block::selectedBlock) : "";
}

void Workflow::reselectAfterSync() {
    // A selected block whose element left the tree is no longer selected; keys follow moves.
    if (Block::selectedBlock) {
        std::shared_ptr<Block> found = Block::getBlockById(Block::selectedBlock->getXmlId());
        if (found != Block::selectedBlock)
            Block::selectedBlock = found;
    }
    selectedKey_ = Block::selectedBlock ? keyOf(*Block::selectedBlock) : "";
    lastSelected_ = Block::selectedBlock.get();
    for (auto* stale : {&Block::pressedBlock, &Block::dragSource, &Block::dragTarget, &Block::mouseHoverBlock})
        if (*stale && (*stale)->getXmlId() != -1 && Block::getBlockById((*stale)->getXmlId()) != *stale)
            stale->reset();
}

void Workflow::onDocumentChanged(const LmdDocumentChange& change) {
    pugi::xml_document* document = getDocument_ ? getDocument_() : nullptr;
    if (!document) {
        if (rootBlock_)
            rootBlock_->clear();
        return;
    }
    const pugi::xml_node top = document->document_element();
    if (change.kind == LmdDocumentChange::Kind::Replaced || !rootBlock_ || rootBlock_->getXmlNode() != top) {
        loadXml(top);
        return;
    }
    if (change.kind == LmdDocumentChange::Kind::Structure) {
        rootBlock_->syncXml();
        reselectAfterSync();
        return;
    }
    // An attribute: the block measures itself again; the layout is redone only when its size
    // changed, or when a search or the changes filter may show other blocks now.
    std::shared_ptr<Block> block = Block::getBlockById(change.node.attribute("id").as_int(-1));
    if (!block || block->getXmlNode() != change.node) {
        // Several elements in one step (the root is named): each follows its own "isCollapse".
        std::function<void(Block&)> follow = [&follow](Block& b) {
            b.syncCollapseFromXml();
            for (const auto& child : b.getChilds())
                follow(*child);
        };
        follow(*rootBlock_);
        Block::recalcSize();
        return;
    }
    block->syncCollapseFromXml();
    if (change.node.attribute("_aiChange") && block->aiChangeBorderType() != 0)
        Block::hasAiChanges = true;
    if (!search_.empty() || Block::showOnlyChanges || !ImGui::GetCurrentContext() || !ImGui::GetFont() ||
        !ImGui::GetFont()->IsLoaded() || BlockLayout::measure(*block, metrics_, iconSizes()))
        Block::recalcSize();
}

void Workflow::addBlock(const pugi::xml_node& node, const pugi::xml_node& parent, const pugi::xml_node& after) {
    (void)node;
    (void)after;
    // The element is in the document already: the parent's block takes in its new children,
    // wherever they stand.
    std::shared_ptr<Block> parentBlock = Block::getBlockById(parent.attribute("id").as_int(-1));
    if (!parentBlock || parentBlock->getXmlNode() != parent)
        parentBlock = rootBlock_;
    if (parentBlock)
        parentBlock->syncXml();
    reselectAfterSync();
}

int Workflow::getInsertionIndex(const std::shared_ptr<Block>& parent, const pugi::xml_node& after) const {
    if (!parent)
        return 0;
    const auto& children = parent->getChilds();
    if (!after || !after.attribute("id"))
        return static_cast<int>(children.size());
    const int id = after.attribute("id").as_int(-1);
    for (size_t i = 0; i < children.size(); ++i)
        if (children[i]->getXmlId() == id)
            return static_cast<int>(i) + 1;
    return static_cast<int>(children.size());
}

void Workflow::setSearchText(const std::string& text) {
    search_ = text.substr(0, 255);
    Block::searchFilter = search_;
}

// --- Selection and scrolling ---------------------------------------------------------------------

void Workflow::scrollToBlock(const std::shared_ptr<Block>& block) {
    if (!block)
        return;
    for (std::shared_ptr<Block> up = block->getParent(); up; up = up->getParent())
        if (up->isCollapsed())
            openedKeys_.push_back(keyOf(*up));
    block->expandAncestors();
    pendingScrollBlock_ = block;
    pendingScrollKey_ = keyOf(*block);
    scrollDrawnFrames_ = 0;
    scrollFramesLeft_ = 30;
}

bool Workflow::revealBlock(int xmlId, bool scroll) {
    std::shared_ptr<Block> block = Block::getBlockById(xmlId);
    if (!block)
        return false;
    Block::selectedBlock = block;
    selectedKey_ = keyOf(*block);
    if (scroll)
        scrollToBlock(block);
    return true;
}

void Workflow::onDragDrop(const std::shared_ptr<Block>& dragged, const std::shared_ptr<Block>& target) {
    (void)dragged;
    (void)target;
    scrollRestoreFrames_ = 2;
    scrollTargetY_ = savedScrollY_;
}

void Workflow::restoreScroll() {
    if (scrollRestoreFrames_ <= 0) {
        savedScrollY_ = ImGui::GetScrollY();
    } else {
        ImGui::SetScrollY(scrollTargetY_);
        --scrollRestoreFrames_;
    }
}

void Workflow::applyScrollToBlock() {
    if (!pendingScrollBlock_)
        return;
    if (--scrollFramesLeft_ <= 0) {
        pendingScrollBlock_.reset();
        return;
    }
    if (!pendingScrollBlock_->wasDrawnThisFrame() && !pendingScrollBlock_->layout.size.y) {
        scrollDrawnFrames_ = 0;
        return;
    }
    // Its place is known from the layout even when it is off screen; wait for two laid out
    // frames so that sizes have settled.
    if (++scrollDrawnFrames_ < 2)
        return;
    const float y = pendingScrollBlock_->layout.pos.y + (treeOrigin_.y + scrollY_ - areaMin_.y);
    const float visible = areaMax_.y - areaMin_.y;
    const float margin = 40.0f * (dpiScale_ > 1.0f ? dpiScale_ : 1.0f);
    if (y < scrollY_ + margin || y > scrollY_ + visible - margin) {
        scrollTargetY_ = std::max(0.0f, y - visible * 0.25f);
        scrollRestoreFrames_ = 2;
    }
    pendingScrollBlock_.reset();
}

// --- Drawing -------------------------------------------------------------------------------------

float Workflow::getRightEdge() const {
    return ImGui::GetCurrentContext() && windowFrame_ >= ImGui::GetFrameCount() - 1 ? windowMax_.x : 0.0f;
}

bool Workflow::containsScreenPoint(ImVec2 p) const {
    return windowFrame_ >= ImGui::GetFrameCount() - 1 && p.x >= windowMin_.x && p.x <= windowMax_.x && p.y >= windowMin_.y && p.y <= windowMax_.y;
}

ImVec2 Workflow::blockScreenCenter(const Block& block) const {
    const Block::Layout& l = block.layout;
    return ImVec2(treeOrigin_.x + l.pos.x + l.size.x * 0.5f, treeOrigin_.y + l.pos.y + l.size.y * 0.5f);
}

BlockLayout::IconSize Workflow::iconSizes() const {
    if (!textures_.icon)
        return nullptr;
    return [this](const std::string& image) { return textures_.icon(image).size; };
}

void Workflow::ensureLayout() {
    if (!rootBlock_)
        return;
    metrics_ = BlockLayout::Metrics::forScale(dpiScale_);
    const float fontSize = ImGui::GetFontSize();
    if (layoutGeneration_ == Block::layoutGeneration && layoutSearch_ == Block::searchFilter &&
        layoutChanges_ == Block::showOnlyChanges && layoutScale_ == metrics_.scale && layoutFontSize_ == fontSize)
        return;
    BlockLayout::compute(*rootBlock_, metrics_, iconSizes());
    layoutGeneration_ = Block::layoutGeneration;
    layoutSearch_ = Block::searchFilter;
    layoutChanges_ = Block::showOnlyChanges;
    layoutScale_ = metrics_.scale;
    layoutFontSize_ = fontSize;
}

float Workflow::topBelowBars(const BaseUI& panel) {
    float top = 0.0f;
    for (const char* name : {"tabs", "topBar"})
        if (std::shared_ptr<BaseUI> element = panel.getElementByName(name))
            top = std::max(top, element->getBottom());
    return top - 2.0f;
}

void Workflow::draw() {
    dpiScale_ = BaseUI::getDpiScale();
    const ImVec2 display = ImGui::GetIO().DisplaySize;
    const float top = topBelowBars(*this);
    const float left = palette_ ? palette_->getWidth() : 0.0f;
    ImGui::SetNextWindowPos(ImVec2(left, top), ImGuiCond_Always);
    if (top > 0.0f && top < display.y && display.y - top >= 100.0f) {
        const float height = display.y - top;
        if (!widthSet_) {
            const float width = std::min(display.x * 0.3f, 450.0f * (dpiScale_ > 1.0f ? dpiScale_ : 1.0f));
            ImGui::SetNextWindowSize(ImVec2(width, height), ImGuiCond_Always);
            widthSet_ = true;
        }
        // The user may widen or narrow it; the height always reaches the bottom.
        ImGui::SetNextWindowSizeConstraints(ImVec2(scaled(160.0f), height),
                                            ImVec2(std::max(scaled(160.0f), display.x - left - 100.0f), height));
    }
    const ImGuiWindowFlags flags = ImGuiWindowFlags_NoTitleBar | ImGuiWindowFlags_NoMove |
                                   ImGuiWindowFlags_NoCollapse | ImGuiWindowFlags_NoSavedSettings |
                                   ImGuiWindowFlags_NoBringToFrontOnFocus | ImGuiWindowFlags_NoScrollbar;
    ImGui::PushStyleColor(ImGuiCol_WindowBg, ImVec4(0.09f, 0.10f, 0.12f, 0.97f));
    const bool open = ImGui::Begin(kWindow, nullptr, flags);
    ImGui::PopStyleColor();
    if (open) {
        windowMin_ = ImGui::GetWindowPos();
        windowMax_ = ImVec2(windowMin_.x + ImGui::GetWindowWidth(), windowMin_.y + ImGui::GetWindowHeight());
        windowFrame_ = ImGui::GetFrameCount();
        if (ImGui::BeginTabBar("WorkflowPanelTabs")) {
            const bool treeShown = ImGui::BeginTabItem("Workflow");
            recordItem("Workflow");
            if (treeShown) {
                drawSearchBar();
                drawTree();
                ImGui::EndTabItem();
            }
            if (drawAssetLibraryContent_) {
                const bool shown = ImGui::BeginTabItem("Asset Library");
                recordItem("Asset Library");
                if (shown) {
                    drawAssetLibraryContent_();
                    ImGui::EndTabItem();
                }
            }
            ImGui::EndTabBar();
        }
        calculateSize();
    }
    ImGui::End();
}

void Workflow::drawSearchBar() {
    const float clearWidth = ImGui::CalcTextSize("X").x + ImGui::GetStyle().FramePadding.x * 2.0f;
    ImGui::SetNextItemWidth(std::max(50.0f, ImGui::GetContentRegionAvail().x - clearWidth -
                                                 ImGui::GetStyle().ItemSpacing.x));
    char buffer[256];
    const size_t length = std::min(search_.size(), sizeof(buffer) - 1);
    search_.copy(buffer, length);
    buffer[length] = '\0';
    if (ImGui::InputTextWithHint("##WorkflowSearch", "Search blocks...", buffer, sizeof(buffer)))
        search_ = buffer;
    recordItem("##WorkflowSearch");
    ImGui::SameLine();
    if (button("X##ClearWorkflowSearch"))
        search_.clear();
    Block::searchFilter = search_;
    if (Block::hasAiChanges) {
        ImGui::Checkbox("Show only AI changes", &Block::showOnlyChanges);
        recordItem("Show only AI changes");
    } else {
        // No stale filter may hide the tree.
        Block::showOnlyChanges = false;
    }
}

void Workflow::paintVisible(ImDrawList& list) {
    const float top = areaMin_.y - treeOrigin_.y;
    const float bottom = areaMax_.y - treeOrigin_.y;
    const int frame = ImGui::GetFrameCount();
    const ImVec2 mouse = ImGui::GetIO().MousePos;
    drawnBlocks_ = 0;
    findingsTooltip_.clear();
    BlockLayout::visit(*rootBlock_, top, bottom, [&](Block& block) {
        // Hover or selection hides the assistant's colour.
        const bool highlighted = Block::mouseHoverBlock.get() == &block || Block::selectedBlock.get() == &block;
        block.borderState = highlighted ? Block::kBorderHighlight : block.aiChangeBorderType();
        const ImVec2 origin(treeOrigin_.x + block.layout.pos.x, treeOrigin_.y + block.layout.pos.y);
        block.windowPos = origin;
        block.windowSize = block.layout.size;
        block.lastDrawnFrame = frame;
        bool overButton = false;
        if (Block::mouseHoverBlock.get() == &block && !block.getChilds().empty()) {
            ImVec2 centre;
            float radius = 0.0f;
            BlockLayout::collapseButton(origin, ImVec2(origin.x + block.layout.size.x, origin.y), metrics_, centre,
                                        radius);
            const float dx = mouse.x - centre.x, dy = mouse.y - centre.y;
            overButton = dx * dx + dy * dy <= radius * radius;
        }
        BlockPainter::draw(list, block, origin, metrics_, textures_, overButton);
        if (Block::mouseHoverBlock.get() == &block && block.hasFindings()) {
            ImVec2 markMin, markMax;
            BlockLayout::warningMark(origin, metrics_, markMin, markMax);
            if (mouse.x >= markMin.x && mouse.x <= markMax.x && mouse.y >= markMin.y && mouse.y <= markMax.y)
                findingsTooltip_ = block.findingsText();
        }
        ++drawnBlocks_;
    });
    rootBlock_->lastDrawnFrame = frame;
    if (!findingsTooltip_.empty()) {
        ImGui::BeginTooltip();
        ImGui::PushTextWrapPos(ImGui::GetFontSize() * 30.0f);
        ImGui::TextUnformatted(findingsTooltip_.c_str());
        ImGui::PopTextWrapPos();
        ImGui::EndTooltip();
    }
}

void Workflow::drawTree() {
    ImGui::BeginChild(kBlocksChild, ImVec2(0, 0), false, ImGuiWindowFlags_HorizontalScrollbar);
    if (!rootBlock_) {
        ImGui::TextDisabled("No game is open.");
        calculateSize();
        ImGui::EndChild();
        return;
    }
    restoreScroll();
    ensureLayout();
    noteSelection();
    scrollY_ = ImGui::GetScrollY();
    areaMin_ = ImGui::GetWindowPos();
    areaMax_ = ImVec2(areaMin_.x + ImGui::GetWindowWidth(), areaMin_.y + ImGui::GetWindowHeight());
    const ImVec2 start = ImGui::GetCursorScreenPos();
    const float available = ImGui::GetContentRegionAvail().x;
    const float offsetX = std::max(0.0f, (available - rootBlock_->layout.size.x) * 0.5f);
    treeOrigin_ = ImVec2(start.x + offsetX, start.y);
    // The tree's whole extent, so that the scroll bars know it; only what is on screen is drawn.
    ImGui::Dummy(rootBlock_->layout.size);
    areaHovered_ = ImGui::IsWindowHovered(ImGuiHoveredFlags_AllowWhenBlockedByActiveItem);

    handlePointer();
    paintVisible(*ImGui::GetWindowDrawList());
    // A cell of the asset library dragged here goes onto the block under the pointer.
    if (Block* hover = Block::mouseHoverBlock.get(); hover && !hover->isMainBlock()) {
        const ImVec2 origin(treeOrigin_.x + hover->layout.pos.x, treeOrigin_.y + hover->layout.pos.y);
        AssetDrop::target(origin, ImVec2(origin.x + hover->layout.size.x, origin.y + hover->layout.size.y),
                          hover->getXmlId(), "", "block");
    }
    const bool mouseDown = ImGui::GetIO().MouseDown[0];
    drawInsertionLine(*ImGui::GetWindowDrawList());
    handleDragAndDrop(mouseDown);
    handleKeys();
    drawContextMenu();
    applyScrollToBlock();
    ImGui::EndChild();
}

bool Workflow::isDraggingBlock() const {
    return dragging_ || BlockTemplate::draggedTemplate != nullptr;
}

// --- Operations on the selection -----------------------------------------------------------------

bool Workflow::hasSelection() const {
    return Block::selectedBlock && !Block::selectedBlock->isMainBlock() && Block::selectedBlock->isAlive() &&
           Block::getBlockById(Block::selectedBlock->getXmlId()) == Block::selectedBlock;
}

bool Workflow::deleteSelected() {
    if (!hasSelection() || !helper_)
        return false;
    helper_->onBlockDelete(Block::selectedBlock);
    return true;
}

bool Workflow::duplicateSelected() {
    if (!hasSelection() || !helper_)
        return false;
    helper_->onBlockDuplicate(Block::selectedBlock, "Same");
    return true;
}

bool Workflow::copySelected() {
    return hasSelection() && helper_ && helper_->copyBlock(Block::selectedBlock);
}

bool Workflow::pasteAtSelection(bool asChild) {
    if (!helper_ || !helper_->hasCopiedBlock())
        return false;
    std::shared_ptr<Block> target = hasSelection() ? Block::selectedBlock : nullptr;
    const pugi::xml_node node = helper_->pasteBlock(target, asChild);
    if (!node)
        return false;
    if (std::shared_ptr<Block> pasted = Block::getBlockById(node.attribute("id").as_int(-1))) {
        pasted->selectBlock();
        scrollToBlock(pasted);
    }
    return true;
}

} // namespace Lumenda3D
