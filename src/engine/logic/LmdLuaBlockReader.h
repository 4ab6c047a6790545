#pragma once
// Reads and checks the attributes of one block of logic while it is translated.
#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include <pugixml.hpp>

#include "base/LmdValueParser.h"
#include "engine/logic/LmdLuaBlockScope.h"
#include "engine/schema/CodeSchema.h"
#include "engine/schema/SchemaValidator.h"

namespace Lumenda3D::translator {

std::string trim(std::string_view text);
std::string lower(std::string_view text);
// The comma-separated items of `text`, each trimmed; an empty text gives one empty item.
std::vector<std::string> splitComma(const std::string& text);
// "0xRRGGBB" from the forms the language accepts (0x, # or bare hexadecimal digits). A text that
// is no colour (reported already) keeps its digits, in the same form.
std::string normalizeColor(const std::string& text);

// Reads and checks the attributes of one block. Problems are collected so that a faulty block
// gives one message that lists all its faults.
class Block {
public:
    Block(const CodeSchema& schema, pugi::xml_node node, const RunScope& scope, const Place& place)
        : node_(node), scope_(scope), place_(place), name_(node.name()) {
        def_ = schema.findCommandDef(name_);
    }

    // The written value, or the schema's default when the attribute is missing.
    std::string value(const char* attr) const {
        pugi::xml_attribute a = node_.attribute(attr);
        if (a)
            return a.value();
        return defaultOf(attr);
    }
    bool written(const char* attr) const { return static_cast<bool>(node_.attribute(attr)); }

    // An expression; an empty one stands for the attribute's default.
    std::string expr(const char* attr) {
        const std::string text = valueOrDefault(attr);
        if (text.empty())
            return fail(attr, "is empty");
        Expr::Result r = Expr::translate(text, scope_);
        return r.ok ? r.lua : failExpr(attr, text, r.error);
    }
    std::string numberExpr(const char* attr) {
        const std::string text = valueOrDefault(attr);
        if (text.empty())
            return fail(attr, "is empty");
        Expr::Result r = Expr::translateNumber(text, scope_, name_ + " " + attr);
        return r.ok ? r.lua : failExpr(attr, text, r.error);
    }
    // "nil" when empty.
    std::string optionalNumberExpr(const char* attr) {
        const std::string text = trim(value(attr));
        if (text.empty())
            return "nil";
        Expr::Result r = Expr::translateNumber(text, scope_, name_ + " " + attr);
        return r.ok ? r.lua : failExpr(attr, text, r.error);
    }
    std::string text(const char* attr, bool* constant) {
        const std::string text = value(attr);
        Expr::Result r = Expr::translateText(text, scope_, constant);
        return r.ok ? r.lua : failExpr(attr, text, r.error);
    }
    std::string comparison() {
        // Without `op` and `right` the condition is the truth of `left` (If left="keyDown('Space')").
        if (!written("op") && !written("right")) {
            const std::string text = valueOrDefault("left");
            if (text.empty())
                return fail("left", "is empty");
            Expr::Result r = Expr::translateCondition(text, scope_);
            return r.ok ? r.lua : failExpr("left", text, r.error);
        }
        const std::string left = valueOrDefault("left"), right = valueOrDefault("right");
        if (left.empty())
            return fail("left", "is empty");
        Expr::Result r = Expr::translateComparison(left, value("op"), right.empty() ? "0" : right, scope_);
        if (!r.ok) {
            noteAttribute("left");
            noteAttribute("right");
            return fail("condition '" + left + " " + value("op") + " " + right + "': " + r.error);
        }
        return r.lua;
    }

    // A plain number (an attribute that is not an expression).
    double number(const char* attr) {
        std::string text = trim(value(attr));
        if (text.empty())
            text = trim(defaultOf(attr));
        if (text.empty())
            return 0.0;
        double out = 0.0;
        if (!LmdValueParser::parseNumber(text, out)) {
            fail(attr, "is '" + text + "', which is not a number; write a decimal number such as 2 or 0.5");
            return 0.0;
        }
        return out;
    }
    bool boolean(const char* attr) {
        std::string text = lower(trim(value(attr)));
        if (text.empty())
            text = lower(trim(defaultOf(attr)));
        if (text == "true" || text == "1")
            return true;
        if (text.empty() || text == "false" || text == "0")
            return false;
        fail(attr, "is '" + text + "', which is not true or false");
        return false;
    }
    // A value from the attribute's list of choices.
    std::string choice(const char* attr) {
        std::string text = trim(value(attr));
        if (text.empty())
            text = trim(defaultOf(attr));
        const CodeSchema::AttributeDef* def = def_ ? CodeSchema::findAttributeDef(*def_, attr) : nullptr;
        if (def && !def->values.empty()) {
            bool known = false;
            for (std::string_view v : def->values)
                known = known || v == text;
            if (!known)
                fail(attr, "is '" + text + "', which is not one of its choices");
        }
        return text;
    }
    std::string colour(const char* attr) {
        std::string text = trim(value(attr));
        if (text.empty())
            text = trim(defaultOf(attr));
        const CodeSchema::AttributeDef* def = def_ ? CodeSchema::findAttributeDef(*def_, attr) : nullptr;
        if (def && !SchemaValidator::checkValue(*def, text).empty())
            fail(attr, "is '" + text + "', which is not a colour");
        return normalizeColor(text);
    }

