#include "engine/schema/SchemaValidator.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <unordered_map>

#include "base/LmdValueParser.h"

namespace Lumenda3D {
namespace {

// Lists in messages are cut after this many items, so that a sentence stays readable.
constexpr size_t kMaxListedItems = 10;

using AttributeDef = CodeSchema::AttributeDef;
using ValueKind = CodeSchema::ValueKind;

// Numbers and colours as the engine and Lua read them (LmdValueParser), so that what passes here
// plays.
bool parseNumber(std::string_view text, double& out) {
    return LmdValueParser::parseNumber(text, out);
}

bool isColor(std::string_view text) {
    std::uint32_t rgb = 0;
    return LmdValueParser::parseColor(text, rgb);
}

std::string toLower(std::string_view text) {
    return LmdValueParser::toLower(text);
}

size_t editDistance(const std::string& a, const std::string& b) {
    std::vector<size_t> row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j)
        row[j] = j;
    for (size_t i = 1; i <= a.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            size_t above = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (a[i - 1] == b[j - 1] ? 0 : 1)});
            diagonal = above;
        }
    }
    return row[b.size()];
}

// The candidate closest to `wrong`, ignoring case, when it is close enough to be a likely typo.
std::string_view closestMatch(std::string_view wrong, const std::vector<std::string_view>& candidates) {
    std::string lowerWrong = toLower(wrong);
    std::string_view best;
    size_t bestDistance = std::max<size_t>(2, lowerWrong.size() / 3) + 1;
    for (std::string_view candidate : candidates) {
        size_t distance = editDistance(lowerWrong, toLower(candidate));
        if (distance < bestDistance) {
            bestDistance = distance;
            best = candidate;
        }
    }
    return best;
}

std::string listItems(const std::vector<std::string_view>& items) {
    std::string out;
    size_t shown = std::min(items.size(), kMaxListedItems);
    for (size_t i = 0; i < shown; ++i) {
        if (i > 0)
            out += ", ";
        out += items[i];
    }
    if (items.size() > shown)
        out += " (and " + std::to_string(items.size() - shown) + " more)";
    return out;
}

std::string quoted(std::string_view text) {
    return "'" + std::string(text) + "'";
}

// Closes a sentence with a full stop unless it already ends with a question mark.
std::string sentence(std::string text) {
    if (text.empty() || text.back() != '?')
        text += '.';
    return text;
}

// "Element 'Box' (id 12)", "Element 'Box' (name 'crate')" or "Element 'Box' at /KiteBench3D/Level[1]/Box[2]".
// A very deep path keeps its first and last steps around "...".
std::string elementLabel(const pugi::xml_node& node) {
    constexpr size_t kHeadSteps = 2, kTailSteps = 4;
    std::string label = "Element " + quoted(node.name());
    if (const char* id = node.attribute("id").value(); *id)
        return label + " (id " + id + ")";
    if (const char* name = node.attribute("name").value(); *name)
        return label + " (name " + quoted(name) + ")";
    std::vector<pugi::xml_node> chain; // from the node up to the root element
    for (pugi::xml_node n = node; n && n.type() == pugi::node_element; n = n.parent())
        chain.push_back(n);
    auto step = [](const pugi::xml_node& n) {
        std::string text = n.name();
        if (n.parent() && n.parent().type() == pugi::node_element) {
            int index = 1;
            for (pugi::xml_node s = n.previous_sibling(n.name()); s; s = s.previous_sibling(n.name()))
                ++index;
            text += "[" + std::to_string(index) + "]";
        }
        return text;
    };
    std::string path;
    size_t count = chain.size();
    for (size_t i = 0; i < count; ++i) {
        size_t fromRoot = count - 1 - i;
        pugi::xml_node n = chain[fromRoot];
        if (count > kHeadSteps + kTailSteps + 1 && i == kHeadSteps) {
            path += "/...";
            i = count - kTailSteps - 1;
            continue;
        }
        path += "/" + step(n);
    }
    return label + " at " + path;
}

AttributeDef makeShared(std::string_view name, ValueKind kind, std::vector<std::string_view> values = {}) {
    AttributeDef def;
    def.name = name;
    def.kind = kind;
    def.values = std::move(values);
    return def;
}

