#include "engine/logic/LmdLuaRuntime.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <sstream>

#include <lua.hpp>

#include "base/LmdLog.h"
#include "base/LmdPaths.h"
#include "engine/logic/LmdLuaRuntimeBindings.h"
#include "engine/logic/LmdLuaTranslator.h"
#include "engine/logic/LmdScriptHost.h"

namespace Lumenda3D {
namespace {

// Level changes one call may chain (level A's OnStart going to B, whose OnStart goes to C ...).
constexpr int kMaxLevelSwitches = 8;
// Distinct errors remembered for de-duplication; beyond this, new errors are not logged.
constexpr size_t kMaxDistinctErrors = 1000;
constexpr const char* kRuntimeChunkName = "@lumenda3d_runtime.lua";

std::string readFile(const std::string& path, bool& ok) {
    std::ifstream in(path, std::ios::binary);
    ok = static_cast<bool>(in);
    std::ostringstream text;
    if (ok)
        text << in.rdbuf();
    return text.str();
}

int dumpWriter(lua_State*, const void* data, size_t size, void* userData) {
    static_cast<std::string*>(userData)->append(static_cast<const char*>(data), size);
    return 0;
}

} // namespace

// ---------------------------------------------------------------- LmdLuaRuntime

LmdLuaRuntime::LmdLuaRuntime(LmdScriptHost& host) : host_(host) {}

LmdLuaRuntime::~LmdLuaRuntime() {
    closeState();
}

std::string LmdLuaRuntime::runtimeLibraryPath() {
    return LmdPaths::mediaDir() + "/lua/lumenda3d_runtime.lua";
}

void LmdLuaRuntime::closeState() {
    if (L_)
        lua_close(L_);
    L_ = nullptr;
    runtimeRef_ = -1;
    memoryUsed_ = 0;
    lines_.clear();
    pendingLevel_.reset();
    runDepth_ = entryDepth_ = 0;
}

void LmdLuaRuntime::resetErrors() {
    logged_.clear();
}

bool LmdLuaRuntime::openState() {
    closeState();
    L_ = lua_newstate(&Bindings::alloc, this);
    if (!L_) {
        report("", "", "cannot create a Lua state for the game's logic");
        return false;
    }
    *static_cast<LmdLuaRuntime**>(lua_getextraspace(L_)) = this;
    // Only what the logic needs: no files, no loading of code, no operating system.
    const luaL_Reg libraries[] = {{LUA_GNAME, luaopen_base},
                                  {LUA_TABLIBNAME, luaopen_table},
                                  {LUA_STRLIBNAME, luaopen_string},
                                  {LUA_MATHLIBNAME, luaopen_math},
                                  {LUA_UTF8LIBNAME, luaopen_utf8}};
    for (const luaL_Reg& library : libraries) {
        luaL_requiref(L_, library.name, library.func, 1);
        lua_pop(L_, 1);
    }
    for (const char* unsafe : {"dofile", "loadfile", "load", "collectgarbage"}) {
        lua_pushnil(L_);
        lua_setglobal(L_, unsafe);
    }
    lua_sethook(L_, &Bindings::hook, LUA_MASKCOUNT, Bindings::kHookEvery);

    const std::string path = runtimeLibraryPath();
    bool readable = false;
    const std::string library = readFile(path, readable);
    if (!readable) {
        report("", "", "cannot read the Lua runtime library " + path);
        closeState();
        return false;
    }
    lua_pushcfunction(L_, &Bindings::onError);
    const int handler = lua_gettop(L_);
    instructions_ = 0;
    int status = luaL_loadbufferx(L_, library.data(), library.size(), kRuntimeChunkName, "t");
    if (status == LUA_OK)
        status = lua_pcall(L_, 0, 1, handler);
    if (status != LUA_OK || !lua_istable(L_, -1)) {
        if (status != LUA_OK && status != LUA_ERRRUN)
            report("", "", "the Lua runtime library " + path + " does not load: " + Bindings::cleanMessage(lua_tostring(L_, -1) ? lua_tostring(L_, -1) : "?"));
        else if (status == LUA_OK)
            report("", "", "the Lua runtime library " + path + " does not return its table");
        closeState();
        return false;
    }
    runtimeRef_ = luaL_ref(L_, LUA_REGISTRYINDEX);
    lua_pop(L_, 1); // the error handler

    const int bind = pushEntry("_bind");
    Bindings::pushTable(L_);
    if (!callEntry(bind, 1)) {
        closeState();
        return false;
    }
    return true;
}

bool LmdLuaRuntime::load(const std::string& data, const char* mode) {
    if (entryDepth_ > 0) {
        report("", "", "a game cannot be loaded from inside its own logic");
        return false;
    }
    if (!openState())
        return false;
    lua_pushcfunction(L_, &Bindings::onError);
    const int handler = lua_gettop(L_);
    const int status = luaL_loadbufferx(L_, data.data(), data.size(), kChunkName, mode);
    if (status != LUA_OK) {
        const char* message = lua_tostring(L_, -1);
        report("", "", std::string("the game's Lua code does not load: ") + Bindings::cleanMessage(message ? message : "?"));
        closeState();
        return false;
    }
    Bindings::noteGameChunk(L_);
    lua_rawgeti(L_, LUA_REGISTRYINDEX, runtimeRef_);
    instructions_ = 0;
    fallbackLine_ = 0;
    const int run = lua_pcall(L_, 1, 0, handler);
    if (run != LUA_OK) {
        if (run == LUA_ERRMEM)
            report("", "", "the game's logic ran out of memory while loading");
        closeState();
        return false;
    }
    lua_settop(L_, 0);
    return true;
}

bool LmdLuaRuntime::loadChunk(const std::string& luaSource) {
    resetErrors();
    readsPointer_ = true;
    return load(luaSource, "t");
}

bool LmdLuaRuntime::loadBytecode(const std::string& bytecode) {
    resetErrors();
    readsPointer_ = true;
    return load(bytecode, "b");
}

bool LmdLuaRuntime::loadTranslation(const LmdLuaTranslation& translation) {
    resetErrors();
    readsPointer_ = translation.readsPointer;
    for (const LmdLuaTranslation::Problem& problem : translation.problems)
        report(problem.element, problem.where, problem.text);
    return load(translation.chunk, "t");
}

bool LmdLuaRuntime::loadDocument(const pugi::xml_node& root, const CodeSchema& schema) {
    return loadTranslation(LmdLuaTranslator::translate(root, schema));
}

bool LmdLuaRuntime::compileToBytecode(const std::string& luaSource, std::string& bytecode, std::string* error) {
    bytecode.clear();
    lua_State* L = luaL_newstate();
    if (!L) {
        if (error)
            *error = "cannot create a Lua state";
        return false;
    }
    bool ok = luaL_loadbufferx(L, luaSource.data(), luaSource.size(), kChunkName, "t") == LUA_OK;
    if (ok) {
        ok = lua_dump(L, &dumpWriter, &bytecode, 0) == 0;
        if (!ok && error)
            *error = "lua_dump failed";
    } else if (error) {
        const char* message = lua_tostring(L, -1);
        *error = message ? message : "?";
    }
    lua_close(L);
    return ok;
}

// ---------------------------------------------------------------- calls into the logic

int LmdLuaRuntime::pushEntry(const char* function) {
    if (!L_)
        return 0;
    lua_pushcfunction(L_, &Bindings::onError);
    const int handler = lua_gettop(L_);
    lua_rawgeti(L_, LUA_REGISTRYINDEX, runtimeRef_);
    lua_getfield(L_, -1, function);
    lua_remove(L_, -2);
    return handler;
}

bool LmdLuaRuntime::callEntry(int handlerIndex, int arguments) {
    if (!L_ || handlerIndex == 0)
        return false;
    const bool outermost = entryDepth_ == 0;
    if (outermost) {
        instructions_ = 0;
        fallbackLine_ = 0;
    }
    ++entryDepth_;
    const int status = lua_pcall(L_, arguments, 0, handlerIndex);
    --entryDepth_;
    if (status == LUA_ERRMEM)
        report("", "", "the game's logic ran out of memory (the limit is " + std::to_string(memoryLimit_ >> 20) + " MB)");
    lua_settop(L_, handlerIndex - 1);
    if (outermost)
        afterEntry();
    return status == LUA_OK;
}

void LmdLuaRuntime::afterEntry() {
    if (entryDepth_ > 0 || switching_ || !pendingLevel_)
        return;
    switching_ = true;
    for (int round = 0; pendingLevel_ && round < kMaxLevelSwitches && L_; ++round) {
        const std::string level = *pendingLevel_;
        const int line = pendingLine_;
        pendingLevel_.reset();
        bool opened = false;
        try {
            opened = host_.goToLevel(level);
        } catch (...) {
            opened = false;
        }
        if (!opened) {
            const LineEntry* entry = entryForLine(line);
            report(entry ? entry->element : "", entry ? entry->where : "", "the scene cannot open level '" + level + "'");
            continue;
        }
        const int handler = pushEntry("start");
        lua_pushlstring(L_, level.data(), level.size());
        callEntry(handler, 1);
    }
    if (pendingLevel_) {
        report("", "", "levels changed more than " + std::to_string(kMaxLevelSwitches) +
                           " times in a row; the change to '" + *pendingLevel_ + "' is dropped");
        pendingLevel_.reset();
    }
    switching_ = false;
}

bool LmdLuaRuntime::start(const std::string& level) {
    if (!L_)
        return false;
    if (entryDepth_ > 0) { // called from inside the logic (by the scene): after the current call
        pendingLevel_ = level;
        pendingLine_ = 0;
        return true;
    }
    const int handler = pushEntry("start");
    lua_pushlstring(L_, level.data(), level.size());
    return callEntry(handler, 1);
}

void LmdLuaRuntime::update(double dt) {
    if (!L_)
        return;
    if (!std::isfinite(dt) || dt < 0)
        dt = 0;
    const int handler = pushEntry("update");
    lua_pushnumber(L_, dt);
    callEntry(handler, 1);
}

void LmdLuaRuntime::keyDown(const std::string& key) {
    if (!L_)
        return;
    const int handler = pushEntry("pressKey");
    lua_pushlstring(L_, key.data(), key.size());
    callEntry(handler, 1);
}

void LmdLuaRuntime::keyUp(const std::string& key) {
    if (!L_)
        return;
    const int handler = pushEntry("releaseKey");
    lua_pushlstring(L_, key.data(), key.size());
    callEntry(handler, 1);
}

void LmdLuaRuntime::click(const std::string& object) {
    if (!L_)
        return;
    const int handler = pushEntry("click");
    lua_pushlstring(L_, object.data(), object.size());
    callEntry(handler, 1);
}

void LmdLuaRuntime::pointer(const LmdPointerState& state) {
    if (!L_)
        return;
    const int handler = pushEntry("pointer");
    lua_pushnumber(L_, state.screenX);
    lua_pushnumber(L_, state.screenY);
    lua_pushboolean(L_, state.hit);
    lua_pushnumber(L_, state.x);
    lua_pushnumber(L_, state.y);
    lua_pushnumber(L_, state.z);
    lua_pushlstring(L_, state.object.data(), state.object.size());
    callEntry(handler, 7);
}

void LmdLuaRuntime::clickAt(const LmdPointerState& state) {
    if (!L_)
        return;
    const int handler = pushEntry("clickAt");
    lua_pushboolean(L_, state.hit);
    lua_pushnumber(L_, state.x);
    lua_pushnumber(L_, state.y);
    lua_pushnumber(L_, state.z);
    lua_pushlstring(L_, state.object.data(), state.object.size());
    callEntry(handler, 5);
}

void LmdLuaRuntime::collision(const std::string& a, const std::string& b) {
    if (!L_)
        return;
    const int handler = pushEntry("collision");
    lua_pushlstring(L_, a.data(), a.size());
    lua_pushlstring(L_, b.data(), b.size());
    callEntry(handler, 2);
}

void LmdLuaRuntime::joystick(const std::string& name, double x, double y) {
    if (!L_)
        return;
    const int handler = pushEntry("joystick");
    lua_pushlstring(L_, name.data(), name.size());
    lua_pushnumber(L_, std::isfinite(x) ? std::clamp(x, -1.0, 1.0) : 0.0);
    lua_pushnumber(L_, std::isfinite(y) ? std::clamp(y, -1.0, 1.0) : 0.0);
    callEntry(handler, 3);
}

void LmdLuaRuntime::objectRemoved(const std::string& object) {
    if (!L_)
        return;
    const int handler = pushEntry("forget");
    lua_pushlstring(L_, object.data(), object.size());
    callEntry(handler, 1);
}

void LmdLuaRuntime::stop() {
    if (!L_)
        return;
    const int handler = pushEntry("stop");
    callEntry(handler, 0);
    pendingLevel_.reset();
}

bool LmdLuaRuntime::isRunning() const {
    if (!L_)
        return false;
    const int top = lua_gettop(L_); // the scene may ask from inside a call into the logic
    lua_rawgeti(L_, LUA_REGISTRYINDEX, runtimeRef_);
    lua_getfield(L_, -1, "isRunning");
    const bool running = lua_pcall(L_, 0, 1, 0) == LUA_OK && lua_toboolean(L_, -1);
    lua_settop(L_, top);
    return running;
}

std::string LmdLuaRuntime::currentLevel() const {
    if (!L_)
        return {};
    const int top = lua_gettop(L_);
    lua_rawgeti(L_, LUA_REGISTRYINDEX, runtimeRef_);
    lua_getfield(L_, -1, "levelName");
    std::string name;
    if (lua_type(L_, -1) == LUA_TSTRING)
        name = lua_tostring(L_, -1);
    lua_settop(L_, top);
    return name;
}

bool LmdLuaRuntime::getVariable(const std::string& name, LmdScriptValue& value) const {
    value = LmdScriptValue();
    if (!L_)
        return false;
    const int top = lua_gettop(L_);
    lua_rawgeti(L_, LUA_REGISTRYINDEX, runtimeRef_);
    lua_getfield(L_, -1, "variable");
    lua_pushlstring(L_, name.data(), name.size());
    bool found = false;
    if (lua_pcall(L_, 1, 1, 0) == LUA_OK) {
        found = true;
        switch (lua_type(L_, -1)) {
        case LUA_TNUMBER: value = LmdScriptValue::ofNumber(lua_tonumber(L_, -1)); break;
        case LUA_TBOOLEAN: value = LmdScriptValue::ofBoolean(lua_toboolean(L_, -1) != 0); break;
        case LUA_TSTRING: value = LmdScriptValue::ofText(lua_tostring(L_, -1)); break;
        case LUA_TTABLE: {
            // An array shows as its items, the way a text placeholder shows it.
            lua_getfield(L_, -2, "str"); // stack: R, the array
            lua_pushvalue(L_, -2);
            if (lua_pcall(L_, 1, 1, 0) == LUA_OK && lua_type(L_, -1) == LUA_TSTRING)
                value = LmdScriptValue::ofText(lua_tostring(L_, -1));
            break;
        }
        default: found = false;
        }
    }
    lua_settop(L_, top);
    return found;
}

std::vector<std::pair<std::string, LmdScriptValue>> LmdLuaRuntime::variables() const {
    std::vector<std::pair<std::string, LmdScriptValue>> out;
    if (!L_)
        return out;
    std::vector<std::string> names;
    const int top = lua_gettop(L_);
    lua_rawgeti(L_, LUA_REGISTRYINDEX, runtimeRef_);
    lua_getfield(L_, -1, "variableNames");
    if (lua_pcall(L_, 0, 1, 0) == LUA_OK && lua_type(L_, -1) == LUA_TTABLE) {
        const lua_Integer count = luaL_len(L_, -1);
        for (lua_Integer i = 1; i <= count; ++i) {
            lua_rawgeti(L_, -1, i);
            if (lua_type(L_, -1) == LUA_TSTRING)
                names.emplace_back(lua_tostring(L_, -1));
            lua_pop(L_, 1);
        }
    }
    lua_settop(L_, top);
    for (const std::string& name : names) {
        LmdScriptValue value;
        if (getVariable(name, value))
            out.emplace_back(name, std::move(value));
    }
    return out;
}

bool LmdLuaRuntime::setVariable(const std::string& name, const LmdScriptValue& value) {
    if (!L_ || value.isNone())
        return false;
    const int top = lua_gettop(L_);
    lua_rawgeti(L_, LUA_REGISTRYINDEX, runtimeRef_);
    lua_getfield(L_, -1, "setVariable");
    lua_pushlstring(L_, name.data(), name.size());
    switch (value.type) {
    case LmdScriptValue::Type::Number: lua_pushnumber(L_, value.number); break;
    case LmdScriptValue::Type::Boolean: lua_pushboolean(L_, value.boolean); break;
    default: lua_pushlstring(L_, value.text.data(), value.text.size()); break;
    }
    const bool set = lua_pcall(L_, 2, 1, 0) == LUA_OK && lua_toboolean(L_, -1) != 0;
    lua_settop(L_, top);
    return set;
}

void LmdLuaRuntime::setRandomSeed(std::uint64_t seed) {
    if (!L_)
        return;
    const int top = lua_gettop(L_);
    lua_getglobal(L_, "math");
    lua_getfield(L_, -1, "randomseed");
    lua_pushinteger(L_, static_cast<lua_Integer>(seed));
    lua_pcall(L_, 1, 0, 0);
    lua_settop(L_, top);
}

// ---------------------------------------------------------------- errors

std::string LmdLuaRuntime::report(const std::string& element, const std::string& where, const std::string& message) {
    const std::string text = element.empty() ? "Script error: " + message
                                             : "Script error in " + element + " (" + where + "): " + message;
    if (logged_.size() < kMaxDistinctErrors) {
        if (logged_.insert(text).second) {
            LmdLog::critical(text);
            if (logged_.size() == kMaxDistinctErrors)
                LmdLog::critical("Script error: too many different errors; further ones are not logged");
        }
    }
    return text;
}

void LmdLuaRuntime::setLineMap(const std::string& map) {
    lines_.clear();
    size_t start = 0;
    while (start < map.size()) {
        size_t end = map.find('\n', start);
        if (end == std::string::npos)
            end = map.size();
        const std::string row = map.substr(start, end - start);
        start = end + 1;
        const size_t space = row.find(' ');
        const size_t tab = row.find('\t');
        if (space == std::string::npos || tab == std::string::npos || tab < space)
            continue;
        LineEntry entry;
        entry.line = std::atoi(row.c_str());
        entry.element = row.substr(space + 1, tab - space - 1);
        entry.where = row.substr(tab + 1);
        lines_.push_back(std::move(entry));
    }
    std::sort(lines_.begin(), lines_.end(), [](const LineEntry& a, const LineEntry& b) { return a.line < b.line; });
}

const LmdLuaRuntime::LineEntry* LmdLuaRuntime::entryForLine(int line) const {
    if (line <= 0)
        return nullptr;
    auto after = std::upper_bound(lines_.begin(), lines_.end(), line,
                                  [](int l, const LineEntry& entry) { return l < entry.line; });
    if (after == lines_.begin())
        return nullptr;
    const LineEntry& entry = *(after - 1);
    return entry.element.empty() ? nullptr : &entry;
}

} // namespace Lumenda3D