    // The object an action works on: `target`, or the enclosing object when it is empty.
    std::string object(const char* attr = "target") {
        const std::string text = trim(value(attr));
        if (text.empty() || text == "self")
            return self(attr);
        if (text == "other" && place_.event != "OnCollision")
            return fail(attr, "is 'other', which names an object only inside an OnCollision");
        Expr::Result r = Expr::translateObject(text, scope_);
        return r.ok ? r.lua : failExpr(attr, text, r.error);
    }
    std::string self(const char* attr) {
        const std::string said = trim(value(attr)).empty() ? "is empty" : "is 'self'";
        switch (place_.self) {
        case SelfKind::Named:
        case SelfKind::Dynamic: return "self";
        case SelfKind::Unnamed:
            return fail(attr, said + " and the " + place_.ownerLabel +
                                  " this block stands in has no name: name that object or set " + attr);
        case SelfKind::None: break;
        }
        return fail(attr, said + " and this block does not stand in an object: name the object it works on");
    }
    // An array by name; `nameOut` gets the name as a Lua literal.
    std::string array(const char* attr, std::string* nameOut = nullptr) {
        const std::string text = trim(value(attr));
        if (text.empty())
            return fail(attr, "is empty");
        const Binding binding = scope_.lookup(text);
        if (binding.type != Binding::Type::Array)
            return fail(attr, binding.type == Binding::Type::Value ? "'" + text + "' is a variable, not an array"
                                                                   : "there is no Array named '" + text + "' here");
        if (nameOut)
            *nameOut = Expr::quote(text);
        return binding.lua;
    }
    bool assignable(const char* attr, Expr::Assignable& out) {
        const std::string text = trim(value(attr));
        std::string error;
        if (Expr::translateAssignable(text, scope_, out, error))
            return true;
        failExpr(attr, text, error);
        return false;
    }
    // A new name (Var, Array, loop counters): a word of letters, digits and '_'.
    bool newName(const char* attr, std::string& out) {
        out = trim(value(attr));
        if (out.empty())
            out = trim(defaultOf(attr));
        if (!Expr::isIdentifier(out)) {
            fail(attr, "is '" + out + "', which is not a name: use letters, digits and _, starting with a letter");
            return false;
        }
        if (Expr::isReserved(out)) {
            fail(attr, "is '" + out + "', a word the language reserves");
            return false;
        }
        return true;
    }

    std::string fail(const std::string& attr, const std::string& message) {
        noteAttribute(attr);
        return fail(attr + " " + message);
    }
    std::string fail(const std::string& message) {
        faults_.push_back(message);
        return "nil";
    }
    bool ok() const { return faults_.empty(); }
    std::string faults() const {
        std::string out;
        for (const std::string& f : faults_)
            out += (out.empty() ? "" : "; ") + f;
        return out;
    }
    // The attributes named by the faults, once each, in the order found.
    const std::vector<std::string>& faultyAttributes() const { return faultyAttributes_; }
    const std::string& name() const { return name_; }
    const Place& place() const { return place_; }
    const RunScope& scope() const { return scope_; }

private:
    std::string defaultOf(const char* attr) const {
        if (!def_)
            return {};
        const CodeSchema::AttributeDef* def = CodeSchema::findAttributeDef(*def_, attr);
        return def ? std::string(def->defaultValue) : std::string();
    }
    std::string valueOrDefault(const char* attr) const {
        std::string text = trim(value(attr));
        return text.empty() ? trim(defaultOf(attr)) : text;
    }
    std::string failExpr(const char* attr, const std::string& text, const std::string& error) {
        noteAttribute(attr);
        return fail(std::string(attr) + "=\"" + text + "\": " + error);
    }
    void noteAttribute(const std::string& attr) {
        if (std::find(faultyAttributes_.begin(), faultyAttributes_.end(), attr) == faultyAttributes_.end())
            faultyAttributes_.push_back(attr);
    }

    pugi::xml_node node_;
    const RunScope& scope_;
    const Place& place_;
    std::string name_;
    const CodeSchema::CommandDef* def_ = nullptr;
    std::vector<std::string> faults_;
    std::vector<std::string> faultyAttributes_;
};

} // namespace Lumenda3D::translator
