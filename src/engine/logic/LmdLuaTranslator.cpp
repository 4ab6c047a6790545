#include "engine/logic/LmdLuaTranslator.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cmath>
#include <cstdlib>
#include <map>
#include <memory>
#include <unordered_map>
#include <unordered_set>

#include <lua.hpp>

#include "base/LmdValueParser.h"
#include "engine/logic/LmdLuaExpression.h"
#include "engine/logic/LmdLuaWriter.h"
#include "engine/schema/SchemaValidator.h"

namespace Lumenda3D {
namespace {

using Expr = LmdLuaExpression;
using Binding = LmdLuaExpression::Binding;
using Problem = LmdLuaTranslation::Problem;

// Logic nested deeper than this is refused (Lua's parser allows about 200 levels, and each block
// level costs one or two).
constexpr int kMaxBlockDepth = 60;

std::string trim(std::string_view text) {
    return std::string(LmdValueParser::trim(text));
}

std::string lower(std::string_view text) {
    return LmdValueParser::toLower(text);
}

std::vector<std::string> splitComma(const std::string& text) {
    std::vector<std::string> out;
    size_t start = 0;
    while (start <= text.size()) {
        size_t comma = text.find(',', start);
        if (comma == std::string::npos)
            comma = text.size();
        out.push_back(trim(std::string_view(text).substr(start, comma - start)));
        start = comma + 1;
    }
    return out;
}

// "0xRRGGBB" from the forms the language accepts (0x, # or bare hexadecimal digits). A text that
// is no colour (reported already) keeps its digits, in the same form.
std::string normalizeColor(const std::string& text) {
    std::uint32_t rgb = 0;
    if (LmdValueParser::parseColor(text, rgb))
        return LmdValueParser::formatColor(rgb);
    std::string t = trim(text);
    if (t.size() >= 2 && t[0] == '0' && (t[1] == 'x' || t[1] == 'X'))
        t.erase(0, 2);
    else if (!t.empty() && t[0] == '#')
        t.erase(0, 1);
    for (char& c : t)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return "0x" + t;
}

// Element paths for messages about elements without id and name. Sibling positions are counted
// once per parent, so that labelling every element of a large document stays linear.
class PathCache {
public:
    int position(pugi::xml_node node) {
        pugi::xml_node parent = node.parent();
        if (indexed_.insert(parent.internal_object()).second) {
            std::unordered_map<std::string, int> counts;
            for (pugi::xml_node child : parent.children())
                if (child.type() == pugi::node_element)
                    positions_[child.internal_object()] = ++counts[child.name()];
        }
        return positions_[node.internal_object()];
    }
    std::string* find(pugi::xml_node node) {
        auto found = paths_.find(node.internal_object());
        return found == paths_.end() ? nullptr : &found->second;
    }
    void store(pugi::xml_node node, const std::string& path) { paths_[node.internal_object()] = path; }

private:
    std::unordered_set<const void*> indexed_;
    std::unordered_map<const void*, int> positions_;
    std::unordered_map<const void*, std::string> paths_;
};

std::string pathOf(pugi::xml_node node, PathCache* cache) {
    if (!node || node.type() != pugi::node_element)
        return {};
    if (cache)
        if (const std::string* known = cache->find(node))
            return *known;
    std::string path;
    pugi::xml_node parent = node.parent();
    if (!parent || parent.type() != pugi::node_element) {
        path = "/" + std::string(node.name());
    } else {
        int position = 1;
        if (cache) {
            position = cache->position(node);
        } else {
            for (pugi::xml_node s = node.previous_sibling(node.name()); s; s = s.previous_sibling(node.name()))
                ++position;
        }
        path = pathOf(parent, cache) + "/" + node.name() + "[" + std::to_string(position) + "]";
    }
    if (cache)
        cache->store(node, path);
    return path;
}

std::string describe(const pugi::xml_node& node, PathCache* cache) {
    const char* id = node.attribute("id").value();
    if (*id) {
        char* end = nullptr;
        const long value = std::strtol(id, &end, 10);
        if (end && *end == '\0' && value > 0)
            return "id " + std::to_string(value);
    }
    const std::string name = node.attribute("name").value();
    if (!name.empty())
        return "name '" + name + "'";
    return pathOf(node, cache);
}

// What an event or an action's empty `target` refers to.
enum class SelfKind {
    None,    // logic of a level or the game: there is no enclosing object
    Named,   // logic inside a named object
    Unnamed, // logic inside an object without a name: the scene cannot find it
    Dynamic, // a Function: the object whose logic called it (may be none)
};

// The declarations of the game (under the root) or of one level.
struct Declarations {
    std::string vars;  // Lua table of the variables: "G" or "V"
    std::string funcs; // Lua table of the functions: "F" or "LF"
    std::unordered_map<std::string, bool> values;       // name -> is an array
    std::unordered_map<std::string, size_t> functions;  // name -> number of parameters
    std::unordered_set<std::string> sounds;
    std::unordered_set<std::string> materials;
};

// Where a block stands.
struct Place {
    const Declarations* game = nullptr;
    const Declarations* level = nullptr; // null for game-wide logic
    SelfKind self = SelfKind::None;
    std::string ownerLabel; // "Box (id 3)": the enclosing object, for messages
    std::string event;      // the enclosing event's element, "" in functions and initial values
    bool inFunction = false;
    int loops = 0;
    int depth = 0;
};

// Names of the current run: loop counters, items, parameters, local Vars and Arrays.
class Locals {
public:
    struct Local {
        std::string name;
        std::string lua;
        bool array = false;
    };
    void push() { frames_.emplace_back(); }
    void pop() { frames_.pop_back(); }
    void add(const std::string& name, bool array) {
        if (frames_.empty())
            push();
        frames_.back().push_back(Local{name, "v_" + name, array});
    }
    const Local* find(const std::string& name) const {
        for (auto frame = frames_.rbegin(); frame != frames_.rend(); ++frame)
            for (auto local = frame->rbegin(); local != frame->rend(); ++local)
                if (local->name == name)
                    return &*local;
        return nullptr;
    }

private:
    std::vector<std::vector<Local>> frames_;
};

class RunScope : public LmdLuaExpression::Scope {
public:
    RunScope(const Place& place, const Locals& locals, const std::unordered_set<std::string>& objects,
             std::vector<std::string>* unknown = nullptr)
        : place_(place), locals_(locals), objects_(objects), unknown_(unknown) {}

