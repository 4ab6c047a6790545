#include "engine/logic/LmdLuaTranslator.h"

#include <lua.hpp>

#include "engine/logic/LmdLuaTranslatorImpl.h"

namespace Lumenda3D {
namespace translator {

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
    // Working out the 3D point under the pointer costs the scene a ray every frame: say whether
    // any expression reads it (the chunk reads those values as R.pointerX, R.pointerObject ...).
    out_.readsPointer = out_.chunk.find("R.pointer") != std::string::npos;
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

} // namespace translator

LmdLuaTranslation LmdLuaTranslator::translate(const pugi::xml_node& root, const CodeSchema& schema) {
    translator::Translator translator(schema);
    return translator.run(root);
}

std::string LmdLuaTranslator::describeNode(const pugi::xml_node& node) {
    return translator::describe(node, nullptr);
}

} // namespace Lumenda3D
