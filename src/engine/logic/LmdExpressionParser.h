#pragma once
// The expression language's tokens and syntax tree, and the parser that makes the tree from a text.
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Lumenda3D::expression {

// Deeper nesting than this is refused: it keeps the parser's recursion and Lua's own parser
// (about 200 nested levels) far from their limits.
constexpr int kMaxDepth = 40;

struct Token {
    enum class Type { End, Number, String, Name, Op };
    Type type = Type::End;
    std::string text; // name, operator, or the decoded string
    double value = 0.0;
    size_t pos = 0; // 1-based character position, for messages
};

bool isNameStart(char c);
bool isNameChar(char c);
// Splits `text` into tokens, ending with an End token; false with `error` set on a bad character,
// number or string.
bool tokenize(std::string_view text, std::vector<Token>& out, std::string& error);

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

AstPtr makeAst(Ast::Type type, size_t pos, std::string text = {});
bool isKeyword(const std::string& name);

class Parser {
public:
    explicit Parser(std::vector<Token> tokens) : tokens_(std::move(tokens)) {}

    // One expression and nothing after it.
    AstPtr parseAll();

    // Comma-separated expressions.
    bool parseList(std::vector<AstPtr>& out);
    const std::string& error() const { return error_; }

private:
    const Token& peek() const { return tokens_[at_]; }
    bool isOp(const char* op) const { return peek().type == Token::Type::Op && peek().text == op; }
    bool isName(const char* name) const { return peek().type == Token::Type::Name && peek().text == name; }

    void failAt(const Token& token, const std::string& expected);
    struct DepthGuard {
        explicit DepthGuard(int& depth) : depth_(depth) { ++depth_; }
        ~DepthGuard() { --depth_; }
        int& depth_;
    };

    AstPtr parseExpression();

    // Gives `node` its kid and keeps the tree's height within kMaxDepth. Chains of operators
    // (a - b - c - ...) are built in loops, not by recursion, so the depth guard doesn't see them,
    // but every operation nests one level deeper in the tree and in the Lua that is written, and
    // Lua's own parser refuses a few hundred levels.
    bool adopt(Ast& node, AstPtr kid);
    AstPtr binary(const std::string& op, AstPtr left, AstPtr right, size_t pos);
    AstPtr parseOr();
    AstPtr parseAnd();
    AstPtr parseNot();
    static bool isComparison(const Token& token);
    AstPtr parseComparison();
    AstPtr parseAdditive();
    AstPtr parseMultiplicative();
    AstPtr parseUnary();
    AstPtr parsePrimary();
    AstPtr parseName();

    std::vector<Token> tokens_;
    size_t at_ = 0;
    int depth_ = 0;
    std::string error_;
};

// One expression and nothing after it; null with `error` set when the text is no expression.
AstPtr parse(std::string_view text, std::string& error);

} // namespace Lumenda3D::expression
