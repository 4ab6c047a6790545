#pragma once
// Reads the attributes of one game element as the scene needs them. A missing or empty attribute
// takes the schema's default for that command (or the fallback the caller gives when the schema
// has none); a value that does not suit its kind (a text where a number belongs, a word outside
// the attribute's list) is reported once through LmdSceneFaults, naming the element, and the
// default is used instead. Nothing here needs a window.
#include <cstdint>
#include <string>
#include <string_view>

#include <pugixml.hpp>

#include "engine/schema/CodeSchema.h"

namespace Lumenda3D {

class LmdSceneFaults;

class LmdNodeReader {
public:
    // `schema` may be null or unloaded: then only the callers' fallbacks serve as defaults.
    LmdNodeReader(const pugi::xml_node& node, const CodeSchema* schema, LmdSceneFaults& faults);

    float number(const char* name, float fallback) const;
    int integer(const char* name, int fallback) const;
    bool boolean(const char* name, bool fallback) const;
    std::uint32_t color(const char* name, std::uint32_t fallback) const;
    std::string text(const char* name, const std::string& fallback = std::string()) const;
    // A value that must be one of the attribute's `values` list (when the schema gives one).
    std::string choice(const char* name, const std::string& fallback) const;
    // The schema's default of a number attribute, or `fallback`.
    float defaultNumber(const char* name, float fallback) const;
    // Whether the element itself carries a non-empty value.
    bool has(const char* name) const;

    const pugi::xml_node& node() const { return mNode; }
    int xmlId() const { return mNode.attribute("id").as_int(0); }
    const CodeSchema::CommandDef* command() const { return mCommand; }

private:
    const CodeSchema::AttributeDef* definition(const char* name) const;
    // The document's text, or "" when missing or blank.
    std::string_view documentValue(const char* name) const;
    std::string_view schemaDefault(const char* name) const;
    void fault(const char* name, std::string_view value, const std::string& why, const std::string& used) const;

    pugi::xml_node mNode;
    const CodeSchema::CommandDef* mCommand = nullptr;
    LmdSceneFaults& mFaults;
};

} // namespace Lumenda3D
