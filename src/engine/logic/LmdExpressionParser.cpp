#include "engine/logic/LmdExpressionParser.h"

#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>

namespace Lumenda3D::expression {
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

} // namespace

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

AstPtr makeAst(Ast::Type type, size_t pos, std::string text) {
    auto node = std::make_unique<Ast>();
    node->type = type;
    node->pos = pos;
    node->text = std::move(text);
    return node;
}

bool isKeyword(const std::string& name) {
    return name == "and" || name == "or" || name == "not" || name == "true" || name == "false";
}

AstPtr Parser::parseAll() {
    AstPtr node = parseExpression();
    if (node && peek().type != Token::Type::End) {
        failAt(peek(), "");
        return nullptr;
    }
    return node;
}

bool Parser::parseList(std::vector<AstPtr>& out) {
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

void Parser::failAt(const Token& token, const std::string& expected) {
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

AstPtr Parser::parseExpression() {
    DepthGuard guard(depth_);
    if (depth_ > kMaxDepth) {
        if (error_.empty())
            error_ = "the expression is nested too deeply";
        return nullptr;
    }
    return parseOr();
}

bool Parser::adopt(Ast& node, AstPtr kid) {
    node.height = std::max(node.height, kid->height + 1);
    node.kids.push_back(std::move(kid));
    if (node.height <= kMaxDepth)
        return true;
    if (error_.empty())
        error_ = "the expression is too deep: at most " + std::to_string(kMaxDepth) +
                 " operations may build on one another (split it with a Var)";
    return false;
}

AstPtr Parser::binary(const std::string& op, AstPtr left, AstPtr right, size_t pos) {
    AstPtr node = makeAst(Ast::Type::Binary, pos, op);
    if (!adopt(*node, std::move(left)) || !adopt(*node, std::move(right)))
        return nullptr;
    return node;
}

AstPtr Parser::parseOr() {
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

AstPtr Parser::parseAnd() {
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

AstPtr Parser::parseNot() {
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

bool Parser::isComparison(const Token& token) {
    if (token.type != Token::Type::Op)
        return false;
    const std::string& t = token.text;
    return t == "==" || t == "!=" || t == "<" || t == "<=" || t == ">" || t == ">=";
}

AstPtr Parser::parseComparison() {
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

AstPtr Parser::parseAdditive() {
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

AstPtr Parser::parseMultiplicative() {
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

AstPtr Parser::parseUnary() {
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

AstPtr Parser::parsePrimary() {
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

AstPtr Parser::parseName() {
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

} // namespace Lumenda3D::expression
