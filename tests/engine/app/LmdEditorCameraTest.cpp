#include "engine/app/LmdEditorCamera.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace Lumenda3D;

namespace {

constexpr OgreBites::Keycode kShift = (1 << 30) | 0xE1;

OgreBites::MouseButtonEvent button(int which, int x, int y) {
    OgreBites::MouseButtonEvent e{};
    e.button = static_cast<unsigned char>(which);
    e.x = x;
    e.y = y;
    return e;
}

OgreBites::MouseMotionEvent motion(int x, int y) {
    OgreBites::MouseMotionEvent e{};
    e.x = x;
    e.y = y;
    return e;
}

void expectNear(const Ogre::Vector3& a, const Ogre::Vector3& b, float tolerance = 1e-3f) {
    EXPECT_NEAR(a.x, b.x, tolerance);
    EXPECT_NEAR(a.y, b.y, tolerance);
    EXPECT_NEAR(a.z, b.z, tolerance);
}

// The direction a camera with this orientation looks in (OGRE cameras look down their -Z).
Ogre::Vector3 forward(const Ogre::Quaternion& q) {
    return q * Ogre::Vector3::NEGATIVE_UNIT_Z;
}

} // namespace

TEST(LmdEditorCameraTest, SetViewPlacesTheEyeAndLooksAtTheTarget) {
    LmdEditorCamera camera;
    const Ogre::Vector3 eye(4, 3, 6), target(1, 0.5f, -2);
    camera.setView(eye, target);
    expectNear(camera.getEyePosition(), eye);
    expectNear(forward(camera.getOrientation()), (target - eye).normalisedCopy());
    EXPECT_NEAR(camera.getDistance(), (eye - target).length(), 1e-4);
    // Upright: the camera's right vector stays horizontal.
    EXPECT_NEAR((camera.getOrientation() * Ogre::Vector3::UNIT_X).y, 0.0f, 1e-5);
}

TEST(LmdEditorCameraTest, RightClickWithoutMovementIsLeftForTheContextMenu) {
    LmdEditorCamera camera;
    camera.setView(Ogre::Vector3(0, 2, 10), Ogre::Vector3::ZERO);
    const Ogre::Vector3 before = camera.getEyePosition();
    EXPECT_FALSE(camera.mousePressed(button(OgreBites::BUTTON_RIGHT, 100, 100)));
    EXPECT_FALSE(camera.mouseMoved(motion(101, 101))) << "below the drag threshold";
    EXPECT_FALSE(camera.isBusy());
    EXPECT_FALSE(camera.mouseReleased(button(OgreBites::BUTTON_RIGHT, 101, 101)));
    EXPECT_FALSE(camera.isBusy());
    expectNear(camera.getEyePosition(), before);
}

TEST(LmdEditorCameraTest, RightDragOrbitsAndStaysBusyUntilTheFrameAfterTheRelease) {
    LmdEditorCamera camera;
    camera.setView(Ogre::Vector3(0, 0, 10), Ogre::Vector3::ZERO);
    camera.mousePressed(button(OgreBites::BUTTON_RIGHT, 100, 100));
    EXPECT_TRUE(camera.mouseMoved(motion(130, 100)));
    EXPECT_TRUE(camera.isBusy());
    camera.frameRendered();
    EXPECT_TRUE(camera.isBusy()) << "still dragging";
    EXPECT_TRUE(camera.mouseMoved(motion(160, 80)));

    EXPECT_NE(camera.getYaw().valueDegrees(), 0.0f);
    EXPECT_GT(camera.getPitch().valueDegrees(), 0.0f) << "dragging up raises the pitch";
    EXPECT_NEAR(camera.getDistance(), 10.0f, 1e-4) << "orbiting keeps the distance";
    expectNear(camera.getTarget(), Ogre::Vector3::ZERO);
    expectNear(forward(camera.getOrientation()), -camera.getEyePosition().normalisedCopy());

    EXPECT_TRUE(camera.mouseReleased(button(OgreBites::BUTTON_RIGHT, 160, 80))) << "a drag's release is taken";
    EXPECT_TRUE(camera.isBusy()) << "busy through the frame of the release";
    camera.frameRendered();
    EXPECT_FALSE(camera.isBusy());
}

TEST(LmdEditorCameraTest, PitchStopsShortOfStraightUpOrDown) {
    LmdEditorCamera camera;
    camera.setView(Ogre::Vector3(0, 0, 10), Ogre::Vector3::ZERO);
    camera.mousePressed(button(OgreBites::BUTTON_RIGHT, 0, 0));
    camera.mouseMoved(motion(0, 5000));
    EXPECT_GE(camera.getPitch().valueDegrees(), -89.0f);
    EXPECT_LT(camera.getPitch().valueDegrees(), -80.0f);
    const Ogre::Vector3 eye = camera.getEyePosition();
    EXPECT_FALSE(std::isnan(eye.x) || std::isnan(eye.y) || std::isnan(eye.z));
}

