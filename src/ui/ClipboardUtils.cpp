#include "ui/ClipboardUtils.h"

#include <imgui.h>

#include "ui/IClip.h"

namespace Lumenda3D {

ClipboardUtils::ClipboardUtils(std::shared_ptr<IClip> clip) : clip_(std::move(clip)) {}

ClipboardUtils::~ClipboardUtils() {
    if (boundContext_ == nullptr || ImGui::GetCurrentContext() != boundContext_)
        return;
    ImGuiIO& io = ImGui::GetIO();
    if (io.ClipboardUserData == this) {
        io.SetClipboardTextFn = previousSet_;
        io.GetClipboardTextFn = previousGet_;
        io.ClipboardUserData = previousUserData_;
    }
}

void ClipboardUtils::setText(const std::string& text) {
    if (clip_)
        clip_->setText(text);
    else
        localText_ = text;
}

std::string ClipboardUtils::getText() const { return clip_ ? clip_->getText() : localText_; }

void ClipboardUtils::bindToImGui() {
    boundContext_ = ImGui::GetCurrentContext();
    if (boundContext_ == nullptr)
        return;
    ImGuiIO& io = ImGui::GetIO();
    if (io.ClipboardUserData != this) {
        previousSet_ = io.SetClipboardTextFn;
        previousGet_ = io.GetClipboardTextFn;
        previousUserData_ = io.ClipboardUserData;
    }
    io.SetClipboardTextFn = &ClipboardUtils::imguiSetText;
    io.GetClipboardTextFn = &ClipboardUtils::imguiGetText;
    io.ClipboardUserData = this;
}

void ClipboardUtils::imguiSetText(void* self, const char* text) {
    static_cast<ClipboardUtils*>(self)->setText(text ? text : "");
}

const char* ClipboardUtils::imguiGetText(void* self) {
    auto* clipboard = static_cast<ClipboardUtils*>(self);
    clipboard->imguiText_ = clipboard->getText();
    return clipboard->imguiText_.c_str();
}

} // namespace Lumenda3D
