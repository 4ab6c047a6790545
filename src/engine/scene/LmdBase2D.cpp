#include "engine/scene/LmdBase2D.h"

#include "base/LmdValueParser.h"

#include <algorithm>
#include <cmath>

namespace Lumenda3D {
namespace {

bool asNumber(const LmdScriptValue& value, double& out) {
    if (value.type == LmdScriptValue::Type::Number) {
        out = value.number;
        return true;
    }
    if (value.type == LmdScriptValue::Type::Text)
        return LmdValueParser::parseNumber(value.text, out);
    return false;
}

bool asBool(const LmdScriptValue& value, bool& out) {
    if (value.type == LmdScriptValue::Type::Boolean) {
        out = value.boolean;
        return true;
    }
    if (value.type == LmdScriptValue::Type::Number) {
        out = value.number != 0.0;
        return true;
    }
    return value.type == LmdScriptValue::Type::Text && LmdValueParser::parseBool(value.text, out);
}

std::string asText(const LmdScriptValue& value) {
    switch (value.type) {
    case LmdScriptValue::Type::Text: return value.text;
    case LmdScriptValue::Type::Boolean: return value.boolean ? "true" : "false";
    case LmdScriptValue::Type::Number: {
        if (value.number == std::floor(value.number) && std::fabs(value.number) < 1e15)
            return std::to_string(static_cast<long long>(value.number));
        char buffer[32];
        std::snprintf(buffer, sizeof buffer, "%g", value.number);
        return buffer;
    }
    case LmdScriptValue::Type::None: break;
    }
    return std::string();
}

} // namespace

LmdBase2D::LmdBase2D(LmdElementDesc desc) : mDesc(std::move(desc)), mText(mDesc.text) {}

bool LmdBase2D::isShown() const {
    for (const LmdBase2D* e = this; e; e = e->mParent)
        if (!e->mDesc.visible)
            return false;
    return true;
}

void LmdBase2D::setMeasuredSize(float width, float height) {
    mDesc.width = width;
    mDesc.height = height;
}

bool LmdBase2D::getProperty(const std::string& name, LmdScriptValue& value) const {
    if (name == "x")
        value = LmdScriptValue::ofNumber(mDesc.x);
    else if (name == "y")
        value = LmdScriptValue::ofNumber(mDesc.y);
    else if (name == "visible")
        value = LmdScriptValue::ofBoolean(mDesc.visible);
    else if (name == "text")
        value = LmdScriptValue::ofText(mText);
    else if (name == "color")
        value = LmdScriptValue::ofText(LmdValueParser::formatColor(mDesc.color));
    else if (name == "opacity")
        value = LmdScriptValue::ofNumber(mDesc.opacity);
    else if (name == "width")
        value = LmdScriptValue::ofNumber(mDesc.width);
    else if (name == "height")
        value = LmdScriptValue::ofNumber(mDesc.height);
    else if (name == "fontSize")
        value = LmdScriptValue::ofNumber(mDesc.fontSize);
    else if (name == "layer")
        value = LmdScriptValue::ofNumber(mDesc.layer);
    else if (name == "stickX")
        value = LmdScriptValue::ofNumber(mStickX);
    else if (name == "stickY")
        value = LmdScriptValue::ofNumber(mStickY);
    else
        return false;
    return true;
}

bool LmdBase2D::setProperty(const std::string& name, const LmdScriptValue& value) {
    double number = 0.0;
    if (name == "text" || name == "picture" || name == "anchor" || name == "align") {
        const std::string text = asText(value);
        if (name == "text")
            mText = text;
        else if (name == "picture")
            mDesc.picture = text;
        else if (name == "anchor")
            mDesc.anchor = text;
        else
            mDesc.align = text;
        return true;
    }
    if (name == "visible") {
        bool visible = true;
        if (!asBool(value, visible))
            return false;
        mDesc.visible = visible;
        return true;
    }
    if (name == "color" || name == "textColor") {
        std::uint32_t rgb = 0;
        if (value.type != LmdScriptValue::Type::Text || !LmdValueParser::parseColor(value.text, rgb))
            return false;
        (name == "color" ? mDesc.color : mDesc.textColor) = rgb;
        return true;
    }
    if (!asNumber(value, number))
        return false;
    const float f = float(number);
    if (name == "x")
        mDesc.x = f;
    else if (name == "y")
        mDesc.y = f;
    else if (name == "opacity")
        mDesc.opacity = std::clamp(f, 0.0f, 1.0f);
    else if (name == "width")
        mDesc.width = std::max(f, 0.0f);
    else if (name == "height")
        mDesc.height = std::max(f, 0.0f);
    else if (name == "fontSize")
        mDesc.fontSize = std::clamp(int(f), 4, 400);
    else if (name == "layer")
        mDesc.layer = int(f);
    else if (name == "cornerRadius")
        mDesc.cornerRadius = std::max(f, 0.0f);
    else if (name == "radius") {
        mDesc.radius = std::max(f, 8.0f);
        mDesc.width = mDesc.height = mDesc.radius * 2.0f;
    } else
        return false;
    return true;
}

} // namespace Lumenda3D
