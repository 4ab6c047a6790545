#include "engine/schema/CodeSchema.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include "base/LmdLog.h"
#include "base/LmdValueParser.h"

namespace Lumenda3D {
namespace {

constexpr const char* kSchemaRoot = "codeSchema";
// Nesting depth at which a parent list that refers to itself is given up.
constexpr int kMaxParentListDepth = 8;

bool containsIgnoreCase(std::string_view haystack, const std::string& lowerNeedle) {
    return LmdValueParser::toLower(haystack).find(lowerNeedle) != std::string::npos;
}

std::string joinPlaces(const std::vector<std::string>& places) {
    std::string out;
    for (size_t i = 0; i < places.size(); ++i) {
        if (i > 0)
            out += (i + 1 == places.size()) ? " or " : ", ";
        out += places[i];
    }
    return out;
}

} // namespace

std::vector<std::string_view> CodeSchema::splitList(std::string_view text) {
    std::vector<std::string_view> items;
    size_t start = 0;
    while (start <= text.size()) {
        size_t end = text.find('|', start);
        if (end == std::string_view::npos)
            end = text.size();
        const std::string_view item = LmdValueParser::trim(text.substr(start, end - start));
        if (!item.empty())
            items.push_back(item);
        start = end + 1;
    }
    return items;
}

CodeSchema::ValueKind CodeSchema::valueKindOf(const pugi::xml_node& definition) {
    std::string_view kind = definition.attribute("paramType").value();
    if (kind.empty())
        kind = definition.attribute("type").value();
    if (kind == "number" || kind == "float")
        return ValueKind::Number;
    if (kind == "int" || kind == "integer")
        return ValueKind::Integer;
    if (kind == "boolean" || kind == "bool")
        return ValueKind::Boolean;
    if (kind == "color")
        return ValueKind::Color;
    return ValueKind::Text;
}

void CodeSchema::reset() {
    doc_.reset();
    loaded_ = false;
    warnings_.clear();
    categories_.clear();
    categoryByName_.clear();
    commandOrder_.clear();
    commands_.clear();
    commandsByCategory_.clear();
    parentLists_.clear();
    parentListDescriptions_.clear();
    groups_.clear();
    varPickerCommands_.clear();
}

void CodeSchema::warn(const std::string& text) {
    warnings_.push_back(text);
    LmdLog::message("CodeSchema warning: " + text);
}

bool CodeSchema::load(const std::string& path, std::string* error) {
    reset();
    pugi::xml_parse_result result = doc_.load_file(path.c_str());
    if (!result) {
        std::string why;
        if (result.status == pugi::status_file_not_found)
            why = "cannot open schema file '" + path + "': file not found";
        else if (result.status == pugi::status_io_error || result.status == pugi::status_out_of_memory)
            why = "cannot read schema file '" + path + "': " + result.description();
        else
            why = "schema file '" + path + "' is not well-formed XML: " + result.description() + " at byte " +
                  std::to_string(result.offset);
        doc_.reset();
        LmdLog::critical("CodeSchema: " + why + "; game documents will not be validated.");
        if (error)
            *error = why;
        return false;
    }
    return finishLoad("file '" + path + "'", error);
}

bool CodeSchema::loadFromString(const std::string& xml, std::string* error) {
    reset();
    pugi::xml_parse_result result = doc_.load_buffer(xml.data(), xml.size());
    if (!result) {
        std::string why = std::string("schema text is not well-formed XML: ") + result.description() + " at byte " +
                          std::to_string(result.offset);
        doc_.reset();
        LmdLog::critical("CodeSchema: " + why + "; game documents will not be validated.");
        if (error)
            *error = why;
        return false;
    }
    return finishLoad("schema text", error);
}

bool CodeSchema::finishLoad(const std::string& source, std::string* error) {
    pugi::xml_node root = doc_.document_element();
    if (!root || std::strcmp(root.name(), kSchemaRoot) != 0) {
        std::string why = source + " is not a command schema: its root element must be <" + kSchemaRoot + ">" +
                          (root ? std::string(", not <") + root.name() + ">" : std::string(", and it has none"));
        doc_.reset();
        LmdLog::critical("CodeSchema: " + why + "; game documents will not be validated.");
        if (error)
            *error = why;
        return false;
    }

    // Every change to the schema document happens here, before any index takes views into it.
    expandAttributeSets();
    for (pugi::xml_node category : root.children("category")) {
        const char* categoryName = category.attribute("name").value();
        for (pugi::xml_node command : category.children("command")) {
            pugi::xml_attribute own = command.attribute("category");
            if (!own)
                command.append_attribute("category") = categoryName;
            else if (std::strcmp(own.value(), categoryName) != 0)
                warn(std::string("command '") + command.attribute("name").value() + "' says category '" +
                     own.value() + "' but stands in category '" + categoryName + "'");
            for (const char* inherited : {"contextMenuColor", "fillColor2", "parents"}) {
                pugi::xml_attribute value = category.attribute(inherited);
                if (value && !command.attribute(inherited))
                    command.append_attribute(inherited) = value.value();
            }
        }
    }
    for (pugi::xpath_node command : root.select_nodes("category/command | command")) {
        for (pugi::xml_node attribute : command.node().children("attribute")) {
            pugi::xml_attribute group = attribute.attribute("group");
            if (!group)
                attribute.append_attribute("group") = kDefaultGroup;
            else if (!*group.value())
                group.set_value(kDefaultGroup);
        }
    }

    indexCommands();
    readGroupsAndPickers();
    resolvePlacements();
    checkReferences();
    loaded_ = true;
    LmdLog::message("CodeSchema: loaded " + std::to_string(commandOrder_.size()) + " commands in " +
                    std::to_string(categories_.size()) + " categories from " + source +
                    (warnings_.empty() ? "" : " with " + std::to_string(warnings_.size()) + " warnings"));
    return true;
}

void CodeSchema::expandAttributeSets() {
    pugi::xml_node root = doc_.document_element();
    std::unordered_map<std::string, pugi::xml_node> sets;
    for (pugi::xml_node set : root.children("attributeSet")) {
        std::string name = set.attribute("name").value();
        if (name.empty())
            warn("an <attributeSet> has no name and is ignored");
        else if (!sets.emplace(name, set).second)
            warn("attribute set '" + name + "' is defined twice; the first one counts");
        if (set.child("use"))
            warn("attribute set '" + name + "' contains <use>; sets cannot include other sets");
    }

    for (pugi::xpath_node found : root.select_nodes("category/command | command")) {
        pugi::xml_node command = found.node();
        std::unordered_set<std::string> explicitNames;
        for (pugi::xml_node attribute : command.children("attribute"))
            explicitNames.insert(attribute.attribute("name").value());
        for (pugi::xml_node use = command.child("use"); use;) {
            pugi::xml_node next = use.next_sibling("use");
            std::string setName = use.attribute("set").value();
            auto it = sets.find(setName);
            if (it == sets.end()) {
                warn(std::string("command '") + command.attribute("name").value() + "' uses unknown attribute set '" +
                     setName + "'");
            } else {
                // An attribute the command writes itself replaces the set's attribute of that name.
                for (pugi::xml_node attribute : it->second.children("attribute")) {
                    std::string name = attribute.attribute("name").value();
                    if (explicitNames.insert(name).second)
                        command.insert_copy_before(attribute, use);
                }
            }
            command.remove_child(use);
            use = next;
        }
    }
}

void CodeSchema::indexCommands() {
    pugi::xml_node root = doc_.document_element();
    for (pugi::xml_node category : root.children("category")) {
        std::string_view name = category.attribute("name").value();
        if (name.empty()) {
            warn("a <category> has no name; its commands are kept without a category");
            continue;
        }
        if (!categoryByName_.emplace(name, category).second) {
            warn("category '" + std::string(name) + "' is listed twice");
            continue;
        }
        categories_.push_back(category);
    }

    for (pugi::xpath_node found : root.select_nodes("category/command | command")) {
        pugi::xml_node node = found.node();
        std::string_view name = node.attribute("name").value();
        if (name.empty()) {
            warn("a <command> has no name and is ignored");
            continue;
        }
        CommandDef def;
        def.node = node;
        def.name = name;
        def.category = node.attribute("category").value();
        for (pugi::xml_node attribute : node.children()) {
            if (attribute.type() != pugi::node_element)
                continue;
            if (std::strcmp(attribute.name(), "attribute") != 0) {
                warn("command '" + std::string(name) + "' holds <" + attribute.name() +
                     ">; only <attribute> and <use> belong in a command");
                continue;
            }
            AttributeDef attr;
            attr.node = attribute;
            attr.name = attribute.attribute("name").value();
            if (attr.name.empty()) {
                warn("command '" + std::string(name) + "' has an attribute without a name");
                continue;
            }
            attr.kind = valueKindOf(attribute);
            std::string_view values = attribute.attribute("values").value();
            if (values != "dynamic")
                attr.values = splitList(values);
            attr.defaultValue = attribute.attribute("default").value();
            attr.required = attribute.attribute("required").as_bool();
            if (def.attributeIndex.count(attr.name)) {
                warn("command '" + std::string(name) + "' defines attribute '" + std::string(attr.name) + "' twice");
                continue;
            }
            def.attributeIndex.emplace(attr.name, def.attributes.size());
            if (attr.required)
                def.requiredAttributes.push_back(def.attributes.size());
            def.attributes.push_back(std::move(attr));
        }
        if (!commands_.emplace(name, std::move(def)).second) {
            warn("command '" + std::string(name) + "' is defined twice; the first one counts");
            continue;
        }
        commandOrder_.push_back(name);
        std::string_view category = node.attribute("category").value();
        if (!category.empty())
            commandsByCategory_[category].push_back(name);
    }
}

void CodeSchema::readGroupsAndPickers() {
    pugi::xml_node root = doc_.document_element();
    for (pugi::xml_node group : root.child("groups").children("group")) {
        std::string name = group.attribute("name").value();
        if (name.empty())
            continue;
        GroupInfo info;
        info.priority = group.attribute("priority").as_int(-1);
        info.open = group.attribute("open").as_bool(true);
        if (info.priority < 0)
            warn("attribute group '" + name + "' has no priority of 0 or more");
        groups_[name] = info;
    }
    for (pugi::xml_node picker : root.children("varPicker")) {
        for (std::string_view name : splitList(picker.attribute("commands").value())) {
            auto it = commands_.find(name);
            if (it == commands_.end())
                warn("the variable picker lists unknown command '" + std::string(name) + "'");
            else
                varPickerCommands_.push_back(it->second.node);
        }
    }
    for (pugi::xml_node list : root.children("parentList")) {
        std::string_view name = list.attribute("name").value();
        if (name.empty())
            continue;
        if (name == "root" || name == "any" || commands_.count(name) || categoryByName_.count(name))
            warn("parent list '" + std::string(name) + "' has the name of a keyword, command or category");
        parentLists_[name] = list.attribute("parents").value();
        std::string_view description = list.attribute("description").value();
        if (!description.empty())
            parentListDescriptions_[name] = description;
    }
}

void CodeSchema::addParentItems(CommandDef& command, std::string_view list, int depth,
                                std::vector<std::string>& described) {
    for (std::string_view item : splitList(list)) {
        if (item == "any") {
            command.placement.anywhere = true;
            continue;
        }
        if (item == "root") {
            command.placement.underRoot = true;
            described.push_back(std::string("directly under ") + kDocumentRoot);
            continue;
        }
        auto listIt = parentLists_.find(item);
        if (listIt != parentLists_.end()) {
            if (depth >= kMaxParentListDepth) {
                warn("parent list '" + std::string(item) + "' refers to itself");
                continue;
            }
            auto descIt = parentListDescriptions_.find(item);
            if (descIt != parentListDescriptions_.end()) {
                std::vector<std::string> ignored;
                addParentItems(command, listIt->second, depth + 1, ignored);
                described.push_back(std::string(descIt->second));
            } else {
                addParentItems(command, listIt->second, depth + 1, described);
            }
            continue;
        }
        bool known = false;
        auto commandIt = commands_.find(item);
        if (commandIt != commands_.end()) {
            command.placement.parentCommands.insert(commandIt->first);
            described.push_back("in " + std::string(item));
            known = true;
        }
        auto categoryIt = commandsByCategory_.find(item);
        if (categoryIt != commandsByCategory_.end()) {
            for (std::string_view member : categoryIt->second)
                command.placement.parentCommands.insert(member);
            if (!known)
                described.push_back("in any " + std::string(item) + " block");
            known = true;
        }
        if (!known && categoryByName_.count(item))
            known = true; // a category without commands: nothing can be its parent, but it is no typo
        if (!known)
            warn("command '" + std::string(command.name) + "' names unknown parent '" + std::string(item) + "'");
    }
}

void CodeSchema::resolvePlacements() {
    for (std::string_view name : commandOrder_) {
        CommandDef& command = commands_.at(name);
        std::string_view parents = command.node.attribute("parents").value();
        if (splitList(parents).empty())
            continue; // no rule: it may stand anywhere
        command.placement.anywhere = false;
        std::vector<std::string> described;
        addParentItems(command, parents, 0, described);
        command.placement.description = joinPlaces(described);
    }
}

void CodeSchema::checkReferences() {
    for (std::string_view name : commandOrder_) {
        const CommandDef& command = commands_.at(name);
        for (const AttributeDef& attribute : command.attributes) {
            std::string group = attribute.node.attribute("group").value();
            if (!groups_.empty() && !groups_.count(group))
                warn("attribute '" + std::string(attribute.name) + "' of '" + std::string(name) + "' is in group '" +
                     group + "', which <groups> does not list");
            std::string_view showWhen = attribute.node.attribute("showWhen").value();
            size_t eq = showWhen.find('=');
            if (eq != std::string_view::npos && !command.attributeIndex.count(showWhen.substr(0, eq)))
                warn("attribute '" + std::string(attribute.name) + "' of '" + std::string(name) +
                     "' has showWhen on '" + std::string(showWhen.substr(0, eq)) + "', which the command does not define");
        }
        if (!command.category.empty() && !categoryByName_.count(command.category))
            warn("command '" + std::string(name) + "' has category '" + std::string(command.category) +
                 "', which is not a <category>");
    }
}

std::vector<pugi::xml_node> CodeSchema::getCategories() const {
    return categories_;
}

std::vector<pugi::xml_node> CodeSchema::getCommands(const std::string& filter) const {
    std::vector<pugi::xml_node> out;
    std::string needle = LmdValueParser::toLower(filter);
    for (std::string_view name : commandOrder_) {
        const CommandDef& def = commands_.at(name);
        if (needle.empty() || containsIgnoreCase(name, needle) ||
            containsIgnoreCase(def.node.attribute("en_caption").value(), needle))
            out.push_back(def.node);
    }
    return out;
}

pugi::xml_node CodeSchema::getCommand(const std::string& name) const {
    const CommandDef* def = findCommandDef(name);
    return def ? def->node : pugi::xml_node();
}

std::vector<pugi::xml_node> CodeSchema::getCommandsByCategory(const std::string& category) const {
    std::vector<pugi::xml_node> out;
    auto it = commandsByCategory_.find(category);
    if (it != commandsByCategory_.end())
        for (std::string_view name : it->second)
            out.push_back(commands_.at(name).node);
    return out;
}

std::string CodeSchema::getCommandCategory(const std::string& command) const {
    const CommandDef* def = findCommandDef(command);
    return def ? std::string(def->category) : std::string();
}

std::vector<pugi::xml_node> CodeSchema::getAttributes(const std::string& command, const std::string& filter) const {
    std::vector<pugi::xml_node> out;
    const CommandDef* def = findCommandDef(command);
    if (!def)
        return out;
    std::string needle = LmdValueParser::toLower(filter);
    for (const AttributeDef& attribute : def->attributes)
        if (needle.empty() || containsIgnoreCase(attribute.name, needle) ||
            containsIgnoreCase(attribute.node.attribute("en_caption").value(), needle))
            out.push_back(attribute.node);
    return out;
}

pugi::xml_node CodeSchema::getAttribute(const std::string& command, const std::string& attribute) const {
    const CommandDef* def = findCommandDef(command);
    if (!def)
        return pugi::xml_node();
    const AttributeDef* attr = findAttributeDef(*def, attribute);
    return attr ? attr->node : pugi::xml_node();
}

std::unordered_map<std::string, std::string> CodeSchema::getCommandAttributeInfo(const std::string& command,
                                                                                 bool* hasName) const {
    std::unordered_map<std::string, std::string> out;
    const CommandDef* def = findCommandDef(command);
    if (hasName)
        *hasName = def && def->attributeIndex.count("name") > 0;
    if (!def)
        return out;
    for (const AttributeDef& attribute : def->attributes)
        if (!attribute.defaultValue.empty())
            out.emplace(attribute.name, attribute.defaultValue);
    return out;
}

std::vector<pugi::xml_node> CodeSchema::getVarPickerCommands() const {
    return varPickerCommands_;
}

int CodeSchema::getAttributeGroupPriority(const std::string& group) const {
    auto it = groups_.find(group);
    return it == groups_.end() ? -1 : it->second.priority;
}

bool CodeSchema::isAttributeGroupDefaultOpen(const std::string& group) const {
    auto it = groups_.find(group);
    return it == groups_.end() ? true : it->second.open;
}

const CodeSchema::CommandDef* CodeSchema::findCommandDef(std::string_view name) const {
    auto it = commands_.find(name);
    return it == commands_.end() ? nullptr : &it->second;
}

const CodeSchema::AttributeDef* CodeSchema::findAttributeDef(const CommandDef& command, std::string_view name) {
    auto it = command.attributeIndex.find(name);
    return it == command.attributeIndex.end() ? nullptr : &command.attributes[it->second];
}

bool CodeSchema::canStandUnder(const CommandDef& command, std::string_view parentCommand, bool parentIsRoot) const {
    const Placement& placement = command.placement;
    if (placement.anywhere)
        return true;
    if (parentIsRoot)
        return placement.underRoot;
    return placement.parentCommands.count(parentCommand) > 0;
}

} // namespace Lumenda3D
