#include "services/XmlMerge.h"

#include "base/XmlUtils.h"

#include <cctype>
#include <cstring>
#include <unordered_map>
#include <vector>

namespace Lumenda3D {
namespace {
using json = nlohmann::json;

const char* const kIdHint = " (ids change after every apply: re-read get_game_xml)";

// Nodes of the document by the text of their `id` attribute, kept in step with the edits.
class NodeIndex {
public:
    explicit NodeIndex(const pugi::xml_node& root) { add(root); }

    pugi::xml_node find(const std::string& id) const {
        auto it = byId_.find(id);
        return it == byId_.end() ? pugi::xml_node() : it->second;
    }

    void remove(const pugi::xml_node& node) {
        if (node.type() != pugi::node_element)
            return;
        if (pugi::xml_attribute id = node.attribute("id")) {
            auto it = byId_.find(id.value());
            if (it != byId_.end() && it->second == node)
                byId_.erase(it);
        }
        for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling())
            remove(child);
    }

private:
    void add(const pugi::xml_node& node) {
        if (node.type() != pugi::node_element)
            return;
        if (pugi::xml_attribute id = node.attribute("id"))
            byId_.emplace(id.value(), node); // the first of duplicates wins
        for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling())
            add(child);
    }

    std::unordered_map<std::string, pugi::xml_node> byId_;
};

bool isXmlName(const std::string& name) {
    if (name.empty())
        return false;
    auto startChar = [](unsigned char c) { return std::isalpha(c) || c == '_' || c == ':' || c >= 0x80; };
    if (!startChar(static_cast<unsigned char>(name[0])))
        return false;
    for (unsigned char c : name) {
        if (!(startChar(c) || std::isdigit(c) || c == '-' || c == '.'))
            return false;
    }
    return true;
}

// An attribute value from JSON: strings as they stand, numbers and booleans in their JSON spelling.

void stripIds(pugi::xml_node node) {
    if (node.type() != pugi::node_element)
        return;
    node.remove_attribute("id");
    for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling())
        stripIds(child);
}

void setMark(pugi::xml_node node, const char* value) {
    pugi::xml_attribute mark = node.attribute(XmlMerge::kChangeMark);
    if (!mark)
        mark = node.append_attribute(XmlMerge::kChangeMark);
    mark.set_value(value);
}

bool isDocumentRoot(const pugi::xml_node& node) { return node.parent().type() == pugi::node_document; }

// Parses the `xml` member into a scratch document holding exactly one element.
bool parseElement(const json& op, pugi::xml_document& scratch, pugi::xml_node& element, std::string& why) {
    auto it = op.find("xml");
    if (it == op.end() || !it->is_string() || it->get_ref<const std::string&>().empty()) {
        why = "needs 'xml', one element as a string";
        return false;
    }
    const std::string& text = it->get_ref<const std::string&>();
    pugi::xml_parse_result parsed = scratch.load_buffer(text.data(), text.size(), pugi::parse_default);
    if (!parsed) {
        why = std::string("'xml' is not well-formed (") + parsed.description() + " at offset " +
              std::to_string(parsed.offset) + ")";
        return false;
    }
    int elements = 0;
    for (pugi::xml_node child = scratch.first_child(); child; child = child.next_sibling()) {
        if (child.type() == pugi::node_element) {
            ++elements;
            element = child;
        } else if (child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata) {
            why = "'xml' holds text outside its element";
            return false;
        }
    }
    if (elements != 1) {
        why = elements == 0 ? "'xml' holds no element" : "'xml' must hold exactly one element (wrap several in separate inserts)";
        return false;
    }
    std::string repeated;
    if (XmlUtils::findRepeatedAttribute(element, repeated)) {
        why = "'xml' is not well-formed: " + repeated;
        return false;
    }
    stripIds(element);
    return true;
}

class OpRunner {
public:
    OpRunner(pugi::xml_node root, bool mark) : index_(root), mark_(mark) {}

    // Applies one operation; false with `why` when it can't.
    bool apply(const json& op, std::string& why) {
        if (!op.is_object()) {
            why = "is not a JSON object";
            return false;
        }
        auto opIt = op.find("op");
        if (opIt == op.end() || !opIt->is_string()) {
            why = "needs a string 'op'";
            return false;
        }
        const std::string& kind = opIt->get_ref<const std::string&>();
        if (kind == "update")
            return update(op, why);
        if (kind == "replace")
            return replace(op, why);
        if (kind == "insert")
            return insert(op, why);
        if (kind == "delete")
            return remove(op, why);
        if (kind == "createDocument") {
            why = "createDocument replaces the whole game and can't be applied as an edit";
            return false;
        }
        why = "unknown op '" + kind + "' (use createDocument | update | replace | insert | delete)";
        return false;
    }

private:
    bool findNode(const json& op, const char* member, pugi::xml_node& node, std::string& why) {
        const std::string id = XmlMerge::idText(op, member);
        if (id.empty()) {
            why = std::string("needs '") + member + "', a node id from get_game_xml";
            return false;
        }
        node = index_.find(id);
        if (!node) {
            why = std::string("no node with id ") + id + kIdHint;
            return false;
        }
        return true;
    }

