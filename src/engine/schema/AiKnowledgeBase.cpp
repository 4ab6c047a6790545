#include "engine/schema/AiKnowledgeBase.h"

#include <cctype>
#include <cstring>
#include <fstream>
#include <sstream>

#include "base/LmdLog.h"
#include "base/LmdPaths.h"
#include "base/LmdValueParser.h"
#include "engine/app/LmdKeyNames.h"
#include "engine/schema/CodeSchema.h"
#include "engine/schema/SchemaValidator.h"

namespace Lumenda3D {
namespace {

// Knowledge-base name and the file under media/knowledge/ that holds it.
const std::pair<const char*, const char*> kFiles[] = {
    {"instructions", "rules.md"}, {"assets", "assets.md"}, {"protocol", "protocol.md"},
    {"examples", "examples.md"},  {"mcp", "mcp.md"},
};

// Attribute names the validator accepts on every element; the reference lists those it knows.
const char* const kSharedCandidates[] = {"id", "guidId", "name", "isCollapse", "showAttributes", "image", "_aiChange",
                                         "x", "y", "z", "xAxis", "yAxis", "zAxis", "rotationX", "rotationY", "rotationZ",
                                         "scaleX", "scaleY", "scaleZ", "var"};

bool readFile(const std::string& path, std::string& out) {
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return false;
    std::ostringstream text;
    text << in.rdbuf();
    out = text.str();
    return true;
}

std::string str(std::string_view view) { return std::string(view); }

bool equalsIgnoringCase(const std::string& a, const std::string& b) {
    return LmdValueParser::equalsIgnoreCase(a, b);
}

// What the value of an attribute names, for inputs that pick a named thing of the game.
const char* namedThing(const std::string& type, const std::string& name) {
    if (name == "texture")
        return "a Material's name";
    if (type == "targetObjectAll" || type == "lookAtObjectPicker" || type == "collisionPicker")
        return "an object's name";
    if (type == "targetObjectPicker")
        return "a 3D object's name";
    if (type == "picker")
        return "a variable's name, or object.property";
    if (type == "soundPicker")
        return "a LoadSound's name";
    if (type == "functionPicker")
        return "a Function's name";
    if (type == "arrayPicker")
        return "an Array's name";
    if (type == "levelPicker")
        return "a Level's name";
    if (type == "skyBoxPicker")
        return "a SkyBox's name";
    if (type == "fogPicker")
        return "a Fog's name";
    if (type == "joystickPicker")
        return "a Joystick's name";
    if (type == "animationPicker")
        return "an Animation's name or a clip name of the model file";
    return nullptr;
}

std::string kindText(const CodeSchema::AttributeDef& attribute) {
    const pugi::xml_node node = attribute.node;
    if (!attribute.values.empty()) {
        std::string out = "one of ";
        for (size_t i = 0; i < attribute.values.size(); ++i)
            out += (i ? "|" : "") + str(attribute.values[i]);
        return out;
    }
    if (std::strcmp(node.attribute("paramType").value(), "expression") == 0)
        return "expression";
    switch (attribute.kind) {
    case CodeSchema::ValueKind::Number:
        return "number";
    case CodeSchema::ValueKind::Integer:
        return "whole number";
    case CodeSchema::ValueKind::Boolean:
        return "true/false";
    case CodeSchema::ValueKind::Color:
        return "colour 0xRRGGBB";
    case CodeSchema::ValueKind::Text:
        break;
    }
    return "text";
}

void appendAttribute(std::string& out, const CodeSchema::AttributeDef& attribute) {
    const pugi::xml_node node = attribute.node;
    const std::string type = node.attribute("type").value();
    out += "- `" + str(attribute.name) + "` " + kindText(attribute);
    if (const char* thing = namedThing(type, str(attribute.name)))
        out += std::string(" (") + thing + ")";
    if (node.attribute("assetLoader").as_bool())
        out += " (asset file name, see 'assets')";
    if (!attribute.defaultValue.empty())
        out += ", default `" + str(attribute.defaultValue) + "`";
    if (attribute.required)
        out += ", required";
    if (type == "button")
        out += ", an editor button: never write it";
    // A caption adds something only when it is more than the name or a single letter.
    const std::string caption = node.attribute("en_caption").value();
    if (caption.size() > 1 && !equalsIgnoringCase(caption, str(attribute.name)))
        out += " — " + caption;
    const std::string showWhen = node.attribute("showWhen").value();
    if (!showWhen.empty())
        out += " (used when " + showWhen + ")";
    out += "\n";
}

void appendCommand(std::string& out, const CodeSchema& schema, const pugi::xml_node& commandNode) {
    const std::string name = commandNode.attribute("name").value();
    const CodeSchema::CommandDef* command = schema.findCommandDef(name);
    if (!command)
        return;
    out += "### " + name;
    const std::string caption = commandNode.attribute("en_caption").value();
    if (!caption.empty() && caption != name)
        out += " — " + caption;
    out += "\n";
    out += "Stands: " +
           (command->placement.anywhere || command->placement.description.empty() ? std::string("anywhere")
                                                                                   : command->placement.description) +
           ".\n";
    if (command->attributes.empty()) {
        out += "No attributes of its own.\n\n";
        return;
    }
    // Hidden attributes are written by the editor's tools (gizmos): listed, not explained.
    std::string hidden;
    for (const CodeSchema::AttributeDef& attribute : command->attributes) {
        if (attribute.node.attribute("hidden").as_bool())
            hidden += (hidden.empty() ? "`" : ", `") + str(attribute.name) + "`";
        else
            appendAttribute(out, attribute);
    }
    if (!hidden.empty())
        out += "- also accepted, written by the editor's tools: " + hidden + "\n";
    out += "\n";
}

} // namespace

std::string AiKnowledgeBase::section(const std::string& name) { return instance().get(name); }

const AiKnowledgeBase& AiKnowledgeBase::instance() {
    static const AiKnowledgeBase knowledge(LmdPaths::mediaDir());
    return knowledge;
}

AiKnowledgeBase::AiKnowledgeBase(const std::string& mediaDir) {
    for (const auto& [name, file] : kFiles) {
        std::string text;
        if (readFile(mediaDir + "/knowledge/" + file, text) && !text.empty())
            sections_[name] = std::move(text);
        else
            LmdLog::message(std::string("Knowledge base: missing ") + mediaDir + "/knowledge/" + file);
    }
    CodeSchema schema;
    std::string error;
    if (schema.load(mediaDir + "/codeSchema.xml", &error))
        sections_["schema"] = schemaReference(schema);
}

std::string AiKnowledgeBase::get(const std::string& name) const {
    auto it = sections_.find(name == "rules" ? std::string("instructions") : name);
    return it == sections_.end() ? std::string() : it->second;
}

std::vector<std::string> AiKnowledgeBase::names() const {
    std::vector<std::string> out;
    for (const auto& entry : sections_)
        out.push_back(entry.first);
    return out;
}

std::string AiKnowledgeBase::schemaReference(const CodeSchema& schema) {
    std::string out;
    out += "# Command reference\n\n"
           "Generated from codeSchema.xml, the schema the editor validates every edit against: this is the "
           "ground truth. Element names are commands and are case-sensitive. An attribute a command doesn't "
           "list here is refused. Values: `number` is a decimal number (2, -0.5), `whole number` has no "
           "fraction, `true/false` also takes 1/0, `colour` is 0xRRGGBB, `expression` takes numbers, "
           "variables, object.property and operators (see 'rules'); `self` names the object an event is about, "
           "`other` the object touched (inside OnCollision), `stickX`/`stickY` the stick's position from -1 to 1 "
           "(inside OnJoystick); everywhere, `time`, `dt`, the pointer `mouseX`/`mouseY` (screen pixels), "
           "`pointerX`/`pointerY`/`pointerZ`/`pointerObject` (the world point and object under it) and the last "
           "click `clickX`/`clickY`/`clickZ`/`clickObject` (see 'rules'). A missing attribute takes its default.\n\n";

    out += "Attributes every element may carry besides its own:";
    bool first = true;
    for (const char* name : kSharedCandidates) {
        if (!SchemaValidator::findSharedAttribute(name))
            continue;
        out += std::string(first ? " `" : ", `") + name + "`";
        first = false;
    }
    out += ". `id` is assigned by the editor and never written by you.\n\n";

    for (const pugi::xml_node& category : schema.getCategories()) {
        const std::string categoryName = category.attribute("name").value();
        out += "## " + categoryName + "\n\n";
        for (const pugi::xml_node& command : schema.getCommandsByCategory(categoryName))
            appendCommand(out, schema, command);
    }

    bool outsideHeader = false;
    for (const pugi::xml_node& command : schema.getCommands()) {
        if (!schema.getCommandCategory(command.attribute("name").value()).empty())
            continue;
        if (!outsideHeader) {
            out += "## Not in the palette (written by editor tools)\n\n";
            outsideHeader = true;
        }
        appendCommand(out, schema, command);
    }

    out += "## Key names\n\n"
           "Keyboard events take the `key` values listed at their command. send_input takes these names "
           "(case does not matter; a single letter, digit or punctuation character names its own key):";
    first = true;
    for (const auto& [name, code] : LmdKeyNames::namedKeys()) {
        (void)code;
        out += (first ? " " : ", ") + name;
        first = false;
    }
    out += ".\nAliases:";
    first = true;
    for (const auto& [alias, canonical] : LmdKeyNames::aliases()) {
        out += (first ? " " : ", ") + alias + " = " + canonical;
        first = false;
    }
    out += ".\n";
    return out;
}

std::vector<AiKnowledgeBase::Example> AiKnowledgeBase::parseExamples(const std::string& text) {
    std::vector<Example> examples;
    std::istringstream in(text);
    std::string line;
    bool inXml = false;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        if (line.compare(0, 3, "## ") == 0) {
            examples.push_back(Example{line.substr(3), "", "", line + "\n"});
            inXml = false;
            continue;
        }
        if (examples.empty())
            continue; // prose before the first example
        Example& current = examples.back();
        if (line.compare(0, 4, "====") == 0)
            continue;
        current.text += line + "\n";
        if (line == "```") {
            inXml = !inXml;
            continue;
        }
        if (inXml)
            current.xml += line + "\n";
        else if (current.summary.empty() && line.find_first_not_of(" \t") != std::string::npos)
            current.summary = line;
    }
    return examples;
}

} // namespace Lumenda3D
