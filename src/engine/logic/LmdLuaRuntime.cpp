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
#include "engine/logic/LmdLuaTranslator.h"
#include "engine/logic/LmdScriptHost.h"

namespace Lumenda3D {
namespace {

// The instruction budget is counted in steps of this many Lua instructions.
constexpr int kHookEvery = 1000;
// Level changes one call may chain (level A's OnStart going to B, whose OnStart goes to C ...).
constexpr int kMaxLevelSwitches = 8;
// Distinct errors remembered for de-duplication; beyond this, new errors are not logged.
constexpr size_t kMaxDistinctErrors = 1000;
constexpr const char* kRuntimeChunkName = "@lumenda3d_runtime.lua";

// Removes the "chunk:line: " that Lua puts before messages: the log names the block instead.
std::string cleanMessage(const std::string& message) {
    for (const char* prefix : {"game:", "lumenda3d_runtime.lua:"}) {
        const size_t length = std::strlen(prefix);
        if (message.compare(0, length, prefix) != 0)
            continue;
        size_t i = length;
        while (i < message.size() && std::isdigit(static_cast<unsigned char>(message[i])))
            ++i;
        if (i > length && message.compare(i, 2, ": ") == 0)
            return message.substr(i + 2);
    }
    return message;
}

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

// The C side of the Lua state: allocator, hook, error handler and the scene bindings (table H of
// the runtime library). Bindings never raise a Lua error while a C++ object is alive on their
// frame: they compute a message, leave the scope, then raise.
struct LmdLuaRuntime::Bindings {
    using Body = int (*)(lua_State*, LmdLuaRuntime&, std::string& error);

    static LmdLuaRuntime& rt(lua_State* L) { return **static_cast<LmdLuaRuntime**>(lua_getextraspace(L)); }

    template <Body body>
    static int guarded(lua_State* L) {
        int results = -1;
        {
            std::string error;
            try {
                results = body(L, rt(L), error);
            } catch (const std::exception& e) {
                error = std::string("the scene failed: ") + e.what();
                results = -1;
            } catch (...) {
                error = "the scene failed";
                results = -1;
            }
            if (results < 0)
                lua_pushlstring(L, error.data(), error.size());
        }
        if (results < 0)
            return lua_error(L);
        return results;
    }

    // An action on the scene (move, force, sound, animation, light, clone, destroy): when it
    // cannot act (the object is not there, the sound cannot play) the failure is logged against
    // its block like any error, but the logic goes on with the next block, so that one action
    // that finds nothing never takes its siblings down with it. Errors of the logic itself (a
    // value of the wrong kind, a runaway While) and a scene that throws still end the handler:
    // what follows would run on a broken value.
    template <int (*body)(lua_State*, LmdLuaRuntime&, std::string&)>
    static int action(lua_State* L) {
        LmdLuaRuntime& self = rt(L);
        int results = -1;
        bool failed = false; // the scene itself broke: that ends the handler, as any error
        {
            std::string error;
            try {
                results = body(L, self, error);
            } catch (const std::exception& e) {
                error = std::string("the scene failed: ") + e.what();
                failed = true;
            } catch (...) {
                error = "the scene failed";
                failed = true;
            }
            if (failed) {
                lua_pushlstring(L, error.data(), error.size());
            } else if (results < 0) {
                int line = gameLine(L);
                if (line <= 0)
                    line = self.fallbackLine_;
                const LineEntry* entry = self.entryForLine(line);
                self.report(entry ? entry->element : "", entry ? entry->where : "", error);
                results = 0;
            }
        }
        // Outside the block: lua_error does not return, and nothing may be left to destroy.
        if (failed)
            return lua_error(L);
        return results;
    }

    static void* alloc(void* userData, void* block, size_t oldSize, size_t newSize) {
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

    static void hook(lua_State* L, lua_Debug*) {
        LmdLuaRuntime& self = rt(L);
        self.instructions_ += kHookEvery;
        if (self.instructionLimit_ > 0 && self.instructions_ > self.instructionLimit_)
            luaL_error(L, "the logic ran more than %I Lua instructions without finishing and was stopped "
                          "(an endless loop?)",
                       static_cast<lua_Integer>(self.instructionLimit_));
    }

    // The line of the innermost function of the game chunk on the stack; 0 when there is none.
    static int gameLine(lua_State* L) {
        lua_Debug ar;
        for (int level = 0; lua_getstack(L, level, &ar); ++level) {
            if (lua_getinfo(L, "Sl", &ar) && std::strcmp(ar.source, kChunkName) == 0 && ar.currentline > 0)
                return ar.currentline;
        }
        return 0;
    }

    // Message handler of every protected call: finds the block, logs, returns the logged line.
    static int onError(lua_State* L) {
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
            logged = entry ? self.report(entry->element, entry->where, cleanMessage(message))
                           : self.report("", "", cleanMessage(message));
        }
        lua_pushlstring(L, logged.data(), logged.size());
        return 1;
    }

