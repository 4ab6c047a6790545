// The drag geometry of the gizmos and the screen projection it relies on, without a scene: a
// made-up camera at (0, 0, 10) looking down -Z with a 90 degree vertical field of view, over an
// 800 x 600 viewport.
#include "engine/gizmo/LmdGizmoMath.h"
#include "engine/app/LmdScreenProjector.h"

#include <OgreMath.h>
#include <gtest/gtest.h>

#include <cmath>

namespace Lumenda3D {
namespace {

constexpr float kWidth = 800.0f, kHeight = 600.0f;

// A perspective projection as OpenGL builds it.
Ogre::Matrix4 perspective(float fovYDegrees, float aspect, float nearClip, float farClip) {
    const float f = 1.0f / std::tan(Ogre::Degree(fovYDegrees).valueRadians() / 2.0f);
    Ogre::Matrix4 m = Ogre::Matrix4::ZERO;
    m[0][0] = f / aspect;
    m[1][1] = f;
    m[2][2] = (farClip + nearClip) / (nearClip - farClip);
    m[2][3] = 2.0f * farClip * nearClip / (nearClip - farClip);
    m[3][2] = -1.0f;
    return m;
}

// A view matrix of an eye at `eye` with the given orientation.
Ogre::Affine3 viewOf(const Ogre::Vector3& eye, const Ogre::Quaternion& orientation) {
    return Ogre::Affine3(eye, orientation).inverse();
}

LmdScreenProjector frontView(float left = 0.0f, float top = 0.0f) {
    return LmdScreenProjector(viewOf(Ogre::Vector3(0, 0, 10), Ogre::Quaternion::IDENTITY),
                              perspective(90.0f, kWidth / kHeight, 0.1f, 1000.0f), left, top, kWidth, kHeight);
}

void expectNear(const Ogre::Vector2& a, const Ogre::Vector2& b, float tolerance = 1e-3f) {
    EXPECT_NEAR(a.x, b.x, tolerance);
    EXPECT_NEAR(a.y, b.y, tolerance);
}

TEST(LmdScreenProjector, ProjectsUnprojectsAndMeasuresPixels) {
    const LmdScreenProjector view = frontView(10.0f, 20.0f);
    ASSERT_TRUE(view.isValid());
    Ogre::Vector2 pixel;
    ASSERT_TRUE(view.toScreen(Ogre::Vector3::ZERO, pixel));
    expectNear(pixel, Ogre::Vector2(410.0f, 320.0f)); // the middle of the viewport, offset by its corner
    // At depth 10 with a 90 degree view, half the height (300 px) spans 10 units; y goes up, pixels down.
    ASSERT_TRUE(view.toScreen(Ogre::Vector3(5, 5, 0), pixel));
    expectNear(pixel, Ogre::Vector2(410.0f + 150.0f, 320.0f - 150.0f));
    EXPECT_NEAR(view.worldPerPixel(Ogre::Vector3(3, -2, 0)), 10.0f / 300.0f, 1e-5f);
    EXPECT_NEAR(view.worldPerPixel(Ogre::Vector3(0, 0, -10)), 20.0f / 300.0f, 1e-5f);
    EXPECT_FALSE(view.toScreen(Ogre::Vector3(0, 0, 20), pixel)); // behind the eye

    // The ray through a pixel passes through the point that shows there.
    const Ogre::Vector3 point(-2.5f, 1.5f, -4.0f);
    ASSERT_TRUE(view.toScreen(point, pixel));
    const Ogre::Ray ray = view.ray(pixel.x, pixel.y);
    EXPECT_LT((ray.getOrigin() - Ogre::Vector3(0, 0, 10)).length(), 1e-3f);
    const Ogre::Vector3 along = ray.getPoint((point - ray.getOrigin()).length());
    EXPECT_LT(along.distance(point), 1e-3f);

    EXPECT_FALSE(LmdScreenProjector().isValid());
    EXPECT_FALSE(LmdScreenProjector().toScreen(Ogre::Vector3::ZERO, pixel));
    EXPECT_FALSE(LmdScreenProjector(Ogre::Affine3::IDENTITY, perspective(60, 1, 0.1f, 10), 0, 0, 0, 0).isValid());
}

TEST(LmdGizmoMath, DistancesToHandlesOnScreen) {
    const Ogre::Vector2 a(0, 0), b(10, 0);
    EXPECT_FLOAT_EQ(LmdGizmoMath::distanceToSegment(Ogre::Vector2(5, 3), a, b), 3.0f);
    EXPECT_FLOAT_EQ(LmdGizmoMath::distanceToSegment(Ogre::Vector2(13, 4), a, b), 5.0f); // past the end
    EXPECT_FLOAT_EQ(LmdGizmoMath::distanceToSegment(Ogre::Vector2(3, 4), a, a), 5.0f);  // a point
    const std::vector<Ogre::Vector2> square{{0, 0}, {10, 0}, {10, 10}, {0, 10}};
    EXPECT_FLOAT_EQ(LmdGizmoMath::distanceToPolyline(Ogre::Vector2(-2, 5), square, false), std::sqrt(29.0f));
    EXPECT_FLOAT_EQ(LmdGizmoMath::distanceToPolyline(Ogre::Vector2(-2, 5), square, true), 2.0f);
    EXPECT_GT(LmdGizmoMath::distanceToPolyline(Ogre::Vector2(0, 0), {{1, 1}}, true), 1e6f);
}

TEST(LmdGizmoMath, AMoveFollowsThePointerAlongTheAxis) {
    const LmdScreenProjector view = frontView();
    Ogre::Vector2 origin;
    ASSERT_TRUE(view.toScreen(Ogre::Vector3::ZERO, origin));
    // The pointer 90 pixels right of the origin: the X axis's closest point is 3 units along.
    float t = 0.0f;
    ASSERT_TRUE(LmdGizmoMath::closestLineParameter(view.ray(origin.x + 90.0f, origin.y), Ogre::Vector3::ZERO,
                                                   Ogre::Vector3::UNIT_X, t));
    EXPECT_NEAR(t, 3.0f, 1e-3f);
    // Off the axis on screen, the point of the line nearest to the pointer's ray.
    ASSERT_TRUE(LmdGizmoMath::closestLineParameter(view.ray(origin.x + 90.0f, origin.y + 40.0f), Ogre::Vector3::ZERO,
                                                   Ogre::Vector3::UNIT_X, t));
    EXPECT_NEAR(t, 300.0f / (109.0f + 16.0f / 9.0f - 9.0f), 1e-3f);
    // A longer direction counts in its own units: two units per step halves the parameter.
    ASSERT_TRUE(LmdGizmoMath::closestLineParameter(view.ray(origin.x + 90.0f, origin.y), Ogre::Vector3::ZERO,
                                                   Ogre::Vector3(2, 0, 0), t));
    EXPECT_NEAR(t, 1.5f, 1e-3f);
    // The Z axis points at the eye: no well-defined point.
    EXPECT_FALSE(LmdGizmoMath::closestLineParameter(view.ray(origin.x, origin.y), Ogre::Vector3::ZERO,
                                                    Ogre::Vector3::UNIT_Z, t));
    EXPECT_FALSE(LmdGizmoMath::closestLineParameter(view.ray(origin.x, origin.y), Ogre::Vector3::ZERO,
                                                    Ogre::Vector3::ZERO, t));

    // The screen fallback: a drag projected on the axis's screen direction.
    EXPECT_FLOAT_EQ(LmdGizmoMath::projectedAxisDistance(Ogre::Vector2(60, 80), Ogre::Vector2(30, 0)), 2.0f);
    EXPECT_FLOAT_EQ(LmdGizmoMath::projectedAxisDistance(Ogre::Vector2(0, -50), Ogre::Vector2(0, 25)), -2.0f);
    EXPECT_FLOAT_EQ(LmdGizmoMath::projectedAxisDistance(Ogre::Vector2(60, 80), Ogre::Vector2(0, 0)), 0.0f);
}

TEST(LmdGizmoMath, TurnsTakeTheirSignFromHowTheViewerSeesTheAxis) {
    const Ogre::Vector2 centre(100, 100);
    // Right of the centre to above it: counterclockwise on screen (pixels grow downwards).
    const float quarter = LmdGizmoMath::screenAngle(centre, Ogre::Vector2(150, 100), Ogre::Vector2(100, 50));
    EXPECT_NEAR(quarter, Ogre::Math::HALF_PI, 1e-5f);
    EXPECT_NEAR(LmdGizmoMath::screenAngle(centre, Ogre::Vector2(150, 100), Ogre::Vector2(100, 150)),
                -Ogre::Math::HALF_PI, 1e-5f);
    EXPECT_FLOAT_EQ(LmdGizmoMath::screenAngle(centre, centre, Ogre::Vector2(0, 0)), 0.0f);

    // Looking down -Z: +Z points at the viewer, so a counterclockwise turn is positive about +Z...
    const Ogre::Vector3 look = Ogre::Vector3::NEGATIVE_UNIT_Z;
    EXPECT_FLOAT_EQ(LmdGizmoMath::axisAngle(quarter, Ogre::Vector3::UNIT_Z, look), quarter);
    // ...and negative about -Z.
    EXPECT_FLOAT_EQ(LmdGizmoMath::axisAngle(quarter, Ogre::Vector3::NEGATIVE_UNIT_Z, look), -quarter);

    // The same through the projection: a point at +X turned a quarter counterclockwise on screen
    // lands at +Y, which is what a positive quarter turn about +Z does.
    const LmdScreenProjector view = frontView();
    Ogre::Vector2 c, from, to;
    ASSERT_TRUE(view.toScreen(Ogre::Vector3::ZERO, c));
    ASSERT_TRUE(view.toScreen(Ogre::Vector3::UNIT_X, from));
    ASSERT_TRUE(view.toScreen(Ogre::Vector3::UNIT_Y, to));
    const float turn = LmdGizmoMath::axisAngle(LmdGizmoMath::screenAngle(c, from, to), Ogre::Vector3::UNIT_Z,
                                               view.viewDirection());
    const Ogre::Vector3 turned = Ogre::Quaternion(Ogre::Radian(turn), Ogre::Vector3::UNIT_Z) * Ogre::Vector3::UNIT_X;
    EXPECT_LT(turned.distance(Ogre::Vector3::UNIT_Y), 1e-4f);
}

TEST(LmdGizmoMath, ScaleFactorsNeverReachZero) {
    const Ogre::Vector2 handle(100, 0);
    EXPECT_FLOAT_EQ(LmdGizmoMath::scaleFactor(Ogre::Vector2(100, 37), handle), 2.0f); // pulled out to twice
    EXPECT_FLOAT_EQ(LmdGizmoMath::scaleFactor(Ogre::Vector2(-50, 0), handle), 0.5f);
    EXPECT_FLOAT_EQ(LmdGizmoMath::scaleFactor(Ogre::Vector2(-300, 0), handle), 0.01f); // past the middle
    EXPECT_FLOAT_EQ(LmdGizmoMath::scaleFactor(Ogre::Vector2(40, 0), Ogre::Vector2::ZERO), 1.0f);
    EXPECT_FLOAT_EQ(LmdGizmoMath::uniformScaleFactor(Ogre::Vector2(50, -50), 100.0f), 2.0f); // right and up
    EXPECT_FLOAT_EQ(LmdGizmoMath::uniformScaleFactor(Ogre::Vector2(-500, 0), 100.0f, 0.1f), 0.1f);
    EXPECT_FLOAT_EQ(LmdGizmoMath::uniformScaleFactor(Ogre::Vector2(50, 0), 0.0f), 1.0f);
}

TEST(LmdGizmoMath, PlanesAndRounding) {
    Ogre::Vector3 hit;
    const Ogre::Ray down(Ogre::Vector3(1, 5, 2), Ogre::Vector3(0, -1, 0));
    ASSERT_TRUE(LmdGizmoMath::rayPlane(down, Ogre::Vector3(0, 2, 0), Ogre::Vector3::UNIT_Y, hit));
    EXPECT_LT(hit.distance(Ogre::Vector3(1, 2, 2)), 1e-5f);
    EXPECT_FALSE(LmdGizmoMath::rayPlane(down, Ogre::Vector3(0, 7, 0), Ogre::Vector3::UNIT_Y, hit)); // behind
    EXPECT_FALSE(LmdGizmoMath::rayPlane(Ogre::Ray(Ogre::Vector3::ZERO, Ogre::Vector3::UNIT_X), Ogre::Vector3(0, 1, 0),
                                        Ogre::Vector3::UNIT_Y, hit)); // along the plane

    EXPECT_EQ(LmdGizmoMath::roundTo(2.34567f, 0.001), 2.346f);
    EXPECT_EQ(LmdGizmoMath::roundTo(-0.0004f, 0.001), 0.0f);
    EXPECT_FALSE(std::signbit(LmdGizmoMath::roundTo(-0.0004f, 0.001)));
    EXPECT_EQ(LmdGizmoMath::roundTo(89.996f, 0.01), 90.0f);
    EXPECT_EQ(LmdGizmoMath::roundTo(1.23456f, 0.0), 1.23456f);
}

} // namespace
} // namespace Lumenda3D