TEST(LmdEditorCameraTest, PanMovesTheSceneWithThePointer) {
    LmdEditorCamera camera;
    camera.setViewportHeight(800);
    camera.setView(Ogre::Vector3(0, 0, 10), Ogre::Vector3::ZERO);
    const float yaw = camera.getYaw().valueDegrees(), pitch = camera.getPitch().valueDegrees();
    // Middle drag 100 px to the right: the view shifts left by 100 px worth of world at the target.
    camera.mousePressed(button(OgreBites::BUTTON_MIDDLE, 400, 400));
    camera.mouseMoved(motion(500, 400));
    const float unitsPerPixel = 2.0f * 10.0f * std::tan(Ogre::Degree(45).valueRadians() / 2) / 800.0f;
    expectNear(camera.getTarget(), Ogre::Vector3(-100 * unitsPerPixel, 0, 0));
    EXPECT_EQ(camera.getYaw().valueDegrees(), yaw);
    EXPECT_EQ(camera.getPitch().valueDegrees(), pitch);
    EXPECT_NEAR(camera.getDistance(), 10.0f, 1e-4);
    camera.mouseReleased(button(OgreBites::BUTTON_MIDDLE, 500, 400));

    // Shift turns a right drag into a pan too; dragging down moves the view up.
    OgreBites::KeyboardEvent shift{};
    shift.keysym.sym = kShift;
    camera.keyPressed(shift);
    const Ogre::Vector3 before = camera.getTarget();
    camera.mousePressed(button(OgreBites::BUTTON_RIGHT, 0, 0));
    camera.mouseMoved(motion(0, 50));
    EXPECT_GT(camera.getTarget().y, before.y);
    EXPECT_EQ(camera.getYaw().valueDegrees(), yaw);
    camera.mouseReleased(button(OgreBites::BUTTON_RIGHT, 0, 50));
    camera.keyReleased(shift);
    camera.mousePressed(button(OgreBites::BUTTON_RIGHT, 0, 0));
    camera.mouseMoved(motion(50, 0));
    EXPECT_NE(camera.getYaw().valueDegrees(), yaw) << "without shift, right drag orbits again";
}

TEST(LmdEditorCameraTest, WheelZoomsTowardsTheTargetWithinLimits) {
    LmdEditorCamera camera;
    camera.setView(Ogre::Vector3(0, 0, 10), Ogre::Vector3(1, 1, 1));
    OgreBites::MouseWheelEvent up{};
    up.y = 1;
    EXPECT_TRUE(camera.mouseWheelRolled(up));
    EXPECT_LT(camera.getDistance(), (Ogre::Vector3(0, 0, 10) - Ogre::Vector3(1, 1, 1)).length());
    expectNear(camera.getTarget(), Ogre::Vector3(1, 1, 1));
    EXPECT_FALSE(camera.isBusy());
    for (int i = 0; i < 500; ++i)
        camera.mouseWheelRolled(up);
    EXPECT_GT(camera.getDistance(), 0.0f);
    OgreBites::MouseWheelEvent down{};
    down.y = -1;
    for (int i = 0; i < 500; ++i)
        camera.mouseWheelRolled(down);
    EXPECT_LE(camera.getDistance(), 100000.0f);
}

TEST(LmdEditorCameraTest, FocusKeepsTheDirectionAndDisabledIgnoresInput) {
    LmdEditorCamera camera;
    camera.setView(Ogre::Vector3(3, 3, 3), Ogre::Vector3::ZERO);
    const Ogre::Quaternion q = camera.getOrientation();
    camera.focusOn(Ogre::Vector3(10, 0, 0), 2.0f);
    expectNear(camera.getTarget(), Ogre::Vector3(10, 0, 0));
    EXPECT_NEAR(camera.getDistance(), 2.0f, 1e-5);
    EXPECT_TRUE(camera.getOrientation().equals(q, Ogre::Degree(0.01f)));

    camera.setEnabled(false);
    EXPECT_FALSE(camera.mousePressed(button(OgreBites::BUTTON_RIGHT, 0, 0)));
    EXPECT_FALSE(camera.mouseMoved(motion(100, 100)));
    OgreBites::MouseWheelEvent up{};
    up.y = 1;
    EXPECT_FALSE(camera.mouseWheelRolled(up));
    EXPECT_NEAR(camera.getDistance(), 2.0f, 1e-5);
}

TEST(LmdEditorCameraTest, LookAtOrientationHandlesStraightDownAndDegenerateViews) {
    struct Case {
        Ogre::Vector3 eye, target;
    } cases[] = {
        {{0, 10, 0}, {0, 0, 0}},  // straight down
        {{0, -5, 0}, {0, 3, 0}},  // straight up
        {{2, 2, 2}, {2, 2, 2}},   // eye on the target
        {{5, 1, -3}, {0, 0, 0}},
    };
    for (const Case& c : cases) {
        Ogre::Quaternion q = LmdEditorCamera::lookAtOrientation(c.eye, c.target);
        EXPECT_FALSE(q.isNaN());
        EXPECT_NEAR(q.Norm(), 1.0f, 1e-4);
        if (c.eye != c.target)
            expectNear(forward(q), (c.target - c.eye).normalisedCopy());
    }
}
