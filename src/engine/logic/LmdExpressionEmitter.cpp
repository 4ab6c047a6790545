#include "engine/logic/LmdExpressionEmitter.h"

#include <cmath>

namespace Lumenda3D::expression {

const Builtin* findBuiltin(const std::string& name) {
    for (const Builtin& builtin : kBuiltins)
        if (name == builtin.name)
            return &builtin;
    return nullptr;
}

const GameValue* findGameValue(const std::string& name) {
    for (const GameValue& value : kGameValues)
        if (name == value.name)
            return &value;
    return nullptr;
}

const char* kindName(Kind kind) {
    switch (kind) {
    case Kind::Text: return "text";
    case Kind::Boolean: return "a true/false value";
    case Kind::Number: return "a number";
    case Kind::Any: return "a value";
    }
    return "a value";
}

bool Emitter::emit(const Ast& node, Result& out) {
    out.kind = Kind::Any;
    switch (node.type) {
    case Ast::Type::Number:
        out.lua = LmdLuaExpression::number(node.value);
        out.kind = Kind::Number;
        return true;
    case Ast::Type::String:
        out.lua = LmdLuaExpression::quote(node.text);
        out.kind = Kind::Text;
        return true;
    case Ast::Type::Boolean:
        out.lua = node.value != 0.0 ? "true" : "false";
        out.kind = Kind::Boolean;
        return true;
    case Ast::Type::Name: return emitName(node, out);
    case Ast::Type::Property: {
        Result object;
        if (!emitObject(*node.kids[0], object))
            return false;
        out.lua = "get(" + object.lua + ", " + LmdLuaExpression::quote(node.text) + ")";
        return true;
    }
    case Ast::Type::Index: {
        std::string array, index;
        if (!emitItem(node, array, index))
            return false;
        out.lua = "item(" + array + ", " + index + ", " + LmdLuaExpression::quote(node.text) + ")";
        return true;
    }
    case Ast::Type::Call: return emitCall(node, out);
    case Ast::Type::Negate: {
        Result operand;
        if (!emitNumber(*node.kids[0], operand, "'-'"))
            return false;
        out.lua = "(- " + operand.lua + ")";
        out.kind = Kind::Number;
        return true;
    }
    case Ast::Type::Not: {
        Result operand;
        if (!emit(*node.kids[0], operand))
            return false;
        out.lua = "(not " + truth(operand) + ")";
        out.kind = Kind::Boolean;
        return true;
    }
    case Ast::Type::Binary: return emitBinary(node, out);
    }
    return false;
}

bool Emitter::emitObject(const Ast& node, Result& out) {
    out.kind = Kind::Any;
    if (node.type == Ast::Type::Name) {
        out.lua = objectName(node.text);
        return error_.empty();
    }
    if (!emit(node, out))
        return false;
    if (out.kind == Kind::Number || out.kind == Kind::Boolean)
        return fail(std::string(kindName(out.kind)) + " cannot name an object");
    return true;
}

std::string Emitter::objectName(const std::string& name) {
    const Binding binding = scope_.lookup(name);
    if (binding.type == Binding::Type::Array) {
        fail("'" + name + "' is an array, not an object");
        return {};
    }
    if (binding.type == Binding::Type::Value && binding.local)
        return binding.lua;
    if (scope_.isObject(name))
        return LmdLuaExpression::quote(name);
    if (binding.type == Binding::Type::Value)
        return binding.lua;
    // Not in the document: an object made while the game runs (a copy with a new name).
    scope_.unknownObject(name);
    return LmdLuaExpression::quote(name);
}

bool Emitter::emitNumber(const Ast& node, Result& out, const std::string& what) {
    if (!emit(node, out))
        return false;
    if (out.kind == Kind::Text || out.kind == Kind::Boolean)
        return fail(what + " needs a number, not " + kindName(out.kind));
    return true;
}

bool Emitter::emitItem(const Ast& node, std::string& array, std::string& index) {
    const Binding binding = scope_.lookup(node.text);
    if (binding.type != Binding::Type::Array) {
        if (binding.type == Binding::Type::Value)
            return fail("'" + node.text + "' is a variable, not an array");
        return fail("unknown array '" + node.text + "'");
    }
    Result position;
    if (!emitNumber(*node.kids[0], position, "a position in " + node.text))
        return false;
    array = binding.lua;
    index = position.lua;
    return true;
}

std::string Emitter::truth(const Result& value) {
    return value.kind == Kind::Boolean ? value.lua : "truth(" + value.lua + ")";
}

bool Emitter::fail(const std::string& message) {
    if (error_.empty())
        error_ = message;
    return false;
}

bool Emitter::emitName(const Ast& node, Result& out) {
    const Binding binding = scope_.lookup(node.text);
    if (binding.type == Binding::Type::Value) {
        out.lua = binding.lua;
        return true;
    }
    if (binding.type == Binding::Type::Array)
        return fail("'" + node.text + "' is an array: write " + node.text + "[1] for an item or len(" +
                    node.text + ") for its length");
    if (const GameValue* value = findGameValue(node.text)) {
        out.lua = "R." + node.text;
        out.kind = value->kind;
        return true;
    }
    if (findBuiltin(node.text))
        return fail("'" + node.text + "' is a function: write " + node.text + "(...)");
    if (scope_.isObject(node.text))
        return fail("'" + node.text + "' is an object: write " + node.text + ".x (or another property) for one of its values, or \"" +
                    node.text + "\" for its name");
    return fail("unknown variable '" + node.text + "'");
}

bool Emitter::emitArgsAsNumbers(const Ast& node, std::vector<std::string>& args) {
    for (const AstPtr& kid : node.kids) {
        Result arg;
        if (!emitNumber(*kid, arg, node.text + "()"))
            return false;
        args.push_back(arg.kind == Kind::Number ? arg.lua
                                                : "num(" + arg.lua + ", " +
                                                      LmdLuaExpression::quote("the value given to " + node.text) + ")");
    }
    return true;
}

bool Emitter::emitCall(const Ast& node, Result& out) {
    const Builtin* builtin = findBuiltin(node.text);
    if (!builtin) {
        std::string list;
        for (const Builtin& b : kBuiltins)
            list += (list.empty() ? "" : ", ") + std::string(b.name);
        return fail("unknown function '" + node.text + "' (the functions are " + list +
                    "; a Function you declare runs with a Call block)");
    }
    const int count = static_cast<int>(node.kids.size());
    if (count < builtin->minArgs || (builtin->maxArgs >= 0 && count > builtin->maxArgs)) {
        std::string wanted = builtin->maxArgs < 0 ? "at least " + std::to_string(builtin->minArgs)
                                                  : std::to_string(builtin->minArgs);
        return fail(node.text + "() takes " + wanted + (builtin->minArgs == 1 && builtin->maxArgs == 1 ? " value" : " values") +
                    ", not " + std::to_string(count));
    }
    const std::string name = node.text;
    out.kind = Kind::Number;
    if (name == "len") {
        const Ast& arg = *node.kids[0];
        const Binding binding = arg.type == Ast::Type::Name ? scope_.lookup(arg.text) : Binding{};
        if (binding.type != Binding::Type::Array)
            return fail("len() takes the name of an array");
        out.lua = "(#" + binding.lua + ")";
        return true;
    }
    if (name == "keyDown") {
        Result key;
        if (!emit(*node.kids[0], key))
            return false;
        out.lua = "R.isKeyDown(" + key.lua + ")";
        out.kind = Kind::Boolean;
        return true;
    }
    if (name == "distance") {
        Result a, b;
        if (!emitObject(*node.kids[0], a) || !emitObject(*node.kids[1], b))
            return false;
        out.lua = "R.distance(" + a.lua + ", " + b.lua + ")";
        return true;
    }
    std::vector<std::string> args;
    if (!emitArgsAsNumbers(node, args))
        return false;
    std::string joined;
    for (const std::string& arg : args)
        joined += (joined.empty() ? "" : ", ") + arg;
    if (name == "min" || name == "max" || name == "abs")
        out.lua = "math." + name + "(" + joined + ")";
    else
        out.lua = "R." + name + "(" + joined + ")";
    return true;
}

bool Emitter::emitBinary(const Ast& node, Result& out) {
    const std::string& op = node.text;
    Result left, right;
    if (!emit(*node.kids[0], left) || !emit(*node.kids[1], right))
        return false;
    if (op == "and" || op == "or") {
        out.lua = "(" + truth(left) + " " + op + " " + truth(right) + ")";
        out.kind = Kind::Boolean;
        return true;
    }
    if (op == "==" || op == "!=") {
        out.lua = "(" + left.lua + (op == "==" ? " == " : " ~= ") + right.lua + ")";
        out.kind = Kind::Boolean;
        return true;
    }
    if (op == "<" || op == "<=" || op == ">" || op == ">=") {
        if (left.kind == Kind::Boolean || right.kind == Kind::Boolean)
            return fail("'" + op + "' cannot compare true/false values");
        if ((left.kind == Kind::Text && right.kind == Kind::Number) ||
            (left.kind == Kind::Number && right.kind == Kind::Text))
            return fail("'" + op + "' cannot compare text with a number");
        out.lua = "(" + left.lua + " " + op + " " + right.lua + ")";
        out.kind = Kind::Boolean;
        return true;
    }
    if (op == "+") {
        if (left.kind == Kind::Boolean || right.kind == Kind::Boolean)
            return fail("'+' cannot add true/false values");
        if (left.kind == Kind::Number && right.kind == Kind::Number) {
            out.lua = "(" + left.lua + " + " + right.lua + ")";
            out.kind = Kind::Number;
        } else if (left.kind == Kind::Text || right.kind == Kind::Text) {
            out.lua = "(str(" + left.lua + ") .. str(" + right.lua + "))";
            out.kind = Kind::Text;
        } else {
            out.lua = "add(" + left.lua + ", " + right.lua + ")";
        }
        return true;
    }
    // - * / %
    for (const Result* side : {&left, &right})
        if (side->kind == Kind::Text || side->kind == Kind::Boolean)
            return fail("'" + op + "' needs numbers, not " + kindName(side->kind));
    out.lua = "(" + left.lua + " " + op + " " + right.lua + ")";
    out.kind = Kind::Number;
    return true;
}

} // namespace Lumenda3D::expression
