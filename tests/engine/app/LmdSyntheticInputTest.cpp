#include "engine/app/LmdSyntheticInput.h"

#include "engine/app/LmdKeyNames.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

using namespace Lumenda3D;

namespace {

// What a listener saw: one record per event, with the frame it arrived in.
struct Record {
    int frame;
    double time;
    std::string what; // "move", "down", "up", "keydown", "keyup", "text", "wheel"
    int x = 0, y = 0, button = 0, value = 0;
    unsigned short mod = 0;
    int depth = 0;
};

class RecordingSink : public OgreBites::InputListener {
public:
    explicit RecordingSink(const LmdSyntheticInput& input) : input(input) {}
    bool mouseMoved(const OgreBites::MouseMotionEvent& e) override { return add("move", e.x, e.y, 0, 0, 0); }
    bool mousePressed(const OgreBites::MouseButtonEvent& e) override {
        if (throwOnPress)
            throw std::runtime_error("listener failed");
        return add("down", e.x, e.y, e.button, 0, 0);
    }
    bool mouseReleased(const OgreBites::MouseButtonEvent& e) override { return add("up", e.x, e.y, e.button, 0, 0); }
    bool keyPressed(const OgreBites::KeyboardEvent& e) override { return add("keydown", 0, 0, 0, e.keysym.sym, e.keysym.mod); }
    bool keyReleased(const OgreBites::KeyboardEvent& e) override { return add("keyup", 0, 0, 0, e.keysym.sym, e.keysym.mod); }
    bool textInput(const OgreBites::TextInputEvent& e) override { return add("text", 0, 0, 0, e.chars[0], 0); }
    bool mouseWheelRolled(const OgreBites::MouseWheelEvent& e) override { return add("wheel", 0, 0, 0, e.y, 0); }

    bool add(const char* what, int x, int y, int button, int value, unsigned short mod) {
        records.push_back({frame, time, what, x, y, button, value, mod, input.depth()});
        return false;
    }
    std::vector<Record> of(const std::string& what) const {
        std::vector<Record> out;
        for (const Record& r : records)
            if (r.what == what)
                out.push_back(r);
        return out;
    }

    const LmdSyntheticInput& input;
    std::vector<Record> records;
    int frame = 0;
    double time = 0;
    bool throwOnPress = false;
};

// Plays frames on a fake clock until the queue is empty (or a frame limit).
class SyntheticInputTest : public ::testing::Test {
protected:
    void play(double frameSeconds = 1.0 / 60, int maxFrames = 2000) {
        for (int i = 0; i < maxFrames && input.isActive(); ++i)
            step(frameSeconds);
    }
    void step(double frameSeconds = 1.0 / 60) {
        sink.frame = ++frame;
        sink.time = now;
        input.update(now, sink);
        now += frameSeconds;
    }
    // No frame may carry a press together with a release, nor a move together with either.
    void expectOneKindOfTransitionPerFrame() {
        auto kind = [](const std::string& w) {
            if (w == "down" || w == "keydown" || w == "text")
                return 1;
            if (w == "up" || w == "keyup")
                return 2;
            if (w == "wheel")
                return 3;
            return 0;
        };
        for (std::size_t i = 1; i < sink.records.size(); ++i) {
            if (sink.records[i].frame == sink.records[i - 1].frame) {
                EXPECT_EQ(kind(sink.records[i].what), kind(sink.records[i - 1].what))
                    << sink.records[i - 1].what << " and " << sink.records[i].what << " in frame " << sink.records[i].frame;
            }
        }
    }

    LmdSyntheticInput input;
    RecordingSink sink{input};
    std::string error;
    int frame = 0;
    double now = 100.0;
};

} // namespace

