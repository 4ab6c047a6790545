#include "engine/scene/LmdObjectProperties.h"

#include "base/LmdValueParser.h"
#include "engine/assets/LmdMaterialFactory.h"
#include "engine/physics/LmdGamePhysics.h"
#include "engine/scene/LmdBase3D.h"
#include "engine/scene/LmdScene.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace Lumenda3D {
namespace {

using Value = LmdScriptValue;

int axisOf(const std::string& name, const char* prefix) {
    const size_t n = std::char_traits<char>::length(prefix);
    if (name.size() != n + 1 || name.compare(0, n, prefix) != 0)
        return -1;
    const char c = name[n];
    return c == 'X' || c == 'x' ? 0 : c == 'Y' || c == 'y' ? 1 : c == 'Z' || c == 'z' ? 2 : -1;
}

bool isShapeSize(const std::string& name) {
    return name == "width" || name == "height" || name == "depth" || name == "radius" || name == "segments";
}

} // namespace

bool LmdObjectProperties::toNumber(const Value& value, double& out) {
    if (value.type == Value::Type::Number) {
        out = value.number;
        return std::isfinite(out);
    }
    if (value.type == Value::Type::Boolean) {
        out = value.boolean ? 1.0 : 0.0;
        return true;
    }
    return value.type == Value::Type::Text && LmdValueParser::parseNumber(value.text, out);
}

bool LmdObjectProperties::toBool(const Value& value, bool& out) {
    if (value.type == Value::Type::Boolean) {
        out = value.boolean;
        return true;
    }
    if (value.type == Value::Type::Number) {
        out = value.number != 0.0;
        return true;
    }
    return value.type == Value::Type::Text && LmdValueParser::parseBool(value.text, out);
}

std::string LmdObjectProperties::toText(const Value& value) {
    switch (value.type) {
    case Value::Type::Text: return value.text;
    case Value::Type::Boolean: return value.boolean ? "true" : "false";
    case Value::Type::Number: {
        char buffer[32];
        std::snprintf(buffer, sizeof buffer, "%g", value.number);
        return buffer;
    }
    case Value::Type::None: break;
    }
    return std::string();
}

bool LmdObjectProperties::get(const Context& context, const LmdBase3D& object, const std::string& name, Value& value) {
    const LmdObjectDesc& d = object.getDesc();
    int axis;
    if ((axis = axisOf(name, "")) >= 0 && name.size() == 1) {
        value = Value::ofNumber(d.position[size_t(axis)]);
    } else if ((axis = axisOf(name, "rotation")) >= 0) {
        value = Value::ofNumber(d.rotation[size_t(axis)]);
    } else if ((axis = axisOf(name, "scale")) >= 0) {
        value = Value::ofNumber(d.scale[size_t(axis)]);
    } else if ((axis = axisOf(name, "velocity")) >= 0) {
        Ogre::Vector3 velocity = Ogre::Vector3::ZERO;
        if (context.physics)
            context.physics->getVelocity(object, velocity);
        value = Value::ofNumber(velocity[size_t(axis)]);
    } else if ((axis = axisOf(name, "world")) >= 0) {
        value = Value::ofNumber(object.getWorldPosition()[size_t(axis)]);
    } else if (name == "xAxis" || name == "yAxis" || name == "zAxis") {
        value = Value::ofNumber(d.pivot[size_t(name[0] - 'x')]);
    } else if (name == "visible") {
        value = Value::ofBoolean(d.visible);
    } else if (name == "color") {
        value = Value::ofText(LmdValueParser::formatColor(d.color));
    } else if (name == "texture") {
        value = Value::ofText(d.material);
    } else if (name == "name") {
        value = Value::ofText(d.name);
    } else if (name == "width" || name == "height" || name == "depth") {
        value = Value::ofNumber(d.size[name == "width" ? 0 : name == "height" ? 1 : 2]);
    } else if (name == "radius") {
        value = Value::ofNumber(d.radius);
    } else if (name == "intensity" && d.isLight()) {
        value = Value::ofNumber(d.intensity);
    } else if (name == "range" && d.isLight()) {
        value = Value::ofNumber(d.range);
    } else if (name == "angle" && d.isLight()) {
        value = Value::ofNumber(d.angle);
    } else if (name == "on" && d.isLight()) {
        value = Value::ofBoolean(object.isLightOn());
    } else if (name == "fov" && d.kind == LmdObjectKind::Camera) {
        value = Value::ofNumber(d.fov);
    } else if (name == "mass") {
        value = Value::ofNumber(d.physics.mass);
    } else {
        return false;
    }
    return true;
}

