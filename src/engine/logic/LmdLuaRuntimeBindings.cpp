#include "engine/logic/LmdLuaRuntimeBindings.h"

#include <cctype>
#include <cstdlib>
#include <cstring>

namespace Lumenda3D {

namespace {

// Registry keys of the game chunk's source and its short form (as messages begin with it).
constexpr const char* kGameSourceKey = "lmd.gameSource";
constexpr const char* kGameShortSourceKey = "lmd.gameShortSource";

std::string registryText(lua_State* L, const char* key) {
    if (!L)
        return "";
    lua_getfield(L, LUA_REGISTRYINDEX, key);
    size_t length = 0;
    const char* text = lua_tolstring(L, -1, &length);
    std::string out = text ? std::string(text, length) : std::string();
    lua_pop(L, 1);
    return out;
}

} // namespace

void LmdLuaRuntime::Bindings::noteGameChunk(lua_State* L) {
    lua_Debug ar;
    lua_pushvalue(L, -1);
    if (!lua_getinfo(L, ">S", &ar))
        return;
    lua_pushstring(L, ar.source);
    lua_setfield(L, LUA_REGISTRYINDEX, kGameSourceKey);
    lua_pushstring(L, ar.short_src);
    lua_setfield(L, LUA_REGISTRYINDEX, kGameShortSourceKey);
}

bool LmdLuaRuntime::Bindings::isGameChunk(lua_State* L, const char* source) {
    if (!source)
        return false;
    if (std::strcmp(source, kChunkName) == 0)
        return true;
    const std::string noted = registryText(L, kGameSourceKey);
    return !noted.empty() && noted == source;
}

// Removes the "chunk:line: " that Lua puts before messages: the log names the block instead.
std::string LmdLuaRuntime::Bindings::cleanMessage(const std::string& message, lua_State* L) {
    const std::string chunk = registryText(L, kGameShortSourceKey) + ":";
    for (const char* prefix : {"game:", "lumenda3d_runtime.lua:", chunk.c_str()}) {
        const size_t length = std::strlen(prefix);
        if (length < 2 || message.compare(0, length, prefix) != 0)
            continue;
        size_t i = length;
        while (i < message.size() && std::isdigit(static_cast<unsigned char>(message[i])))
            ++i;
        if (i > length && message.compare(i, 2, ": ") == 0)
            return message.substr(i + 2);
    }
    return message;
}

LmdLuaRuntime& LmdLuaRuntime::Bindings::rt(lua_State* L) { return **static_cast<LmdLuaRuntime**>(lua_getextraspace(L)); }

void* LmdLuaRuntime::Bindings::alloc(void* userData, void* block, size_t oldSize, size_t newSize) {
    auto* self = static_cast<LmdLuaRuntime*>(userData);
    const size_t old = block ? oldSize : 0;
    if (newSize == 0) {
        self->memoryUsed_ -= old;
        std::free(block);
        return nullptr;
    }
    if (newSize > old && self->memoryUsed_ + (newSize - old) > self->memoryLimit_)
        return nullptr;
    void* grown = std::realloc(block, newSize);
    if (grown)
        self->memoryUsed_ = self->memoryUsed_ - old + newSize;
    return grown;
}

void LmdLuaRuntime::Bindings::hook(lua_State* L, lua_Debug*) {
    LmdLuaRuntime& self = rt(L);
    self.instructions_ += kHookEvery;
    if (self.instructionLimit_ > 0 && self.instructions_ > self.instructionLimit_)
        luaL_error(L, "the logic ran more than %I Lua instructions without finishing and was stopped "
                      "(an endless loop?)",
                   static_cast<lua_Integer>(self.instructionLimit_));
}

// The line of the innermost function of the game chunk on the stack; 0 when there is none.
int LmdLuaRuntime::Bindings::gameLine(lua_State* L) {
    lua_Debug ar;
    for (int level = 0; lua_getstack(L, level, &ar); ++level) {
        if (lua_getinfo(L, "Sl", &ar) && isGameChunk(L, ar.source) && ar.currentline > 0)
            return ar.currentline;
    }
    return 0;
}

// Message handler of every protected call: finds the block, logs, returns the logged line.
int LmdLuaRuntime::Bindings::onError(lua_State* L) {
    LmdLuaRuntime& self = rt(L);
    std::string logged;
    {
        std::string message = "(an error without a message)";
        const int type = lua_type(L, 1);
        if (type == LUA_TSTRING || type == LUA_TNUMBER) {
            size_t length = 0;
            const char* text = lua_tolstring(L, 1, &length);
            message.assign(text, length);
        }
        int line = gameLine(L);
        if (line <= 0)
            line = self.fallbackLine_;
        const LineEntry* entry = self.entryForLine(line);
        logged = entry ? self.report(entry->element, entry->where, cleanMessage(message, L))
                       : self.report("", "", cleanMessage(message, L));
    }
    lua_pushlstring(L, logged.data(), logged.size());
    return 1;
}

// H.run(fn, a, b, line): fn(a, b) under the error handler; `line` names the block when the
// error happens outside the game chunk (a tween's step). Returns ok, result.
int LmdLuaRuntime::Bindings::run(lua_State* L) {
    LmdLuaRuntime& self = rt(L);
    const int line = lua_isinteger(L, 4) ? static_cast<int>(lua_tointeger(L, 4)) : 0;
    lua_settop(L, 3);
    lua_pushcfunction(L, onError);
    lua_insert(L, 1);
    lua_pushvalue(L, 2); // keep the function: a memory error skips the message handler
    lua_insert(L, 2);    // stack: handler, function copy, function, a, b
    const bool outermost = self.runDepth_ == 0;
    if (outermost)
        self.instructions_ = 0;
    ++self.runDepth_;
    const int savedLine = self.fallbackLine_;
    if (line > 0)
        self.fallbackLine_ = line;
    const int status = lua_pcall(L, 2, 1, 1);
    --self.runDepth_;
    self.fallbackLine_ = savedLine;
    if (outermost)
        self.instructions_ = 0;
    if (status == LUA_OK) {
        lua_pushboolean(L, 1);
        lua_insert(L, -2);
        return 2;
    }
    if (status == LUA_ERRMEM) {
        // Without the message handler the failing line is gone; name the handler's block.
        lua_Debug ar;
        lua_pushvalue(L, 2);
        int defined = line;
        if (lua_getinfo(L, ">S", &ar) && isGameChunk(L, ar.source))
            defined = ar.linedefined;
        const LineEntry* entry = self.entryForLine(defined);
        self.report(entry ? entry->element : "", entry ? entry->where : "",
                    "the game's logic ran out of memory (the limit is " + std::to_string(self.memoryLimit_ >> 20) +
                        " MB)");
    }
    lua_pushboolean(L, 0);
    return 1;
}

int LmdLuaRuntime::Bindings::line(lua_State* L) {
    lua_pushinteger(L, gameLine(L));
    return 1;
}

int LmdLuaRuntime::Bindings::linemap(lua_State* L) {
    size_t length = 0;
    const char* text = lua_tolstring(L, 1, &length);
    if (text)
        rt(L).setLineMap(std::string(text, length));
    return 0;
}

int LmdLuaRuntime::Bindings::goToLevel(lua_State* L) {
    LmdLuaRuntime& self = rt(L);
    size_t length = 0;
    const char* text = lua_tolstring(L, 1, &length);
    self.pendingLevel_ = std::string(text ? text : "", text ? length : 0);
    self.pendingLine_ = gameLine(L);
    return 0;
}

} // namespace Lumenda3D
