#include "engine/scene/LmdNodeReader.h"

#include "base/LmdValueParser.h"
#include "engine/document/Lumenda3DUtils.h"
#include "engine/scene/LmdSceneFaults.h"

#include <algorithm>

namespace Lumenda3D {

LmdNodeReader::LmdNodeReader(const pugi::xml_node& node, const CodeSchema* schema, LmdSceneFaults& faults)
    : mNode(node), mFaults(faults) {
    if (schema && schema->isLoaded())
        mCommand = schema->findCommandDef(node.name());
}

const CodeSchema::AttributeDef* LmdNodeReader::definition(const char* name) const {
    return mCommand ? CodeSchema::findAttributeDef(*mCommand, name) : nullptr;
}

std::string_view LmdNodeReader::documentValue(const char* name) const {
    return LmdValueParser::trim(mNode.attribute(name).value());
}

std::string_view LmdNodeReader::schemaDefault(const char* name) const {
    const CodeSchema::AttributeDef* def = definition(name);
    return def ? def->defaultValue : std::string_view();
}

bool LmdNodeReader::has(const char* name) const {
    return !documentValue(name).empty();
}

void LmdNodeReader::fault(const char* name, std::string_view value, const std::string& why,
                          const std::string& used) const {
    mFaults.report(mNode, std::string(name) + " is '" + std::string(value) + "', which is " + why + "; using " +
                              (used.empty() ? std::string("nothing") : used));
}

float LmdNodeReader::defaultNumber(const char* name, float fallback) const {
    double value = fallback;
    return LmdValueParser::parseNumber(schemaDefault(name), value) ? float(value) : fallback;
}

float LmdNodeReader::number(const char* name, float fallback) const {
    double value = fallback;
    if (!LmdValueParser::parseNumber(schemaDefault(name), value))
        value = fallback;
    const std::string_view text = documentValue(name);
    if (text.empty())
        return float(value);
    double parsed = 0.0;
    if (LmdValueParser::parseNumber(text, parsed))
        return float(parsed);
    fault(name, text, "not a number", Lumenda3DUtils::formatFloat(float(value)));
    return float(value);
}

int LmdNodeReader::integer(const char* name, int fallback) const {
    int value = fallback;
    if (!LmdValueParser::parseInt(schemaDefault(name), value))
        value = fallback;
    const std::string_view text = documentValue(name);
    if (text.empty())
        return value;
    int parsed = 0;
    if (LmdValueParser::parseInt(text, parsed))
        return parsed;
    fault(name, text, "not a whole number", std::to_string(value));
    return value;
}

bool LmdNodeReader::boolean(const char* name, bool fallback) const {
    bool value = fallback;
    if (!LmdValueParser::parseBool(schemaDefault(name), value))
        value = fallback;
    const std::string_view text = documentValue(name);
    if (text.empty())
        return value;
    bool parsed = false;
    if (LmdValueParser::parseBool(text, parsed))
        return parsed;
    fault(name, text, "not true or false", value ? "true" : "false");
    return value;
}

std::uint32_t LmdNodeReader::color(const char* name, std::uint32_t fallback) const {
    std::uint32_t value = fallback;
    if (!LmdValueParser::parseColor(schemaDefault(name), value))
        value = fallback;
    const std::string_view text = documentValue(name);
    if (text.empty())
        return value;
    std::uint32_t parsed = 0;
    if (LmdValueParser::parseColor(text, parsed))
        return parsed;
    fault(name, text, "not a colour like 0xFF8800", LmdValueParser::formatColor(value));
    return value;
}

std::string LmdNodeReader::text(const char* name, const std::string& fallback) const {
    pugi::xml_attribute attribute = mNode.attribute(name);
    if (attribute && *attribute.value())
        return attribute.value();
    const std::string_view def = schemaDefault(name);
    return def.empty() ? fallback : std::string(def);
}

std::string LmdNodeReader::choice(const char* name, const std::string& fallback) const {
    const CodeSchema::AttributeDef* def = definition(name);
    std::string value = def && !def->defaultValue.empty() ? std::string(def->defaultValue) : fallback;
    const std::string_view text = documentValue(name);
    if (text.empty())
        return value;
    if (!def || def->values.empty() ||
        std::find(def->values.begin(), def->values.end(), text) != def->values.end())
        return std::string(text);
    std::string allowed;
    for (size_t i = 0; i < def->values.size() && i < 10; ++i)
        allowed += (i ? ", " : "") + std::string(def->values[i]);
    fault(name, text, "not one of " + allowed, value);
    return value;
}

} // namespace Lumenda3D
