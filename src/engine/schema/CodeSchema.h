#pragma once
// The command schema: the game language that media/codeSchema.xml defines. It tells which
// elements (commands) a game document may hold, which attributes each has, how the editor shows
// them (categories, colours, attribute groups) and where each element may stand.
//
// Consumers read the schema as pugi::xml_node handles into the schema's own document, which
// lives as long as this object (or until the next load). Lookups by name go through hash maps,
// so that validating a large game costs O(1) per element and attribute.
//
// Loading also resolves the file's conveniences, so that every consumer sees plain data:
// `<use set="..."/>` inside a command is replaced by the attribute definitions of that
// attribute set; a command without `category`, `contextMenuColor` or `parents` takes them from
// its enclosing category element; an attribute without `group` gets "Other".
// docs/game-language.md describes the file format.
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include <pugixml.hpp>

namespace Lumenda3D {

class CodeSchema {
public:
    // The name of a game document's root element.
    static constexpr const char* kDocumentRoot = "KiteBench3D";
    // The group of an attribute definition that names none.
    static constexpr const char* kDefaultGroup = "Other";

    // How a value of an attribute is checked; derived from `paramType`, or `type` when that is empty.
    enum class ValueKind { Text, Number, Integer, Boolean, Color };

    // A compiled attribute definition, for fast validation. Views point into the schema document.
    struct AttributeDef {
        pugi::xml_node node;
        std::string_view name;
        ValueKind kind = ValueKind::Text;
        std::vector<std::string_view> values; // allowed values; empty when any value goes
        std::string_view defaultValue;
        bool required = false;
    };

    // Where a command may stand, resolved from its `parents` list.
    struct Placement {
        bool anywhere = true;   // no `parents` at all, or the keyword "any"
        bool underRoot = false; // keyword "root": directly under the document's root element
        std::unordered_set<std::string_view> parentCommands;
        std::string description; // readable list of the allowed places, for messages
    };

    struct CommandDef {
        pugi::xml_node node;
        std::string_view name;
        std::string_view category;
        std::vector<AttributeDef> attributes; // schema order
        std::unordered_map<std::string_view, size_t> attributeIndex;
        std::vector<size_t> requiredAttributes; // indexes into `attributes`
        Placement placement;
    };

    CodeSchema() = default;
    // Holds views into its own document: neither copied nor moved.
    CodeSchema(const CodeSchema&) = delete;
    CodeSchema& operator=(const CodeSchema&) = delete;

    // Loads the schema from a file or a string. On failure the schema is empty (isLoaded false),
    // `error` gets the reason, and one line goes to the log; the program goes on without
    // validation. Problems inside a well-formed schema (an unknown set, a parent that names
    // nothing) do not fail the load: they are logged and kept in getLoadWarnings().
    bool load(const std::string& path, std::string* error = nullptr);
    bool loadFromString(const std::string& xml, std::string* error = nullptr);
    bool isLoaded() const { return loaded_; }
    const std::vector<std::string>& getLoadWarnings() const { return warnings_; }

    // Category elements in display order.
    std::vector<pugi::xml_node> getCategories() const;
    // Command elements in schema order; a non-empty filter keeps those whose name or en_caption
    // contains it, ignoring case.
    std::vector<pugi::xml_node> getCommands(const std::string& filter = "") const;
    // The command element, or an empty node when the name is unknown.
    pugi::xml_node getCommand(const std::string& name) const;
    std::vector<pugi::xml_node> getCommandsByCategory(const std::string& category) const;
    // The command's category name; empty for an unknown or uncategorised command.
    std::string getCommandCategory(const std::string& command) const;
    // Attribute definitions of a command in schema order; a non-empty filter keeps those whose
    // name or en_caption contains it, ignoring case. Empty for an unknown command.
    std::vector<pugi::xml_node> getAttributes(const std::string& command, const std::string& filter = "") const;
    // The attribute definition, or an empty node when the command lacks it.
    pugi::xml_node getAttribute(const std::string& command, const std::string& attribute) const;
    // The attributes a new node of this command is created with: every non-empty default.
    // `hasName`, when given, tells whether the command defines a "name" attribute.
    std::unordered_map<std::string, std::string> getCommandAttributeInfo(const std::string& command,
                                                                         bool* hasName = nullptr) const;
    // Commands whose named elements the variable picker offers, in the schema's order.
    std::vector<pugi::xml_node> getVarPickerCommands() const;
    // Sort key of an attribute group; negative for a group the schema does not list.
    int getAttributeGroupPriority(const std::string& group) const;
    // Whether the group's panel section starts open; groups the schema does not list start open.
    bool isAttributeGroupDefaultOpen(const std::string& group) const;

    // Compiled lookups for the validator and other hot paths; null when unknown.
    const CommandDef* findCommandDef(std::string_view name) const;
    static const AttributeDef* findAttributeDef(const CommandDef& command, std::string_view name);
    // Whether `command` may stand under an element named `parentCommand`; `parentIsRoot` is true
    // when the parent is the document's root element (its name is then not looked at).
    bool canStandUnder(const CommandDef& command, std::string_view parentCommand, bool parentIsRoot) const;
    // All command names, in schema order.
    const std::vector<std::string_view>& getCommandNames() const { return commandOrder_; }

    static ValueKind valueKindOf(const pugi::xml_node& attributeDefinition);
    // Splits a `values` or `parents` text at "|", trimming blanks and dropping empty items.
    static std::vector<std::string_view> splitList(std::string_view text);

private:
    struct GroupInfo {
        int priority = -1;
        bool open = true;
    };

    bool finishLoad(const std::string& source, std::string* error);
    void reset();
    void warn(const std::string& text);
    void expandAttributeSets();
    void indexCommands();
    void resolvePlacements();
    void readGroupsAndPickers();
    void checkReferences();
    void addParentItems(CommandDef& command, std::string_view list, int depth, std::vector<std::string>& described);

    pugi::xml_document doc_;
    bool loaded_ = false;
    std::vector<std::string> warnings_;
    std::vector<pugi::xml_node> categories_;
    std::unordered_map<std::string_view, pugi::xml_node> categoryByName_;
    std::vector<std::string_view> commandOrder_;
    std::unordered_map<std::string_view, CommandDef> commands_;
    std::unordered_map<std::string_view, std::vector<std::string_view>> commandsByCategory_;
    std::unordered_map<std::string_view, std::string_view> parentLists_; // name -> parents text
    std::unordered_map<std::string_view, std::string_view> parentListDescriptions_;
    std::unordered_map<std::string, GroupInfo> groups_;
    std::vector<pugi::xml_node> varPickerCommands_;
};

} // namespace Lumenda3D
