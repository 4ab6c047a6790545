#include "blocks/BlockTemplate.h"

#include "blocks/Block.h"
#include "blocks/BlockLayout.h"

namespace Lumenda3D {

BlockTemplate* BlockTemplate::draggedTemplate = nullptr;
ImVec2 BlockTemplate::dragOffset{0, 0};
ImVec2 BlockTemplate::dragStartPos{0, 0};
std::function<void(ImDrawList&, const Block&, ImVec2)> BlockTemplate::paintPreview;

BlockTemplate::BlockTemplate(const std::string& windowName, pugi::xml_node commandNode, ImVec4 color)
    : BaseUI(windowName), commandNode_(commandNode), color_(color) {
    blockName_ = commandNode_.attribute("name").value();
    displayName_ = commandNode_.attribute("en_caption").value();
    category_ = commandNode_.attribute("category").value();
    if (displayName_.empty())
        displayName_ = blockName_;
}

BlockTemplate::~BlockTemplate() {
    if (draggedTemplate == this)
        draggedTemplate = nullptr;
}

void BlockTemplate::init() {
    BaseUI::init();
    createPreviewBlock();
}

void BlockTemplate::createPreviewBlock() {
    previewDocument_.reset();
    pugi::xml_node node = previewDocument_.append_child(blockName_.c_str());
    // A preview has no id: it is never registered and selects nothing. It must not become the
    // tree's root either, which any parentless block would while there is none.
    previewBlock_ = std::make_shared<Block>(blockName_, color_, node, nullptr, true);
    previewBlock_->setDisplayCaption(displayName_);
    previewBlock_->init();
}

void BlockTemplate::draw() {
    if (!previewBlock_)
        return;
    const ImVec2 size = previewBlock_->layout.size;
    screenMin_ = ImGui::GetCursorScreenPos();
    screenMax_ = ImVec2(screenMin_.x + size.x, screenMin_.y + size.y);
    const ImVec2 mouse = ImGui::GetIO().MousePos;
    isHovered_ = mouse.x >= screenMin_.x && mouse.x <= screenMax_.x && mouse.y >= screenMin_.y && mouse.y <= screenMax_.y &&
                 ImGui::IsWindowHovered();
    if (ImGui::IsRectVisible(screenMin_, screenMax_) && paintPreview)
        paintPreview(*ImGui::GetWindowDrawList(), *previewBlock_, screenMin_);
    ImGui::Dummy(size);

    // A press on the preview starts its drag, unless a pop-up is open or a widget has the pointer.
    if ((draggedTemplate == this || draggedTemplate == nullptr) &&
        !ImGui::IsPopupOpen("", ImGuiPopupFlags_AnyPopupId | ImGuiPopupFlags_AnyPopupLevel)) {
        if (!ImGui::IsAnyItemActive() && ImGui::IsMouseClicked(0) && isHovered_) {
            isDragging_ = true;
            draggedTemplate = this;
            dragStartPos = mouse;
            dragOffset = ImVec2(dragStartPos.x - screenMin_.x, dragStartPos.y - screenMin_.y);
        }
    }
    if (isDragging_ && !ImGui::IsMouseReleased(0) && ImGui::GetIO().MouseDown[0])
        drawDragPreview();
    if (isDragging_ && (ImGui::IsMouseReleased(0) || !ImGui::GetIO().MouseDown[0]))
        isDragging_ = false;
}

void BlockTemplate::drawDragPreview() {
    if (!paintPreview)
        return;
    const ImVec2 mouse = ImGui::GetIO().MousePos;
    paintPreview(*ImGui::GetForegroundDrawList(), *previewBlock_, ImVec2(mouse.x - dragOffset.x, mouse.y - dragOffset.y));
    ImGui::SetMouseCursor(ImGuiMouseCursor_Hand);
}

} // namespace Lumenda3D
