#pragma once
// Small helpers that the test hook's files share: a person's SDL mouse events, elements of the
// document by name, and key names.
#include <cctype>
#include <string>

#include <SDL.h>
#include <pugixml.hpp>

namespace Lumenda3D::testhook {

inline SDL_Event personMotion(Uint32 windowId, float x, float y) {
    SDL_Event move{};
    move.type = SDL_MOUSEMOTION;
    move.motion.windowID = windowId;
    move.motion.x = int(x);
    move.motion.y = int(y);
    return move;
}

inline SDL_Event personButton(Uint32 windowId, float x, float y, bool down) {
    SDL_Event e{};
    e.type = down ? SDL_MOUSEBUTTONDOWN : SDL_MOUSEBUTTONUP;
    e.button.windowID = windowId;
    e.button.button = SDL_BUTTON_LEFT;
    e.button.state = down ? SDL_PRESSED : SDL_RELEASED;
    e.button.clicks = 1;
    e.button.x = int(x);
    e.button.y = int(y);
    return e;
}

inline pugi::xml_node elementNamed(pugi::xml_document* document, const std::string& name) {
    if (!document)
        return pugi::xml_node();
    return document->find_node([&name](const pugi::xml_node& node) {
        return node.type() == pugi::node_element && name == node.attribute("name").value();
    });
}

// The element named `name`, or without one the first element of that tag (blocks without names).
inline pugi::xml_node elementNamedOrTagged(pugi::xml_document* document, const std::string& name) {
    pugi::xml_node node = elementNamed(document, name);
    if (!node && document)
        node = document->find_node([&name](const pugi::xml_node& n) { return name == n.name(); });
    return node;
}

inline int countElementsNamed(pugi::xml_document* document, const std::string& name) {
    if (!document)
        return 0;
    int count = 0;
    for (const pugi::xpath_node& hit : document->select_nodes("//*[@name]"))
        if (name == hit.node().attribute("name").value())
            ++count;
    return count;
}

inline SDL_Keycode keycodeOf(const std::string& name) {
    if (name.size() == 1)
        return SDL_Keycode(std::tolower(static_cast<unsigned char>(name[0])));
    if (name == "escape")
        return SDLK_ESCAPE;
    if (name == "enter" || name == "return")
        return SDLK_RETURN;
    if (name == "tab")
        return SDLK_TAB;
    if (name == "delete")
        return SDLK_DELETE;
    return SDLK_UNKNOWN;
}

} // namespace Lumenda3D::testhook
