#pragma once
// Translates the game language's expressions into Lua source.
//
// An expression is parsed by a small tokenizer and recursive-descent parser into a tree and then
// written out as fully parenthesised Lua. Only what the language allows gets through: numbers,
// "text" or 'text', true/false, names, object.property, array[index], + - * / %, comparisons
// (== != < <= > >=), and/or/not, parentheses and the runtime's functions. Anything else is an
// error message, never Lua text, so no document can inject code into the game chunk.
//
// Names are resolved while translating, through a Scope that the translator provides: a name is
// a variable, an array, a loop counter, a function parameter, an event value (`other`, `stickX`)
// or `self`; `dt` and `time` are the runtime's. Unknown names are errors.
//
// The generated code relies on the runtime library's helpers, bound to locals in the game chunk:
// `num`, `str`, `add`, `truth`, `get`, `item`, and on the table `R` (media/lua/lumenda3d_runtime.lua).
#include <string>
#include <string_view>
#include <vector>

namespace Lumenda3D {

class LmdLuaExpression {
public:
    // What the translator knows about a value's type. Any: only known when the game runs.
    enum class Kind { Any, Number, Text, Boolean };

    // What a name stands for.
    struct Binding {
        enum class Type { Unknown, Value, Array };
        Type type = Type::Unknown;
        std::string lua;    // Lua expression that reads the value (or the array's table)
        bool local = false;    // belongs to the current run: loop names, parameters, local Vars, other, self
        bool readOnly = false; // self and event values cannot be assigned
    };

    // Name resolution, provided by the translator for the place where the expression stands.
    class Scope {
    public:
        virtual ~Scope() = default;
        virtual Binding lookup(const std::string& name) const = 0;
        // Whether the game document has an object (3D, 2D or light) with this name.
        virtual bool isObject(const std::string& name) const = 0;
        // An object name that is neither a variable nor an object of the document (it may still
        // be a copy made while the game runs).
        virtual void unknownObject(const std::string& /*name*/) const {}
    };

    struct Result {
        bool ok = false;
        std::string lua;
        Kind kind = Kind::Any;
        std::string error; // a sentence fragment when !ok, e.g. "unknown variable 'spede'"
    };

    // Something a Set, Increment or Call result writes to.
    struct Assignable {
        enum class Type { Variable, Property, Item };
        Type type = Type::Variable;
        std::string lua;  // Variable: a Lua lvalue; Property: the object expression; Item: the array table
        std::string key;  // Property: the property name as a Lua literal; Item: the index expression
        std::string name; // Item: the array's name as a Lua literal (for messages)
    };

    // Any expression.
    static Result translate(std::string_view text, const Scope& scope);
    // An expression where a number belongs: text or a true/false value is an error, and a value
    // whose type is only known at run time is checked there (`num`), naming `what`.
    static Result translateNumber(std::string_view text, const Scope& scope, const std::string& what);
    // An expression used as a condition (If, While): the Lua code yields a Lua boolean. A value
    // counts as false when it is false, 0, empty text or nothing.
    static Result translateCondition(std::string_view text, const Scope& scope);
    // `left op right` with `op` one of == != < <= > >= (the If and While blocks).
    static Result translateComparison(std::string_view left, std::string_view op, std::string_view right,
                                      const Scope& scope);
    // A comma-separated list of expressions (Call args, Array items); an empty text is no items.
    static bool translateList(std::string_view text, const Scope& scope, std::vector<Result>& items,
                              std::string& error);
    // A target attribute or other object reference: `self`, a local name, an object of the
    // document, a variable holding an object's name, or else the name of an object that appears
    // while the game runs. A text that is not a single name is taken as an object name as is.
    static Result translateObject(std::string_view text, const Scope& scope);
    // A text with {expression} placeholders; `{{` and `}}` stand for braces. Yields a Lua string
    // expression. `constant` (when given) tells whether the text holds no placeholder at all.
    static Result translateText(std::string_view text, const Scope& scope, bool* constant = nullptr);
    // The left side of an assignment: a variable, object.property or array[index].
    static bool translateAssignable(std::string_view text, const Scope& scope, Assignable& out, std::string& error);

    // Lua source helpers.
    static std::string quote(std::string_view text); // a Lua string literal
    static std::string number(double value);         // a Lua float literal
    static bool isIdentifier(std::string_view text);
    // Whether the text is a Lua keyword or one of the language's reserved words.
    static bool isReserved(std::string_view text);
    // The runtime's functions, for messages and docs.
    static const std::vector<std::string>& functionNames();
};

} // namespace Lumenda3D
