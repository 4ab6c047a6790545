#pragma once
// The "Source" tab's editor: the whole game document as XML text, edited in place. The text is
// the editor's copy: setText replaces it (when the tab comes to the front, or on paste from the
// Edit menu) and getText hands it back (when the user returns to the scene, which loads it).
// Besides the text area it shows the line count, the cursor's line and column, whether the text
// was changed since it was set (with a Revert button), and whether it is well-formed XML, with the
// line of the first error, checked after each change.
#include <string>

#include "ui/BaseUI.h"

struct ImFont;

namespace Lumenda3D {

class SourceEditor : public BaseUI {
public:
    // Its slot in AllUI.
    static constexpr const char* kName = "sourceEditor";
    static constexpr const char* kTextLabel = "##sourceText";
    static constexpr const char* kRevertLabel = "Revert##sourceEditor";

    explicit SourceEditor(const std::string& name = kName);

    void draw() override;

    // Replaces the whole text; the changed mark goes off. Takes effect even while the user is
    // typing in the field.
    void setText(const std::string& text);
    const std::string& getText() const { return text_; }

    // The text differs from what setText last put there.
    bool isModified() const { return modified_; }
    // Back to the text of the last setText.
    void revert() { setText(original_); }
    int getLineCount() const;
    // Empty when the text is well-formed XML; otherwise "Line N: " and what is wrong.
    const std::string& getXmlError() const { return xmlError_; }

    // The font of the text area; null keeps ImGui's default font, which is monospaced.
    void setFont(ImFont* font) { font_ = font; }

private:
    static int onTextEvent(ImGuiInputTextCallbackData* data);
    void textChanged();
    void drawStatusRow();

    std::string text_;
    std::string original_;
    std::string xmlError_;
    bool modified_ = false;
    bool replacePending_ = false;  // setText while the field may hold its own copy of the text
    int cursorLine_ = 0;           // 1-based while the field is active, 0 otherwise
    int cursorColumn_ = 0;
    ImFont* font_ = nullptr;
};

} // namespace Lumenda3D