bool LmdObjectProperties::set(const Context& context, LmdBase3D& object, const std::string& name, const Value& value) {
    LmdObjectDesc& d = object.desc();
    double number = 0.0;
    bool flag = false;
    int axis;
    auto moved = [&] {
        if (context.physics)
            context.physics->objectMoved(object);
    };
    if ((axis = axisOf(name, "")) >= 0 && name.size() == 1) {
        if (!toNumber(value, number))
            return false;
        Ogre::Vector3 p = d.position;
        p[size_t(axis)] = float(number);
        object.setPosition(p);
        moved();
        return true;
    }
    if ((axis = axisOf(name, "rotation")) >= 0) {
        if (!toNumber(value, number))
            return false;
        Ogre::Vector3 r = d.rotation;
        r[size_t(axis)] = float(number);
        object.setRotation(r);
        moved();
        return true;
    }
    if ((axis = axisOf(name, "scale")) >= 0) {
        if (!toNumber(value, number))
            return false;
        Ogre::Vector3 s = d.scale;
        s[size_t(axis)] = float(number);
        object.setScale(s);
        moved();
        return true;
    }
    if ((axis = axisOf(name, "velocity")) >= 0) {
        if (!toNumber(value, number) || !context.physics)
            return false;
        std::optional<float> v[3];
        v[axis] = float(number);
        return context.physics->setVelocity(object, v[0], v[1], v[2], false);
    }
    if (name == "xAxis" || name == "yAxis" || name == "zAxis") {
        if (!toNumber(value, number))
            return false;
        if (name[0] == 'x')
            object.setAxisX(float(number));
        else if (name[0] == 'y')
            object.setAxisY(float(number));
        else
            object.setAxisZ(float(number));
        return true;
    }
    if (name == "visible") {
        if (!toBool(value, flag))
            return false;
        object.setVisible(flag);
        if (d.kind == LmdObjectKind::AmbientLight && context.scene)
            context.scene->refreshEnvironment(context.viewport);
        return true;
    }
    if (name == "color") {
        std::uint32_t rgb = 0;
        if (!LmdValueParser::parseColor(toText(value), rgb))
            return false;
        d.color = rgb;
        if (d.isLight()) {
            if (d.kind == LmdObjectKind::AmbientLight && context.scene)
                context.scene->refreshEnvironment(context.viewport);
            else if (context.scene)
                context.scene->builder().applyLight(object);
            return true;
        }
        // A colour replaces a Material on the object.
        d.material.clear();
        if (context.scene)
            context.scene->builder().applyLooks(object, context.scene->description());
        return true;
    }
    if (name == "texture") {
        d.material = toText(value);
        if (context.scene)
            context.scene->builder().applyLooks(object, context.scene->description());
        return true;
    }
    if (d.isLight() && (name == "intensity" || name == "range" || name == "angle" || axisOf(name, "direction") >= 0)) {
        if (!toNumber(value, number))
            return false;
        if (name == "intensity")
            d.intensity = float(std::max(number, 0.0));
        else if (name == "range")
            d.range = float(std::max(number, 0.01));
        else if (name == "angle")
            d.angle = float(std::clamp(number, 1.0, 179.0));
        else
            d.direction[size_t(axisOf(name, "direction"))] = float(number);
        if (d.kind == LmdObjectKind::AmbientLight && context.scene)
            context.scene->refreshEnvironment(context.viewport);
        else if (context.scene)
            context.scene->builder().applyLight(object);
        return true;
    }
    if (name == "on" && d.isLight()) {
        if (!toBool(value, flag))
            return false;
        object.setLightOn(flag);
        return true;
    }
    if (d.kind == LmdObjectKind::Camera) {
        if (name == "follow") {
            d.follow = toText(value);
            return true;
        }
        if (name == "fov" || name == "near" || name == "far" || name == "smooth" || axisOf(name, "follow") >= 0) {
            if (!toNumber(value, number))
                return false;
            if (name == "fov")
                d.fov = float(std::clamp(number, 5.0, 170.0));
            else if (name == "near")
                d.nearClip = float(std::max(number, 0.001));
            else if (name == "far")
                d.farClip = float(std::max(number, 1.0));
            else if (name == "smooth")
                d.smooth = float(std::clamp(number, 0.0, 1.0));
            else
                d.followOffset[size_t(axisOf(name, "follow"))] = float(number);
            return true;
        }
    }
    if (d.hasShape() && (isShapeSize(name) || name == "fileName" || name == "autoScale")) {
        if (name == "fileName") {
            d.fileName = toText(value);
        } else if (name == "autoScale") {
            if (!toBool(value, flag))
                return false;
            d.autoScale = flag;
        } else {
            if (!toNumber(value, number) || number <= 0.0)
                return false;
            if (name == "width")
                d.size.x = float(number);
            else if (name == "height")
                d.size.y = float(number);
            else if (name == "depth")
                d.size.z = float(number);
            else if (name == "radius") {
                d.radius = float(number);
                d.size.x = d.size.z = d.radius * 2.0f;
                if (d.kind == LmdObjectKind::Sphere)
                    d.size.y = d.radius * 2.0f;
            } else
                d.segments = std::clamp(int(number), 3, 128);
        }
        if (context.scene)
            context.scene->builder().rebuildShape(object, context.scene->description());
        return true;
    }
    if (name == "mass" || name == "friction" || name == "restitution" || name == "damping") {
        if (!toNumber(value, number))
            return false;
        (name == "mass" ? d.physics.mass : name == "friction" ? d.physics.friction
                                       : name == "restitution" ? d.physics.restitution
                                                               : d.physics.damping) = float(number);
        return true;
    }
    if (name == "castShadows") {
        if (!toBool(value, flag))
            return false;
        object.setCastShadows(flag);
        return true;
    }
    return false;
}

} // namespace Lumenda3D
