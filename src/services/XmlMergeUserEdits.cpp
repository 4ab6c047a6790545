// XmlMerge's second half: the user's concurrent edits (found by comparing two snapshots), the
// conflicts between them and the assistant's changes, and the merge of both sides.
#include <cstring>
#include <map>
#include <set>
#include <sstream>
#include <unordered_map>

#include "services/XmlMerge.h"

namespace Lumenda3D {
namespace {
using json = nlohmann::json;
using UserOp = XmlMerge::UserOp;

bool isElement(const pugi::xml_node& node) { return node.type() == pugi::node_element; }

std::string idOf(const pugi::xml_node& node) { return node.attribute("id").value(); }

void indexById(const pugi::xml_node& node, std::unordered_map<std::string, pugi::xml_node>& index) {
    if (!isElement(node))
        return;
    const std::string id = idOf(node);
    if (!id.empty())
        index.emplace(id, node);
    for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling())
        indexById(child, index);
}

bool ignoredAttribute(const char* name) {
    return std::strcmp(name, "id") == 0 || std::strcmp(name, XmlMerge::kChangeMark) == 0;
}

std::string previousElementId(const pugi::xml_node& node) {
    for (pugi::xml_node prev = node.previous_sibling(); prev; prev = prev.previous_sibling())
        if (isElement(prev))
            return idOf(prev);
    return "";
}

std::string nodeText(const pugi::xml_node& node) {
    std::ostringstream out;
    node.print(out, "", pugi::format_raw);
    return out.str();
}

std::string rawText(const pugi::xml_document& doc) {
    std::ostringstream out;
    doc.save(out, "", pugi::format_raw | pugi::format_no_declaration);
    return out.str();
}

class UserDiff {
public:
    UserDiff(const pugi::xml_node& base, const pugi::xml_node& current) {
        indexById(base, base_);
        indexById(current, current_);
    }

    // The top elements are the same game whatever their ids: a document that was loaded again
    // meanwhile (its ids all new) shows as its contents deleted and added, never as a second game.
    std::vector<UserOp> run(const pugi::xml_node& baseRoot, const pugi::xml_node& currentRoot) {
        for (pugi::xml_node child = baseRoot.first_child(); child; child = child.next_sibling())
            deletions(child, false);
        if (idOf(baseRoot) == idOf(currentRoot))
            compareAttributes(idOf(baseRoot), baseRoot, currentRoot);
        for (pugi::xml_node child = currentRoot.first_child(); child; child = child.next_sibling())
            changes(child, idOf(baseRoot));
        return std::move(ops_);
    }

private:
    void deletions(const pugi::xml_node& node, bool parentGone) {
        if (!isElement(node))
            return;
        const std::string id = idOf(node);
        const bool gone = !id.empty() && current_.count(id) == 0;
        if (gone && !parentGone) {
            UserOp op;
            op.kind = UserOp::Delete;
            op.id = id;
            ops_.push_back(op);
        }
        for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling())
            deletions(child, gone || parentGone);
    }

