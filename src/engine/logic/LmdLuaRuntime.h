#pragma once
// Runs a game's logic: owns a Lua 5.4 state with the runtime library (media/lua/
// lumenda3d_runtime.lua) and the translated game chunk, binds the scene through LmdScriptHost,
// and passes the engine's events on to the logic.
//
// Errors never stop the game. Every Lua error (a runtime error in a block, a While or the
// instruction budget running out, a chunk that does not load) becomes one critical log line that
// names the block at fault by its element and id:
//   Script error in OnCollision (id 42): attempt to perform arithmetic on a nil value
// The same error from the same block is logged once per loaded game, not once per frame. An error
// ends only the handler it happened in; the other handlers of the frame still run.
//
// Not thread-safe: all calls on the main thread. docs/game-logic-runtime.md describes the whole.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include <pugixml.hpp>

#include "engine/logic/LmdLuaTranslation.h"
#include "engine/logic/LmdPointerState.h"
#include "engine/logic/LmdScriptValue.h"

struct lua_State;

namespace Lumenda3D {

class CodeSchema;
class LmdScriptHost;

class LmdLuaRuntime {
public:
    // Lua instructions one handler may run before it is stopped (about a tenth of a second).
    static constexpr std::int64_t kDefaultInstructionLimit = 50'000'000;
    // Memory the game's Lua state may hold.
    static constexpr std::size_t kDefaultMemoryLimit = std::size_t(512) << 20;
    // Name of the game chunk in Lua messages and debug information.
    static constexpr const char* kChunkName = "=game";

    explicit LmdLuaRuntime(LmdScriptHost& host);
    ~LmdLuaRuntime();
    LmdLuaRuntime(const LmdLuaRuntime&) = delete;
    LmdLuaRuntime& operator=(const LmdLuaRuntime&) = delete;

    // ---- Loading. Each load starts from a fresh Lua state (nothing of an earlier game stays)
    // and forgets which errors were logged. False when nothing can run (the runtime library or
    // the chunk does not load); the reason is logged.
    // Translates the document, logs each translation problem, loads the chunk.
    bool loadDocument(const pugi::xml_node& root, const CodeSchema& schema);
    // Logs the translation's problems and loads its chunk.
    bool loadTranslation(const LmdLuaTranslation& translation);
    bool loadChunk(const std::string& luaSource);
    // A chunk from compileToBytecode (exported games ship these).
    bool loadBytecode(const std::string& bytecode);
    bool isLoaded() const { return L_ != nullptr; }

    // Compiles a game chunk to Lua bytecode (with line information, which error messages need).
    static bool compileToBytecode(const std::string& luaSource, std::string& bytecode, std::string* error = nullptr);

    // ---- Running
    // Starts the level ("" = the first). The first start after a load or stop() starts the game
    // as well (game variables, game OnStart). Starting while running switches levels: level
    // variables start again, game variables keep their values. False for an unknown level.
    bool start(const std::string& level = "");
    // One frame: timers, held keys, joysticks, OnUpdate, tweens, texts with placeholders.
    void update(double dt);
    // Key names as the language writes them ("Left", "Space", "A"); case does not matter.
    // A keyDown for a key already down (key repeat) does nothing.
    void keyDown(const std::string& key);
    void keyUp(const std::string& key);
    // A click or tap on an object (3D or 2D) by its name.
    void click(const std::string& object);
    // The player's pointer: expressions read it as mouseX and mouseY (always) and as pointerX,
    // pointerY, pointerZ (when the pointer meets something) and pointerObject.
    void pointer(const LmdPointerState& state);
    // A click or tap on the game view, before its OnClick runs: its point and object become
    // clickX, clickY, clickZ (when it met something) and clickObject, and stay until the next.
    void clickAt(const LmdPointerState& state);
    // Whether the loaded logic reads the pointer's 3D point or object: working them out costs a
    // ray through the scene, which the scene then casts every frame. True for a chunk loaded
    // without its translation (nothing says what it reads).
    bool readsPointer() const { return readsPointer_; }
    // Two objects started touching (once per contact, in either order).
    void collision(const std::string& a, const std::string& b);
    // The state of an on-screen stick, x and y in [-1, 1]; (0, 0) when released. OnJoystick
    // handlers run in every update() while it is pushed.
    void joystick(const std::string& name, double x, double y);
    // The scene removed an object by itself (fell out of the world ...): its logic stops.
    void objectRemoved(const std::string& object);
    // Ends the game; start() begins it anew.
    void stop();
    bool isRunning() const;
    std::string currentLevel() const;

    // A variable of the running level, else of the game. False when neither has it.
    bool getVariable(const std::string& name, LmdScriptValue& value) const;
    // Every variable the running game can read, by name in alphabetical order, with its value
    // (an array as its items' text).
    std::vector<std::pair<std::string, LmdScriptValue>> variables() const;
    // Gives a declared variable (of the running level, else of the game) a new value; texts with
    // placeholders follow at once. False when the game declares no such variable.
    bool setVariable(const std::string& name, const LmdScriptValue& value);

    // ---- Limits
    void setInstructionLimit(std::int64_t instructions) { instructionLimit_ = instructions; }
    void setMemoryLimit(std::size_t bytes) { memoryLimit_ = bytes; }
    // Seeds random() (it is seeded from the clock otherwise); applies to the loaded game.
    void setRandomSeed(std::uint64_t seed);

    // Critical lines this runtime logged since the last load (each distinct error once).
    std::size_t errorCount() const { return logged_.size(); }

    // Where the runtime library is read from: LmdPaths::mediaDir()/lua/lumenda3d_runtime.lua.
    static std::string runtimeLibraryPath();

private:
    struct Bindings;
    friend struct Bindings;

    struct LineEntry {
        int line = 0;
        std::string element;
        std::string where;
    };

    bool openState();
    void closeState();
    void resetErrors();
    bool load(const std::string& data, const char* mode);
    // Pushes the error handler and R[function]; returns the handler's stack index (0 without a
    // state). The caller pushes the arguments and calls callEntry.
    int pushEntry(const char* function);
    // Calls the entry under the error handler, then performs a level change the logic asked for.
    bool callEntry(int handlerIndex, int arguments);
    void afterEntry();
    // Logs one error (once per distinct text) and returns the line as logged.
    std::string report(const std::string& element, const std::string& where, const std::string& message);
    const LineEntry* entryForLine(int line) const;
    void setLineMap(const std::string& map);

    LmdScriptHost& host_;
    lua_State* L_ = nullptr;
    int runtimeRef_ = -1; // registry reference of the runtime table R
    bool readsPointer_ = true;
    std::int64_t instructionLimit_ = kDefaultInstructionLimit;
    std::size_t memoryLimit_ = kDefaultMemoryLimit;
    std::size_t memoryUsed_ = 0;
    std::int64_t instructions_ = 0;
    int runDepth_ = 0;
    int entryDepth_ = 0;
    int fallbackLine_ = 0;
    bool switching_ = false;
    int pendingLine_ = 0; // the line of the GoToLevel block that asked for pendingLevel_
    std::vector<LineEntry> lines_;
    std::unordered_set<std::string> logged_;
    std::optional<std::string> pendingLevel_;
};

} // namespace Lumenda3D