    // H.run(fn, a, b, line): fn(a, b) under the error handler; `line` names the block when the
    // error happens outside the game chunk (a tween's step). Returns ok, result.
    static int run(lua_State* L) {
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
            if (lua_getinfo(L, ">S", &ar) && std::strcmp(ar.source, kChunkName) == 0)
                defined = ar.linedefined;
            const LineEntry* entry = self.entryForLine(defined);
            self.report(entry ? entry->element : "", entry ? entry->where : "",
                        "the game's logic ran out of memory (the limit is " + std::to_string(self.memoryLimit_ >> 20) +
                            " MB)");
        }
        lua_pushboolean(L, 0);
        return 1;
    }

    static int line(lua_State* L) {
        lua_pushinteger(L, gameLine(L));
        return 1;
    }

    static int linemap(lua_State* L) {
        size_t length = 0;
        const char* text = lua_tolstring(L, 1, &length);
        if (text)
            rt(L).setLineMap(std::string(text, length));
        return 0;
    }

    static int goToLevel(lua_State* L) {
        LmdLuaRuntime& self = rt(L);
        size_t length = 0;
        const char* text = lua_tolstring(L, 1, &length);
        self.pendingLevel_ = std::string(text ? text : "", text ? length : 0);
        self.pendingLine_ = gameLine(L);
        return 0;
    }

    // ---- argument helpers (no Lua errors)

    static std::string describe(lua_State* L, int index) {
        switch (lua_type(L, index)) {
        case LUA_TNIL:
        case LUA_TNONE: return "nothing";
        case LUA_TBOOLEAN: return lua_toboolean(L, index) ? "true" : "false";
        case LUA_TNUMBER:
        case LUA_TSTRING: {
            size_t length = 0;
            const char* text = lua_tolstring(L, index, &length);
            return "'" + std::string(text, length) + "'";
        }
        case LUA_TTABLE: return "an array";
        default: return lua_typename(L, lua_type(L, index));
        }
    }

    static bool object(lua_State* L, int index, std::string& out, std::string& error) {
        const int type = lua_type(L, index);
        if (type == LUA_TSTRING) {
            size_t length = 0;
            const char* text = lua_tolstring(L, index, &length);
            out.assign(text, length);
            return true;
        }
        if (type == LUA_TNIL || type == LUA_TNONE)
            error = "there is no object to work on: the block names no target and does not stand in an object";
        else
            error = describe(L, index) + " is not the name of an object";
        return false;
    }

    static std::string text(lua_State* L, int index) {
        size_t length = 0;
        const char* value = lua_type(L, index) == LUA_TSTRING ? lua_tolstring(L, index, &length) : nullptr;
        return value ? std::string(value, length) : std::string();
    }

    static bool number(lua_State* L, int index, double& out, std::string& error, const char* what) {
        int isNumber = 0;
        out = static_cast<double>(lua_tonumberx(L, index, &isNumber));
        if (!isNumber)
            error = std::string(what) + " needs a number, not " + describe(L, index);
        return isNumber != 0;
    }

    static std::string missing(const std::string& object) { return "there is no object named '" + object + "'"; }

    // Explains a false answer of the host: the object is missing, or else `otherwise`.
    static int refused(LmdLuaRuntime& self, const std::string& object, const std::string& otherwise,
                       std::string& error) {
        error = self.host_.hasObject(object) ? otherwise : missing(object);
        return -1;
    }

    // ---- the scene

    static int get(lua_State* L, LmdLuaRuntime& self, std::string& error) {
        std::string o;
        if (!object(L, 1, o, error))
            return -1;
        const std::string property = text(L, 2);
        LmdScriptValue value;
        if (!self.host_.getProperty(o, property, value) || value.isNone())
            return refused(self, o, "'" + o + "' has no property '" + property + "'", error);
        switch (value.type) {
        case LmdScriptValue::Type::Number: lua_pushnumber(L, value.number); break;
        case LmdScriptValue::Type::Boolean: lua_pushboolean(L, value.boolean); break;
        case LmdScriptValue::Type::Text: lua_pushlstring(L, value.text.data(), value.text.size()); break;
        case LmdScriptValue::Type::None: lua_pushnil(L); break;
        }
        return 1;
    }