TEST_F(SyntheticInputTest, ClickMovesThenPressesThenReleasesAfterTheHoldInLaterFrames) {
    ASSERT_TRUE(input.queueClick(300, 200, OgreBites::BUTTON_LEFT, 0.1f, error));
    EXPECT_TRUE(input.isActive());
    EXPECT_EQ(input.depth(), 0);
    play();
    EXPECT_FALSE(input.isActive());

    ASSERT_EQ(sink.records.size(), 3u);
    const Record& move = sink.records[0];
    const Record& down = sink.records[1];
    const Record& up = sink.records[2];
    EXPECT_EQ(move.what, "move");
    EXPECT_EQ(down.what, "down");
    EXPECT_EQ(up.what, "up");
    EXPECT_EQ(down.x, 300);
    EXPECT_EQ(down.y, 200);
    EXPECT_EQ(down.button, OgreBites::BUTTON_LEFT);
    EXPECT_LT(move.frame, down.frame) << "the pointer arrives before it presses";
    EXPECT_GE(up.time - down.time, 0.1 - 1e-9) << "held for the hold time";
    EXPECT_LT(up.time - down.time, 0.1 + 1.0 / 60 + 1e-9) << "and released in the first frame after it";
    for (const Record& r : sink.records)
        EXPECT_EQ(r.depth, 1) << "depth is raised during delivery";
    EXPECT_EQ(input.depth(), 0);
    EXPECT_TRUE(input.hasCrosshair());
    EXPECT_EQ(input.crosshairX(), 300);
    EXPECT_EQ(input.crosshairY(), 200);
}

TEST_F(SyntheticInputTest, ZeroHoldStillReleasesInTheNextFrame) {
    ASSERT_TRUE(input.queueClick(5, 5, OgreBites::BUTTON_RIGHT, 0.0f, error));
    play();
    auto downs = sink.of("down"), ups = sink.of("up");
    ASSERT_EQ(downs.size(), 1u);
    ASSERT_EQ(ups.size(), 1u);
    EXPECT_EQ(ups[0].frame, downs[0].frame + 1);
    EXPECT_EQ(ups[0].button, OgreBites::BUTTON_RIGHT);

    // Even a frame clock that stands still cannot put them into one frame.
    ASSERT_TRUE(input.queueClick(5, 5, OgreBites::BUTTON_LEFT, 0.0f, error));
    play(0.0);
    expectOneKindOfTransitionPerFrame();
}

TEST_F(SyntheticInputTest, KeyCombinationGoesDownTogetherWithModifiersAndUpInReverse) {
    ASSERT_TRUE(input.queueKeys({"ctrl", "Z"}, 0.05f, error)) << error;
    play();
    auto downs = sink.of("keydown"), ups = sink.of("keyup");
    ASSERT_EQ(downs.size(), 2u);
    ASSERT_EQ(ups.size(), 2u);
    EXPECT_EQ(downs[0].frame, downs[1].frame) << "a combination is pressed at once";
    EXPECT_EQ(downs[1].value, 'z');
    EXPECT_NE(downs[1].mod & OgreBites::KMOD_CTRL, 0) << "z arrives with ctrl held";
    EXPECT_EQ(ups[0].value, 'z') << "released in reverse order";
    EXPECT_NE(ups[0].mod & OgreBites::KMOD_CTRL, 0);
    EXPECT_EQ(ups[1].mod & OgreBites::KMOD_CTRL, 0) << "ctrl's own release clears its bit";
    EXPECT_GT(ups[0].frame, downs[0].frame);
    EXPECT_TRUE(sink.of("text").empty()) << "ctrl+z types nothing";
    EXPECT_EQ(input.modifiers(), 0);
}

TEST_F(SyntheticInputTest, PrintableKeysAlsoSendTheirText) {
    ASSERT_TRUE(input.queueSequence({{LmdInputStep::KeyDown, 0, 0, OgreBites::BUTTON_LEFT, "shift", 0, 0},
                                     {LmdInputStep::KeyDown, 0, 0, OgreBites::BUTTON_LEFT, "a", 0, 0},
                                     {LmdInputStep::KeyUp, 0, 0, OgreBites::BUTTON_LEFT, "a", 0, 0},
                                     {LmdInputStep::KeyUp, 0, 0, OgreBites::BUTTON_LEFT, "shift", 0, 0},
                                     {LmdInputStep::KeyDown, 0, 0, OgreBites::BUTTON_LEFT, "b", 0, 0},
                                     {LmdInputStep::KeyUp, 0, 0, OgreBites::BUTTON_LEFT, "b", 0, 0}},
                                    error))
        << error;
    play();
    auto text = sink.of("text");
    ASSERT_EQ(text.size(), 2u);
    EXPECT_EQ(text[0].value, 'A');
    EXPECT_EQ(text[1].value, 'b');
    expectOneKindOfTransitionPerFrame();
}

