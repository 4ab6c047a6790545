#pragma once
// The logic of the game package this process plays (the player, given a bin.dat), compiled ahead
// to Lua bytecode. While it is set, a game that starts loads it (as bytecode only, Lua's mode "b")
// instead of translating its document. The editor never sets it. Main thread.
#include <string>

namespace Lumenda3D {

class LmdPackagedLogic {
public:
    static void set(std::string bytecode);
    static void clear() { set(std::string()); }
    // "" when none is set.
    static const std::string& get();
};

} // namespace Lumenda3D