    static int set(lua_State* L, LmdLuaRuntime& self, std::string& error) {
        std::string o;
        if (!object(L, 1, o, error))
            return -1;
        const std::string property = text(L, 2);
        LmdScriptValue value;
        switch (lua_type(L, 3)) {
        case LUA_TNUMBER: value = LmdScriptValue::ofNumber(lua_tonumber(L, 3)); break;
        case LUA_TBOOLEAN: value = LmdScriptValue::ofBoolean(lua_toboolean(L, 3) != 0); break;
        case LUA_TSTRING: value = LmdScriptValue::ofText(text(L, 3)); break;
        default:
            error = "cannot set " + o + "." + property + " to " + describe(L, 3);
            return -1;
        }
        if (!self.host_.setProperty(o, property, value))
            return refused(self, o, "cannot set " + o + "." + property + " to " + describe(L, 3), error);
        return 0;
    }

    static int translate(lua_State* L, LmdLuaRuntime& self, std::string& error) {
        std::string o;
        double x = 0, y = 0, z = 0;
        if (!object(L, 1, o, error) || !number(L, 2, x, error, "Move") || !number(L, 3, y, error, "Move") ||
            !number(L, 4, z, error, "Move"))
            return -1;
        if (!self.host_.translate(o, x, y, z, lua_toboolean(L, 5) != 0))
            return refused(self, o, "'" + o + "' cannot move", error);
        return 0;
    }

    static int lookAt(lua_State* L, LmdLuaRuntime& self, std::string& error) {
        std::string o, at;
        if (!object(L, 1, o, error) || !object(L, 2, at, error))
            return -1;
        if (!self.host_.lookAt(o, at))
            return refused(self, o, self.host_.hasObject(at) ? "'" + o + "' cannot turn" : missing(at), error);
        return 0;
    }

    static int force(lua_State* L, LmdLuaRuntime& self, std::string& error) {
        std::string o;
        double x = 0, y = 0, z = 0;
        if (!object(L, 1, o, error) || !number(L, 2, x, error, "ApplyForce") || !number(L, 3, y, error, "ApplyForce") ||
            !number(L, 4, z, error, "ApplyForce"))
            return -1;
        if (!self.host_.applyForce(o, x, y, z, lua_toboolean(L, 5) != 0, lua_toboolean(L, 6) != 0))
            return refused(self, o, "'" + o + "' has no physics body (set its body to dynamic)", error);
        return 0;
    }

    static int velocity(lua_State* L, LmdLuaRuntime& self, std::string& error) {
        std::string o;
        if (!object(L, 1, o, error))
            return -1;
        std::optional<double> v[3];
        for (int i = 0; i < 3; ++i) {
            if (lua_isnil(L, 2 + i))
                continue;
            double value = 0;
            if (!number(L, 2 + i, value, error, "SetVelocity"))
                return -1;
            v[i] = value;
        }
        if (!self.host_.setVelocity(o, v[0], v[1], v[2], lua_toboolean(L, 5) != 0))
            return refused(self, o, "'" + o + "' has no physics body (set its body to dynamic)", error);
        return 0;
    }

    static int destroy(lua_State* L, LmdLuaRuntime& self, std::string& error) {
        std::string o;
        if (!object(L, 1, o, error))
            return -1;
        if (!self.host_.destroyObject(o)) {
            error = missing(o);
            return -1;
        }
        return 0;
    }

    static int clone(lua_State* L, LmdLuaRuntime& self, std::string& error) {
        std::string o;
        double x = 0, y = 0, z = 0;
        if (!object(L, 1, o, error) || !number(L, 3, x, error, "Clone") || !number(L, 4, y, error, "Clone") ||
            !number(L, 5, z, error, "Clone"))
            return -1;
        const std::string made = self.host_.cloneObject(o, text(L, 2), x, y, z);
        if (made.empty()) {
            error = missing(o);
            return -1;
        }
        lua_pushlstring(L, made.data(), made.size());
        return 1;
    }

