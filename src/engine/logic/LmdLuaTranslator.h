#pragma once
// Translates the logic of a game document into one Lua 5.4 chunk for LmdLuaRuntime.
//
// Scene elements (3D and 2D objects, lights) are not code, but they give logic its place: an event
// inside an object is about that object (`self`; an empty `target` means it), an event in a level
// runs while that level runs, and one under the root runs for the whole game. Declarations (Var,
// Array, Function, LoadSound, Material) are collected per scope first, so logic may use them
// wherever they stand in that scope.
//
// Every block is checked while it is translated: expressions are parsed (LmdLuaExpression), names
// resolved, numbers, booleans, colours and choices checked, sounds, materials, functions and
// levels looked up. A faulty block becomes one problem and is left out; the rest of the game is
// translated as usual. The chunk is finally test-loaded by Lua; should Lua still refuse a unit
// (too many variables in one event, say), that unit is left out with a problem naming the block.
// docs/game-logic-runtime.md describes the chunk's layout.
#include <string>

#include <pugixml.hpp>

#include "engine/logic/LmdLuaTranslation.h"
#include "engine/schema/CodeSchema.h"

namespace Lumenda3D {

class LmdLuaTranslator {
public:
    // `root` is the game's root element or the document holding it.
    static LmdLuaTranslation translate(const pugi::xml_node& root, const CodeSchema& schema);

    // How problems and runtime errors name an element: "id 42" when it has a numeric id, else
    // "name 'player'", else its path ("/KiteBench3D/Level[1]/Box[2]").
    static std::string describeNode(const pugi::xml_node& node);
};

} // namespace Lumenda3D
