#pragma once
// Where a block of logic stands while it is translated: the declarations it sees (the game's and
// its level's), the object it belongs to, the enclosing event, and the local names of the run
// (loop counters, parameters, local Vars and Arrays). RunScope answers the expression translator's
// questions about names from these.
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "engine/logic/LmdLuaExpression.h"

namespace Lumenda3D::translator {

using Expr = LmdLuaExpression;
using Binding = LmdLuaExpression::Binding;

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

} // namespace Lumenda3D::translator
