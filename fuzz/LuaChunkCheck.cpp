#include "LuaChunkCheck.h"

#include <cstdint>
#include <cstring>
#include <stdexcept>

#include <lua.hpp>

#include "FuzzSupport.h"

namespace Lumenda3D::fuzz {
namespace {

// Lua 5.4's binary chunk format (lundump.c) and the opcodes that reach upvalues (lopcodes.h).
constexpr unsigned kOpGetUpval = 9;
constexpr unsigned kOpSetUpval = 10;
constexpr unsigned kOpGetTabUp = 11;
constexpr unsigned kOpSetTabUp = 15;

class Reader {
public:
    explicit Reader(const std::string& bytes) : s_(bytes) {}

    unsigned byte() {
        if (at_ >= s_.size())
            throw std::runtime_error("truncated chunk");
        return static_cast<unsigned char>(s_[at_++]);
    }
    void skip(size_t n) {
        if (s_.size() - at_ < n)
            throw std::runtime_error("truncated chunk");
        at_ += n;
    }
    // Sizes and ints: 7 bits a byte, most significant first, the last byte marked by 0x80.
    size_t varint() {
        size_t x = 0;
        unsigned b;
        do {
            b = byte();
            if (x >> 56)
                throw std::runtime_error("size overflow");
            x = (x << 7) | (b & 0x7F);
        } while ((b & 0x80) == 0);
        return x;
    }
    // A string: its size plus one, then the bytes; size 0 is no string.
    std::string string() {
        const size_t n = varint();
        if (n == 0)
            return "";
        const size_t start = at_;
        skip(n - 1);
        return s_.substr(start, n - 1);
    }
    uint32_t instruction() {
        uint32_t v;
        const size_t start = at_;
        skip(4);
        std::memcpy(&v, s_.data() + start, 4);
        return v;
    }

private:
    const std::string& s_;
    size_t at_ = 0;
};

struct Constant {
    bool isString = false;
    std::string text;
};

void readFunction(Reader& in, LuaGlobalUse& out) {
    in.string();          // source
    in.varint();          // linedefined
    in.varint();          // lastlinedefined
    in.skip(3);           // numparams, is_vararg, maxstacksize
    std::vector<uint32_t> code(in.varint());
    for (uint32_t& i : code)
        i = in.instruction();
    std::vector<Constant> constants(in.varint());
    for (Constant& k : constants) {
        const unsigned type = in.byte();
        switch (type) {
        case 0x00: case 0x01: case 0x11: break;   // nil, false, true
        case 0x03: case 0x13: in.skip(8); break;  // integer, float
        case 0x04: case 0x14:                     // short and long strings
            k.isString = true;
            k.text = in.string();
            break;
        default:
            throw std::runtime_error("unknown constant type");
        }
    }
    const size_t upvalueCount = in.varint();
    in.skip(upvalueCount * 3);
    const size_t protos = in.varint();
    // Nested functions come before this function's debug information, which names the upvalues.
    std::vector<LuaGlobalUse> nested(protos);
    for (LuaGlobalUse& n : nested)
        readFunction(in, n);
    in.skip(in.varint());                           // lineinfo
    for (size_t n = in.varint(); n > 0; --n) {      // abslineinfo
        in.varint();
        in.varint();
    }
    for (size_t n = in.varint(); n > 0; --n) {      // locvars
        in.string();
        in.varint();
        in.varint();
    }
    std::vector<std::string> upvalueNames(in.varint());
    for (std::string& name : upvalueNames)
        name = in.string();
    if (upvalueNames.size() != upvalueCount)
        throw std::runtime_error("the chunk carries no upvalue names (stripped?)");

    auto isEnv = [&](unsigned index) { return index < upvalueNames.size() && upvalueNames[index] == "_ENV"; };
    auto key = [&](unsigned index) {
        return index < constants.size() && constants[index].isString ? constants[index].text : std::string("?");
    };
    for (uint32_t i : code) {
        const unsigned op = i & 0x7F;
        const unsigned a = (i >> 7) & 0xFF;
        const unsigned b = (i >> 16) & 0xFF;
        const unsigned c = (i >> 24) & 0xFF;
        if (op == kOpGetTabUp && isEnv(b))
            out.reads.push_back(key(c));
        else if (op == kOpSetTabUp && isEnv(a))
            out.writes.push_back(key(b));
        else if ((op == kOpGetUpval || op == kOpSetUpval) && isEnv(b))
            out.usesEnvDirectly = true;
    }
    for (const LuaGlobalUse& n : nested) {
        out.reads.insert(out.reads.end(), n.reads.begin(), n.reads.end());
        out.writes.insert(out.writes.end(), n.writes.begin(), n.writes.end());
        out.usesEnvDirectly = out.usesEnvDirectly || n.usesEnvDirectly;
    }
}

int collect(lua_State*, const void* p, size_t size, void* ud) {
    static_cast<std::string*>(ud)->append(static_cast<const char*>(p), size);
    return 0;
}

bool scan(const std::string& source, LuaGlobalUse& out, std::string& error) {
    out = LuaGlobalUse{};
    lua_State* L = luaL_newstate();
    if (!L) {
        error = "no Lua state";
        return false;
    }
    const int status = luaL_loadbufferx(L, source.data(), source.size(), "=chunk", "t");
    if (status != LUA_OK) {
        error = lua_tostring(L, -1) ? lua_tostring(L, -1) : "?";
        lua_close(L);
        return false;
    }
    std::string bytes;
    lua_dump(L, collect, &bytes, /*strip=*/0);
    lua_close(L);
    try {
        Reader in(bytes);
        static const char kHeader[] = "\x1bLua\x54\x00\x19\x93\r\n\x1a\n\x04\x08\x08";
        for (size_t i = 0; i < sizeof kHeader - 1; ++i) {
            if (in.byte() != static_cast<unsigned char>(kHeader[i]))
                throw std::runtime_error("not a Lua 5.4 chunk of this build's sizes");
        }
        in.skip(8 + 8 + 1); // LUAC_INT, LUAC_NUM, the main function's upvalue count
        readFunction(in, out);
    } catch (const std::exception& e) {
        fail("the compiled chunk can be read back", e.what());
    }
    return true;
}

// The reader checks itself once on chunks whose answer is known, so a mistake in it (or another
// Lua) shows up as a failure, never as silently passing checks.
void selfTest() {
    struct Case {
        const char* source;
        std::vector<std::string> reads, writes;
        bool env;
    };
    const Case cases[] = {
        {"local a = 1; return a", {}, {}, false},
        {"x = y", {"y"}, {"x"}, false},
        {"return math.min(1, 2)", {"math"}, {}, false},
        {"local t = {} return function() t.k = z end", {"z"}, {}, false},
        {"local f = function() return function() os.exit() end end", {"os"}, {}, false},
        {"return _ENV", {}, {}, true},
    };
    for (const Case& c : cases) {
        LuaGlobalUse use;
        std::string error;
        if (!scan(c.source, use, error) || use.reads != c.reads || use.writes != c.writes || use.usesEnvDirectly != c.env)
            fail("the Lua bytecode reader reads its known cases right", c.source);
    }
}

} // namespace

bool luaGlobalUse(const std::string& source, LuaGlobalUse& out, std::string& error) {
    static const bool checked = (selfTest(), true);
    (void)checked;
    return scan(source, out, error);
}

bool luaCompiles(const std::string& source, std::string* error) {
    lua_State* L = luaL_newstate();
    if (!L)
        return false;
    const int status = luaL_loadbufferx(L, source.data(), source.size(), "=chunk", "t");
    if (status != LUA_OK && error)
        *error = lua_tostring(L, -1) ? lua_tostring(L, -1) : "?";
    lua_close(L);
    return status == LUA_OK;
}

} // namespace Lumenda3D::fuzz
