#pragma once
// What a Lua 5.4 chunk can reach outside itself. Game logic is translated into Lua from game files
// that come from anywhere; names in the logic must resolve to the game's own variables, never to
// Lua globals (os, io, load, ...). This reads the compiled chunk's bytecode, every nested function
// included, and lists the global names it reads and writes, so a fuzz target can assert that no
// document reaches one it shouldn't, whatever path the code would take when it runs.
#include <string>
#include <vector>

namespace Lumenda3D::fuzz {

struct LuaGlobalUse {
    std::vector<std::string> reads;   // _ENV.name read
    std::vector<std::string> writes;  // _ENV.name written
    bool usesEnvDirectly = false;     // _ENV itself read or replaced
};

// Compiles `source` as text and fills `out`. False with `error` when it doesn't compile (or the
// bytecode is not of the Lua 5.4 this was written for).
bool luaGlobalUse(const std::string& source, LuaGlobalUse& out, std::string& error);

// Whether `source` compiles as a text chunk.
bool luaCompiles(const std::string& source, std::string* error = nullptr);

} // namespace Lumenda3D::fuzz