TEST_F(SyntheticInputTest, UnknownKeyQueuesNothing) {
    EXPECT_FALSE(input.queueKeys({"a", "warp"}, 0.1f, error));
    EXPECT_NE(error.find("warp"), std::string::npos);
    EXPECT_FALSE(input.isActive());
    EXPECT_FALSE(input.queueKeys({}, 0.1f, error));
    EXPECT_FALSE(input.isActive());
}

TEST_F(SyntheticInputTest, DragGlidesFromStartToEndOverItsDuration) {
    ASSERT_TRUE(input.queueDrag(100, 100, 400, 250, OgreBites::BUTTON_LEFT, 0.5f, error));
    play();
    auto downs = sink.of("down"), ups = sink.of("up"), moves = sink.of("move");
    ASSERT_EQ(downs.size(), 1u);
    ASSERT_EQ(ups.size(), 1u);
    EXPECT_EQ(downs[0].x, 100);
    EXPECT_EQ(downs[0].y, 100);
    EXPECT_EQ(ups[0].x, 400);
    EXPECT_EQ(ups[0].y, 250);

    std::vector<Record> glide;
    for (const Record& m : moves)
        if (m.frame > downs[0].frame && m.frame < ups[0].frame)
            glide.push_back(m);
    ASSERT_GE(glide.size(), 25u) << "about one move a frame for half a second";
    for (std::size_t i = 1; i < glide.size(); ++i) {
        EXPECT_GE(glide[i].x, glide[i - 1].x);
        EXPECT_GE(glide[i].y, glide[i - 1].y);
        EXPECT_GT(glide[i].frame, glide[i - 1].frame) << "one position a frame";
    }
    EXPECT_EQ(glide.back().x, 400);
    EXPECT_EQ(glide.back().y, 250);
    EXPECT_GE(glide.back().time - glide.front().time, 0.5 - 2.0 / 60);
    EXPECT_GT(ups[0].frame, glide.back().frame) << "dropped after arriving";
    EXPECT_EQ(input.crosshairX(), 400);
    EXPECT_EQ(input.crosshairY(), 250);
    expectOneKindOfTransitionPerFrame();
}

TEST_F(SyntheticInputTest, ScrollRollsWholeNotchesOnePerFrame) {
    ASSERT_TRUE(input.queueScroll(50, 60, 3.0f, error));
    play();
    auto wheels = sink.of("wheel");
    ASSERT_EQ(wheels.size(), 3u);
    for (std::size_t i = 0; i < wheels.size(); ++i) {
        EXPECT_EQ(wheels[i].value, 1);
        if (i) {
            EXPECT_GT(wheels[i].frame, wheels[i - 1].frame);
        }
    }
    EXPECT_EQ(sink.of("move").front().x, 50);

    sink.records.clear();
    ASSERT_TRUE(input.queueScroll(50, 60, -2.4f, error));
    play();
    ASSERT_EQ(sink.of("wheel").size(), 2u);
    EXPECT_EQ(sink.of("wheel")[0].value, -1);

    sink.records.clear();
    ASSERT_TRUE(input.queueScroll(50, 60, 0.3f, error));
    play();
    EXPECT_EQ(sink.of("wheel").size(), 1u) << "a small amount still rolls once";

    sink.records.clear();
    ASSERT_TRUE(input.queueScroll(70, 60, 0.0f, error));
    play();
    EXPECT_TRUE(sink.of("wheel").empty());
    EXPECT_EQ(input.cursorX(), 70);
}