    static int playAnimation(lua_State* L, LmdLuaRuntime& self, std::string& error) {
        std::string o;
        double speed = 1;
        if (!object(L, 1, o, error) || !number(L, 4, speed, error, "PlayAnimation"))
            return -1;
        const std::string animation = text(L, 2);
        if (!self.host_.playAnimation(o, animation, lua_toboolean(L, 3) != 0, speed))
            return refused(self, o, "'" + o + "' has no animation '" + animation + "'", error);
        return 0;
    }

    static int stopAnimation(lua_State* L, LmdLuaRuntime& self, std::string& error) {
        std::string o;
        if (!object(L, 1, o, error))
            return -1;
        if (!self.host_.stopAnimation(o))
            return refused(self, o, "'" + o + "' has no animation", error);
        return 0;
    }

    static int light(lua_State* L, LmdLuaRuntime& self, std::string& error) {
        const std::string name = text(L, 1);
        if (!self.host_.switchLight(name, lua_toboolean(L, 2) != 0)) {
            error = "there is no light named '" + name + "'";
            return -1;
        }
        return 0;
    }

    static int playSound(lua_State* L, LmdLuaRuntime& self, std::string& error) {
        double volume = 1;
        if (!number(L, 2, volume, error, "PlaySound"))
            return -1;
        const std::string name = text(L, 1);
        if (!self.host_.playSound(name, volume, lua_toboolean(L, 3) != 0)) {
            error = "the sound '" + name + "' cannot play (is its file missing?)";
            return -1;
        }
        return 0;
    }

    static int stopSound(lua_State* L, LmdLuaRuntime& self, std::string&) {
        self.host_.stopSound(text(L, 1));
        return 0;
    }

    static int distance(lua_State* L, LmdLuaRuntime& self, std::string& error) {
        std::string a, b;
        if (!object(L, 1, a, error) || !object(L, 2, b, error))
            return -1;
        double result = 0;
        if (!self.host_.distance(a, b, result)) {
            error = missing(self.host_.hasObject(a) ? b : a);
            return -1;
        }
        lua_pushnumber(L, result);
        return 1;
    }

    static int print(lua_State* L, LmdLuaRuntime& self, std::string&) {
        self.host_.print(text(L, 1));
        return 0;
    }
};

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
    lua_sethook(L_, &Bindings::hook, LUA_MASKCOUNT, kHookEvery);

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
            report("", "", "the Lua runtime library " + path + " does not load: " + cleanMessage(lua_tostring(L_, -1) ? lua_tostring(L_, -1) : "?"));
        else if (status == LUA_OK)
            report("", "", "the Lua runtime library " + path + " does not return its table");
        closeState();
        return false;
    }
    runtimeRef_ = luaL_ref(L_, LUA_REGISTRYINDEX);
    lua_pop(L_, 1); // the error handler

    const luaL_Reg bindings[] = {
        {"run", &Bindings::run},
        {"line", &Bindings::line},
        {"linemap", &Bindings::linemap},
        {"goToLevel", &Bindings::goToLevel},
        {"get", &Bindings::guarded<&Bindings::get>},
        {"set", &Bindings::guarded<&Bindings::set>},
        {"translate", &Bindings::action<&Bindings::translate>},
        {"lookAt", &Bindings::action<&Bindings::lookAt>},
        {"force", &Bindings::action<&Bindings::force>},
        {"velocity", &Bindings::action<&Bindings::velocity>},
        {"destroy", &Bindings::action<&Bindings::destroy>},
        {"clone", &Bindings::action<&Bindings::clone>},
        {"playAnimation", &Bindings::action<&Bindings::playAnimation>},
        {"stopAnimation", &Bindings::action<&Bindings::stopAnimation>},
        {"light", &Bindings::action<&Bindings::light>},
        {"playSound", &Bindings::action<&Bindings::playSound>},
        {"stopSound", &Bindings::action<&Bindings::stopSound>},
        {"distance", &Bindings::guarded<&Bindings::distance>},
        {"print", &Bindings::guarded<&Bindings::print>},
        {nullptr, nullptr},
    };
    const int bind = pushEntry("_bind");
    lua_newtable(L_);
    luaL_setfuncs(L_, bindings, 0);
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
        report("", "", std::string("the game's Lua code does not load: ") + cleanMessage(message ? message : "?"));
        closeState();
        return false;
    }
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
    return load(luaSource, "t");
}

bool LmdLuaRuntime::loadBytecode(const std::string& bytecode) {
    resetErrors();
    return load(bytecode, "b");
}

bool LmdLuaRuntime::loadTranslation(const LmdLuaTranslation& translation) {
    resetErrors();
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
