// The editor's clipboard: copy and paste work without a display, reach the system clipboard
// when there is one, and ImGui's own Ctrl+C / Ctrl+V can be routed through it.
#include "ImGuiHarness.h"

#include "ui/ClipboardUtils.h"
#include "ui/DefaultClip.h"

#include <SDL.h>

#include <gtest/gtest.h>

using namespace Lumenda3D;

namespace {

class RecordingClip : public IClip {
public:
    void setText(const std::string& text) override {
        ++sets;
        stored = text;
    }
    std::string getText() override { return stored; }
    std::string stored;
    int sets = 0;
};

TEST(ClipboardUtils, CopyAndPasteWorkWithoutADisplay) {
    if (DefaultClip::hasSystemClipboard())
        GTEST_SKIP() << "SDL video is up in this process";
    ClipboardUtils clipboard(std::make_shared<DefaultClip>());
    EXPECT_FALSE(clipboard.hasText());
    clipboard.setText("<Level name=\"one\"/>");
    EXPECT_EQ(clipboard.getText(), "<Level name=\"one\"/>");
}

TEST(ClipboardUtils, UsesTheSystemClipboardOnceSdlVideoIsUp) {
    const bool wasUp = DefaultClip::hasSystemClipboard();
    if (!wasUp) {
        // SDL's display-less driver keeps a clipboard of its own, as a desktop's would.
        const char* previous = SDL_GetHint(SDL_HINT_VIDEODRIVER);
        const std::string saved = previous ? previous : "";
        SDL_SetHint(SDL_HINT_VIDEODRIVER, "dummy");
        const int result = SDL_InitSubSystem(SDL_INIT_VIDEO);
        SDL_SetHint(SDL_HINT_VIDEODRIVER, previous ? saved.c_str() : nullptr);
        if (result != 0)
            GTEST_SKIP() << "no SDL video driver: " << SDL_GetError();
    }
    ClipboardUtils clipboard(std::make_shared<DefaultClip>());
    clipboard.setText("copied in the editor");
    char* system = SDL_GetClipboardText();
    EXPECT_STREQ(system, "copied in the editor");
    SDL_free(system);
    SDL_SetClipboardText("copied in another program");
    EXPECT_EQ(clipboard.getText(), "copied in another program");
    if (!wasUp)
        SDL_QuitSubSystem(SDL_INIT_VIDEO);
}

TEST(ClipboardUtils, ImGuiTextFieldsCopyAndPasteThroughItWhileBound) {
    test::ImGuiHarness ui;
    auto clip = std::make_shared<RecordingClip>();
    {
        ClipboardUtils clipboard(clip);
        clipboard.bindToImGui();
        ui.frame([] { ImGui::SetClipboardText("from a text field"); });
        EXPECT_EQ(clip->stored, "from a text field");
        clip->stored = "from the system";
        std::string pasted;
        ui.frame([&] { pasted = ImGui::GetClipboardText(); });
        EXPECT_EQ(pasted, "from the system");
    }
    // Once the clipboard object is gone, ImGui's own clipboard is back and the clip isn't used.
    ui.frame([] { ImGui::SetClipboardText("after"); });
    std::string after;
    ui.frame([&] { after = ImGui::GetClipboardText(); });
    EXPECT_EQ(after, "after");
    EXPECT_EQ(clip->sets, 1);
}

} // namespace
