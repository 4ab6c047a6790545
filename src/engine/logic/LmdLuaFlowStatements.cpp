// Blocks that order the logic: sequences, conditions, loops, calls and returns.
#include "engine/logic/LmdLuaTranslatorImpl.h"

namespace Lumenda3D::translator {

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

} // namespace Lumenda3D::translator
