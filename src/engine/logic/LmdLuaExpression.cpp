#include "engine/logic/LmdLuaExpression.h"

#include "base/LmdValueParser.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <memory>

namespace Lumenda3D {
namespace {

// The character that starts at byte `i`, quoted for a message: a whole UTF-8 sequence when one
// starts there, otherwise the byte in hex, so that a message never holds a broken sequence (it
// goes into agents' JSON replies, which must be UTF-8).
std::string characterAt(std::string_view text, size_t i) {
    const unsigned char lead = static_cast<unsigned char>(text[i]);
    size_t length = lead < 0x80 ? 1 : (lead >> 5) == 0x6 ? 2 : (lead >> 4) == 0xE ? 3 : (lead >> 3) == 0x1E ? 4 : 0;
    bool whole = length > 0 && i + length <= text.size();
    for (size_t k = 1; whole && k < length; ++k)
        whole = (static_cast<unsigned char>(text[i + k]) & 0xC0) == 0x80;
    if (whole && length > 1) {
        // No overlong forms, surrogates or code points past U+10FFFF.
        const unsigned char second = static_cast<unsigned char>(text[i + 1]);
        whole = lead >= 0xC2 && lead <= 0xF4 && !(lead == 0xE0 && second < 0xA0) &&
                !(lead == 0xED && second >= 0xA0) && !(lead == 0xF0 && second < 0x90) &&
                !(lead == 0xF4 && second >= 0x90);
    }
    if (whole && length > 1)
        return "'" + std::string(text.substr(i, length)) + "'";
    if (whole && length == 1)
        return "'" + std::string(1, text[i]) + "'";
    char hex[8];
    std::snprintf(hex, sizeof hex, "0x%02X", lead);
    return std::string("the byte ") + hex;
}

using Kind = LmdLuaExpression::Kind;
using Result = LmdLuaExpression::Result;
using Binding = LmdLuaExpression::Binding;

// Deeper nesting than this is refused: it keeps the parser's recursion and Lua's own parser
// (about 200 nested levels) far from their limits.
constexpr int kMaxDepth = 40;
// Placeholders in one text.
constexpr size_t kMaxPlaceholders = 64;

// ---------------------------------------------------------------- tokens

struct Token {
    enum class Type { End, Number, String, Name, Op };
    Type type = Type::End;
    std::string text; // name, operator, or the decoded string
    double value = 0.0;
    size_t pos = 0; // 1-based character position, for messages
};

bool isNameStart(char c) {
    return std::isalpha(static_cast<unsigned char>(c)) || c == '_';
}
bool isNameChar(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || c == '_';
}

bool tokenize(std::string_view text, std::vector<Token>& out, std::string& error) {
    size_t i = 0;
    const size_t n = text.size();
    while (i < n) {
        const char c = text[i];
        if (std::isspace(static_cast<unsigned char>(c))) {
            ++i;
            continue;
        }
        Token token;
        token.pos = i + 1;
        const bool digitAfterPoint = c == '.' && i + 1 < n && std::isdigit(static_cast<unsigned char>(text[i + 1]));
        if (std::isdigit(static_cast<unsigned char>(c)) || digitAfterPoint) {
            size_t j = i;
            while (j < n && std::isdigit(static_cast<unsigned char>(text[j])))
                ++j;
            if (j < n && text[j] == '.') {
                ++j;
                while (j < n && std::isdigit(static_cast<unsigned char>(text[j])))
                    ++j;
            }
            if (j < n && (text[j] == 'e' || text[j] == 'E')) {
                size_t k = j + 1;
                if (k < n && (text[k] == '+' || text[k] == '-'))
                    ++k;
                if (k < n && std::isdigit(static_cast<unsigned char>(text[k]))) {
                    j = k;
                    while (j < n && std::isdigit(static_cast<unsigned char>(text[j])))
                        ++j;
                }
            }
            if (j < n && isNameChar(text[j])) {
                size_t k = j;
                while (k < n && isNameChar(text[k]))
                    ++k;
                error = "'" + std::string(text.substr(i, k - i)) + "' is neither a number nor a name";
                return false;
            }
            std::string digits(text.substr(i, j - i));
            char* end = nullptr;
            token.value = std::strtod(digits.c_str(), &end);
            if (!std::isfinite(token.value)) {
                error = "the number " + digits + " is too large";
                return false;
            }
            token.type = Token::Type::Number;
            token.text = digits;
            i = j;
        } else if (isNameStart(c)) {
            size_t j = i;
            while (j < n && isNameChar(text[j]))
                ++j;
            token.type = Token::Type::Name;
            token.text = std::string(text.substr(i, j - i));
            i = j;
        } else if (c == '"' || c == '\'') {
            size_t j = i + 1;
            std::string decoded;
            bool closed = false;
            while (j < n) {
                const char d = text[j];
                if (d == c) {
                    closed = true;
                    ++j;
                    break;
                }
                if (d == '\\' && j + 1 < n) {
                    const char e = text[j + 1];
                    decoded += e == 'n' ? '\n' : e == 't' ? '\t' : e;
                    j += 2;
                    continue;
                }
                decoded += d;
                ++j;
            }
            if (!closed) {
                error = std::string("the text starting at character ") + std::to_string(i + 1) +
                        " is not closed: add the closing " + c;
                return false;
            }
            token.type = Token::Type::String;
            token.text = std::move(decoded);
            i = j;
        } else {
            const std::string two(text.substr(i, 2));
            if (two == "==" || two == "!=" || two == "<=" || two == ">=") {
                token.type = Token::Type::Op;
                token.text = two;
                i += 2;
            } else if (two == "&&" || two == "||") {
                error = "'" + two + "' is not an operator: write " + (two == "&&" ? "and" : "or");
                return false;
            } else if (std::string_view("+-*/%<>()[],.").find(c) != std::string_view::npos) {
                token.type = Token::Type::Op;
                token.text = std::string(1, c);
                ++i;
            } else if (c == '=') {
                error = "'=' is not an operator: write == to compare (a Set block assigns)";
                return false;
            } else if (c == '!') {
                error = "'!' is not an operator: write not";
                return false;
            } else {
                error = characterAt(text, i) + " at character " + std::to_string(i + 1) +
                        " has no meaning in an expression";
                return false;
            }
        }
        out.push_back(std::move(token));
    }
    Token end;
    end.type = Token::Type::End;
    end.pos = n + 1;
    out.push_back(end);
    return true;
}

// ---------------------------------------------------------------- syntax tree

struct Ast {
    enum class Type { Number, String, Boolean, Name, Property, Index, Call, Negate, Not, Binary };
    Type type = Type::Number;
    double value = 0.0;
    std::string text; // name, string, property, function, operator
    std::vector<std::unique_ptr<Ast>> kids;
    size_t pos = 0;
    int height = 1; // levels of the tree from here down
};
using AstPtr = std::unique_ptr<Ast>;

AstPtr makeAst(Ast::Type type, size_t pos, std::string text = {}) {
    auto node = std::make_unique<Ast>();
    node->type = type;
    node->pos = pos;
    node->text = std::move(text);
    return node;
}

bool isKeyword(const std::string& name) {
    return name == "and" || name == "or" || name == "not" || name == "true" || name == "false";
}

class Parser {
public:
    explicit Parser(std::vector<Token> tokens) : tokens_(std::move(tokens)) {}

