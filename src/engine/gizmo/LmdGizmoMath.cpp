#include "engine/gizmo/LmdGizmoMath.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Lumenda3D {

float LmdGizmoMath::distanceToSegment(const Ogre::Vector2& p, const Ogre::Vector2& a, const Ogre::Vector2& b) {
    const Ogre::Vector2 ab = b - a;
    const float lengthSquared = ab.squaredLength();
    if (lengthSquared < 1e-12f)
        return p.distance(a);
    const float t = std::clamp((p - a).dotProduct(ab) / lengthSquared, 0.0f, 1.0f);
    return p.distance(a + ab * t);
}

float LmdGizmoMath::distanceToPolyline(const Ogre::Vector2& p, const std::vector<Ogre::Vector2>& points, bool closed) {
    float best = std::numeric_limits<float>::max();
    if (points.size() < 2)
        return best;
    for (size_t i = 0; i + 1 < points.size(); ++i)
        best = std::min(best, distanceToSegment(p, points[i], points[i + 1]));
    if (closed)
        best = std::min(best, distanceToSegment(p, points.back(), points.front()));
    return best;
}

bool LmdGizmoMath::closestLineParameter(const Ogre::Ray& ray, const Ogre::Vector3& origin,
                                        const Ogre::Vector3& direction, float& t) {
    const Ogre::Vector3 d = ray.getDirection().normalisedCopy();
    const float length = direction.length();
    if (length < 1e-9f)
        return false;
    const Ogre::Vector3 u = direction / length;
    const float b = d.dotProduct(u);
    const float denominator = 1.0f - b * b; // sin^2 of the angle between ray and line
    if (denominator < 1e-4f)
        return false;
    const Ogre::Vector3 w = ray.getOrigin() - origin;
    const float dw = d.dotProduct(w);
    const float uw = u.dotProduct(w);
    t = (uw - b * dw) / denominator / length;
    return true;
}

float LmdGizmoMath::projectedAxisDistance(const Ogre::Vector2& drag, const Ogre::Vector2& axisOnScreen) {
    const float lengthSquared = axisOnScreen.squaredLength();
    if (lengthSquared < 1e-6f)
        return 0.0f;
    return drag.dotProduct(axisOnScreen) / lengthSquared;
}

float LmdGizmoMath::screenAngle(const Ogre::Vector2& centre, const Ogre::Vector2& from, const Ogre::Vector2& to) {
    const Ogre::Vector2 a = from - centre;
    const Ogre::Vector2 b = to - centre;
    if (a.squaredLength() < 1e-6f || b.squaredLength() < 1e-6f)
        return 0.0f;
    // Pixels grow downwards: the cross product's sign is the other way round from the viewer's.
    const float cross = a.x * b.y - a.y * b.x;
    return -std::atan2(cross, a.dotProduct(b));
}

float LmdGizmoMath::axisAngle(float screenAngleRadians, const Ogre::Vector3& axis, const Ogre::Vector3& viewDirection) {
    // Seen from where the axis points (the axis towards the viewer), a counterclockwise turn is positive.
    return axis.dotProduct(viewDirection) <= 0.0f ? screenAngleRadians : -screenAngleRadians;
}

float LmdGizmoMath::scaleFactor(const Ogre::Vector2& drag, const Ogre::Vector2& handleOnScreen, float minimum) {
    return std::max(1.0f + projectedAxisDistance(drag, handleOnScreen), minimum);
}

float LmdGizmoMath::uniformScaleFactor(const Ogre::Vector2& drag, float pixelsPerUnit, float minimum) {
    if (pixelsPerUnit <= 0.0f)
        return 1.0f;
    return std::max(1.0f + (drag.x - drag.y) / pixelsPerUnit, minimum);
}

bool LmdGizmoMath::rayPlane(const Ogre::Ray& ray, const Ogre::Vector3& point, const Ogre::Vector3& normal,
                            Ogre::Vector3& hit) {
    const float facing = normal.dotProduct(ray.getDirection());
    if (std::abs(facing) < 1e-6f)
        return false;
    const float t = normal.dotProduct(point - ray.getOrigin()) / facing;
    if (t <= 0.0f)
        return false;
    hit = ray.getPoint(t);
    return true;
}

float LmdGizmoMath::roundTo(float value, double step) {
    if (step <= 0.0 || !std::isfinite(value))
        return value;
    const float rounded = float(std::round(double(value) / step) * step);
    return rounded == 0.0f ? 0.0f : rounded;
}

} // namespace Lumenda3D
