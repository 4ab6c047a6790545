#include "engine/app/LmdInputRouter.h"

#include "base/LmdLog.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

using namespace Lumenda3D;

namespace {

struct Layer : OgreBites::InputListener {
    bool takes = false;
    bool throws = false;
    std::vector<std::string> seen;
    bool note(const char* what) {
        seen.push_back(what);
        if (throws)
            throw std::runtime_error("boom");
        return takes;
    }
    bool keyPressed(const OgreBites::KeyboardEvent&) override { return note("keydown"); }
    bool keyReleased(const OgreBites::KeyboardEvent&) override { return note("keyup"); }
    bool mouseMoved(const OgreBites::MouseMotionEvent&) override { return note("move"); }
    bool mousePressed(const OgreBites::MouseButtonEvent&) override { return note("down"); }
    bool mouseReleased(const OgreBites::MouseButtonEvent&) override { return note("up"); }
    bool mouseWheelRolled(const OgreBites::MouseWheelEvent&) override { return note("wheel"); }
};

OgreBites::MouseButtonEvent buttonAt(int x, int y) {
    OgreBites::MouseButtonEvent e{};
    e.x = x;
    e.y = y;
    e.button = OgreBites::BUTTON_LEFT;
    return e;
}

} // namespace

TEST(LmdInputRouterTest, TheInterfaceTakesEventsFirstButReleasesAlwaysReachTheApplication) {
    Layer ui, app;
    LmdInputRouter router(&ui, &app);
    ui.takes = true; // the pointer is over a panel
    router.mousePressed(buttonAt(1, 1));
    router.mouseMoved(OgreBites::MouseMotionEvent{});
    router.mouseWheelRolled(OgreBites::MouseWheelEvent{});
    router.keyPressed(OgreBites::KeyboardEvent{});
    router.mouseReleased(buttonAt(1, 1));
    router.keyReleased(OgreBites::KeyboardEvent{});
    EXPECT_EQ(ui.seen, (std::vector<std::string>{"down", "move", "wheel", "keydown", "up", "keyup"}));
    EXPECT_EQ(app.seen, (std::vector<std::string>{"up", "keyup"}));

    ui.takes = false; // over the scene
    app.seen.clear();
    router.mousePressed(buttonAt(1, 1));
    router.mouseWheelRolled(OgreBites::MouseWheelEvent{});
    EXPECT_EQ(app.seen, (std::vector<std::string>{"down", "wheel"}));
}

TEST(LmdInputRouterTest, AFailingHandlerIsLoggedAndCountsAsHandled) {
    std::vector<std::string> lines;
    LmdLog::setEchoToStderr(false);
    int sink = LmdLog::addSink([&](const std::string& text, LogLevel) { lines.push_back(text); });
    Layer ui, app;
    app.throws = true;
    LmdInputRouter router(&ui, &app);
    EXPECT_TRUE(router.mousePressed(buttonAt(0, 0)));
    LmdLog::removeSink(sink);
    LmdLog::setEchoToStderr(true);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0], "Error in mousePressed: boom");
}

TEST(LmdInputRouterTest, ThePointerObserverSeesEveryPosition) {
    Layer ui;
    ui.takes = true;
    LmdInputRouter router(&ui, nullptr);
    std::vector<std::pair<int, int>> positions;
    router.setPointerObserver([&](int x, int y) { positions.emplace_back(x, y); });
    OgreBites::MouseMotionEvent m{};
    m.x = 4;
    m.y = 5;
    router.mouseMoved(m);
    router.mousePressed(buttonAt(6, 7));
    router.mouseReleased(buttonAt(8, 9));
    EXPECT_EQ(positions, (std::vector<std::pair<int, int>>{{4, 5}, {6, 7}, {8, 9}}));
}