    // One expression and nothing after it.
    AstPtr parseAll() {
        AstPtr node = parseExpression();
        if (node && peek().type != Token::Type::End) {
            failAt(peek(), "");
            return nullptr;
        }
        return node;
    }

    // Comma-separated expressions.
    bool parseList(std::vector<AstPtr>& out) {
        if (peek().type == Token::Type::End)
            return true;
        for (;;) {
            AstPtr node = parseExpression();
            if (!node)
                return false;
            out.push_back(std::move(node));
            if (isOp(","))
                ++at_;
            else if (peek().type == Token::Type::End)
                return true;
            else {
                failAt(peek(), "");
                return false;
            }
        }
    }

    const std::string& error() const { return error_; }

private:
    const Token& peek() const { return tokens_[at_]; }
    bool isOp(const char* op) const { return peek().type == Token::Type::Op && peek().text == op; }
    bool isName(const char* name) const { return peek().type == Token::Type::Name && peek().text == name; }

    void failAt(const Token& token, const std::string& expected) {
        if (!error_.empty())
            return;
        if (token.type == Token::Type::End)
            error_ = expected.empty() ? "the expression ends too early" : "the expression ends where " + expected + " belongs";
        else {
            const std::string shown = token.type == Token::Type::String ? "\"" + token.text + "\"" : token.text;
            error_ = "unexpected '" + shown + "' at character " + std::to_string(token.pos);
            if (!expected.empty())
                error_ += ", where " + expected + " belongs";
        }
    }

