#include "engine/logic/LmdLuaExpression.h"

#include "base/LmdValueParser.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <memory>

#include "engine/logic/LmdExpressionEmitter.h"
#include "engine/logic/LmdExpressionParser.h"

namespace Lumenda3D {
namespace {

using namespace expression;

// Placeholders in one text.
constexpr size_t kMaxPlaceholders = 64;

std::string_view trimView(std::string_view text) {
    return LmdValueParser::trim(text);
}

Result failed(const std::string& error) {
    Result result;
    result.error = error;
    return result;
}

} // namespace

// ---------------------------------------------------------------- public

LmdLuaExpression::Result LmdLuaExpression::translate(std::string_view text, const Scope& scope) {
    if (trimView(text).empty())
        return failed("the expression is empty");
    std::string error;
    AstPtr tree = parse(text, error);
    if (!tree)
        return failed(error);
    Emitter emitter(scope);
    Result result;
    if (!emitter.emit(*tree, result))
        return failed(emitter.error());
    result.ok = true;
    return result;
}

LmdLuaExpression::Result LmdLuaExpression::translateNumber(std::string_view text, const Scope& scope,
                                                           const std::string& what) {
    Result result = translate(text, scope);
    if (!result.ok)
        return result;
    if (result.kind == Kind::Text || result.kind == Kind::Boolean)
        return failed(std::string(kindName(result.kind)) + " where a number belongs");
    if (result.kind == Kind::Any) {
        result.lua = "num(" + result.lua + ", " + quote(what) + ")";
        result.kind = Kind::Number;
    }
    return result;
}

LmdLuaExpression::Result LmdLuaExpression::translateCondition(std::string_view text, const Scope& scope) {
    Result result = translate(text, scope);
    if (result.ok) {
        result.lua = Emitter::truth(result);
        result.kind = Kind::Boolean;
    }
    return result;
}

LmdLuaExpression::Result LmdLuaExpression::translateComparison(std::string_view left, std::string_view op,
                                                               std::string_view right, const Scope& scope) {
    const std::string oper = std::string(trimView(op));
    if (oper != "==" && oper != "!=" && oper != "<" && oper != "<=" && oper != ">" && oper != ">=")
        return failed("'" + oper + "' is not a comparison (==, !=, <, <=, >, >=)");
    Result a = translate(left, scope);
    if (!a.ok)
        return failed("left side: " + a.error);
    Result b = translate(right, scope);
    if (!b.ok)
        return failed("right side: " + b.error);
    Result result;
    if (oper == "==" || oper == "!=") {
        result.lua = "(" + a.lua + (oper == "==" ? " == " : " ~= ") + b.lua + ")";
    } else {
        if (a.kind == Kind::Boolean || b.kind == Kind::Boolean)
            return failed("'" + oper + "' cannot compare true/false values");
        if ((a.kind == Kind::Text && b.kind == Kind::Number) || (a.kind == Kind::Number && b.kind == Kind::Text))
            return failed("'" + oper + "' cannot compare text with a number");
        result.lua = "(" + a.lua + " " + oper + " " + b.lua + ")";
    }
    result.ok = true;
    result.kind = Kind::Boolean;
    return result;
}

bool LmdLuaExpression::translateList(std::string_view text, const Scope& scope, std::vector<Result>& items,
                                     std::string& error) {
    items.clear();
    if (trimView(text).empty())
        return true;
    std::vector<Token> tokens;
    if (!tokenize(text, tokens, error))
        return false;
    Parser parser(std::move(tokens));
    std::vector<AstPtr> trees;
    if (!parser.parseList(trees)) {
        error = parser.error();
        return false;
    }
    Emitter emitter(scope);
    for (const AstPtr& tree : trees) {
        Result item;
        if (!emitter.emit(*tree, item)) {
            error = emitter.error();
            return false;
        }
        item.ok = true;
        items.push_back(std::move(item));
    }
    return true;
}

LmdLuaExpression::Result LmdLuaExpression::translateObject(std::string_view text, const Scope& scope) {
    const std::string_view name = trimView(text);
    Result result;
    result.ok = true;
    if (!isIdentifier(name)) {
        // Names with spaces or other signs cannot be variables: the object's name as written.
        if (!scope.isObject(std::string(name)))
            scope.unknownObject(std::string(name));
        result.lua = quote(text);
        return result;
    }
    Emitter emitter(scope);
    result.lua = emitter.objectName(std::string(name));
    if (!emitter.error().empty())
        return failed(emitter.error());
    return result;
}

LmdLuaExpression::Result LmdLuaExpression::translateText(std::string_view text, const Scope& scope, bool* constant) {
    std::vector<std::string> parts;
    std::string literal;
    bool anyExpression = false;
    size_t placeholders = 0;
    const size_t n = text.size();
    size_t i = 0;
    auto flush = [&]() {
        if (!literal.empty())
            parts.push_back(quote(literal));
        literal.clear();
    };
    while (i < n) {
        const char c = text[i];
        if (c == '{' && i + 1 < n && text[i + 1] == '{') {
            literal += '{';
            i += 2;
        } else if (c == '}' && i + 1 < n && text[i + 1] == '}') {
            literal += '}';
            i += 2;
        } else if (c == '{') {
            size_t j = i + 1;
            char quoteChar = 0;
            while (j < n) {
                const char d = text[j];
                if (quoteChar) {
                    if (d == '\\')
                        ++j;
                    else if (d == quoteChar)
                        quoteChar = 0;
                } else if (d == '"' || d == '\'') {
                    quoteChar = d;
                } else if (d == '}') {
                    break;
                }
                ++j;
            }
            if (j >= n)
                return failed("the '{' at character " + std::to_string(i + 1) +
                              " is not closed with '}' (write {{ for a brace)");
            const std::string_view inner = trimView(text.substr(i + 1, j - i - 1));
            if (inner.empty())
                return failed("'{}' at character " + std::to_string(i + 1) + " holds no expression");
            Result value = translate(inner, scope);
            if (!value.ok)
                return failed("{" + std::string(inner) + "}: " + value.error);
            if (++placeholders > kMaxPlaceholders)
                return failed("the text has more than " + std::to_string(kMaxPlaceholders) + " {placeholders}");
            flush();
            parts.push_back(value.kind == Kind::Text ? value.lua : "str(" + value.lua + ")");
            anyExpression = true;
            i = j + 1;
        } else {
            literal += c;
            ++i;
        }
    }
    flush();
    Result result;
    result.ok = true;
    result.kind = Kind::Text;
    if (parts.empty())
        result.lua = "\"\"";
    for (const std::string& part : parts)
        result.lua += (result.lua.empty() ? "" : " .. ") + part;
    if (parts.size() > 1)
        result.lua = "(" + result.lua + ")";
    if (constant)
        *constant = !anyExpression;
    return result;
}

bool LmdLuaExpression::translateAssignable(std::string_view text, const Scope& scope, Assignable& out,
                                           std::string& error) {
    if (trimView(text).empty()) {
        error = "names nothing to write to";
        return false;
    }
    AstPtr tree = parse(text, error);
    if (!tree)
        return false;
    Emitter emitter(scope);
    switch (tree->type) {
    case Ast::Type::Name: {
        const Binding binding = scope.lookup(tree->text);
        if (binding.type == Binding::Type::Value) {
            if (binding.readOnly) {
                error = "'" + tree->text + "' cannot be changed";
                return false;
            }
            out.type = Assignable::Type::Variable;
            out.lua = binding.lua;
            return true;
        }
        if (binding.type == Binding::Type::Array)
            error = "'" + tree->text + "' is an array: write " + tree->text + "[1] to change an item";
        else if (scope.isObject(tree->text))
            error = "'" + tree->text + "' is an object: write " + tree->text + ".x (or another property)";
        else
            error = "unknown variable '" + tree->text + "'";
        return false;
    }
    case Ast::Type::Property: {
        Result object;
        if (!emitter.emitObject(*tree->kids[0], object)) {
            error = emitter.error();
            return false;
        }
        out.type = Assignable::Type::Property;
        out.lua = object.lua;
        out.key = quote(tree->text);
        return true;
    }
    case Ast::Type::Index:
        if (!emitter.emitItem(*tree, out.lua, out.key)) {
            error = emitter.error();
            return false;
        }
        out.type = Assignable::Type::Item;
        out.name = quote(tree->text);
        return true;
    default:
        error = "is not a variable, object.property or array[position]";
        return false;
    }
}

std::string LmdLuaExpression::quote(std::string_view text) {
    std::string out;
    out.reserve(text.size() + 2);
    out += '"';
    for (const char c : text) {
        const unsigned char u = static_cast<unsigned char>(c);
        switch (c) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        default:
            if (u < 0x20 || u == 0x7f) {
                char buffer[8];
                std::snprintf(buffer, sizeof buffer, "\\%03u", static_cast<unsigned>(u));
                out += buffer;
            } else {
                out += c;
            }
        }
    }
    out += '"';
    return out;
}

std::string LmdLuaExpression::number(double value) {
    if (!std::isfinite(value))
        return value != value ? "(0.0/0.0)" : value > 0 ? "(1.0/0.0)" : "(-1.0/0.0)";
    char buffer[64];
    auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    std::string out(buffer, result.ptr);
    if (out.find_first_of(".e") == std::string::npos)
        out += ".0";
    if (value < 0)
        out = "(" + out + ")";
    return out;
}

bool LmdLuaExpression::isIdentifier(std::string_view text) {
    if (text.empty() || !isNameStart(text.front()))
        return false;
    for (const char c : text)
        if (!isNameChar(c))
            return false;
    return true;
}

bool LmdLuaExpression::isReserved(std::string_view text) {
    return text == "and" || text == "or" || text == "not" || text == "true" || text == "false" || text == "self" ||
           text == "other";
}

const std::vector<std::string>& LmdLuaExpression::functionNames() {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> out;
        for (const Builtin& builtin : kBuiltins)
            out.emplace_back(builtin.name);
        return out;
    }();
    return names;
}

} // namespace Lumenda3D