    // Walks the current document: new elements become inserts, known ones are compared.
    // `rootId` stands for the current top element, whose id may differ from the base's.
    void changes(const pugi::xml_node& node, const std::string& rootId) {
        if (!isElement(node))
            return;
        const bool underRoot = !isElement(node.parent().parent());
        const std::string parentId = underRoot ? rootId : idOf(node.parent());
        const std::string id = idOf(node);
        auto known = id.empty() ? base_.end() : base_.find(id);
        if (known == base_.end()) {
            UserOp op;
            op.kind = UserOp::Insert;
            op.id = id;
            op.parentId = parentId;
            op.afterId = previousElementId(node);
            op.xml = nodeText(node);
            ops_.push_back(op);
            return;   // its subtree travels with it
        }
        const pugi::xml_node before = known->second;
        compareAttributes(id, before, node);
        const bool baseUnderRoot = !isElement(before.parent().parent());
        const std::string baseParentId = baseUnderRoot ? rootId : idOf(before.parent());
        if (parentId != baseParentId || orderChanged(before, node)) {
            UserOp op;
            op.kind = UserOp::Move;
            op.id = id;
            op.parentId = parentId;
            op.afterId = previousElementId(node);
            ops_.push_back(op);
        }
        for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling())
            changes(child, rootId);
    }

    // Whether the nearest earlier sibling that both documents hold differs: an element added or
    // removed beside it does not move it.
    bool orderChanged(const pugi::xml_node& before, const pugi::xml_node& now) const {
        return previousShared(before, current_) != previousShared(now, base_);
    }

    static std::string previousShared(const pugi::xml_node& node, const std::unordered_map<std::string, pugi::xml_node>& other) {
        for (pugi::xml_node prev = node.previous_sibling(); prev; prev = prev.previous_sibling()) {
            if (!isElement(prev))
                continue;
            const std::string id = idOf(prev);
            if (!id.empty() && other.count(id))
                return id;
        }
        return "";
    }

    void compareAttributes(const std::string& id, const pugi::xml_node& before, const pugi::xml_node& now) {
        for (pugi::xml_attribute a = now.first_attribute(); a; a = a.next_attribute()) {
            if (ignoredAttribute(a.name()))
                continue;
            pugi::xml_attribute old = before.attribute(a.name());
            if (old && std::strcmp(old.value(), a.value()) == 0)
                continue;
            UserOp op;
            op.kind = UserOp::SetAttr;
            op.id = id;
            op.name = a.name();
            op.value = a.value();
            ops_.push_back(op);
        }
        for (pugi::xml_attribute a = before.first_attribute(); a; a = a.next_attribute()) {
            if (ignoredAttribute(a.name()) || now.attribute(a.name()))
                continue;
            UserOp op;
            op.kind = UserOp::RemoveAttr;
            op.id = id;
            op.name = a.name();
            ops_.push_back(op);
        }
    }

    std::unordered_map<std::string, pugi::xml_node> base_;
    std::unordered_map<std::string, pugi::xml_node> current_;
    std::vector<UserOp> ops_;
};

// What one of the assistant's changes touches, in terms of the base's ids.
struct AiTouch {
    std::string kind;                  // "update", "replace", "delete", "insert"
    std::string id;                    // the node (update, replace, delete) or the parent (insert)
    std::set<std::string> attributes;  // update: the attributes it sets or removes
    std::map<std::string, std::string> values;
};

AiTouch touchOf(const json& change) {
    AiTouch touch;
    if (!change.is_object() || !change.contains("op") || !change["op"].is_string())
        return touch;
    touch.kind = change["op"].get<std::string>();
    touch.id = XmlMerge::idText(change, touch.kind == "insert" ? "parentId" : "id");
    if (touch.kind == "update") {
        if (change.contains("attrs") && change["attrs"].is_object())
            for (auto it = change["attrs"].begin(); it != change["attrs"].end(); ++it) {
                touch.attributes.insert(it.key());
                std::string text;
                if (XmlMerge::valueText(it.value(), text))
                    touch.values[it.key()] = text;
            }
        if (change.contains("removeAttrs") && change["removeAttrs"].is_array())
            for (const json& name : change["removeAttrs"])
                if (name.is_string())
                    touch.attributes.insert(name.get<std::string>());
    }
    return touch;
}

class ConflictFinder {
public:
    ConflictFinder(const pugi::xml_node& baseRoot) { indexById(baseRoot, base_); }

    // Whether `ancestor` is `node` or holds it, in the base.
    bool within(const std::string& node, const std::string& ancestor) const {
        auto it = base_.find(node);
        auto top = base_.find(ancestor);
        if (it == base_.end() || top == base_.end())
            return !node.empty() && node == ancestor;
        for (pugi::xml_node n = it->second; n; n = n.parent())
            if (n == top->second)
                return true;
        return false;
    }

    std::string describe(const std::string& id, const std::string& xml = "") const {
        pugi::xml_node node;
        pugi::xml_document scratch;
        auto it = base_.find(id);
        if (it != base_.end())
            node = it->second;
        else if (!xml.empty() && scratch.load_string(xml.c_str()))
            node = scratch.first_child();
        if (!node)
            return "node " + id;
        std::string text = node.name();
        const char* name = node.attribute("name").value();
        if (*name)
            text += std::string(" \"") + name + "\"";
        return text;
    }