    struct DepthGuard {
        explicit DepthGuard(int& depth) : depth_(depth) { ++depth_; }
        ~DepthGuard() { --depth_; }
        int& depth_;
    };

    AstPtr parseExpression() {
        DepthGuard guard(depth_);
        if (depth_ > kMaxDepth) {
            if (error_.empty())
                error_ = "the expression is nested too deeply";
            return nullptr;
        }
        return parseOr();
    }

    // Gives `node` its kid and keeps the tree's height within kMaxDepth. Chains of operators
    // (a - b - c - ...) are built in loops, not by recursion, so the depth guard doesn't see them,
    // but every operation nests one level deeper in the tree and in the Lua that is written, and
    // Lua's own parser refuses a few hundred levels.
    bool adopt(Ast& node, AstPtr kid) {
        node.height = std::max(node.height, kid->height + 1);
        node.kids.push_back(std::move(kid));
        if (node.height <= kMaxDepth)
            return true;
        if (error_.empty())
            error_ = "the expression is too deep: at most " + std::to_string(kMaxDepth) +
                     " operations may build on one another (split it with a Var)";
        return false;
    }

    AstPtr binary(const std::string& op, AstPtr left, AstPtr right, size_t pos) {
        AstPtr node = makeAst(Ast::Type::Binary, pos, op);
        if (!adopt(*node, std::move(left)) || !adopt(*node, std::move(right)))
            return nullptr;
        return node;
    }

    AstPtr parseOr() {
        AstPtr left = parseAnd();
        while (left && isName("or")) {
            const size_t pos = peek().pos;
            ++at_;
            AstPtr right = parseAnd();
            if (!right)
                return nullptr;
            left = binary("or", std::move(left), std::move(right), pos);
        }
        return left;
    }

    AstPtr parseAnd() {
        AstPtr left = parseNot();
        while (left && isName("and")) {
            const size_t pos = peek().pos;
            ++at_;
            AstPtr right = parseNot();
            if (!right)
                return nullptr;
            left = binary("and", std::move(left), std::move(right), pos);
        }
        return left;
    }

    AstPtr parseNot() {
        if (isName("not")) {
            const size_t pos = peek().pos;
            ++at_;
            DepthGuard guard(depth_);
            if (depth_ > kMaxDepth) {
                error_ = "the expression is nested too deeply";
                return nullptr;
            }
            AstPtr operand = parseNot();
            if (!operand)
                return nullptr;
            AstPtr node = makeAst(Ast::Type::Not, pos);
            if (!adopt(*node, std::move(operand)))
                return nullptr;
            return node;
        }
        return parseComparison();
    }

    static bool isComparison(const Token& token) {
        if (token.type != Token::Type::Op)
            return false;
        const std::string& t = token.text;
        return t == "==" || t == "!=" || t == "<" || t == "<=" || t == ">" || t == ">=";
    }

    AstPtr parseComparison() {
        AstPtr left = parseAdditive();
        if (left && isComparison(peek())) {
            const Token op = peek();
            ++at_;
            AstPtr right = parseAdditive();
            if (!right)
                return nullptr;
            if (isComparison(peek())) {
                error_ = "comparisons cannot be chained ('" + peek().text + "' at character " +
                         std::to_string(peek().pos) + "): join them with and";
                return nullptr;
            }
            return binary(op.text, std::move(left), std::move(right), op.pos);
        }
        return left;
    }