const std::unordered_map<std::string_view, AttributeDef>& sharedAttributes() {
    static const std::unordered_map<std::string_view, AttributeDef> shared = [] {
        std::unordered_map<std::string_view, AttributeDef> map;
        // `id` is left unchecked: it is the editor's run-time handle, and the merge of agent edits owns it.
        for (const char* name : {"id", "guidId", "name", "image", "var"})
            map.emplace(name, makeShared(name, ValueKind::Text));
        for (const char* name : {"isCollapse", "showAttributes"})
            map.emplace(name, makeShared(name, ValueKind::Boolean));
        map.emplace("_aiChange", makeShared("_aiChange", ValueKind::Text, {"added", "updated"}));
        for (const char* name : {"x", "y", "z", "xAxis", "yAxis", "zAxis", "rotationX", "rotationY", "scaleY"})
            map.emplace(name, makeShared(name, ValueKind::Number));
        return map;
    }();
    return shared;
}

class Walker {
public:
    Walker(const CodeSchema& schema, int maxViolations, pugi::xml_node top)
        : schema_(schema), max_(static_cast<size_t>(maxViolations)), top_(top) {}

    std::vector<std::string> run() {
        if (std::strcmp(top_.name(), CodeSchema::kDocumentRoot) != 0 &&
            report("The root element is " + quoted(top_.name()) + ", but a game document's root element must be " +
                   CodeSchema::kDocumentRoot + "; rename it."))
            return std::move(out_);
        // Depth-first in document order, without recursion, so that deep documents cannot
        // exhaust the stack.
        pugi::xml_node node = top_.first_child();
        while (node) {
            if (node.type() == pugi::node_element) {
                if (checkElement(node))
                    break;
                if (node.first_child()) {
                    node = node.first_child();
                    continue;
                }
            }
            while (node != top_ && !node.next_sibling())
                node = node.parent();
            if (node == top_)
                break;
            node = node.next_sibling();
        }
        return std::move(out_);
    }

private:
    // Adds a finding; true when the limit is reached and the walk must stop.
    bool report(std::string text) {
        out_.push_back(std::move(text));
        return out_.size() >= max_;
    }

    // Checks one element; true when the limit is reached.
    bool checkElement(const pugi::xml_node& node) {
        const CodeSchema::CommandDef* command = schema_.findCommandDef(node.name());
        if (!command)
            return report(unknownElement(node));

        pugi::xml_node parent = node.parent();
        bool parentIsRoot = parent == top_;
        // Under an unknown element the placement cannot be judged; that element is reported already.
        if ((parentIsRoot || schema_.findCommandDef(parent.name())) &&
            !schema_.canStandUnder(*command, parent.name(), parentIsRoot)) {
            std::string where = parentIsRoot ? std::string("directly under ") + parent.name()
                                             : std::string("in ") + parent.name();
            const std::string& allowed = command->placement.description;
            if (report(elementLabel(node) + ": " + std::string(command->name) + " cannot stand " + where +
                       (allowed.empty() ? std::string("; its schema rule allows no place for it.")
                                        : "; it may only stand " + allowed + ".")))
                return true;
        }

        for (pugi::xml_attribute attribute : node.attributes()) {
            std::string_view name = attribute.name();
            const AttributeDef* definition = CodeSchema::findAttributeDef(*command, name);
            if (!definition)
                definition = SchemaValidator::findSharedAttribute(name);
            if (!definition) {
                if (report(undefinedAttribute(node, *command, name)))
                    return true;
                continue;
            }
            std::string problem = SchemaValidator::checkValue(*definition, attribute.value());
            if (!problem.empty() && report(sentence(elementLabel(node) + ": attribute " + quoted(name) + " " + problem)))
                return true;
        }

        for (size_t index : command->requiredAttributes) {
            const AttributeDef& definition = command->attributes[index];
            std::string name(definition.name);
            pugi::xml_attribute attribute = node.attribute(name.c_str());
            if (!attribute && !definition.defaultValue.empty())
                continue; // the default applies
            if (*attribute.value())
                continue;
            std::string text = elementLabel(node) + ": required attribute " + quoted(name) + " is " +
                               (attribute ? "empty" : "missing") + "; " + describeExpected(definition) + ".";
            if (report(std::move(text)))
                return true;
        }
        return false;
    }

    std::string unknownElement(const pugi::xml_node& node) const {
        std::string text = elementLabel(node) + " is not a command of the game language";
        std::string_view suggestion = closestMatch(node.name(), schema_.getCommandNames());
        if (!suggestion.empty())
            return text + "; did you mean " + quoted(suggestion) + "?";
        return text + "; known commands include " + listItems(schema_.getCommandNames()) + ".";
    }