    Binding lookup(const std::string& name) const override {
        Binding binding;
        if (const Locals::Local* local = locals_.find(name)) {
            binding.type = local->array ? Binding::Type::Array : Binding::Type::Value;
            binding.lua = local->lua;
            binding.local = true;
            return binding;
        }
        auto special = [&](const char* lua) {
            binding.type = Binding::Type::Value;
            binding.lua = lua;
            binding.local = true;
            binding.readOnly = true;
            return binding;
        };
        if (name == "self" && place_.self != SelfKind::None)
            return special("self");
        if (name == "other" && place_.event == "OnCollision")
            return special("ev.other");
        if (name == "stickX" && place_.event == "OnJoystick")
            return special("ev.stickX");
        if (name == "stickY" && place_.event == "OnJoystick")
            return special("ev.stickY");
        for (const Declarations* scope : {place_.level, place_.game}) {
            if (!scope)
                continue;
            auto found = scope->values.find(name);
            if (found != scope->values.end()) {
                binding.type = found->second ? Binding::Type::Array : Binding::Type::Value;
                binding.lua = scope->vars + "[" + Expr::quote(name) + "]";
                return binding;
            }
        }
        return binding;
    }

    bool isObject(const std::string& name) const override { return objects_.count(name) > 0; }
    void unknownObject(const std::string& name) const override {
        if (unknown_)
            unknown_->push_back(name);
    }

private:
    const Place& place_;
    const Locals& locals_;
    const std::unordered_set<std::string>& objects_;
    std::vector<std::string>* unknown_;
};

class Translator;

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

// ---------------------------------------------------------------- the translator

class Translator {
public:
    explicit Translator(const CodeSchema& schema) : schema_(schema) {
        game_.vars = "G";
        game_.funcs = "F";
    }

    LmdLuaTranslation run(pugi::xml_node root);

private:
    using StatementFn = void (Translator::*)(pugi::xml_node, Place&, Locals&);

    struct Owner {
        SelfKind kind = SelfKind::None;
        std::string name;
        std::string label;
    };

    // ---- helpers
    std::string category(const char* name) const { return schema_.getCommandCategory(name); }
    bool isObjectElement(pugi::xml_node node) const {
        const std::string c = category(node.name());
        return c == "3D Models" || c == "2D Models" || c == "Light";
    }
    bool isEvent(pugi::xml_node node) const { return category(node.name()) == "Events"; }
    std::string where(pugi::xml_node node) { return describe(node, &paths_); }
    std::string label(pugi::xml_node node) { return std::string(node.name()) + " (" + where(node) + ")"; }
    int nodeIndex(pugi::xml_node node) {
        auto found = nodeIndex_.find(node.internal_object());
        if (found != nodeIndex_.end())
            return found->second;
        const int index = writer_.addNode(node.name(), where(node));
        nodeIndex_.emplace(node.internal_object(), index);
        return index;
    }
    void problem(pugi::xml_node node, const std::string& text, std::vector<std::string> attributes = {}) {
        Problem p;
        p.nodeId = node.attribute("id").as_int(0);
        p.element = node.name();
        p.where = where(node);
        p.text = text;
        p.attributes = std::move(attributes);
        out_.problems.push_back(std::move(p));
    }
    // Reports the block's faults; true when it has none.
    bool check(pugi::xml_node node, const Block& block, const char* consequence = "the block is skipped") {
        if (block.ok())
            return true;
        problem(node, block.faults() + "; " + consequence, block.faultyAttributes());
        return false;
    }
    void emit(pugi::xml_node node, const std::string& code) {
        writer_.open(nodeIndex(node));
        writer_.line(code);
        writer_.close();
    }
    std::string fresh(const char* prefix) { return prefix + std::to_string(++temporaries_); }
    static std::string bool_(bool value) { return value ? "true" : "false"; }

    // ---- passes
    void collect(pugi::xml_node scopeNode, Declarations& decls);
    void collectObjects(pugi::xml_node node);
    void scopeChildren(pugi::xml_node parent, int level, const Declarations* levelDecls, const Owner& owner,
                       std::vector<std::pair<std::string, std::string>>* objects);
    void declaration(pugi::xml_node node, int level, const Declarations* levelDecls);
    void function(pugi::xml_node node, const Declarations* levelDecls);
    void event(pugi::xml_node node, int level, const Declarations* levelDecls, const Owner& owner);
    void boundText(pugi::xml_node node, int level, const Declarations* levelDecls, const Owner& owner);
    void finish();

    // ---- logic
    void block(pugi::xml_node parent, Place& place, Locals& locals, bool skipElse = false);
    void statement(pugi::xml_node node, Place& place, Locals& locals);
    void sShowHide(pugi::xml_node, Place&, Locals&);
    void sSetColor(pugi::xml_node, Place&, Locals&);
    void sSetMaterial(pugi::xml_node, Place&, Locals&);
    void sSetText(pugi::xml_node, Place&, Locals&);
    void sPlayAnimation(pugi::xml_node, Place&, Locals&);
    void sStopAnimation(pugi::xml_node, Place&, Locals&);
    void sSwitchLight(pugi::xml_node, Place&, Locals&);
    void sTransform(pugi::xml_node, Place&, Locals&); // Move, Rotate, Scale
    void sLookAt(pugi::xml_node, Place&, Locals&);
    void sApplyForce(pugi::xml_node, Place&, Locals&);
    void sSetVelocity(pugi::xml_node, Place&, Locals&);
    void sPlaySound(pugi::xml_node, Place&, Locals&);
    void sStopSound(pugi::xml_node, Place&, Locals&);
    void sIf(pugi::xml_node, Place&, Locals&);
    void sLoop(pugi::xml_node, Place&, Locals&);
    void sWhile(pugi::xml_node, Place&, Locals&);
    void sForEach(pugi::xml_node, Place&, Locals&);
    void sBreak(pugi::xml_node, Place&, Locals&);
    void sComment(pugi::xml_node, Place&, Locals&) {}
    void sVar(pugi::xml_node, Place&, Locals&);
    void sSet(pugi::xml_node, Place&, Locals&);
    void sIncrement(pugi::xml_node, Place&, Locals&);
    void sArray(pugi::xml_node, Place&, Locals&);
    void sArrayAdd(pugi::xml_node, Place&, Locals&);
    void sArraySet(pugi::xml_node, Place&, Locals&);
    void sArrayRemove(pugi::xml_node, Place&, Locals&);
    void sArrayClear(pugi::xml_node, Place&, Locals&);
    void sCall(pugi::xml_node, Place&, Locals&);
    void sReturn(pugi::xml_node, Place&, Locals&);
    void sClone(pugi::xml_node, Place&, Locals&);
    void sDestroy(pugi::xml_node, Place&, Locals&);
    void sGoToLevel(pugi::xml_node, Place&, Locals&);
    void sPrint(pugi::xml_node, Place&, Locals&);

    static const std::map<std::string, StatementFn>& statements();
    std::string assignCode(const Expr::Assignable& target, const std::string& value) const;
    bool knownSound(const Place& place, const std::string& name) const;
    bool knownMaterial(const Place& place, const std::string& name) const;

