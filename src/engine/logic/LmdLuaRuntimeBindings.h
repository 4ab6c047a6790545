#pragma once
// The C side of the game's Lua state: allocator, hook, error handler and the scene bindings (table
// H of the runtime library). Bindings never raise a Lua error while a C++ object is alive on their
// frame: they compute a message, leave the scope, then raise.
#include <cstddef>
#include <string>

#include <lua.hpp>

#include "engine/logic/LmdLuaRuntime.h"

namespace Lumenda3D {

struct LmdLuaRuntime::Bindings {
    using Body = int (*)(lua_State*, LmdLuaRuntime&, std::string& error);

    // The instruction budget is counted in steps of this many Lua instructions.
    static constexpr int kHookEvery = 1000;

    // ---- the state and its protected calls (LmdLuaRuntimeBindings.cpp)
    static std::string cleanMessage(const std::string& message, lua_State* L = nullptr);
    // Remembers which source the loaded game chunk has: "=game" for text, and for bytecode the
    // name it was compiled under (lua_dump keeps it, and loading takes it from the dump).
    static void noteGameChunk(lua_State* L);
    // Whether a function's source (lua_Debug::source) is the game chunk's.
    static bool isGameChunk(lua_State* L, const char* source);
    static LmdLuaRuntime& rt(lua_State* L);
    static void* alloc(void* userData, void* block, size_t oldSize, size_t newSize);
    static void hook(lua_State* L, lua_Debug*);
    static int gameLine(lua_State* L);
    static int onError(lua_State* L);
    static int run(lua_State* L);
    static int line(lua_State* L);
    static int linemap(lua_State* L);
    static int goToLevel(lua_State* L);

    // ---- the scene (LmdLuaSceneBindings.cpp)
    // Pushes the table of bindings that the runtime library's _bind receives.
    static void pushTable(lua_State* L);
    template <Body body>
    static int guarded(lua_State* L);
    template <Body body>
    static int action(lua_State* L);
    static std::string describe(lua_State* L, int index);
    static bool object(lua_State* L, int index, std::string& out, std::string& error);
    static std::string text(lua_State* L, int index);
    static bool number(lua_State* L, int index, double& out, std::string& error, const char* what);
    static std::string missing(const std::string& object);
    static int refused(LmdLuaRuntime& self, const std::string& object, const std::string& otherwise,
                       std::string& error);
    static int get(lua_State* L, LmdLuaRuntime& self, std::string& error);
    static int set(lua_State* L, LmdLuaRuntime& self, std::string& error);
    static int translate(lua_State* L, LmdLuaRuntime& self, std::string& error);
    static int lookAt(lua_State* L, LmdLuaRuntime& self, std::string& error);
    static int force(lua_State* L, LmdLuaRuntime& self, std::string& error);
    static int velocity(lua_State* L, LmdLuaRuntime& self, std::string& error);
    static int destroy(lua_State* L, LmdLuaRuntime& self, std::string& error);
    static int clone(lua_State* L, LmdLuaRuntime& self, std::string& error);
    static int playAnimation(lua_State* L, LmdLuaRuntime& self, std::string& error);
    static int stopAnimation(lua_State* L, LmdLuaRuntime& self, std::string& error);
    static int light(lua_State* L, LmdLuaRuntime& self, std::string& error);
    static int playSound(lua_State* L, LmdLuaRuntime& self, std::string& error);
    static int stopSound(lua_State* L, LmdLuaRuntime& self, std::string&);
    static int distance(lua_State* L, LmdLuaRuntime& self, std::string& error);
    static int print(lua_State* L, LmdLuaRuntime& self, std::string&);
};

} // namespace Lumenda3D
