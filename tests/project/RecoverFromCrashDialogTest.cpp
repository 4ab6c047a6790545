// The crash recovery dialog: the age of an auto-save in words, and its two answers.
#include "PanelTestSupport.h"

#include "project/RecoverFromCrashDialog.h"

#include <gtest/gtest.h>

#include <ctime>

using namespace Lumenda3D;
using Lumenda3D::test::PanelTest;

namespace {

TEST(RecoverFromCrashDialogTime, TellsTheAgeInTheLargestWholeUnit) {
    const long long now = 1700000000;
    auto ago = [&](long long seconds) { return RecoverFromCrashDialog::formatTimeAgo(now - seconds, now); };
    EXPECT_EQ(ago(0), "0 seconds ago");
    EXPECT_EQ(ago(1), "1 second ago");
    EXPECT_EQ(ago(59), "59 seconds ago");
    EXPECT_EQ(ago(60), "1 minute ago");
    EXPECT_EQ(ago(119), "1 minute ago");
    EXPECT_EQ(ago(3599), "59 minutes ago");
    EXPECT_EQ(ago(3600), "1 hour ago");
    EXPECT_EQ(ago(2 * 3600 + 59), "2 hours ago");
    EXPECT_EQ(ago(86399), "23 hours ago");
    EXPECT_EQ(ago(86400), "1 day ago");
    EXPECT_EQ(ago(40 * 86400), "40 days ago");

    EXPECT_EQ(RecoverFromCrashDialog::formatTimeAgo(0, now), "unknown time");
    EXPECT_EQ(RecoverFromCrashDialog::formatTimeAgo(-5, now), "unknown time");
    EXPECT_EQ(RecoverFromCrashDialog::formatTimeAgo(now + 1, now), "unknown time");
    // Milliseconds by mistake look like a time far in the future.
    EXPECT_EQ(RecoverFromCrashDialog::formatTimeAgo(now * 1000, now), "unknown time");
    // Against the clock.
    EXPECT_EQ(RecoverFromCrashDialog::formatTimeAgo(static_cast<long long>(std::time(nullptr)) - 7200), "2 hours ago");
}

class RecoverFromCrashDialogTest : public PanelTest {
protected:
    RecoverFromCrashDialog dialog;
    std::function<void()> draw = [this] { dialog.draw(); };
    int recovered = 0, discarded = 0;
    void offer(const std::string& name, long long timestamp) {
        dialog.show(name, timestamp, [this] { ++recovered; }, [this] { ++discarded; });
    }
};

TEST_F(RecoverFromCrashDialogTest, TheWordsFitHowTheSessionEnded) {
    const long long now = static_cast<long long>(std::time(nullptr));
    offer("Kart", now - 120);
    const std::string crash = dialog.getMessage();
    EXPECT_NE(crash.find("did not close normally while you were working on \"Kart\""), std::string::npos) << crash;

    dialog.show("Kart", now - 120, [] {}, [] {}, true);
    const std::string closed = dialog.getMessage();
    EXPECT_NE(closed.find("was closed while \"Kart\" had changes that were not saved"), std::string::npos) << closed;
    EXPECT_EQ(closed.find("normally"), std::string::npos) << closed;
    // Neither promises a way the editor does not offer.
    for (const std::string& text : {crash, closed}) {
        EXPECT_NE(text.find("2 minutes ago"), std::string::npos);
        EXPECT_EQ(text.find("File >"), std::string::npos) << text;
        EXPECT_EQ(text.find("menu"), std::string::npos) << text;
    }
}

TEST_F(RecoverFromCrashDialogTest, EachButtonCallsItsCallbackOnceAndEscapeNone) {
    offer("Kart", static_cast<long long>(std::time(nullptr)) - 300);
    EXPECT_NE(dialog.getMessage().find("\"Kart\""), std::string::npos);
    EXPECT_NE(dialog.getMessage().find("5 minutes ago"), std::string::npos);
    ui.frame(draw);
    ui.frame(draw);
    pressKey(Lumenda3D::test::kKeyEscape, draw);  // must be answered
    EXPECT_TRUE(dialog.isOpen());
    clickItem(dialog, RecoverFromCrashDialog::kRecoverLabel, draw);
    ui.frame(draw);
    ui.frame(draw);
    EXPECT_EQ(recovered, 1);
    EXPECT_EQ(discarded, 0);
    EXPECT_FALSE(dialog.isOpen());
    EXPECT_FALSE(isPopupOpen(RecoverFromCrashDialog::kTitle));

    offer("", 0);
    EXPECT_NE(dialog.getMessage().find("an unsaved project"), std::string::npos);
    EXPECT_NE(dialog.getMessage().find("at an unknown time"), std::string::npos);
    clickItem(dialog, RecoverFromCrashDialog::kDiscardLabel, draw);
    EXPECT_EQ(recovered, 1);
    EXPECT_EQ(discarded, 1);
    EXPECT_FALSE(dialog.isOpen());
}

} // namespace
