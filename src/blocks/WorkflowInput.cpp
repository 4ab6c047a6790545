// The pointer and the keys of the block tree: pressing selects, holding drags, a release drops a
// block or a palette template, the collapse buttons fold, the right button opens the context
// menu, and Delete, Ctrl+C, Ctrl+V and Ctrl+D act on the selected block.
#include <algorithm>

#include "blocks/BlockPainter.h"
#include "blocks/BlockTemplate.h"
#include "blocks/BlocksHelper.h"
#include "blocks/BlocksPalette.h"
#include "blocks/Workflow.h"
#include "engine/editing/LmdSourceFiles.h"
#include "engine/schema/CodeSchema.h"

namespace Lumenda3D {
namespace {

// A press held this long on a block starts dragging it.
constexpr double kDragDelay = 0.2;

const char* const kDirections[] = {"Same", "Left", "Right", "Up", "Down", "Forward", "Backward"};

bool keyPressed(int key) {
    return key >= 0 && key < IM_ARRAYSIZE(ImGuiIO::KeysDown) && ImGui::IsKeyPressed(key, false);
}

} // namespace

void Workflow::handlePointer() {
    const ImGuiIO& io = ImGui::GetIO();
    const ImVec2 mouse = io.MousePos;
    Block* hover = areaHovered_ ? BlockLayout::hitTest(*rootBlock_, toTree(mouse)) : nullptr;
    Block::mouseHoverBlock = hover ? hover->shared_from_this() : nullptr;
    // Under the pointer while a drag runs: the block that would take the drop.
    if (isDraggingBlock())
        Block::dragTarget = Block::mouseHoverBlock;

    if (ImGui::IsMouseClicked(0) && !isDraggingBlock()) {
        Block::pressedBlock.reset();
        if (hover && !hover->isMainBlock()) {
            ImVec2 centre;
            float radius = 0.0f;
            const ImVec2 origin(treeOrigin_.x + hover->layout.pos.x, treeOrigin_.y + hover->layout.pos.y);
            BlockLayout::collapseButton(origin, ImVec2(origin.x + hover->layout.size.x, origin.y), metrics_, centre,
                                        radius);
            const float dx = mouse.x - centre.x, dy = mouse.y - centre.y;
            if (!hover->getChilds().empty() && dx * dx + dy * dy <= radius * radius) {
                // The fold is part of the document, so that it is saved and undone.
                hover->setCollapsed(!hover->isCollapsed());
                if (files_ && hover->isAlive())
                    files_->setAttribute(hover->getXmlNode(), "isCollapse", hover->isCollapsed());
                hover->syncCollapseFromXml();
            } else {
                Block::pressedBlock = hover->shared_from_this();
                pressTime_ = ImGui::GetTime();
                selectedOnPress_ = false;
            }
        }
    }
    if (io.MouseDown[0] && Block::pressedBlock && !dragging_) {
        // A click selects at once, on the press.
        if (!selectedOnPress_) {
            Block::pressedBlock->selectBlock();
            selectedOnPress_ = true;
        }
        if (ImGui::GetTime() - pressTime_ > kDragDelay && Block::pressedBlock)
            beginBlockDrag();
    }
    if (!io.MouseDown[0] && !dragging_) {
        Block::pressedBlock.reset();
        pressTime_ = 0.0;
        selectedOnPress_ = false;
    }
}

void Workflow::beginBlockDrag() {
    std::shared_ptr<Block> source = Block::pressedBlock;
    if (!source || !source->getParent())
        return;
    Block::dragSource = source;
    dragging_ = true;
    const ImVec2 mouse = ImGui::GetIO().MousePos;
    const ImVec2 origin(treeOrigin_.x + source->layout.pos.x, treeOrigin_.y + source->layout.pos.y);
    dragOffset_ = ImVec2(origin.x - mouse.x - metrics_.padding.x * 0.5f, origin.y - mouse.y - metrics_.padding.y * 0.5f);
}

bool Workflow::canDrop() const {
    if (!Block::dragTarget)
        return false;
    if (!Block::dragSource)
        return true;
    return Block::dragTarget != Block::dragSource && !Block::dragTarget->isChildOf(Block::dragSource);
}

void Workflow::cancelDrag() {
    Block::dragSource.reset();
    Block::dragTarget.reset();
    Block::pressedBlock.reset();
    BlockTemplate::draggedTemplate = nullptr;
    dragging_ = false;
    hasEnteredFromBelow_ = false;
    lastDragMouseY_ = -1.0f;
}

void Workflow::resetDragState() {
    Block::dragSource.reset();
    Block::dragTarget.reset();
    Block::mouseHoverBlock.reset();
    Block::pressedBlock.reset();
    dragging_ = false;
    hasEnteredFromBelow_ = false;
    lastDragMouseY_ = -1.0f;
}

void Workflow::handleDragAndDrop(bool mouseDown) {
    const ImVec2 mouse = ImGui::GetIO().MousePos;
    if (ImGui::IsMouseClicked(1)) {
        cancelDrag();
        if (containsScreenPoint(mouse) && areaHovered_) {
            std::shared_ptr<Block> block = Block::mouseHoverBlock;
            if (block && block->isMainBlock())
                block.reset();
            contextBlock_ = block;
            openContextMenu_ = true;
            if (onContextMenu_)
                onContextMenu_(block);
            Block::mouseHoverBlock.reset();
        }
        return;
    }
    if (ImGui::IsKeyPressed(ImGui::GetKeyIndex(ImGuiKey_Escape), true) && isDraggingBlock()) {
        cancelDrag();
        Block::mouseHoverBlock.reset();
        return;
    }
    if (!isDraggingBlock())
        return;
    autoScrollWhileDragging();
    if (mouseDown) {
        if (dragging_)
            drawDragPreview();
        return;
    }
    if (BlockTemplate::draggedTemplate)
        dropTemplate();
    else if (Block::dragSource && Block::dragTarget)
        dropBlock();
    resetDragState();
}

void Workflow::dropTemplate() {
    BlockTemplate* dragged = BlockTemplate::draggedTemplate;
    BlockTemplate::draggedTemplate = nullptr;
    if (!dragged || !helper_ || !rootBlock_ || !rootBlock_->isAlive())
        return;
    const ImVec2 mouse = ImGui::GetIO().MousePos;
    // Over the palette there is no target: the template is discarded.
    if (palette_ && palette_->containsScreenPoint(mouse))
        return;
    std::shared_ptr<Block> target;
    bool sceneDrop = false;
    if (containsScreenPoint(mouse)) {
        target = Block::dragTarget ? Block::dragTarget : rootBlock_;
    } else {
        // On the scene: into the first level, or under the top element without one.
        sceneDrop = true;
        target = rootBlock_;
        for (const auto& child : rootBlock_->getChilds())
            if (child->getName() == "Level") {
                target = child;
                break;
            }
    }
    if (!target || !target->isAlive())
        return;
    const int index = sceneDrop ? static_cast<int>(target->getChilds().size())
                                : BlockLayout::childIndexByY(*target, toTree(mouse).y);
    const pugi::xml_node node = helper_->dropTemplate(target->getXmlNode(), dragged->getBlockName(),
                                                      dragged->getCategory(), index, sceneDrop, mouse);
    if (!node)
        return;
    std::shared_ptr<Block> block = Block::getBlockById(node.attribute("id").as_int(-1));
    for (auto& delegate : std::vector(Block::dragDropDelegate))
        delegate(block, target);
}

void Workflow::dropBlock() {
    if (!canDrop())
        return;
    std::shared_ptr<Block> source = Block::dragSource;
    std::shared_ptr<Block> target = Block::dragTarget;
    if (!source->isAlive() || !target->isAlive())
        return;
    for (auto& delegate : std::vector(Block::dragDropDelegate))
        delegate(source, target);
    const int index = BlockLayout::childIndexByY(*target, toTree(ImGui::GetIO().MousePos).y);
    target->addChildBlock(source, index, false);
}

void Workflow::autoScrollWhileDragging() {
    const ImVec2 mouse = ImGui::GetIO().MousePos;
    if (mouse.x < areaMin_.x || mouse.x > areaMax_.x) {
        lastDragMouseY_ = -1.0f;
        hasEnteredFromBelow_ = false;
        return;
    }
    const float zone = 50.0f;
    const float top = areaMin_.y + zone;
    const float bottom = areaMax_.y - zone;
    if (lastDragMouseY_ > top && mouse.y <= top)
        hasEnteredFromBelow_ = true;
    else if (mouse.y > top)
        hasEnteredFromBelow_ = false;
    if (mouse.y < top && hasEnteredFromBelow_)
        ImGui::SetScrollY(std::max(0.0f, ImGui::GetScrollY() - ((top - mouse.y) / zone * 12.0f + 3.0f)));
    else if (mouse.y > bottom)
        ImGui::SetScrollY(std::min(ImGui::GetScrollMaxY(), ImGui::GetScrollY() + ((mouse.y - bottom) / zone * 12.0f + 3.0f)));
    lastDragMouseY_ = mouse.y;
}

void Workflow::drawInsertionLine(ImDrawList& list) {
    std::shared_ptr<Block> target = Block::dragTarget;
    if (!isDraggingBlock() || !target || !containsScreenPoint(ImGui::GetIO().MousePos))
        return;
    const int index = BlockLayout::childIndexByY(*target, toTree(ImGui::GetIO().MousePos).y);
    const float y = treeOrigin_.y + BlockLayout::insertionLineY(*target, index, metrics_);
    const float x0 = treeOrigin_.x + target->layout.pos.x + 10.0f;
    const float x1 = treeOrigin_.x + target->layout.pos.x + target->layout.size.x - 10.0f;
    // Pulsing white where the drop is taken, red where it is refused.
    const int alpha = static_cast<int>(std::sin(ImGui::GetTime() * 4.0) * 64.0 + 128.0);
    const ImU32 colour = canDrop() ? IM_COL32(255, 255, 255, alpha) : 0xFF0000FF;
    list.AddLine(ImVec2(x0, y), ImVec2(x1, y), colour, 3.0f);
}

void Workflow::drawDragPreview() {
    std::shared_ptr<Block> source = Block::dragSource;
    if (!source)
        return;
    // The dragged block and what shows of its subtree, following the pointer on top of everything.
    ImDrawList& list = *ImGui::GetForegroundDrawList();
    const ImVec2 mouse = ImGui::GetIO().MousePos;
    const ImVec2 at(mouse.x + dragOffset_.x, mouse.y + dragOffset_.y);
    const ImVec2 shift(at.x - source->layout.pos.x, at.y - source->layout.pos.y);
    const float displayHeight = ImGui::GetIO().DisplaySize.y;
    const int savedState = source->borderState;
    BlockPainter::draw(list, *source, at, metrics_, textures_, false);
    BlockLayout::visit(*source, -shift.y, displayHeight - shift.y, [&](Block& block) {
        BlockPainter::draw(list, block, ImVec2(block.layout.pos.x + shift.x, block.layout.pos.y + shift.y), metrics_,
                           textures_, false);
    });
    source->borderState = savedState;
    ImGui::SetMouseCursor(ImGuiMouseCursor_Hand);
}

void Workflow::handleKeys() {
    const ImGuiIO& io = ImGui::GetIO();
    // The tree's keys while the pointer is on it and no text is being typed; elsewhere the same
    // keys act on the scene's objects.
    if (io.WantTextInput || !areaHovered_ || ImGui::IsPopupOpen("", ImGuiPopupFlags_AnyPopupId))
        return;
    if (keyPressed(ImGui::GetKeyIndex(ImGuiKey_Delete)))
        deleteSelected();
    else if (io.KeyCtrl && !io.KeyShift && keyPressed('c'))
        copySelected();
    else if (io.KeyCtrl && keyPressed('v'))
        pasteAtSelection(io.KeyShift);
    else if (io.KeyCtrl && !io.KeyShift && keyPressed('d'))
        duplicateSelected();
}

void Workflow::drawContextMenu() {
    if (openContextMenu_) {
        ImGui::OpenPopup("##blockContextMenu");
        openContextMenu_ = false;
    }
    if (!ImGui::BeginPopup("##blockContextMenu"))
        return;
    std::shared_ptr<Block> target = contextBlock_;
    const bool valid = target && target->isAlive() && Block::getBlockById(target->getXmlId()) == target;
    if (target && !valid) {
        // The element went away in a reload: the menu has nothing to act on.
        ImGui::CloseCurrentPopup();
        ImGui::EndPopup();
        return;
    }
    if (valid)
        ImGui::TextDisabled("%s", target->getCaption().c_str());
    if (helper_ && Block::schema && ImGui::BeginMenu("Add")) {
        for (const pugi::xml_node& category : Block::schema->getCategories()) {
            const char* name = category.attribute("name").value();
            if (!ImGui::BeginMenu(name))
                continue;
            for (const pugi::xml_node& command : Block::schema->getCommandsByCategory(name)) {
                const char* caption = command.attribute("en_caption").value();
                if (ImGui::MenuItem(*caption ? caption : command.attribute("name").value()))
                    helper_->onBlockAdd(target, command);
            }
            ImGui::EndMenu();
        }
        ImGui::EndMenu();
    }
    if (valid && helper_) {
        if (ImGui::BeginMenu("Duplicate")) {
            for (const char* direction : kDirections)
                if (ImGui::MenuItem(direction))
                    helper_->onBlockDuplicate(target, direction);
            ImGui::EndMenu();
        }
        if (ImGui::MenuItem("Copy", "Ctrl+C"))
            helper_->copyBlock(target);
    }
    if (helper_) {
        if (ImGui::MenuItem("Paste", "Ctrl+V", false, helper_->hasCopiedBlock()))
            helper_->pasteBlock(target, false);
        if (valid && ImGui::MenuItem("Paste Child", "Ctrl+Shift+V", false, helper_->hasCopiedBlock()))
            helper_->pasteBlock(target, true);
    }
    if (valid && helper_) {
        ImGui::Separator();
        if (ImGui::MenuItem("Delete", "Del"))
            helper_->onBlockDelete(target);
    }
    ImGui::EndPopup();
}

} // namespace Lumenda3D
