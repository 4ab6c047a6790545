// The top bar: Play and Stop run their commands of the registry once per click, an agent's click
// on Play is refused by the command's guard, and the account button follows the login state.
#include "PanelTestSupport.h"

#include "chrome/TopBar.h"
#include "ui/AllUI.h"
#include "ui/LmdCommandRegistry.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Lumenda3D;
using Lumenda3D::test::PanelTest;

namespace {

// The bar in a container whose registry holds Play and Stop, as the editor registers them.
class TopBarTest : public PanelTest {
protected:
    TopBarTest() {
        all->setCommands(&commands);
        all->setElement(TopBar::kName, barPtr);
        commands.setAgentGuard([this](const char* action) {
            guardWords.emplace_back(action);
            return agentDriving;
        });
        commands.add({TopBar::kPlayCommand, "Play", {}, [this] { return !running; }, "run the game", [this] {
                          ++plays;
                          running = true;
                      }});
        commands.add({TopBar::kStopCommand, "Stop", {}, [this] { return running; }, "", [this] {
                          ++stops;
                          running = false;
                      }});
    }
    std::function<void()> draw = [this] { bar.draw(); };
    LmdCommandRegistry commands;
    std::shared_ptr<AllUI> all = std::make_shared<AllUI>();
    std::shared_ptr<TopBar> barPtr = std::make_shared<TopBar>();
    TopBar& bar = *barPtr;
    int plays = 0, stops = 0;
    bool running = false;
    bool agentDriving = false;
    std::vector<std::string> guardWords;
};

TEST_F(TopBarTest, PlayThenStopEachRunTheirCommandOncePerClick) {
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

TEST_F(TopBarTest, WithoutCommandsPlayIsShownAndDoesNothing) {
    TopBar alone;
    std::function<void()> drawAlone = [&] { alone.draw(); };
    clickItem(alone, TopBar::kPlayLabel, drawAlone);
    EXPECT_EQ(plays, 0);
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