TEST_F(SyntheticInputTest, SequenceKeepsAButtonHeldAcrossStepsAndStartsFromTheRealPointer) {
    input.noteCursor(10, 20); // where a person left the pointer
    std::vector<LmdInputStep> steps(5);
    steps[0].op = LmdInputStep::Down;
    steps[1].op = LmdInputStep::Wait;
    steps[1].seconds = 0.6f;
    steps[2].op = LmdInputStep::Move;
    steps[2].x = 210;
    steps[2].y = 20;
    steps[2].seconds = 0.2f;
    steps[3].op = LmdInputStep::Up;
    steps[4].op = LmdInputStep::Scroll;
    steps[4].x = 5;
    steps[4].y = 5;
    steps[4].amount = 1;
    ASSERT_TRUE(input.queueSequence(steps, error)) << error;
    play();
    auto downs = sink.of("down"), ups = sink.of("up");
    ASSERT_EQ(downs.size(), 1u);
    EXPECT_EQ(downs[0].x, 10) << "a down step acts at the pointer";
    EXPECT_EQ(downs[0].y, 20);
    ASSERT_EQ(ups.size(), 1u);
    EXPECT_EQ(ups[0].x, 210);
    EXPECT_GE(ups[0].time - downs[0].time, 0.8 - 1e-9);
    for (const Record& m : sink.of("move")) {
        if (m.frame > downs[0].frame && m.frame < ups[0].frame) {
            EXPECT_TRUE(m.x >= 10 && m.x <= 210 && m.y == 20);
        }
    }
    EXPECT_EQ(input.crosshairX(), 210) << "the crosshair marks the end of the drag";
    EXPECT_EQ(sink.of("wheel").size(), 1u);
    expectOneKindOfTransitionPerFrame();
}

TEST_F(SyntheticInputTest, BadSequenceStepQueuesNothing) {
    std::vector<LmdInputStep> steps(3);
    steps[0].op = LmdInputStep::Move;
    steps[1].op = LmdInputStep::KeyDown;
    steps[1].key = "a";
    steps[2].op = LmdInputStep::KeyDown;
    steps[2].key = "nokey";
    EXPECT_FALSE(input.queueSequence(steps, error));
    EXPECT_NE(error.find("Step 3"), std::string::npos) << error;
    EXPECT_FALSE(input.isActive());
    steps[2].op = 42;
    EXPECT_FALSE(input.queueSequence(steps, error));
    EXPECT_FALSE(input.queueSequence({}, error));
    EXPECT_FALSE(input.queueClick(1, 1, OgreBites::ButtonType(7), 0.1f, error));
    EXPECT_FALSE(input.isActive());
}

TEST_F(SyntheticInputTest, QueuesPlayInOrderOneAfterTheOther) {
    ASSERT_TRUE(input.queueKeys({"x"}, 0.0f, error));
    ASSERT_TRUE(input.queueClick(9, 9, OgreBites::BUTTON_LEFT, 0.0f, error));
    ASSERT_TRUE(input.queueKeys({"y"}, 0.0f, error));
    play();
    std::vector<std::string> order;
    for (const Record& r : sink.records)
        if (r.what != "text" && r.what != "move")
            order.push_back(r.what + (r.value ? std::string(1, char(r.value)) : ""));
    EXPECT_EQ(order, (std::vector<std::string>{"keydownx", "keyupx", "down", "up", "keydowny", "keyupy"}));
}

TEST_F(SyntheticInputTest, AFailingListenerNeitherStallsTheQueueNorLeavesTheDepthRaised) {
    sink.throwOnPress = true;
    ASSERT_TRUE(input.queueClick(1, 2, OgreBites::BUTTON_LEFT, 0.0f, error));
    for (int i = 0; i < 10 && input.isActive(); ++i) {
        try {
            step();
        } catch (const std::runtime_error&) {
        }
        EXPECT_EQ(input.depth(), 0);
    }
    EXPECT_FALSE(input.isActive());
    EXPECT_EQ(sink.of("up").size(), 1u);
}

TEST_F(SyntheticInputTest, CancelReleasesWhatIsHeld) {
    std::vector<LmdInputStep> steps(3);
    steps[0].op = LmdInputStep::KeyDown;
    steps[0].key = "shift";
    steps[1].op = LmdInputStep::Down;
    steps[1].button = OgreBites::BUTTON_MIDDLE;
    steps[2].op = LmdInputStep::Wait;
    steps[2].seconds = 5;
    ASSERT_TRUE(input.queueSequence(steps, error));
    step();
    step();
    ASSERT_TRUE(input.isActive());
    ASSERT_EQ(sink.of("down").size(), 1u);
    input.cancel(sink);
    EXPECT_FALSE(input.isActive());
    ASSERT_EQ(sink.of("up").size(), 1u);
    EXPECT_EQ(sink.of("up")[0].button, OgreBites::BUTTON_MIDDLE);
    ASSERT_EQ(sink.of("keyup").size(), 1u);
    EXPECT_EQ(input.modifiers(), 0);
}
