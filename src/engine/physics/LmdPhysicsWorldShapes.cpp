// Collision shapes fitted to an object's size: the shape a person chose, or the one its element
// suggests.
#include "engine/physics/LmdPhysicsWorld.h"

#include "engine/physics/LmdPhysicsWorldBullet.h"

namespace Lumenda3D {

using namespace LmdPhysicsDetail;

LmdPhysicsWorld::ShapeDesc LmdPhysicsWorld::fitShape(ShapeKind kind, const Vec3& size, const Vec3& centre) {
    ShapeDesc shape;
    shape.offset = centre;
    const Vec3 half{std::fabs(size.x) / 2, std::fabs(size.y) / 2, std::fabs(size.z) / 2};
    switch (kind) {
    case ShapeKind::Box:
    case ShapeKind::Mesh:
        shape.kind = ShapeKind::Box;
        shape.halfExtents = half;
        break;
    case ShapeKind::Sphere:
        shape.kind = ShapeKind::Sphere;
        shape.radius = std::max({half.x, half.y, half.z});
        break;
    case ShapeKind::Capsule:
    case ShapeKind::Cylinder:
    case ShapeKind::Cone:
        shape.kind = kind;
        shape.radius = std::max(half.x, half.z);
        shape.height = std::fabs(size.y);
        break;
    }
    return shape;
}

LmdPhysicsWorld::ShapeDesc LmdPhysicsWorld::autoShape(const std::string& command, const Vec3& size,
                                                      const Vec3& centre) {
    if (command == "Sphere")
        return fitShape(ShapeKind::Sphere, size, centre);
    if (command == "Capsule")
        return fitShape(ShapeKind::Capsule, size, centre);
    if (command == "Cylinder")
        return fitShape(ShapeKind::Cylinder, size, centre);
    if (command == "Cone")
        return fitShape(ShapeKind::Cone, size, centre);
    if (command == "Plane") {
        // A plane has no thickness; a slab under it keeps fast bodies from passing through.
        ShapeDesc slab = fitShape(ShapeKind::Box, size, centre);
        slab.halfExtents.y = kPlaneHalfThickness;
        slab.offset.y = centre.y + std::fabs(size.y) / 2 - kPlaneHalfThickness;
        return slab;
    }
    return fitShape(ShapeKind::Box, size, centre);
}

} // namespace Lumenda3D
