#include "attributes/AttributeLayout.h"

#include <algorithm>
#include <climits>

#include "base/LmdValueParser.h"
#include "engine/schema/CodeSchema.h"

namespace Lumenda3D::AttributeLayout {

namespace {

std::string lower(std::string_view text) {
    return LmdValueParser::toLower(text);
}

std::string normaliseFlag(const std::string& value) {
    if (value == "1" || value == "true")
        return "1";
    if (value.empty() || value == "0" || value == "false")
        return "0";
    return value;
}

bool isPrefixGroup(const std::string& loweredGroup) {
    return loweredGroup == "position" || loweredGroup == "rotation" || loweredGroup == "scale";
}

} // namespace

size_t countValues(const std::string& values) {
    return size_t(std::count(values.begin(), values.end(), '|')) + 1;
}

bool isAttributeVisible(const pugi::xml_node& definition, const pugi::xml_node& node) {
    if (definition.attribute("hidden").as_bool(false))
        return false;
    const std::string showWhen = definition.attribute("showWhen").as_string();
    const size_t equals = showWhen.find('=');
    if (equals == std::string::npos)
        return true;
    const std::string key = showWhen.substr(0, equals);
    const std::string expected = showWhen.substr(equals + 1);
    const std::string actual = node.attribute(key.c_str()).as_string();
    return normaliseFlag(actual) == normaliseFlag(expected);
}

bool matchesSearch(const pugi::xml_node& definition, const std::string& group, const std::string& search) {
    if (search.empty())
        return true;
    return lower(group).find(search) != std::string::npos ||
           lower(definition.attribute("name").as_string()).find(search) != std::string::npos ||
           lower(definition.attribute("en_caption").as_string()).find(search) != std::string::npos;
}

std::string stripPrefixIgnoreCase(const std::string& text, const std::string& prefix, const std::string& fallback) {
    if (text.size() <= prefix.size() || !LmdValueParser::equalsIgnoreCase(std::string_view(text).substr(0, prefix.size()), prefix))
        return fallback;
    return text.substr(prefix.size());
}

std::vector<AttributeGroup> groupAttributes(const CodeSchema& schema, const pugi::xml_node& node,
                                            const std::string& search) {
    std::vector<AttributeGroup> groups;
    if (!node || !*node.name())
        return groups;
    for (const pugi::xml_node& definition : schema.getAttributes(node.name(), "")) {
        if (!isAttributeVisible(definition, node))
            continue;
        std::string group = definition.attribute("group").as_string();
        if (group.empty())
            group = CodeSchema::kDefaultGroup;
        if (!matchesSearch(definition, group, search))
            continue;
        auto found = std::find_if(groups.begin(), groups.end(), [&](const AttributeGroup& g) { return g.name == group; });
        if (found == groups.end()) {
            groups.push_back({group, {}});
            found = groups.end() - 1;
        }
        found->definitions.push_back(definition);
    }
    const int otherPriority = schema.getAttributeGroupPriority(CodeSchema::kDefaultGroup);
    const long long unknownRank = otherPriority >= 0 ? 2LL * otherPriority - 1 : LLONG_MAX;
    auto rank = [&](const AttributeGroup& group) {
        const int priority = schema.getAttributeGroupPriority(group.name);
        return priority >= 0 ? 2LL * priority : unknownRank;
    };
    std::stable_sort(groups.begin(), groups.end(),
                     [&](const AttributeGroup& a, const AttributeGroup& b) { return rank(a) < rank(b); });
    return groups;
}

std::pair<std::vector<pugi::xml_node>, std::vector<pugi::xml_node>> splitPrefixMatched(
    const std::string& group, const std::vector<pugi::xml_node>& definitions) {
    std::pair<std::vector<pugi::xml_node>, std::vector<pugi::xml_node>> split;
    const std::string prefix = lower(group);
    const bool special = isPrefixGroup(prefix);
    for (const pugi::xml_node& definition : definitions) {
        const std::string name = lower(definition.attribute("name").as_string());
        const bool matched = special && name.compare(0, prefix.size(), prefix) == 0 &&
                             !definition.attribute("newLine").as_bool(false);
        (matched ? split.first : split.second).push_back(definition);
    }
    return split;
}

std::string label(const pugi::xml_node& definition) {
    const char* caption = definition.attribute("en_caption").as_string();
    return *caption ? caption : definition.attribute("name").as_string();
}

} // namespace Lumenda3D::AttributeLayout