    AstPtr parseAdditive() {
        AstPtr left = parseMultiplicative();
        while (left && (isOp("+") || isOp("-"))) {
            const Token op = peek();
            ++at_;
            AstPtr right = parseMultiplicative();
            if (!right)
                return nullptr;
            left = binary(op.text, std::move(left), std::move(right), op.pos);
        }
        return left;
    }

    AstPtr parseMultiplicative() {
        AstPtr left = parseUnary();
        while (left && (isOp("*") || isOp("/") || isOp("%"))) {
            const Token op = peek();
            ++at_;
            AstPtr right = parseUnary();
            if (!right)
                return nullptr;
            left = binary(op.text, std::move(left), std::move(right), op.pos);
        }
        return left;
    }

    AstPtr parseUnary() {
        if (isOp("-") || isOp("+")) {
            const Token op = peek();
            ++at_;
            DepthGuard guard(depth_);
            if (depth_ > kMaxDepth) {
                error_ = "the expression is nested too deeply";
                return nullptr;
            }
            AstPtr operand = parseUnary();
            if (!operand)
                return nullptr;
            if (op.text == "+")
                return operand;
            AstPtr node = makeAst(Ast::Type::Negate, op.pos);
            if (!adopt(*node, std::move(operand)))
                return nullptr;
            return node;
        }
        return parsePrimary();
    }

    AstPtr parsePrimary() {
        const Token token = peek();
        switch (token.type) {
        case Token::Type::Number: {
            ++at_;
            AstPtr node = makeAst(Ast::Type::Number, token.pos);
            node->value = token.value;
            return node;
        }
        case Token::Type::String:
            ++at_;
            return makeAst(Ast::Type::String, token.pos, token.text);
        case Token::Type::Name:
            return parseName();
        case Token::Type::Op:
            if (token.text == "(") {
                ++at_;
                AstPtr inner = parseExpression();
                if (!inner)
                    return nullptr;
                if (!isOp(")")) {
                    failAt(peek(), "')'");
                    return nullptr;
                }
                ++at_;
                return inner;
            }
            failAt(token, "a value");
            return nullptr;
        case Token::Type::End:
            failAt(token, "a value");
            return nullptr;
        }
        return nullptr;
    }

    AstPtr parseName() {
        const Token name = peek();
        ++at_;
        if (name.text == "true" || name.text == "false") {
            AstPtr node = makeAst(Ast::Type::Boolean, name.pos);
            node->value = name.text == "true" ? 1.0 : 0.0;
            return node;
        }
        if (isKeyword(name.text)) {
            failAt(name, "a value");
            return nullptr;
        }
        if (isOp("(")) {
            ++at_;
            AstPtr call = makeAst(Ast::Type::Call, name.pos, name.text);
            if (!isOp(")")) {
                for (;;) {
                    AstPtr arg = parseExpression();
                    if (!arg)
                        return nullptr;
                    if (!adopt(*call, std::move(arg)))
                        return nullptr;
                    if (isOp(",")) {
                        ++at_;
                        continue;
                    }
                    if (isOp(")"))
                        break;
                    failAt(peek(), "',' or ')'");
                    return nullptr;
                }
            }
            ++at_;
            return call;
        }
        AstPtr node = makeAst(Ast::Type::Name, name.pos, name.text);
        if (isOp("[")) {
            ++at_;
            AstPtr index = parseExpression();
            if (!index)
                return nullptr;
            if (!isOp("]")) {
                failAt(peek(), "']'");
                return nullptr;
            }
            ++at_;
            AstPtr item = makeAst(Ast::Type::Index, name.pos, name.text);
            if (!adopt(*item, std::move(index)))
                return nullptr;
            node = std::move(item);
        }
        if (isOp(".")) {
            ++at_;
            if (peek().type != Token::Type::Name || isKeyword(peek().text)) {
                failAt(peek(), "a property name");
                return nullptr;
            }
            AstPtr property = makeAst(Ast::Type::Property, name.pos, peek().text);
            ++at_;
            if (!adopt(*property, std::move(node)))
                return nullptr;
            node = std::move(property);
            if (isOp(".") || isOp("[")) {
                error_ = "a property has no parts of its own ('" + peek().text + "' at character " +
                         std::to_string(peek().pos) + ")";
                return nullptr;
            }
        } else if (node->type == Ast::Type::Index && isOp("[")) {
            error_ = "an array item is not itself an array ('[' at character " + std::to_string(peek().pos) + ")";
            return nullptr;
        }
        return node;
    }

