#pragma once
// Writes the Lua form of a parsed expression, resolving names through the caller's scope and
// checking the kinds of values (number, text, true/false) where they are known.
#include <string>
#include <vector>

#include "engine/logic/LmdExpressionParser.h"
#include "engine/logic/LmdLuaExpression.h"

namespace Lumenda3D::expression {

using Kind = LmdLuaExpression::Kind;
using Result = LmdLuaExpression::Result;
using Binding = LmdLuaExpression::Binding;

struct Builtin {
    const char* name;
    int minArgs;
    int maxArgs; // -1: any number
};

// The functions expressions may call, with their numbers of arguments.
inline constexpr Builtin kBuiltins[] = {
    {"random", 2, 2}, {"abs", 1, 1},  {"floor", 1, 1}, {"ceil", 1, 1},     {"round", 1, 1},
    {"min", 1, -1},   {"max", 1, -1}, {"sqrt", 1, 1},  {"sin", 1, 1},      {"cos", 1, 1},
    {"distance", 2, 2}, {"keyDown", 1, 1}, {"len", 1, 1},
};
const Builtin* findBuiltin(const std::string& name);

// Values the game provides by name (the runtime table R holds them under that name).
struct GameValue {
    const char* name;
    Kind kind;
};
inline constexpr GameValue kGameValues[] = {
    {"time", Kind::Number},        {"dt", Kind::Number},          {"mouseX", Kind::Number},
    {"mouseY", Kind::Number},      {"pointerX", Kind::Number},    {"pointerY", Kind::Number},
    {"pointerZ", Kind::Number},    {"pointerObject", Kind::Text}, {"clickX", Kind::Number},
    {"clickY", Kind::Number},      {"clickZ", Kind::Number},      {"clickObject", Kind::Text},
};
const GameValue* findGameValue(const std::string& name);
// "a number", "text", ...: a kind of value as messages name it.
const char* kindName(Kind kind);

class Emitter {
public:
    explicit Emitter(const LmdLuaExpression::Scope& scope) : scope_(scope) {}

    bool emit(const Ast& node, Result& out);

    // In the object place of object.property, a target or distance(): see translateObject.
    bool emitObject(const Ast& node, Result& out);
    std::string objectName(const std::string& name);
    bool emitNumber(const Ast& node, Result& out, const std::string& what);
    bool emitItem(const Ast& node, std::string& array, std::string& index);
    static std::string truth(const Result& value);
    bool fail(const std::string& message);
    const std::string& error() const { return error_; }

private:
    bool emitName(const Ast& node, Result& out);
    bool emitArgsAsNumbers(const Ast& node, std::vector<std::string>& args);
    bool emitCall(const Ast& node, Result& out);
    bool emitBinary(const Ast& node, Result& out);

    const LmdLuaExpression::Scope& scope_;
    std::string error_;
};

} // namespace Lumenda3D::expression
