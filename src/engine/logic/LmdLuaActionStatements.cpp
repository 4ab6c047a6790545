// Blocks that act on the scene: visibility, colour, text, animation, light, movement, physics,
// sound, copies, levels and printing.
#include "engine/logic/LmdLuaTranslatorImpl.h"

namespace Lumenda3D::translator {

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

} // namespace Lumenda3D::translator
