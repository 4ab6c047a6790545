#include "engine/logic/LmdElementPath.h"

#include <cstdlib>

namespace Lumenda3D::translator {
namespace {

std::string pathOf(pugi::xml_node node, PathCache* cache) {
    if (!node || node.type() != pugi::node_element)
        return {};
    if (cache)
        if (const std::string* known = cache->find(node))
            return *known;
    std::string path;
    pugi::xml_node parent = node.parent();
    if (!parent || parent.type() != pugi::node_element) {
        path = "/" + std::string(node.name());
    } else {
        int position = 1;
        if (cache) {
            position = cache->position(node);
        } else {
            for (pugi::xml_node s = node.previous_sibling(node.name()); s; s = s.previous_sibling(node.name()))
                ++position;
        }
        path = pathOf(parent, cache) + "/" + node.name() + "[" + std::to_string(position) + "]";
    }
    if (cache)
        cache->store(node, path);
    return path;
}

} // namespace

std::string describe(const pugi::xml_node& node, PathCache* cache) {
    const char* id = node.attribute("id").value();
    if (*id) {
        char* end = nullptr;
        const long value = std::strtol(id, &end, 10);
        if (end && *end == '\0' && value > 0)
            return "id " + std::to_string(value);
    }
    const std::string name = node.attribute("name").value();
    if (!name.empty())
        return "name '" + name + "'";
    return pathOf(node, cache);
}

} // namespace Lumenda3D::translator
