#pragma once
// A value crossing between game logic and the scene: a number, a boolean, a text, or nothing.
// Object properties (positions, visibility, texts, colours) travel as these, so that the scene's
// host needs no Lua types.
#include <string>

namespace Lumenda3D {

struct LmdScriptValue {
    enum class Type { None, Number, Boolean, Text };

    Type type = Type::None;
    double number = 0.0;
    bool boolean = false;
    std::string text;

    static LmdScriptValue ofNumber(double value) {
        LmdScriptValue v;
        v.type = Type::Number;
        v.number = value;
        return v;
    }
    static LmdScriptValue ofBoolean(bool value) {
        LmdScriptValue v;
        v.type = Type::Boolean;
        v.boolean = value;
        return v;
    }
    static LmdScriptValue ofText(std::string value) {
        LmdScriptValue v;
        v.type = Type::Text;
        v.text = std::move(value);
        return v;
    }

    bool isNone() const { return type == Type::None; }
    bool operator==(const LmdScriptValue& other) const {
        if (type != other.type)
            return false;
        switch (type) {
        case Type::None: return true;
        case Type::Number: return number == other.number;
        case Type::Boolean: return boolean == other.boolean;
        case Type::Text: return text == other.text;
        }
        return false;
    }
    bool operator!=(const LmdScriptValue& other) const { return !(*this == other); }
};

} // namespace Lumenda3D