    std::string undefinedAttribute(const pugi::xml_node& node, const CodeSchema::CommandDef& command,
                                   std::string_view name) const {
        std::string text = elementLabel(node) + ": attribute " + quoted(name) + " is not defined for " +
                           std::string(command.name);
        std::vector<std::string_view> known;
        for (const AttributeDef& attribute : command.attributes)
            if (!attribute.node.attribute("hidden").as_bool())
                known.push_back(attribute.name);
        if (known.empty())
            return text + ", which has no attributes of its own.";
        std::string_view suggestion = closestMatch(name, known);
        if (!suggestion.empty())
            return text + "; did you mean " + quoted(suggestion) + "? Known attributes are " + listItems(known) + ".";
        return text + "; known attributes are " + listItems(known) + ".";
    }

    static std::string describeExpected(const AttributeDef& definition) {
        static const std::unordered_map<std::string_view, const char*> pickerTargets = {
            {"functionPicker", "the name of a Function"},
            {"soundPicker", "the name of a LoadSound"},
            {"arrayPicker", "the name of an Array"},
            {"levelPicker", "the name of a Level"},
            {"skyBoxPicker", "the name of a SkyBox"},
            {"joystickPicker", "the name of a Joystick"},
            {"fogPicker", "the name of a Fog"},
            {"picker", "the name of a variable"},
            {"animationPicker", "the name of an Animation or of a clip in the model file"},
            {"targetObjectAll", "the name of an object"},
            {"targetObjectPicker", "the name of a 3D object"},
            {"lookAtObjectPicker", "the name of a 3D object"},
            {"collisionPicker", "the name of an object"},
            {"modelFilePicker", "a model file name"},
            {"soundFilePicker", "a sound file name"},
            {"picture", "a picture file name"},
        };
        if (!definition.values.empty())
            return "set it to one of " + listItems(definition.values);
        auto it = pickerTargets.find(definition.node.attribute("type").value());
        if (it != pickerTargets.end())
            return std::string("set it to ") + it->second;
        switch (definition.kind) {
        case ValueKind::Number:
            return "set it to a number";
        case ValueKind::Integer:
            return "set it to a whole number";
        case ValueKind::Boolean:
            return "set it to true or false";
        case ValueKind::Color:
            return "set it to a colour such as 0xFF8800";
        case ValueKind::Text:
            break;
        }
        return "give it a value";
    }

    const CodeSchema& schema_;
    size_t max_;
    pugi::xml_node top_;
    std::vector<std::string> out_;
};

} // namespace

const CodeSchema::AttributeDef* SchemaValidator::findSharedAttribute(std::string_view name) {
    const auto& shared = sharedAttributes();
    auto it = shared.find(name);
    return it == shared.end() ? nullptr : &it->second;
}

std::string SchemaValidator::checkValue(const CodeSchema::AttributeDef& definition, std::string_view value) {
    if (value.empty())
        return {};
    if (!definition.values.empty()) {
        if (std::find(definition.values.begin(), definition.values.end(), value) != definition.values.end())
            return {};
        std::string text = "is " + quoted(value) + ", which is not one of " + listItems(definition.values);
        std::string_view suggestion = closestMatch(value, definition.values);
        if (!suggestion.empty())
            text += "; did you mean " + quoted(suggestion) + "?";
        return text;
    }
    double number = 0;
    switch (definition.kind) {
    case ValueKind::Number:
        if (!parseNumber(value, number))
            return "is " + quoted(value) + ", which is not a number; write a decimal number such as 2 or 0.5";
        break;
    case ValueKind::Integer:
        // The number input writes "%f", so "3.000000" is a whole number too.
        if (!parseNumber(value, number) || number != std::floor(number))
            return "is " + quoted(value) + ", which is not a whole number; write an integer such as 3";
        break;
    case ValueKind::Boolean:
        if (value != "true" && value != "false" && value != "1" && value != "0")
            return "is " + quoted(value) + ", which is not a boolean; write true or false";
        break;
    case ValueKind::Color:
        if (!isColor(value))
            return "is " + quoted(value) + ", which is not a colour; write six hexadecimal digits such as 0xFF8800";
        break;
    case ValueKind::Text:
        break;
    }
    return {};
}

std::vector<std::string> SchemaValidator::validate(const pugi::xml_node& root, const CodeSchema& schema,
                                                   int maxViolations) {
    if (!schema.isLoaded() || maxViolations <= 0 || !root)
        return {};
    pugi::xml_node top = root;
    if (top.type() == pugi::node_document)
        top = top.find_child([](const pugi::xml_node& child) { return child.type() == pugi::node_element; });
    if (!top || top.type() != pugi::node_element)
        return {};
    return Walker(schema, maxViolations, top).run();
}

} // namespace Lumenda3D