    // The conflict between one user edit and one change of the assistant, as a line; "" for none.
    std::string conflict(const UserOp& op, const AiTouch& ai) const {
        const bool takesAway = ai.kind == "replace" || ai.kind == "delete";
        const std::string aiVerb = ai.kind == "delete" ? "deletes " : "replaces ";
        switch (op.kind) {
        case UserOp::SetAttr:
        case UserOp::RemoveAttr:
            if (ai.kind == "update" && ai.id == op.id && ai.attributes.count(op.name)) {
                auto value = ai.values.find(op.name);
                std::string mine = op.kind == UserOp::SetAttr ? "you set \"" + op.name + "\" to \"" + op.value + "\""
                                                               : "you removed \"" + op.name + "\"";
                std::string theirs = value != ai.values.end() ? "the assistant sets it to \"" + value->second + "\""
                                                               : "the assistant removes it";
                return describe(op.id) + ": " + mine + ", " + theirs + ".";
            }
            if (takesAway && within(op.id, ai.id))
                return describe(op.id) + ": you changed \"" + op.name + "\", the assistant " + aiVerb + describe(ai.id) + ".";
            return "";
        case UserOp::Delete:
            if ((ai.kind == "update" || takesAway) && within(ai.id, op.id))
                return "You deleted " + describe(op.id) + ", the assistant " +
                       (ai.kind == "update" ? std::string("changes ") : aiVerb) + describe(ai.id) + ".";
            if (ai.kind == "insert" && within(ai.id, op.id))
                return "You deleted " + describe(op.id) + ", the assistant adds to " + describe(ai.id) + ".";
            return "";
        case UserOp::Insert:
            if (takesAway && within(op.parentId, ai.id))
                return "You added " + describe(op.id, op.xml) + " to " + describe(op.parentId) + ", the assistant " +
                       aiVerb + describe(ai.id) + ".";
            return "";
        case UserOp::Move:
            if (takesAway && (within(op.id, ai.id) || within(op.parentId, ai.id)))
                return "You moved " + describe(op.id) + ", the assistant " + aiVerb + describe(ai.id) + ".";
            return "";
        default:
            return "";
        }
    }

private:
    std::unordered_map<std::string, pugi::xml_node> base_;
};

// Which user edits and which changes conflict, by index.
void findConflicts(const std::vector<UserOp>& ops, const json& changes, const pugi::xml_node& baseRoot,
                   std::set<size_t>& userSide, std::set<size_t>& aiSide, std::vector<std::string>* labels) {
    if (!changes.is_array())
        return;
    ConflictFinder finder(baseRoot);
    std::vector<AiTouch> touches;
    for (const json& change : changes)
        touches.push_back(touchOf(change));
    std::set<std::string> seen;
    for (size_t u = 0; u < ops.size(); ++u) {
        for (size_t a = 0; a < touches.size(); ++a) {
            const std::string line = finder.conflict(ops[u], touches[a]);
            if (line.empty())
                continue;
            userSide.insert(u);
            aiSide.insert(a);
            if (labels && seen.insert(line).second)
                labels->push_back(line);
        }
    }
}

// Applies the user's edits to a document; edits whose node is gone are skipped.
void applyUserOps(pugi::xml_node root, const std::vector<UserOp>& ops, const std::set<size_t>& skip) {
    std::unordered_map<std::string, pugi::xml_node> index;
    indexById(root, index);
    auto find = [&index](const std::string& id) {
        auto it = id.empty() ? index.end() : index.find(id);
        return it == index.end() ? pugi::xml_node() : it->second;
    };
    auto placeAfter = [&find](pugi::xml_node parent, const std::string& afterId) {
        pugi::xml_node after = find(afterId);
        return after && after.parent() == parent ? after : pugi::xml_node();
    };
    for (size_t i = 0; i < ops.size(); ++i) {
        if (skip.count(i))
            continue;
        const UserOp& op = ops[i];
        pugi::xml_node node = find(op.id);
        switch (op.kind) {
        case UserOp::SetAttr:
            if (node) {
                pugi::xml_attribute a = node.attribute(op.name.c_str());
                if (!a)
                    a = node.append_attribute(op.name.c_str());
                a.set_value(op.value.c_str());
            }
            break;
        case UserOp::RemoveAttr:
            if (node)
                node.remove_attribute(op.name.c_str());
            break;
        case UserOp::Delete:
            if (node && node != root && node.parent())
                node.parent().remove_child(node);
            break;
        case UserOp::Insert: {
            pugi::xml_node parent = find(op.parentId);
            if (!parent)
                parent = root;
            pugi::xml_document scratch;
            if (!scratch.load_buffer(op.xml.data(), op.xml.size()) || !scratch.first_child())
                break;
            pugi::xml_node after = placeAfter(parent, op.afterId);
            pugi::xml_node added = after ? parent.insert_copy_after(scratch.first_child(), after)
                                         : (op.afterId.empty() ? parent.prepend_copy(scratch.first_child())
                                                               : parent.append_copy(scratch.first_child()));
            indexById(added, index);
            break;
        }
        case UserOp::Move: {
            pugi::xml_node parent = find(op.parentId);
            if (!node || !parent || node == root)
                break;
            bool cycle = false;
            for (pugi::xml_node n = parent; n; n = n.parent())
                cycle = cycle || n == node;
            if (cycle)
                break;
            pugi::xml_node after = placeAfter(parent, op.afterId);
            if (after == node)
                break;
            if (after)
                parent.insert_move_after(node, after);
            else if (op.afterId.empty())
                parent.prepend_move(node);
            else
                parent.append_move(node);
            break;
        }
        default:
            break;
        }
    }
}

