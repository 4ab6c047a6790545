#pragma once
// How the translator's problems name an element: "id 42" when it has a numeric id, else
// "name 'player'", else its path ("/KiteBench3D/Level[1]/Box[2]").
#include <string>
#include <unordered_map>
#include <unordered_set>

#include <pugixml.hpp>

namespace Lumenda3D::translator {

// Element paths for messages about elements without id and name. Sibling positions are counted
// once per parent, so that labelling every element of a large document stays linear.
class PathCache {
public:
    int position(pugi::xml_node node) {
        pugi::xml_node parent = node.parent();
        if (indexed_.insert(parent.internal_object()).second) {
            std::unordered_map<std::string, int> counts;
            for (pugi::xml_node child : parent.children())
                if (child.type() == pugi::node_element)
                    positions_[child.internal_object()] = ++counts[child.name()];
        }
        return positions_[node.internal_object()];
    }
    std::string* find(pugi::xml_node node) {
        auto found = paths_.find(node.internal_object());
        return found == paths_.end() ? nullptr : &found->second;
    }
    void store(pugi::xml_node node, const std::string& path) { paths_[node.internal_object()] = path; }

private:
    std::unordered_set<const void*> indexed_;
    std::unordered_map<const void*, int> positions_;
    std::unordered_map<const void*, std::string> paths_;
};

// The element's label; `cache` (may be null) keeps paths and sibling positions between calls.
std::string describe(const pugi::xml_node& node, PathCache* cache);

} // namespace Lumenda3D::translator
