// The top bar: Play and Stop call back once per click, an agent's click on Play is refused, and
// the account button follows the login state.
#include "PanelTestSupport.h"

#include "chrome/TopBar.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Lumenda3D;
using Lumenda3D::test::PanelTest;

namespace {

class TopBarTest : public PanelTest {
protected:
    TopBarTest() {
        bar.setOnPlay([this] {
            ++plays;
            running = true;
        });
        bar.setOnStop([this] {
            ++stops;
            running = false;
        });
        bar.setOnGetIsRunning([this] { return running; });
        bar.setIsAgentDrivenAction([this](const char* action) {
            guardWords.emplace_back(action);
            return agentDriving;
        });
    }
    std::function<void()> draw = [this] { bar.draw(); };
    TopBar bar;
    int plays = 0, stops = 0;
    bool running = false;
    bool agentDriving = false;
    std::vector<std::string> guardWords;
};

TEST_F(TopBarTest, PlayThenStopEachActOncePerClick) {
    clickItem(bar, TopBar::kPlayLabel, draw);
    EXPECT_EQ(plays, 1);
    EXPECT_EQ(guardWords, std::vector<std::string>{"run the game"});
    // While the game runs the same place holds Stop, and Play is gone.
    ui.frame(draw);
    EXPECT_FALSE(isDrawn(bar, TopBar::kPlayLabel));
    clickItem(bar, TopBar::kStopLabel, draw);
    EXPECT_EQ(stops, 1);
    EXPECT_EQ(plays, 1);
}

TEST_F(TopBarTest, AnAgentsClickOnPlayDoesNothing) {
    agentDriving = true;
    clickItem(bar, TopBar::kPlayLabel, draw);
    EXPECT_EQ(plays, 0);
    EXPECT_EQ(guardWords, std::vector<std::string>{"run the game"});
    EXPECT_FALSE(running);
}

TEST_F(TopBarTest, AccountButtonFollowsTheLoginState) {
    int logins = 0, logouts = 0;
    std::string user;
    bar.setOnLogin([&] { ++logins; });
    bar.setOnLogout([&] { ++logouts; });
    bar.setOnGetUserName([&] { return user; });
    clickItem(bar, TopBar::kLoginLabel, draw);
    EXPECT_EQ(logins, 1);
    user = "maker";
    clickItem(bar, TopBar::kLogoutLabel, draw);
    EXPECT_EQ(logouts, 1);
    EXPECT_FALSE(isDrawn(bar, TopBar::kLoginLabel));
}

TEST_F(TopBarTest, ALongTitleStopsShortOfThePlayButton) {
    bar.setProjectTitle(std::string(400, 'W') + " [Local]");
    ui.frame(draw);
    ImVec2 playMin, playMax, titleMin, titleMax;
    ASSERT_TRUE(bar.getItemRect(TopBar::kPlayLabel, playMin, playMax));
    ASSERT_TRUE(bar.getItemRect(TopBar::kTitleId, titleMin, titleMax));
    EXPECT_LT(titleMax.x, playMin.x);
    EXPECT_GT(titleMax.x, playMin.x - 40.0f);  // cut where it has to be, not much earlier
    EXPECT_NEAR(bar.getSize().x, 1280.0f, 0.5f);
}

} // namespace
