// Toasts: they live for their seconds of frame time, stack newest first, and a repeated message
// doesn't pile up.
#include "PanelTestSupport.h"

#include "chrome/ToastNotification.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Lumenda3D;
using Lumenda3D::test::PanelTest;

namespace {

class ToastNotificationTest : public PanelTest {
protected:
    // n frames of `seconds` each.
    void run(int n, float seconds) {
        ImGui::GetIO().DeltaTime = seconds;
        for (int i = 0; i < n; ++i)
            ui.frame([this] { toasts.draw(); });
    }
    ToastNotification toasts;
};

TEST_F(ToastNotificationTest, ToastsExpireAfterTheirSecondsAndStackNewestFirst) {
    toasts.show("Saving...", 2.0f);
    run(4, 0.25f);
    toasts.show("Project saved!", 3.0f);
    EXPECT_EQ(toasts.getTexts(), (std::vector<std::string>{"Project saved!", "Saving..."}));

    run(3, 0.25f);  // "Saving..." has had 1.75 of its 2 seconds
    EXPECT_EQ(toasts.getTexts().size(), 2u);
    run(1, 0.25f);
    EXPECT_EQ(toasts.getTexts(), std::vector<std::string>{"Project saved!"});
    run(7, 0.25f);  // 2 of 3 seconds
    EXPECT_EQ(toasts.getTexts().size(), 1u);
    run(4, 0.25f);
    EXPECT_TRUE(toasts.getTexts().empty());

    // No time given means the usual 3 seconds.
    toasts.show("Cache cleared", 0.0f);
    run(11, 0.25f);
    EXPECT_EQ(toasts.getTexts().size(), 1u);
    run(1, 0.25f);
    EXPECT_TRUE(toasts.getTexts().empty());
}

TEST_F(ToastNotificationTest, ARepeatedToastStartsAgainInsteadOfPilingUp) {
    toasts.show("Agent action blocked: run the game");
    run(8, 0.25f);
    toasts.show("Project saved!");
    toasts.show("Agent action blocked: run the game");
    EXPECT_EQ(toasts.getTexts(),
              (std::vector<std::string>{"Agent action blocked: run the game", "Project saved!"}));
    run(8, 0.25f);  // 2 s since the repeat: the first showing alone would have ended
    EXPECT_EQ(toasts.getTexts().size(), 2u);

    // Beyond the limit the oldest go.
    for (int i = 0; i < 8; ++i)
        toasts.show("toast " + std::to_string(i));
    EXPECT_EQ(toasts.getTexts().size(), ToastNotification::kMaxToasts);
    EXPECT_EQ(toasts.getTexts().front(), "toast 7");
}

} // namespace
