// The 2D gizmo over elements laid out in an 800 x 600 window: moving, resizing from each corner
// whatever the element's anchor, what each kind of element changes, and what gets committed.
#include "engine/gizmo/LmdGizmo2D.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "engine/gizmo/LmdGizmoEvents.h"
#include "engine/scene/LmdLayer2D.h"

namespace Lumenda3D {
namespace {

constexpr float kWidth = 800.0f, kHeight = 600.0f;
using Handle = LmdGizmo2D::Handle;

class Gizmo2DTest : public ::testing::Test {
protected:
    Gizmo2DTest() {
        LmdGizmo2D::Services services;
        services.fire = [this](LmdEventEnum id, std::shared_ptr<LmdEvent> event) { fired.emplace_back(id, event); };
        services.commit = [this](LmdBase2D& element, const std::vector<std::pair<std::string, float>>& values) {
            committed.push_back({&element, std::map<std::string, float>(values.begin(), values.end())});
        };
        services.view = [] { return LmdRect2D{0.0f, 0.0f, kWidth, kHeight}; };
        gizmo.setServices(services);
    }

    std::unique_ptr<LmdBase2D> element(LmdElementKind kind, const std::string& anchor, float x, float y, float w,
                                       float h) {
        LmdElementDesc d;
        d.kind = kind;
        d.xmlId = 5;
        d.anchor = anchor;
        d.x = x, d.y = y, d.width = w, d.height = h;
        auto e = std::make_unique<LmdBase2D>(d);
        LmdLayer2D::layout(*e, kWidth, kHeight);
        return e;
    }
    // Press at a handle of the element's frame, drag by (dx, dy), release.
    bool drag(LmdBase2D& e, Handle handle, float dx, float dy) {
        float x = 0, y = 0;
        LmdGizmo2D::handleCentre(e.getScreenRect(), handle, x, y);
        if (!gizmo.mousePressed(int(x), int(y)))
            return false;
        gizmo.mouseMoved(int(x + dx * 0.5f), int(y + dy * 0.5f));
        gizmo.mouseMoved(int(x + dx), int(y + dy));
        const bool dragged = gizmo.mouseReleased(int(x + dx), int(y + dy));
        LmdLayer2D::layout(e, kWidth, kHeight); // the next frame's layout
        return dragged;
    }
    static void expectRect(const LmdRect2D& r, float x, float y, float w, float h) {
        EXPECT_FLOAT_EQ(r.x, x);
        EXPECT_FLOAT_EQ(r.y, y);
        EXPECT_FLOAT_EQ(r.width, w);
        EXPECT_FLOAT_EQ(r.height, h);
    }