    bool update(const json& op, std::string& why) {
        pugi::xml_node node;
        if (!findNode(op, "id", node, why))
            return false;
        auto attrs = op.find("attrs");
        auto removeAttrs = op.find("removeAttrs");
        const bool hasAttrs = attrs != op.end() && !attrs->is_null();
        const bool hasRemovals = removeAttrs != op.end() && !removeAttrs->is_null();
        if (!hasAttrs && !hasRemovals) {
            why = "needs 'attrs' or 'removeAttrs'";
            return false;
        }
        if (hasAttrs && !attrs->is_object()) {
            why = "'attrs' must be an object of attribute name to value";
            return false;
        }
        if (hasRemovals && !removeAttrs->is_array()) {
            why = "'removeAttrs' must be an array of attribute names";
            return false;
        }
        // Check everything first, so that a bad member leaves the node as it was.
        std::vector<std::pair<std::string, std::string>> sets;
        std::vector<std::string> removals;
        bool touchesMark = false;
        if (hasAttrs) {
            for (auto it = attrs->begin(); it != attrs->end(); ++it) {
                std::string value;
                if (!isXmlName(it.key())) {
                    why = "'" + it.key() + "' is not a valid attribute name";
                    return false;
                }
                if (!XmlMerge::valueText(it.value(), value)) {
                    why = "the value of '" + it.key() + "' must be a string, number or boolean";
                    return false;
                }
                if (it.key() == "id")
                    continue; // ids belong to the editor
                touchesMark = touchesMark || it.key() == XmlMerge::kChangeMark;
                sets.emplace_back(it.key(), std::move(value));
            }
        }
        if (hasRemovals) {
            for (const json& name : *removeAttrs) {
                if (!name.is_string()) {
                    why = "'removeAttrs' must hold attribute names as strings";
                    return false;
                }
                if (name.get_ref<const std::string&>() == "id")
                    continue;
                touchesMark = touchesMark || name.get_ref<const std::string&>() == XmlMerge::kChangeMark;
                removals.push_back(name.get<std::string>());
            }
        }
        for (const auto& [name, value] : sets) {
            pugi::xml_attribute attribute = node.attribute(name.c_str());
            if (!attribute)
                attribute = node.append_attribute(name.c_str());
            attribute.set_value(value.c_str());
        }
        for (const std::string& name : removals)
            node.remove_attribute(name.c_str());
        if (mark_ && !touchesMark && std::strcmp(node.attribute(XmlMerge::kChangeMark).value(), "added") != 0)
            setMark(node, "updated");
        return true;
    }

    bool replace(const json& op, std::string& why) {
        pugi::xml_node node;
        if (!findNode(op, "id", node, why))
            return false;
        pugi::xml_document scratch;
        pugi::xml_node element;
        if (!parseElement(op, scratch, element, why))
            return false;
        pugi::xml_node parent = node.parent();
        pugi::xml_node copy = parent.insert_copy_before(element, node);
        if (!copy) {
            why = "the node can't be replaced here";
            return false;
        }
        index_.remove(node);
        parent.remove_child(node);
        if (mark_)
            setMark(copy, "updated");
        return true;
    }

    bool insert(const json& op, std::string& why) {
        pugi::xml_node parent;
        if (!findNode(op, "parentId", parent, why))
            return false;
        pugi::xml_node after;
        const std::string afterId = XmlMerge::idText(op, "after");
        if (!afterId.empty()) {
            after = index_.find(afterId);
            if (!after) {
                why = "no node with id " + afterId + " for 'after'" + kIdHint;
                return false;
            }
            if (after.parent() != parent) {
                why = "'after' " + afterId + " is not a child of parent " + XmlMerge::idText(op, "parentId") +
                      " (omit 'after' to append as the last child)";
                return false;
            }
        }
        pugi::xml_document scratch;
        pugi::xml_node element;
        if (!parseElement(op, scratch, element, why))
            return false;
        pugi::xml_node copy = after ? parent.insert_copy_after(element, after) : parent.append_copy(element);
        if (!copy) {
            why = "the element can't be inserted there";
            return false;
        }
        if (mark_)
            setMark(copy, "added");
        return true;
    }

    bool remove(const json& op, std::string& why) {
        pugi::xml_node node;
        if (!findNode(op, "id", node, why))
            return false;
        if (isDocumentRoot(node)) {
            why = "the root element can't be deleted (use createDocument to start over)";
            return false;
        }
        index_.remove(node);
        node.parent().remove_child(node);
        return true;
    }

    NodeIndex index_;
    bool mark_;
};

} // namespace

std::string XmlMerge::idText(const json& op, const char* member) {
    auto it = op.find(member);
    if (it == op.end())
        return "";
    if (it->is_string())
        return it->get<std::string>();
    if (it->is_number_integer())
        return std::to_string(it->get<long long>());
    return "";
}

bool XmlMerge::valueText(const json& value, std::string& out) {
    if (value.is_string())
        out = value.get<std::string>();
    else if (value.is_boolean())
        out = value.get<bool>() ? "true" : "false";
    else if (value.is_number())
        out = value.dump();
    else
        return false;
    return true;
}

int XmlMerge::applyAiOps(pugi::xml_node root, const json& ops, std::string& error, bool markChanges) {
    error.clear();
    if (!root) {
        error = "the document has no root element";
        return 0;
    }
    if (!ops.is_array()) {
        error = "the operations must be a JSON array";
        return 0;
    }
    OpRunner runner(root, markChanges);
    int applied = 0;
    for (std::size_t i = 0; i < ops.size(); ++i) {
        const json& op = ops[i];
        std::string why;
        if (runner.apply(op, why)) {
            ++applied;
            continue;
        }
        std::string label = "op " + std::to_string(i + 1);
        if (op.is_object()) {
            auto kind = op.find("op");
            if (kind != op.end() && kind->is_string())
                label += " (" + kind->get<std::string>() + ")";
        }
        if (!error.empty())
            error += "; ";
        error += label + ": " + why;
    }
    return applied;
}

} // namespace Lumenda3D
