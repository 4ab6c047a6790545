#pragma once
// The editor's text clipboard: the Edit menu's copy and paste of the source text go through it,
// and so can ImGui's own Ctrl+C / Ctrl+V in text fields once bound. The text goes to an IClip
// (the system clipboard in the editor).
#include <memory>
#include <string>

struct ImGuiContext;

namespace Lumenda3D {

class IClip;

class ClipboardUtils {
public:
    // A null clip keeps the text in this object.
    explicit ClipboardUtils(std::shared_ptr<IClip> clip);
    ~ClipboardUtils();
    ClipboardUtils(const ClipboardUtils&) = delete;
    ClipboardUtils& operator=(const ClipboardUtils&) = delete;

    void setText(const std::string& text);
    std::string getText() const;
    bool hasText() const { return !getText().empty(); }

    // Makes the current ImGui context read and write the clipboard through this object, until it
    // is destroyed. Main thread.
    void bindToImGui();

private:
    static void imguiSetText(void* self, const char* text);
    static const char* imguiGetText(void* self);

    std::shared_ptr<IClip> clip_;
    std::string localText_;    // without a clip
    std::string imguiText_;    // what ImGui last read; it must outlive the call
    ImGuiContext* boundContext_ = nullptr;
    // ImGui's own clipboard functions, put back on destruction.
    void (*previousSet_)(void*, const char*) = nullptr;
    const char* (*previousGet_)(void*) = nullptr;
    void* previousUserData_ = nullptr;
};

} // namespace Lumenda3D