    struct Commit {
        LmdBase2D* element;
        std::map<std::string, float> values;
    };
    LmdGizmo2D gizmo;
    std::vector<std::pair<LmdEventEnum, std::shared_ptr<LmdEvent>>> fired;
    std::vector<Commit> committed;
};

TEST_F(Gizmo2DTest, CornersResizeWithTheOppositeCornerFixedAndNeverFlip) {
    const LmdRect2D start{100, 100, 50, 40};
    expectRect(LmdGizmo2D::resized(start, Handle::BottomRight, 10, 20), 100, 100, 60, 60);
    expectRect(LmdGizmo2D::resized(start, Handle::TopLeft, -10, 5), 90, 105, 60, 35);
    expectRect(LmdGizmo2D::resized(start, Handle::TopRight, 5, -5), 100, 95, 55, 45);
    expectRect(LmdGizmo2D::resized(start, Handle::BottomLeft, 100, 100), 146, 100, 4, 140);
    expectRect(LmdGizmo2D::resized(start, Handle::Move, 7, 7), 100, 100, 50, 40);
}

TEST_F(Gizmo2DTest, AttachFiresAndClicksStillSelect) {
    auto rect = element(LmdElementKind::Rect, "topLeft", 10, 20, 200, 20);
    gizmo.attach(rect.get());
    gizmo.attach(rect.get());
    ASSERT_EQ(fired.size(), 1u);
    EXPECT_EQ(fired[0].first, LmdEventGizmoAttached);
    EXPECT_EQ(std::dynamic_pointer_cast<LmdGizmo2DEvent>(fired[0].second)->getObject(), rect.get());

    EXPECT_FALSE(gizmo.mousePressed(500, 500)); // outside the frame
    EXPECT_EQ(gizmo.handleAt(10, 20), Handle::TopLeft);
    EXPECT_EQ(gizmo.handleAt(100, 30), Handle::Move);
    ASSERT_TRUE(gizmo.mousePressed(100, 30));
    EXPECT_FALSE(gizmo.mouseReleased(101, 31)); // within the threshold: a click
    EXPECT_TRUE(committed.empty());

    // Not on screen (another level shown, or hidden): no frame to take.
    gizmo.setShown(false);
    EXPECT_EQ(gizmo.handleAt(100, 30), Handle::None);
    EXPECT_FALSE(gizmo.mousePressed(100, 30));
    gizmo.setShown(true);

    gizmo.detach();
    EXPECT_EQ(fired.back().first, LmdEventGizmoDetached);
    EXPECT_FALSE(gizmo.mousePressed(100, 30));
}

TEST_F(Gizmo2DTest, MovingAddsThePointersMoveWhateverTheAnchor) {
    auto rect = element(LmdElementKind::Rect, "bottomRight", -20, -10, 200, 20);
    expectRect(rect->getScreenRect(), 580, 570, 200, 20);
    gizmo.attach(rect.get());
    ASSERT_TRUE(drag(*rect, Handle::Move, 30, -10));
    EXPECT_FLOAT_EQ(rect->getDesc().x, 10.0f);
    EXPECT_FLOAT_EQ(rect->getDesc().y, -20.0f);
    ASSERT_EQ(committed.size(), 1u);
    EXPECT_EQ(committed[0].values, (std::map<std::string, float>{{"x", 10.0f}, {"y", -20.0f}}));
}

TEST_F(Gizmo2DTest, ResizingCorrectsThePositionForTheAnchor) {
    // Anchored at the window's bottom-right: its top-left corner grows without moving (x, y)...
    auto rect = element(LmdElementKind::Rect, "bottomRight", -20, -10, 200, 20);
    gizmo.attach(rect.get());
    ASSERT_TRUE(drag(*rect, Handle::TopLeft, -50, -30));
    expectRect(rect->getScreenRect(), 530, 540, 250, 50);
    EXPECT_EQ(committed.back().values, (std::map<std::string, float>{{"width", 250.0f}, {"height", 50.0f}}));
    // ...its bottom-right corner moves the anchor point with it.
    ASSERT_TRUE(drag(*rect, Handle::BottomRight, 10, 5));
    expectRect(rect->getScreenRect(), 530, 540, 260, 55);
    EXPECT_EQ(committed.back().values,
              (std::map<std::string, float>{{"x", -10.0f}, {"y", -5.0f}, {"width", 260.0f}, {"height", 55.0f}}));

    // Centred in the window.
    auto image = element(LmdElementKind::Image, "center", 0, 0, 100, 100);
    gizmo.attach(image.get());
    ASSERT_TRUE(drag(*image, Handle::TopRight, 20, -20));
    expectRect(image->getScreenRect(), 350, 230, 120, 120);
}

TEST_F(Gizmo2DTest, TextsScaleTheirFontAndJoysticksStayRound) {
    auto text = element(LmdElementKind::Text, "topLeft", 20, 20, 100, 24);
    text->desc().fontSize = 24;
    gizmo.attach(text.get());
    ASSERT_TRUE(drag(*text, Handle::BottomRight, 0, 24));
    EXPECT_EQ(text->getDesc().fontSize, 48);
    EXPECT_EQ(committed.back().values, (std::map<std::string, float>{{"fontSize", 48.0f}}));

    auto stick = element(LmdElementKind::Joystick, "bottomLeft", 120, -120, 0, 0);
    stick->desc().radius = 70;
    LmdLayer2D::layout(*stick, kWidth, kHeight);
    expectRect(stick->getScreenRect(), 50, 410, 140, 140);
    gizmo.attach(stick.get());
    // The top-right corner out by (20, -10): the larger side sets the diameter; the bottom-left stays.
    ASSERT_TRUE(drag(*stick, Handle::TopRight, 20, -10));
    EXPECT_FLOAT_EQ(stick->getDesc().radius, 80.0f);
    expectRect(stick->getScreenRect(), 50, 390, 160, 160);
    EXPECT_EQ(committed.back().values,
              (std::map<std::string, float>{{"x", 130.0f}, {"y", -130.0f}, {"radius", 80.0f}}));
}

TEST_F(Gizmo2DTest, ADetachDuringADragPutsTheElementBack) {
    auto rect = element(LmdElementKind::Button, "topLeft", 10, 10, 160, 48);
    gizmo.attach(rect.get());
    ASSERT_TRUE(gizmo.mousePressed(170, 58)); // the bottom-right corner
    gizmo.mouseMoved(200, 100);
    EXPECT_TRUE(gizmo.isDragging());
    EXPECT_FLOAT_EQ(rect->getDesc().width, 190.0f);
    gizmo.detach();
    EXPECT_FLOAT_EQ(rect->getDesc().width, 160.0f);
    EXPECT_FLOAT_EQ(rect->getDesc().height, 48.0f);
    EXPECT_FALSE(gizmo.isDragging());
    EXPECT_TRUE(committed.empty());

    // Destroyed behind its back: forgotten, with an empty detach event.
    gizmo.attach(rect.get());
    gizmo.forgetVanishedObject();
    EXPECT_FALSE(gizmo.isAttached());
    EXPECT_EQ(std::dynamic_pointer_cast<LmdGizmo2DEvent>(fired.back().second)->getObject(), nullptr);
}

} // namespace
} // namespace Lumenda3D
