#include "chrome/SourceEditor.h"

#include <imgui_internal.h>
#include <pugixml.hpp>

#include <algorithm>

namespace Lumenda3D {

namespace {

int lineOfOffset(const char* text, size_t length, size_t offset) {
    offset = std::min(offset, length);
    return 1 + static_cast<int>(std::count(text, text + offset, '\n'));
}

} // namespace

SourceEditor::SourceEditor(const std::string& name) : BaseUI(name) {}

void SourceEditor::setText(const std::string& text) {
    text_ = text;
    original_ = text;
    modified_ = false;
    replacePending_ = true;
    textChanged();
}

int SourceEditor::getLineCount() const {
    return 1 + static_cast<int>(std::count(text_.begin(), text_.end(), '\n'));
}

void SourceEditor::textChanged() {
    pugi::xml_document document;
    const pugi::xml_parse_result result = document.load_buffer(text_.data(), text_.size());
    if (result)
        xmlError_.clear();
    else
        xmlError_ = "Line " + std::to_string(lineOfOffset(text_.data(), text_.size(), static_cast<size_t>(result.offset))) +
                    ": " + result.description();
}

int SourceEditor::onTextEvent(ImGuiInputTextCallbackData* data) {
    // Runs every frame while the field is active: the cursor's line and column.
    auto* self = static_cast<SourceEditor*>(data->UserData);
    const size_t cursor = static_cast<size_t>(std::max(0, data->CursorPos));
    const char* begin = data->Buf;
    const size_t end = std::min(cursor, static_cast<size_t>(data->BufTextLen));
    self->cursorLine_ = lineOfOffset(begin, static_cast<size_t>(data->BufTextLen), end);
    size_t lineStart = end;
    while (lineStart > 0 && begin[lineStart - 1] != '\n')
        --lineStart;
    // Columns count characters, not bytes.
    int column = 1;
    for (size_t i = lineStart; i < end; ++i)
        if ((static_cast<unsigned char>(begin[i]) & 0xC0) != 0x80)
            ++column;
    self->cursorColumn_ = column;
    return 0;
}

void SourceEditor::draw() {
    const ImGuiViewport* viewport = ImGui::GetMainViewport();
    float top = viewport->Pos.y;
    for (const char* above : {"topBar", "tabs"})
        if (auto element = getElementByName(above))
            top = std::max(top, element->getBottom());
    const float height = std::max(viewport->Pos.y + viewport->Size.y - top, scaled(60.0f));
    ImGui::SetNextWindowPos(ImVec2(viewport->Pos.x, top));
    ImGui::SetNextWindowSize(ImVec2(viewport->Size.x, height));
    const ImGuiWindowFlags flags = ImGuiWindowFlags_NoDecoration | ImGuiWindowFlags_NoMove |
                                   ImGuiWindowFlags_NoSavedSettings | ImGuiWindowFlags_NoBringToFrontOnFocus;
    ImGui::Begin("Source##sourceEditor", nullptr, flags);

    drawStatusRow();

    // ImGui edits its own copy of the text while the field is active and would write that copy
    // back over a text set from outside: let go of the field so that it takes the new text, and
    // focus it again so that the user can type on (the cursor keeps its place where it can).
    if (replacePending_) {
        if (ImGui::GetActiveID() == ImGui::GetID(kTextLabel)) {
            ImGui::ClearActiveID();
            ImGui::SetKeyboardFocusHere();
        }
        replacePending_ = false;
    }

    if (font_)
        ImGui::PushFont(font_);
    cursorLine_ = 0;
    const bool changed = inputTextMultiline(kTextLabel, text_, ImVec2(-FLT_MIN, -FLT_MIN),
                                            ImGuiInputTextFlags_AllowTabInput | ImGuiInputTextFlags_CallbackAlways,
                                            onTextEvent, this);
    if (font_)
        ImGui::PopFont();
    if (changed) {
        modified_ = text_ != original_;
        textChanged();
    }

    calculateSize();
    ImGui::End();
}

void SourceEditor::drawStatusRow() {
    // The button comes first so that it stays in place while the texts after it change width.
    ImGui::BeginDisabled(!modified_);
    if (button(kRevertLabel))
        revert();
    ImGui::EndDisabled();
    ImGui::SameLine();
    if (modified_)
        ImGui::TextColored(ImVec4(1.0f, 0.75f, 0.3f, 1.0f), "* Modified");
    else
        ImGui::TextDisabled("Unchanged");
    ImGui::SameLine(0.0f, scaled(16.0f));
    ImGui::Text("Lines: %d", getLineCount());
    if (cursorLine_ > 0) {
        ImGui::SameLine();
        ImGui::TextDisabled("Ln %d, Col %d", cursorLine_, cursorColumn_);
    }
    ImGui::SameLine(0.0f, scaled(16.0f));
    if (xmlError_.empty())
        ImGui::TextColored(ImVec4(0.45f, 0.85f, 0.45f, 1.0f), "XML OK");
    else
        ImGui::TextColored(ImVec4(1.0f, 0.4f, 0.4f, 1.0f), "%s", xmlError_.c_str());
}

} // namespace Lumenda3D