    std::vector<Token> tokens_;
    size_t at_ = 0;
    int depth_ = 0;
    std::string error_;
};

// ---------------------------------------------------------------- Lua output

struct Builtin {
    const char* name;
    int minArgs;
    int maxArgs; // -1: any number
};

const Builtin kBuiltins[] = {
    {"random", 2, 2}, {"abs", 1, 1},  {"floor", 1, 1}, {"ceil", 1, 1},     {"round", 1, 1},
    {"min", 1, -1},   {"max", 1, -1}, {"sqrt", 1, 1},  {"sin", 1, 1},      {"cos", 1, 1},
    {"distance", 2, 2}, {"keyDown", 1, 1}, {"len", 1, 1},
};

const Builtin* findBuiltin(const std::string& name) {
    for (const Builtin& builtin : kBuiltins)
        if (name == builtin.name)
            return &builtin;
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

class Emitter {
public:
    explicit Emitter(const LmdLuaExpression::Scope& scope) : scope_(scope) {}

    bool emit(const Ast& node, Result& out) {
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

    // In the object place of object.property, a target or distance(): see translateObject.
    bool emitObject(const Ast& node, Result& out) {
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

    std::string objectName(const std::string& name) {
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

    bool emitNumber(const Ast& node, Result& out, const std::string& what) {
        if (!emit(node, out))
            return false;
        if (out.kind == Kind::Text || out.kind == Kind::Boolean)
            return fail(what + " needs a number, not " + kindName(out.kind));
        return true;
    }

    bool emitItem(const Ast& node, std::string& array, std::string& index) {
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

    static std::string truth(const Result& value) {
        return value.kind == Kind::Boolean ? value.lua : "truth(" + value.lua + ")";
    }

    bool fail(const std::string& message) {
        if (error_.empty())
            error_ = message;
        return false;
    }
    const std::string& error() const { return error_; }

private:
    bool emitName(const Ast& node, Result& out) {
        const Binding binding = scope_.lookup(node.text);
        if (binding.type == Binding::Type::Value) {
            out.lua = binding.lua;
            return true;
        }
        if (binding.type == Binding::Type::Array)
            return fail("'" + node.text + "' is an array: write " + node.text + "[1] for an item or len(" +
                        node.text + ") for its length");
        if (node.text == "dt" || node.text == "time") {
            out.lua = "R." + node.text;
            out.kind = Kind::Number;
            return true;
        }
        if (findBuiltin(node.text))
            return fail("'" + node.text + "' is a function: write " + node.text + "(...)");
        if (scope_.isObject(node.text))
            return fail("'" + node.text + "' is an object: write " + node.text + ".x (or another property) for one of its values, or \"" +
                        node.text + "\" for its name");
        return fail("unknown variable '" + node.text + "'");
    }

    bool emitArgsAsNumbers(const Ast& node, std::vector<std::string>& args) {
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

    bool emitCall(const Ast& node, Result& out) {
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

    bool emitBinary(const Ast& node, Result& out) {
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

    const LmdLuaExpression::Scope& scope_;
    std::string error_;
};

std::string_view trimView(std::string_view text) {
    return LmdValueParser::trim(text);
}

AstPtr parse(std::string_view text, std::string& error) {
    std::vector<Token> tokens;
    if (!tokenize(text, tokens, error))
        return nullptr;
    Parser parser(std::move(tokens));
    AstPtr tree = parser.parseAll();
    if (!tree)
        error = parser.error();
    return tree;
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
