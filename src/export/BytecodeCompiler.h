#pragma once
// Compiles a game document for export: checks it against the game language's schema, translates
// its logic into one Lua chunk and turns that into Lua bytecode, and writes the game package
// (LmdGamePackage: the document and the bytecode) that the player loads.
#include <functional>
#include <string>
#include <vector>

namespace Lumenda3D {

struct BytecodeCompileInput {
    std::string xml;        // the game document
    std::string mediaDir;   // the folder holding codeSchema.xml
    std::string outputDir;  // where the compiled files go (exists)
    // Turns a Lua source file into bytecode (LocalExportService::luaFileToBytecode); false when
    // the file does not load.
    std::function<bool(const std::string& path, std::string& bytes)> luaFileToBytecode;
};

struct BytecodeCompileResult {
    bool success = false;
    std::string error;
    std::string compiledXmlPath; // the document as the package holds it ("game.xml")
    std::string luaSourcePath;   // the translated chunk ("game.lua")
    std::string bytecodePath;    // its bytecode ("game.luac")
    // Blocks the translation left out (each as the runtime would log it); the export goes on.
    std::vector<std::string> warnings;
};

class BytecodeCompiler {
public:
    // How many schema findings the error text names at most.
    static constexpr int kReportedFindings = 5;

    static BytecodeCompileResult compile(const BytecodeCompileInput& input);
    // Writes the game package of a successful compile to `packagePath` (atomically); false with
    // `error` on failure (a missing compiled file, a full disk).
    static bool buildPackage(const BytecodeCompileResult& result, const std::string& packagePath, std::string& error);
};

} // namespace Lumenda3D
