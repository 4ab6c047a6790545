#pragma once
// The properties of 3D objects and lights as the game language names them, read and written by
// logic (LmdScriptHost::getProperty/setProperty) and by live edits of the attribute panel
// (updateLuaAttribute): x, y, z, rotationX/Y/Z, scaleX/Y/Z, velocityX/Y/Z (read), visible,
// color, texture, the sizes of primitives (width, height, depth, radius, segments), a model's
// fileName and autoScale, the pivot xAxis/yAxis/zAxis, light values (intensity, range, angle,
// directionX/Y/Z), camera values (fov, near, far, follow, followX/Y/Z, smooth) and physics values.
// A change that moves an object also moves its physics body.
#include <string>

#include "engine/logic/LmdScriptValue.h"

namespace Ogre {
class Viewport;
}

namespace Lumenda3D {

class LmdBase3D;
class LmdGamePhysics;
class LmdMaterialFactory;
class LmdScene;

class LmdObjectProperties {
public:
    struct Context {
        LmdScene* scene = nullptr;
        LmdMaterialFactory* materials = nullptr;
        LmdGamePhysics* physics = nullptr; // null in the edit scene
        Ogre::Viewport* viewport = nullptr;
    };

    // False for a property the object does not have.
    static bool get(const Context& context, const LmdBase3D& object, const std::string& name, LmdScriptValue& value);
    // False when the object has no such property or the value does not suit it.
    static bool set(const Context& context, LmdBase3D& object, const std::string& name, const LmdScriptValue& value);

    // Value conversions shared with the 2D side.
    static bool toNumber(const LmdScriptValue& value, double& out);
    static bool toBool(const LmdScriptValue& value, bool& out);
    static std::string toText(const LmdScriptValue& value);
};

} // namespace Lumenda3D