pugi::xml_node topElement(const pugi::xml_document& doc) {
    for (pugi::xml_node child = doc.first_child(); child; child = child.next_sibling())
        if (isElement(child))
            return child;
    return pugi::xml_node();
}

} // namespace

std::vector<XmlMerge::UserOp> XmlMerge::computeUserDiff(const pugi::xml_node& baseRoot, const pugi::xml_node& currentRoot) {
    if (!baseRoot || !currentRoot)
        return {};
    return UserDiff(baseRoot, currentRoot).run(baseRoot, currentRoot);
}

bool XmlMerge::detectConflicts(const std::vector<UserOp>& ops, const json& changes, const pugi::xml_node& baseRoot,
                               std::vector<std::string>& labels) {
    labels.clear();
    std::set<size_t> userSide, aiSide;
    findConflicts(ops, changes, baseRoot, userSide, aiSide, &labels);
    return !userSide.empty();
}

std::string XmlMerge::merge(const std::string& baseXml, const json& changes, const std::vector<UserOp>& ops,
                            Winner winner, std::string& error) {
    error.clear();
    pugi::xml_document doc;
    if (!doc.load_buffer(baseXml.data(), baseXml.size()) || !topElement(doc)) {
        error = "The game as it was when the request left could not be read.";
        return "";
    }
    pugi::xml_node root = topElement(doc);
    std::set<size_t> userSide, aiSide;
    findConflicts(ops, changes, root, userSide, aiSide, nullptr);
    if (winner == DiscardAssistant) {
        applyUserOps(root, ops, {});
        return rawText(doc);
    }
    json kept = json::array();
    if (changes.is_array())
        for (size_t i = 0; i < changes.size(); ++i)
            if (winner != UserWins || !aiSide.count(i))
                kept.push_back(changes[i]);
    if (winner == UserWins) {
        // The user's side first, whole; then what of the assistant's does not collide with it.
        applyUserOps(root, ops, {});
        std::string why;
        applyAiOps(root, kept, why, true);
        return rawText(doc);
    }
    std::string why;
    const int applied = applyAiOps(root, kept, why, true);
    if (applied == 0 && !kept.empty()) {
        error = "None of the assistant's changes could be applied: " + why;
        return "";
    }
    applyUserOps(root, ops, winner == AssistantWins ? userSide : std::set<size_t>());
    return rawText(doc);
}

std::string XmlMerge::appendUserAdds(const std::string& editedXml, const std::vector<UserOp>& ops, std::string& error) {
    error.clear();
    pugi::xml_document doc;
    if (!doc.load_buffer(editedXml.data(), editedXml.size()) || !topElement(doc)) {
        error = "The assistant's new game could not be read.";
        return "";
    }
    // The new document's ids are the assistant's own: an addition lands under the element that
    // has its parent's id when there is one, else at the end of the top element.
    pugi::xml_node root = topElement(doc);
    std::unordered_map<std::string, pugi::xml_node> index;
    indexById(root, index);
    for (const UserOp& op : ops) {
        if (op.kind != UserOp::Insert)
            continue;
        pugi::xml_document scratch;
        if (!scratch.load_buffer(op.xml.data(), op.xml.size()) || !scratch.first_child())
            continue;
        auto parent = index.find(op.parentId);
        pugi::xml_node target = parent != index.end() ? parent->second : root;
        target.append_copy(scratch.first_child());
    }
    return rawText(doc);
}

} // namespace Lumenda3D
