// Blocks that declare and change variables and arrays.
#include "engine/logic/LmdLuaTranslatorImpl.h"

namespace Lumenda3D::translator {

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

} // namespace Lumenda3D::translator