    const CodeSchema& schema_;
    LmdLuaWriter writer_;
    LmdLuaTranslation out_;
    Declarations game_;
    std::vector<std::unique_ptr<Declarations>> levels_;
    std::unordered_set<std::string> objects_;
    std::unordered_set<std::string> madeObjects_; // newName of every Clone that names its copy plainly
    std::vector<std::string> unknownObjects_;     // of the statements being translated, innermost last
    std::unordered_set<std::string> levelNames_;
    std::unordered_set<const void*> skipped_; // declarations already reported (duplicates, bad names)
    std::unordered_map<const void*, int> nodeIndex_;
    PathCache paths_;
    int temporaries_ = 0;
};

const std::map<std::string, Translator::StatementFn>& Translator::statements() {
    static const std::map<std::string, StatementFn> table = {
        {"Show", &Translator::sShowHide},
        {"Hide", &Translator::sShowHide},
        {"SetColor", &Translator::sSetColor},
        {"SetMaterial", &Translator::sSetMaterial},
        {"SetText", &Translator::sSetText},
        {"PlayAnimation", &Translator::sPlayAnimation},
        {"StopAnimation", &Translator::sStopAnimation},
        {"SwitchLight", &Translator::sSwitchLight},
        {"Move", &Translator::sTransform},
        {"Rotate", &Translator::sTransform},
        {"Scale", &Translator::sTransform},
        {"LookAt", &Translator::sLookAt},
        {"ApplyForce", &Translator::sApplyForce},
        {"SetVelocity", &Translator::sSetVelocity},
        {"PlaySound", &Translator::sPlaySound},
        {"StopSound", &Translator::sStopSound},
        {"If", &Translator::sIf},
        {"Loop", &Translator::sLoop},
        {"While", &Translator::sWhile},
        {"ForEach", &Translator::sForEach},
        {"Break", &Translator::sBreak},
        {"Comment", &Translator::sComment},
        {"Var", &Translator::sVar},
        {"Set", &Translator::sSet},
        {"Increment", &Translator::sIncrement},
        {"Array", &Translator::sArray},
        {"ArrayAdd", &Translator::sArrayAdd},
        {"ArraySet", &Translator::sArraySet},
        {"ArrayRemove", &Translator::sArrayRemove},
        {"ArrayClear", &Translator::sArrayClear},
        {"Call", &Translator::sCall},
        {"Return", &Translator::sReturn},
        {"Clone", &Translator::sClone},
        {"Destroy", &Translator::sDestroy},
        {"GoToLevel", &Translator::sGoToLevel},
        {"Print", &Translator::sPrint},
    };
    return table;
}

// ---------------------------------------------------------------- document passes

LmdLuaTranslation Translator::run(pugi::xml_node root) {
    if (root.type() == pugi::node_document)
        root = root.find_child([](const pugi::xml_node& n) { return n.type() == pugi::node_element; });

    // First pass: names of objects and levels, declarations of the game and of each level.
    collectObjects(root);
    collect(root, game_);
    for (pugi::xml_node child : root.children("Level")) {
        auto decls = std::make_unique<Declarations>();
        decls->vars = "V";
        decls->funcs = "LF";
        collect(child, *decls);
        levels_.push_back(std::move(decls));
        const std::string name = child.attribute("name").value();
        out_.levels.push_back(name);
        if (!name.empty() && !levelNames_.insert(name).second)
            problem(child, "another Level is already named '" + name + "'; GoToLevel and start reach only the first");
    }

    // The prologue: helpers as locals, so that handlers reach them as upvalues.
    writer_.beginUnit(0, false);
    writer_.line("local G, F = R.G, R.F");
    writer_.line("local num, str, add, truth, get, set, item = R.num, R.str, R.add, R.truth, R.get, R.set, R.item");
    writer_.endUnit();

    // Second pass: the game's own declarations and events, then each level.
    scopeChildren(root, 0, nullptr, Owner{}, nullptr);
    int level = 0;
    for (pugi::xml_node child : root.children("Level")) {
        ++level;
        const Declarations* decls = levels_[static_cast<size_t>(level - 1)].get();
        writer_.beginUnit(nodeIndex(child), false);
        writer_.line("do local V, LF = R.level(" + std::to_string(level) + ", " +
                     Expr::quote(child.attribute("name").value()) + ")");
        writer_.endUnit();
        std::vector<std::pair<std::string, std::string>> objects;
        scopeChildren(child, level, decls, Owner{}, &objects);
        writer_.beginUnit(nodeIndex(child), false);
        if (!objects.empty()) {
            std::string list;
            for (const auto& [name, parent] : objects)
                list += (list.empty() ? "" : ", ") + Expr::quote(name) + ", " + Expr::quote(parent);
            writer_.line("R.objects(" + std::to_string(level) + ", {" + list + "})");
        }
        writer_.line("end");
        writer_.endUnit();
    }
    finish();
    return std::move(out_);
}

void Translator::collectObjects(pugi::xml_node node) {
    for (pugi::xml_node child : node.children()) {
        if (child.type() != pugi::node_element)
            continue;
        if (std::string(child.name()) == "Clone") {
            const std::string made = trim(child.attribute("newName").value());
            if (!made.empty() && made.find('{') == std::string::npos)
                madeObjects_.insert(made);
        }
        if (isObjectElement(child)) {
            const std::string name = child.attribute("name").value();
            if (!name.empty())
                objects_.insert(name);
        }
        collectObjects(child);
    }
}

void Translator::collect(pugi::xml_node scopeNode, Declarations& decls) {
    for (pugi::xml_node child : scopeNode.children()) {
        if (child.type() != pugi::node_element)
            continue;
        const std::string element = child.name();
        const std::string name = trim(child.attribute("name").value());
        if (element == "Var" || element == "Array" || element == "Function") {
            std::string fault;
            if (!Expr::isIdentifier(name))
                fault = "name is '" + name + "', which is not a name: use letters, digits and _, starting with a letter";
            else if (Expr::isReserved(name))
                fault = "name is '" + name + "', a word the language reserves";
            else if (element != "Function" && decls.values.count(name))
                fault = "a Var or Array named '" + name + "' is already declared here";
            else if (element == "Function" && decls.functions.count(name))
                fault = "a Function named '" + name + "' is already declared here";
            if (!fault.empty()) {
                problem(child, fault + "; the block is skipped");
                skipped_.insert(child.internal_object());
                continue;
            }
            if (element == "Function") {
                const std::string params = trim(child.attribute("params").value());
                decls.functions[name] = params.empty() ? 0 : splitComma(params).size();
            } else {
                decls.values[name] = element == "Array";
            }
        } else if (element == "LoadSound") {
            if (!name.empty())
                decls.sounds.insert(name);
        } else if (element == "Material") {
            if (!name.empty())
                decls.materials.insert(name);
        }
    }
}

// The children of the root, a level or an object: declarations, events, objects (recursively).
void Translator::scopeChildren(pugi::xml_node parent, int level, const Declarations* levelDecls, const Owner& owner,
                               std::vector<std::pair<std::string, std::string>>* objects) {
    for (pugi::xml_node child : parent.children()) {
        if (child.type() != pugi::node_element)
            continue;
        const std::string element = child.name();
        if (element == "Level")
            continue; // translated on its own
        const CodeSchema::CommandDef* def = schema_.findCommandDef(element);
        if (!def)
            continue; // not a command: the validator reports it; it holds no logic we could run
        if (isObjectElement(child)) {
            if (level == 0)
                continue; // objects live in levels; the validator reports misplaced ones
            Owner inner;
            inner.name = trim(child.attribute("name").value());
            inner.kind = inner.name.empty() ? SelfKind::Unnamed : SelfKind::Named;
            inner.label = label(child);
            if (objects && !inner.name.empty())
                objects->emplace_back(inner.name, owner.kind == SelfKind::Named ? owner.name : std::string());
            const std::string tag = element;
            if ((tag == "Text2D" || tag == "Button2D") &&
                std::string(child.attribute("text").value()).find('{') != std::string::npos)
                boundText(child, level, levelDecls, inner);
            scopeChildren(child, level, levelDecls, inner, objects);
            continue;
        }
        if (isEvent(child)) {
            event(child, level, levelDecls, owner);
            continue;
        }
        if (element == "Var" || element == "Array" || element == "LoadSound") {
            if (owner.kind == SelfKind::None)
                declaration(child, level, levelDecls);
            continue;
        }
        if (element == "Function") {
            if (owner.kind == SelfKind::None)
                function(child, levelDecls);
            continue;
        }
        const bool isLogic = statements().count(element) > 0 || element == "Else";
        if (isLogic && element != "Comment")
            problem(child, element + " runs only inside an event (OnStart, OnUpdate, OnKeyDown, ...) or a Function; it is skipped");
    }
}

void Translator::declaration(pugi::xml_node node, int level, const Declarations* levelDecls) {
    if (skipped_.count(node.internal_object()))
        return;
    Place place;
    place.game = &game_;
    place.level = levelDecls;
    Locals locals;
    RunScope scope(place, locals, objects_, &unknownObjects_);
    Block b(schema_, node, scope, place);
    const std::string element = node.name();
    const std::string name = trim(node.attribute("name").value());
    const std::string table = levelDecls ? "V" : "G";
    const std::string slot = table + "[" + Expr::quote(name) + "]";
    std::string code;
    if (element == "Var") {
        std::string value = b.expr("value");
        if (!check(node, b, ("'" + name + "' starts as 0").c_str()))
            value = "0.0";
        code = slot + " = " + value;
    } else if (element == "Array") {
        std::vector<Expr::Result> items;
        std::string error;
        std::string list;
        if (Expr::translateList(b.value("items"), scope, items, error)) {
            for (const Expr::Result& item : items)
                list += (list.empty() ? "" : ", ") + item.lua;
        } else {
            problem(node, "items=\"" + b.value("items") + "\": " + error + "; '" + name + "' starts empty", {"items"});
        }
        code = slot + " = {" + list + "}";
    } else { // LoadSound: only sounds that play by themselves need logic
        const bool autoPlay = b.boolean("autoPlay");
        const double volume = b.number("volume");
        const bool loop = b.boolean("loop");
        if (!check(node, b, "the sound does not start by itself") || !autoPlay || name.empty())
            return;
        code = "R.sound(" + Expr::quote(name) + ", " + Expr::number(volume) + ", " + bool_(loop) + ")";
    }
    writer_.beginUnit(nodeIndex(node));
    writer_.line("R.init(" + std::to_string(level) + ", function() " + code + " end)");
    writer_.endUnit();
}

void Translator::function(pugi::xml_node node, const Declarations* levelDecls) {
    if (skipped_.count(node.internal_object()))
        return;
    const std::string name = trim(node.attribute("name").value());
    Place place;
    place.game = &game_;
    place.level = levelDecls;
    place.self = SelfKind::Dynamic;
    place.inFunction = true;
    Locals locals;
    locals.push();
    std::string params;
    std::string fault;
    const std::string written = trim(node.attribute("params").value());
    if (!written.empty()) {
        std::unordered_set<std::string> seen;
        for (const std::string& param : splitComma(written)) {
            if (!Expr::isIdentifier(param) || Expr::isReserved(param))
                fault = "params=\"" + written + "\": '" + param + "' cannot be a parameter name";
            else if (!seen.insert(param).second)
                fault = "params=\"" + written + "\": '" + param + "' is named twice";
            else {
                locals.add(param, false);
                params += ", v_" + param;
            }
        }
    }
    const std::string table = levelDecls ? "LF" : "F";
    writer_.beginUnit(nodeIndex(node));
    writer_.open(nodeIndex(node));
    if (!fault.empty()) {
        problem(node, fault + "; the function does nothing");
        writer_.line(table + "[" + Expr::quote(name) + "] = function() end");
    } else {
        writer_.line(table + "[" + Expr::quote(name) + "] = function(self" + params + ")");
        writer_.indent();
        block(node, place, locals);
        writer_.dedent();
        writer_.line("end");
    }
    writer_.endUnit();
}

void Translator::event(pugi::xml_node node, int level, const Declarations* levelDecls, const Owner& owner) {
    const std::string element = node.name();
    static const std::map<std::string, std::string> kinds = {
        {"OnStart", "start"},     {"OnUpdate", "update"}, {"Timer", "timer"},
        {"OnKeyDown", "keydown"}, {"OnKeyHeld", "keyheld"}, {"OnKeyUp", "keyup"},
        {"OnJoystick", "joystick"}, {"OnClick", "click"}, {"OnCollision", "collision"},
    };
    auto kind = kinds.find(element);
    if (kind == kinds.end()) {
        problem(node, element + " is an event this runtime does not know; it is skipped");
        return;
    }
    Place place;
    place.game = &game_;
    place.level = levelDecls;
    place.self = owner.kind;
    place.ownerLabel = owner.label;
    place.event = element;
    Locals locals;
    RunScope scope(place, locals, objects_, &unknownObjects_);
    Block b(schema_, node, scope, place);

    std::string fields = "level = " + std::to_string(level) + ", kind = " + Expr::quote(kind->second);
    fields += ", owner = " + (owner.kind == SelfKind::Named ? Expr::quote(owner.name) : std::string("nil"));
    bool about = owner.kind == SelfKind::Named;
    const std::string& k = kind->second;
    if (k == "keydown" || k == "keyheld" || k == "keyup") {
        fields += ", key = " + Expr::quote(lower(b.choice("key")));
    } else if (k == "timer") {
        const double interval = b.number("interval");
        if (b.ok() && interval <= 0.0)
            b.fail("interval", "must be more than 0 seconds");
        fields += ", interval = " + Expr::number(interval) + ", rep = " + bool_(b.boolean("repeat"));
    } else if (k == "joystick") {
        fields += ", key = " + Expr::quote(trim(b.value("joystick")));
    } else if (k == "click" || k == "collision") {
        const std::string target = trim(b.value("target"));
        std::string key = target;
        if (target.empty()) {
            if (owner.kind == SelfKind::Named)
                key = owner.name;
            else
                b.self("target");
        }
        about = owner.kind == SelfKind::Named && key == owner.name;
        fields += ", key = " + Expr::quote(key);
        if (k == "collision")
            fields += ", with = " + Expr::quote(trim(b.value("with")));
    }
    fields += ", about = " + bool_(about);
    if (!check(node, b, "the event is skipped"))
        return;

    writer_.beginUnit(nodeIndex(node));
    writer_.open(nodeIndex(node));
    writer_.line("R.on{" + fields + ", fn = function(self, ev)");
    writer_.indent();
    block(node, place, locals);
    writer_.dedent();
    writer_.line("end}");
    writer_.endUnit();
}

void Translator::boundText(pugi::xml_node node, int level, const Declarations* levelDecls, const Owner& owner) {
    if (owner.kind != SelfKind::Named) {
        problem(node, "text holds {placeholders} but the element has no name, so the text cannot follow them");
        return;
    }
    Place place;
    place.game = &game_;
    place.level = levelDecls;
    place.self = SelfKind::Named;
    place.ownerLabel = owner.label;
    Locals locals;
    RunScope scope(place, locals, objects_, &unknownObjects_);
    Block b(schema_, node, scope, place);
    bool constant = false;
    const std::string text = b.text("text", &constant);
    if (!check(node, b, "the text shows as written") || constant)
        return;
    writer_.beginUnit(nodeIndex(node));
    writer_.line("R.text(" + std::to_string(level) + ", " + Expr::quote(owner.name) + ", function(self) return " +
                 text + " end)");
    writer_.endUnit();
}

void Translator::finish() {
    std::vector<bool> dropped(writer_.unitCount(), false);
    for (size_t attempt = 0; attempt <= writer_.unitCount(); ++attempt) {
        LmdLuaWriter::LineOrigin origin;
        std::string chunk = writer_.assemble(dropped, &origin);
        lua_State* L = luaL_newstate();
        if (!L) {
            out_.chunk = std::move(chunk);
            return;
        }
        const int status = luaL_loadbufferx(L, chunk.data(), chunk.size(), "=game", "t");
        std::string error = status == LUA_OK ? std::string() : std::string(lua_tostring(L, -1) ? lua_tostring(L, -1) : "?");
        lua_close(L);
        if (status == LUA_OK) {
            out_.chunk = std::move(chunk);
            return;
        }
        // "game:123: message": find the unit of that line, or the nearest droppable one before it.
        int line = 0;
        if (error.rfind("game:", 0) == 0)
            line = std::atoi(error.c_str() + 5);
        const size_t colon = error.find(": ");
        const std::string cleaned = colon != std::string::npos ? error.substr(colon + 2) : error;
        int unit = -1;
        int node = 0;
        for (int l = std::min(line, static_cast<int>(origin.unit.size()) - 1); l >= 2; --l) {
            const int u = origin.unit[static_cast<size_t>(l)];
            if (u >= 0 && writer_.isDroppable(static_cast<size_t>(u))) {
                unit = u;
                node = l == line ? origin.node[static_cast<size_t>(l)] : writer_.unitNode(static_cast<size_t>(u));
                break;
            }
        }
        if (unit < 0) {
            Problem p;
            p.element = "game";
            p.where = "the whole document";
            p.text = "Lua cannot load the translated game (" + cleaned + "); no logic runs";
            out_.problems.push_back(std::move(p));
            for (size_t u = 0; u < dropped.size(); ++u)
                dropped[u] = writer_.isDroppable(u);
            out_.chunk = writer_.assemble(dropped);
            return;
        }
        dropped[static_cast<size_t>(unit)] = true;
        const int unitNode = writer_.unitNode(static_cast<size_t>(unit));
        Problem p;
        p.element = writer_.nodeElement(node);
        p.where = writer_.nodeWhere(node);
        const std::string& where = p.where;
        if (where.rfind("id ", 0) == 0)
            p.nodeId = std::atoi(where.c_str() + 3);
        p.text = "Lua cannot load the code made from this block (" + cleaned + "); ";
        p.text += unitNode == node ? "the block is skipped"
                                   : "the whole " + writer_.nodeElement(unitNode) + " (" + writer_.nodeWhere(unitNode) +
                                         ") is skipped";
        out_.problems.push_back(std::move(p));
    }
}

// ---------------------------------------------------------------- logic blocks

void Translator::block(pugi::xml_node parent, Place& place, Locals& locals, bool skipElse) {
    locals.push();
    for (pugi::xml_node child : parent.children()) {
        if (child.type() != pugi::node_element)
            continue;
        if (skipElse && std::string(child.name()) == "Else")
            continue;
        statement(child, place, locals);
    }
    locals.pop();
}

void Translator::statement(pugi::xml_node node, Place& place, Locals& locals) {
    const std::string element = node.name();
    if (place.depth >= kMaxBlockDepth) {
        problem(node, "stands more than " + std::to_string(kMaxBlockDepth) + " blocks deep; it is skipped");
        return;
    }
    if (!schema_.findCommandDef(element)) {
        problem(node, "'" + element + "' is not a command of the game language; it is skipped");
        return;
    }
    auto found = statements().find(element);
    if (found == statements().end()) {
        std::string why;
        if (element == "Else")
            why = "Else belongs directly inside an If";
        else if (isEvent(node))
            why = "an event cannot stand inside logic: put it in an object, a level or the game";
        else if (isObjectElement(node))
            why = "objects cannot stand inside logic";
        else
            why = element + " cannot stand inside logic";
        problem(node, why + "; it is skipped");
        return;
    }
    Place inner = place;
    ++inner.depth;
    const size_t mark = unknownObjects_.size();
    (this->*(found->second))(node, inner, locals);
    // Names this block met (its inner blocks took theirs already).
    std::unordered_set<std::string> noted;
    for (size_t i = mark; i < unknownObjects_.size(); ++i) {
        const std::string& name = unknownObjects_[i];
        if (madeObjects_.count(name) || !noted.insert(name).second)
            continue;
        Problem note;
        note.nodeId = node.attribute("id").as_int(0);
        note.element = element;
        note.where = where(node);
        note.text = "names the object '" + name + "', which the game has nowhere (no object of that name, and no Clone "
                    "gives a copy that name); unless a copy made while the game runs takes it, the block finds nothing";
        out_.notes.push_back(std::move(note));
    }
    unknownObjects_.resize(mark);
}

std::string Translator::assignCode(const Expr::Assignable& target, const std::string& value) const {
    switch (target.type) {
    case Expr::Assignable::Type::Variable: return target.lua + " = " + value;
    case Expr::Assignable::Type::Property: return "set(" + target.lua + ", " + target.key + ", " + value + ")";
    case Expr::Assignable::Type::Item:
        return "R.aset(" + target.lua + ", " + target.key + ", " + value + ", " + target.name + ")";
    }
    return {};
}

bool Translator::knownSound(const Place& place, const std::string& name) const {
    return (place.level && place.level->sounds.count(name)) || game_.sounds.count(name);
}

bool Translator::knownMaterial(const Place& place, const std::string& name) const {
    return (place.level && place.level->materials.count(name)) || game_.materials.count(name);
}

void Translator::sShowHide(pugi::xml_node node, Place& place, Locals& locals) {
    RunScope scope(place, locals, objects_, &unknownObjects_);
    Block b(schema_, node, scope, place);
    const std::string target = b.object();
    if (check(node, b))
        emit(node, "set(" + target + ", \"visible\", " + bool_(b.name() == "Show") + ")");
}

void Translator::sSetColor(pugi::xml_node node, Place& place, Locals& locals) {
    RunScope scope(place, locals, objects_, &unknownObjects_);
    Block b(schema_, node, scope, place);
    const std::string target = b.object();
    const std::string color = b.colour("color");
    if (check(node, b))
        emit(node, "set(" + target + ", \"color\", " + Expr::quote(color) + ")");
}

void Translator::sSetMaterial(pugi::xml_node node, Place& place, Locals& locals) {
    RunScope scope(place, locals, objects_, &unknownObjects_);
    Block b(schema_, node, scope, place);
    const std::string target = b.object();
    const std::string material = trim(b.value("texture"));
    if (material.empty())
        b.fail("texture", "is empty");
    else if (!knownMaterial(place, material))
        b.fail("texture", "names '" + material + "', but no Material of that name is declared in the game or this level");
    if (check(node, b))
        emit(node, "set(" + target + ", \"texture\", " + Expr::quote(material) + ")");
}

void Translator::sSetText(pugi::xml_node node, Place& place, Locals& locals) {
    RunScope scope(place, locals, objects_, &unknownObjects_);
    Block b(schema_, node, scope, place);
    const std::string target = b.object();
    bool constant = true;
    const std::string text = b.text("text", &constant);
    if (!check(node, b))
        return;
    if (constant)
        emit(node, "R.setText(" + target + ", " + text + ")");
    else
        emit(node, "R.bindText(" + target + ", function() return " + text + " end)");
}

void Translator::sPlayAnimation(pugi::xml_node node, Place& place, Locals& locals) {
    RunScope scope(place, locals, objects_, &unknownObjects_);
    Block b(schema_, node, scope, place);
    const std::string target = b.object();
    const std::string animation = trim(b.value("animation"));
    if (animation.empty())
        b.fail("animation", "is empty");
    const bool loop = b.boolean("loop");
    const double speed = b.number("speed");
    if (check(node, b))
        emit(node, "R.anim(" + target + ", " + Expr::quote(animation) + ", " + bool_(loop) + ", " +
                       Expr::number(speed) + ")");
}

void Translator::sStopAnimation(pugi::xml_node node, Place& place, Locals& locals) {
    RunScope scope(place, locals, objects_, &unknownObjects_);
    Block b(schema_, node, scope, place);
    const std::string target = b.object();
    if (check(node, b))
        emit(node, "R.stopAnim(" + target + ")");
}

void Translator::sSwitchLight(pugi::xml_node node, Place& place, Locals& locals) {
    RunScope scope(place, locals, objects_, &unknownObjects_);
    Block b(schema_, node, scope, place);
    std::vector<std::string> lights;
    for (const std::string& name : splitComma(b.value("lightPicker")))
        if (!name.empty())
            lights.push_back(name);
    if (lights.empty())
        b.fail("lightPicker", "names no light");
    const bool on = b.boolean("on");
    if (!check(node, b))
        return;
    std::string code;
    for (const std::string& light : lights)
        code += (code.empty() ? "" : "; ") + std::string("R.light(") + Expr::quote(light) + ", " + bool_(on) + ")";
    emit(node, code);
}

void Translator::sTransform(pugi::xml_node node, Place& place, Locals& locals) {
    RunScope scope(place, locals, objects_, &unknownObjects_);
    Block b(schema_, node, scope, place);
    const std::string element = node.name();
    const std::string target = b.object();
    const std::string mode = b.choice("mode");
    const double duration = b.number("duration");
    if (duration < 0)
        b.fail("duration", "is negative");
    std::string code;
    if (element == "Move") {
        const bool local = b.choice("space") == "local";
        const std::string x = b.numberExpr("moveX"), y = b.numberExpr("moveY"), z = b.numberExpr("moveZ");
        code = "R.move(" + target + ", " + x + ", " + y + ", " + z + ", " + Expr::quote(mode) + ", " +
               Expr::number(duration) + ", " + bool_(local) + ")";
    } else {
        const std::string prefix = element == "Rotate" ? "rotate" : "scale";
        const std::string x = b.numberExpr((prefix + "X").c_str());
        const std::string y = b.numberExpr((prefix + "Y").c_str());
        const std::string z = b.numberExpr((prefix + "Z").c_str());
        code = "R." + prefix + "(" + target + ", " + x + ", " + y + ", " + z + ", " + Expr::quote(mode) + ", " +
               Expr::number(duration) + ")";
    }
    if (check(node, b))
        emit(node, code);
}

void Translator::sLookAt(pugi::xml_node node, Place& place, Locals& locals) {
    RunScope scope(place, locals, objects_, &unknownObjects_);
    Block b(schema_, node, scope, place);
    const std::string target = b.object();
    std::string at = "nil";
    if (trim(b.value("lookAt")).empty())
        b.fail("lookAt", "is empty");
    else
        at = b.object("lookAt");
    if (check(node, b))
        emit(node, "R.lookAt(" + target + ", " + at + ")");
}

void Translator::sApplyForce(pugi::xml_node node, Place& place, Locals& locals) {
    RunScope scope(place, locals, objects_, &unknownObjects_);
    Block b(schema_, node, scope, place);
    const std::string target = b.object();
    const bool impulse = b.boolean("impulse");
    const bool local = b.choice("space") == "local";
    const std::string x = b.numberExpr("forceX"), y = b.numberExpr("forceY"), z = b.numberExpr("forceZ");
    if (check(node, b))
        emit(node, "R.force(" + target + ", " + x + ", " + y + ", " + z + ", " + bool_(impulse) + ", " + bool_(local) + ")");
}

void Translator::sSetVelocity(pugi::xml_node node, Place& place, Locals& locals) {
    RunScope scope(place, locals, objects_, &unknownObjects_);
    Block b(schema_, node, scope, place);
    const std::string target = b.object();
    const bool local = b.choice("space") == "local";
    const std::string x = b.optionalNumberExpr("velocityX"), y = b.optionalNumberExpr("velocityY"),
                      z = b.optionalNumberExpr("velocityZ");
    if (check(node, b))
        emit(node, "R.velocity(" + target + ", " + x + ", " + y + ", " + z + ", " + bool_(local) + ")");
}

void Translator::sPlaySound(pugi::xml_node node, Place& place, Locals& locals) {
    RunScope scope(place, locals, objects_, &unknownObjects_);
    Block b(schema_, node, scope, place);
    const std::string sound = trim(b.value("sound"));
    if (sound.empty())
        b.fail("sound", "is empty");
    else if (!knownSound(place, sound))
        b.fail("sound", "names '" + sound + "', but no LoadSound of that name is declared in the game or this level");
    const double volume = b.number("volume");
    const bool loop = b.boolean("loop");
    if (check(node, b))
        emit(node, "R.sound(" + Expr::quote(sound) + ", " + Expr::number(volume) + ", " + bool_(loop) + ")");
}

void Translator::sStopSound(pugi::xml_node node, Place& place, Locals& locals) {
    RunScope scope(place, locals, objects_, &unknownObjects_);
    Block b(schema_, node, scope, place);
    const std::string sound = trim(b.value("sound"));
    if (!sound.empty() && !knownSound(place, sound))
        b.fail("sound", "names '" + sound + "', but no LoadSound of that name is declared in the game or this level");
    if (check(node, b))
        emit(node, "R.stopSound(" + Expr::quote(sound) + ")");
}

void Translator::sIf(pugi::xml_node node, Place& place, Locals& locals) {
    RunScope scope(place, locals, objects_, &unknownObjects_);
    Block b(schema_, node, scope, place);
    const std::string condition = b.comparison();
    if (!check(node, b, "the block and what it holds are skipped"))
        return;
    const int index = nodeIndex(node);
    writer_.open(index);
    writer_.line("if " + condition + " then");
    writer_.indent();
    block(node, place, locals, true);
    writer_.dedent();
    bool hadElse = false;
    for (pugi::xml_node otherwise : node.children("Else")) {
        if (hadElse) {
            problem(otherwise, "an If has only one Else; this one is skipped");
            continue;
        }
        hadElse = true;
        writer_.open(nodeIndex(otherwise));
        writer_.line("else");
        writer_.indent();
        block(otherwise, place, locals);
        writer_.dedent();
        writer_.close();
    }
    writer_.line("end");
    writer_.close();
}

void Translator::sLoop(pugi::xml_node node, Place& place, Locals& locals) {
    RunScope scope(place, locals, objects_, &unknownObjects_);
    Block b(schema_, node, scope, place);
    const std::string count = b.numberExpr("count");
    std::string index;
    b.newName("index", index);
    if (!check(node, b, "the block and what it holds are skipped"))
        return;
    writer_.open(nodeIndex(node));
    writer_.line("for v_" + index + " = 1, " + count + " do");
    writer_.indent();
    locals.push();
    locals.add(index, false);
    Place inner = place;
    ++inner.loops;
    block(node, inner, locals);
    locals.pop();
    writer_.dedent();
    writer_.line("end");
    writer_.close();
}

void Translator::sWhile(pugi::xml_node node, Place& place, Locals& locals) {
    RunScope scope(place, locals, objects_, &unknownObjects_);
    Block b(schema_, node, scope, place);
    const std::string condition = b.comparison();
    if (!check(node, b, "the block and what it holds are skipped"))
        return;
    const std::string rounds = fresh("_w");
    writer_.open(nodeIndex(node));
    writer_.line("do local " + rounds + " = 0");
    writer_.line("while " + condition + " do");
    writer_.indent();
    writer_.line(rounds + " = " + rounds + " + 1; if " + rounds + " > R.whileLimit then R.whileStop() end");
    Place inner = place;
    ++inner.loops;
    block(node, inner, locals);
    writer_.dedent();
    writer_.line("end end");
    writer_.close();
}

void Translator::sForEach(pugi::xml_node node, Place& place, Locals& locals) {
    RunScope scope(place, locals, objects_, &unknownObjects_);
    Block b(schema_, node, scope, place);
    const std::string array = b.array("array");
    std::string item, index;
    b.newName("item", item);
    b.newName("index", index);
    if (b.ok() && item == index)
        b.fail("item and index are both '" + item + "'");
    if (!check(node, b, "the block and what it holds are skipped"))
        return;
    const std::string table = fresh("_a"), position = fresh("_k");
    writer_.open(nodeIndex(node));
    writer_.line("do local " + table + " = " + array);
    writer_.line("for " + position + " = 1, #" + table + " do");
    writer_.indent();
    writer_.line("local v_" + index + ", v_" + item + " = " + position + ", " + table + "[" + position + "]");
    writer_.line("if v_" + item + " == nil then break end");
    locals.push();
    locals.add(index, false);
    locals.add(item, false);
    Place inner = place;
    ++inner.loops;
    block(node, inner, locals);
    locals.pop();
    writer_.dedent();
    writer_.line("end end");
    writer_.close();
}

void Translator::sBreak(pugi::xml_node node, Place& place, Locals&) {
    if (place.loops == 0) {
        problem(node, "Break is not inside a Loop, While or ForEach; it is skipped");
        return;
    }
    emit(node, "break");
}

void Translator::sVar(pugi::xml_node node, Place& place, Locals& locals) {
    RunScope scope(place, locals, objects_, &unknownObjects_);
    Block b(schema_, node, scope, place);
    std::string name;
    if (!b.newName("name", name)) {
        check(node, b);
        return;
    }
    std::string value = b.expr("value");
    if (!check(node, b, ("'" + name + "' starts as 0").c_str()))
        value = "0.0";
    emit(node, "local v_" + name + " = " + value);
    locals.add(name, false);
}

void Translator::sSet(pugi::xml_node node, Place& place, Locals& locals) {
    RunScope scope(place, locals, objects_, &unknownObjects_);
    Block b(schema_, node, scope, place);
    Expr::Assignable target;
    b.assignable("var", target);
    const std::string value = b.expr("value");
    if (check(node, b))
        emit(node, assignCode(target, value));
}

void Translator::sIncrement(pugi::xml_node node, Place& place, Locals& locals) {
    RunScope scope(place, locals, objects_, &unknownObjects_);
    Block b(schema_, node, scope, place);
    Expr::Assignable target;
    b.assignable("var", target);
    const std::string by = b.numberExpr("value");
    if (!check(node, b))
        return;
    const std::string what = Expr::quote(trim(b.value("var")));
    switch (target.type) {
    case Expr::Assignable::Type::Variable:
        emit(node, target.lua + " = num(" + target.lua + ", " + what + ") + " + by);
        break;
    case Expr::Assignable::Type::Property:
        emit(node, "do local _o = " + target.lua + "; set(_o, " + target.key + ", num(get(_o, " + target.key + "), " +
                       what + ") + " + by + ") end");
        break;
    case Expr::Assignable::Type::Item:
        emit(node, "do local _t, _i = " + target.lua + ", " + target.key + "; R.aset(_t, _i, num(item(_t, _i, " +
                       target.name + "), " + what + ") + " + by + ", " + target.name + ") end");
        break;
    }
}

void Translator::sArray(pugi::xml_node node, Place& place, Locals& locals) {
    RunScope scope(place, locals, objects_, &unknownObjects_);
    Block b(schema_, node, scope, place);
    std::string name;
    if (!b.newName("name", name)) {
        check(node, b);
        return;
    }
    std::vector<Expr::Result> items;
    std::string error, list;
    if (Expr::translateList(b.value("items"), scope, items, error)) {
        for (const Expr::Result& item : items)
            list += (list.empty() ? "" : ", ") + item.lua;
    } else {
        problem(node, "items=\"" + b.value("items") + "\": " + error + "; '" + name + "' starts empty", {"items"});
    }
    emit(node, "local v_" + name + " = {" + list + "}");
    locals.add(name, true);
}

void Translator::sArrayAdd(pugi::xml_node node, Place& place, Locals& locals) {
    RunScope scope(place, locals, objects_, &unknownObjects_);
    Block b(schema_, node, scope, place);
    std::string name;
    const std::string array = b.array("array", &name);
    const std::string value = b.expr("value");
    if (check(node, b))
        emit(node, "R.push(" + array + ", " + value + ", " + name + ")");
}

void Translator::sArraySet(pugi::xml_node node, Place& place, Locals& locals) {
    RunScope scope(place, locals, objects_, &unknownObjects_);
    Block b(schema_, node, scope, place);
    std::string name;
    const std::string array = b.array("array", &name);
    const std::string index = b.numberExpr("index");
    const std::string value = b.expr("value");
    if (check(node, b))
        emit(node, "R.aset(" + array + ", " + index + ", " + value + ", " + name + ")");
}

void Translator::sArrayRemove(pugi::xml_node node, Place& place, Locals& locals) {
    RunScope scope(place, locals, objects_, &unknownObjects_);
    Block b(schema_, node, scope, place);
    std::string name;
    const std::string array = b.array("array", &name);
    const std::string index = b.optionalNumberExpr("index");
    if (check(node, b))
        emit(node, "R.aremove(" + array + ", " + index + ", " + name + ")");
}

void Translator::sArrayClear(pugi::xml_node node, Place& place, Locals& locals) {
    RunScope scope(place, locals, objects_, &unknownObjects_);
    Block b(schema_, node, scope, place);
    const std::string array = b.array("array");
    if (check(node, b))
        emit(node, "R.aclear(" + array + ")");
}

void Translator::sCall(pugi::xml_node node, Place& place, Locals& locals) {
    RunScope scope(place, locals, objects_, &unknownObjects_);
    Block b(schema_, node, scope, place);
    const std::string name = trim(b.value("function"));
    std::string table;
    size_t params = 0;
    if (place.level && place.level->functions.count(name)) {
        table = place.level->funcs;
        params = place.level->functions.at(name);
    } else if (game_.functions.count(name)) {
        table = game_.funcs;
        params = game_.functions.at(name);
    } else {
        b.fail("function", name.empty() ? "is empty" : "names '" + name + "', but no Function of that name is declared in the game or this level");
    }
    std::vector<Expr::Result> args;
    std::string error;
    const std::string written = b.value("args");
    if (!Expr::translateList(written, scope, args, error))
        b.fail("args=\"" + written + "\": " + error);
    else if (!table.empty() && args.size() != params)
        b.fail("args=\"" + written + "\" gives " + std::to_string(args.size()) + (args.size() == 1 ? " value" : " values") +
               ", but " + name + " takes " + std::to_string(params));
    Expr::Assignable result;
    const bool stores = !trim(b.value("result")).empty();
    if (stores)
        b.assignable("result", result);
    if (!check(node, b))
        return;
    std::string call = table + "[" + Expr::quote(name) + "](self";
    for (const Expr::Result& arg : args)
        call += ", " + arg.lua;
    call += ")";
    emit(node, stores ? assignCode(result, call) : call);
}

void Translator::sReturn(pugi::xml_node node, Place& place, Locals& locals) {
    RunScope scope(place, locals, objects_, &unknownObjects_);
    Block b(schema_, node, scope, place);
    std::string value;
    if (!trim(b.value("value")).empty())
        value = " " + b.expr("value");
    if (check(node, b))
        emit(node, "do return" + value + " end");
}

void Translator::sClone(pugi::xml_node node, Place& place, Locals& locals) {
    RunScope scope(place, locals, objects_, &unknownObjects_);
    Block b(schema_, node, scope, place);
    const std::string target = b.object();
    // The name may follow values: newName="Shot{count}" names each copy after the count.
    const std::string name = b.text("newName", nullptr);
    const std::string x = b.numberExpr("offsetX"), y = b.numberExpr("offsetY"), z = b.numberExpr("offsetZ");
    if (check(node, b))
        emit(node, "R.clone(" + target + ", " + name + ", " + x + ", " + y + ", " + z + ")");
}

void Translator::sDestroy(pugi::xml_node node, Place& place, Locals& locals) {
    RunScope scope(place, locals, objects_, &unknownObjects_);
    Block b(schema_, node, scope, place);
    const std::string target = b.object();
    if (check(node, b))
        emit(node, "R.destroy(" + target + ")");
}

void Translator::sGoToLevel(pugi::xml_node node, Place& place, Locals& locals) {
    RunScope scope(place, locals, objects_, &unknownObjects_);
    Block b(schema_, node, scope, place);
    const std::string level = trim(b.value("level"));
    if (!level.empty() && !levelNames_.count(level))
        b.fail("level", "names '" + level + "', but the game has no Level of that name");
    if (check(node, b))
        emit(node, "R.goToLevel(" + Expr::quote(level) + ")");
}

void Translator::sPrint(pugi::xml_node node, Place& place, Locals& locals) {
    RunScope scope(place, locals, objects_, &unknownObjects_);
    Block b(schema_, node, scope, place);
    const std::string text = b.text("text", nullptr);
    if (check(node, b))
        emit(node, "R.print(" + text + ")");
}

} // namespace

LmdLuaTranslation LmdLuaTranslator::translate(const pugi::xml_node& root, const CodeSchema& schema) {
    Translator translator(schema);
    return translator.run(root);
}

std::string LmdLuaTranslator::describeNode(const pugi::xml_node& node) {
    return describe(node, nullptr);
}

} // namespace Lumenda3D
