#pragma once
// The geometry behind the gizmos' drags, free of any scene: how far a pointer drag moves an
// object along an axis, by how much it turns or scales it, where it meets a plane, and how near
// the pointer is to a handle drawn on screen. Screen vectors are in window pixels, y downwards.
#include <vector>

#include <OgreQuaternion.h>
#include <OgreRay.h>
#include <OgreVector.h>

namespace Lumenda3D {

class LmdGizmoMath {
public:
    // The distance from p to the segment from a to b.
    static float distanceToSegment(const Ogre::Vector2& p, const Ogre::Vector2& a, const Ogre::Vector2& b);
    // The distance from p to a polyline (closed when `closed`); a huge value for fewer than 2 points.
    static float distanceToPolyline(const Ogre::Vector2& p, const std::vector<Ogre::Vector2>& points, bool closed);

    // The parameter t of the point origin + t * direction on a line that comes closest to the
    // ray; false when the ray runs (nearly) along the line, where no point is well defined.
    static bool closestLineParameter(const Ogre::Ray& ray, const Ogre::Vector3& origin, const Ogre::Vector3& direction,
                                     float& t);
    // How far along an axis a pointer drag moves, when one unit along the axis spans `axisOnScreen`
    // pixels at the grab point: the drag projected on the axis's screen direction. 0 for an axis
    // that points (nearly) at the viewer.
    static float projectedAxisDistance(const Ogre::Vector2& drag, const Ogre::Vector2& axisOnScreen);

    // The angle in radians by which a pointer moving from `from` to `to` turns around `centre` on
    // screen, counterclockwise as the viewer sees it positive, in (-pi, pi].
    static float screenAngle(const Ogre::Vector2& centre, const Ogre::Vector2& from, const Ogre::Vector2& to);
    // The turn about a 3D axis for that screen angle: the right-hand rule, seen from where the axis
    // points. An axis that points away from the viewer turns the other way round.
    static float axisAngle(float screenAngleRadians, const Ogre::Vector3& axis, const Ogre::Vector3& viewDirection);

    // The scale factor of a drag on a handle that stands `handleOnScreen` pixels from the centre:
    // pulling it out to twice its distance doubles, pushing it onto the centre reaches the minimum.
    static float scaleFactor(const Ogre::Vector2& drag, const Ogre::Vector2& handleOnScreen, float minimum = 0.01f);
    // The uniform scale factor of a drag on the centre handle: right and up grow, `pixelsPerUnit`
    // pixels add one whole size.
    static float uniformScaleFactor(const Ogre::Vector2& drag, float pixelsPerUnit, float minimum = 0.01f);

    // Where the ray meets the plane through `point` with `normal`; false when it runs along the
    // plane or meets it behind its origin.
    static bool rayPlane(const Ogre::Ray& ray, const Ogre::Vector3& point, const Ogre::Vector3& normal,
                         Ogre::Vector3& hit);

    // value rounded to a multiple of step (step <= 0 leaves it), as the float nearest to that
    // multiple so that it prints short ("2.35", not "2.3500001"); -0 comes out as 0.
    static float roundTo(float value, double step);
};

} // namespace Lumenda3D
