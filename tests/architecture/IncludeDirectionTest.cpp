// The include direction of the layers: base, services, engine, ui, the features, and the editor
// object (core) on top. A file may include its own layer and the layers below; features never
// include each other; the engine's editing parts (engine/editing, engine/gizmo) sit above the
// rest of the engine, which includes neither them nor the engine object; the standalone player
// includes nothing above the engine. Every violation is reported with its file and line.
#include "TestDataRoot.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

// The folders of src/ and their place in the stack.
const std::map<std::string, int>& layerRanks() {
    static const std::map<std::string, int> ranks = {
        {"base", 0},     {"services", 1},   {"engine", 2}, {"ui", 3},     {"chrome", 4},
        {"project", 4},  {"mcp", 4},        {"ai", 4},     {"blocks", 4}, {"attributes", 4},
        {"assets", 4},   {"export", 4},     {"core", 5},
    };
    return ranks;
}
constexpr int kFeatureRank = 4;

// Feature pairs (from, to) that are allowed to include one another. A feature that truly builds
// on another one is named here, with the reason, rather than reaching past the layers.
const std::set<std::pair<std::string, std::string>>& allowedFeaturePairs() {
    // The attribute panel edits the selected block: it shows a Block and places itself by the tree.
    // The asset pickers of the attribute panel list the asset catalog's assets.
    static const std::set<std::pair<std::string, std::string>> pairs = {{"attributes", "blocks"},
                                                                         {"attributes", "assets"}};
    return pairs;
}

bool isEditingPart(const std::string& path) {
    return path.rfind("engine/editing/", 0) == 0 || path.rfind("engine/gizmo/", 0) == 0;
}

bool isEngineObject(const std::string& path) {
    return path == "engine/Lumenda3DEngine.h" || path == "engine/LmdRuntime.h";
}

std::string firstFolder(const std::string& path) {
    const size_t slash = path.find('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

// Why `from` (a path under src/, or tools/<program>/...) must not include `to`; "" when it may.
std::string violation(const std::string& from, const std::string& to) {
    const std::string toFolder = firstFolder(to);
    auto toRank = layerRanks().find(toFolder);
    if (toRank == layerRanks().end())
        return "";  // a system or test header
    if (from.rfind("tools/", 0) == 0) {
        if (from.rfind("tools/lumenda3d-player/", 0) != 0)
            return "";
        if (toRank->second > layerRanks().at("engine") || isEditingPart(to))
            return "the player links the engine alone";
        return "";
    }
    const std::string fromFolder = firstFolder(from);
    auto fromRank = layerRanks().find(fromFolder);
    if (fromRank == layerRanks().end())
        return "src/" + fromFolder + "/ is in no layer: add it to the table of this test and to docs/architecture.md";
    if (toRank->second > fromRank->second)
        return "runs up from " + fromFolder + " to " + toFolder;
    if (fromRank->second == kFeatureRank && toRank->second == kFeatureRank && fromFolder != toFolder &&
        !allowedFeaturePairs().count({fromFolder, toFolder}))
        return "runs sideways from the feature " + fromFolder + " to the feature " + toFolder;
    if (fromFolder == "engine" && !isEditingPart(from)) {
        if (isEditingPart(to))
            return "runs from the engine into its editing parts, which the player does not link";
        if (isEngineObject(to) && from.find('/', 7) != std::string::npos)
            return "runs from an engine room up to the engine object";
    }
    return "";
}

std::vector<std::string> findViolations(const fs::path& root) {
    static const std::regex include(R"(^\s*#\s*include\s*"([^"]+)\")");
    std::vector<std::string> found;
    for (const char* top : {"src", "tools"}) {
        const fs::path base = root / top;
        if (!fs::is_directory(base))
            continue;
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(base)) {
            const std::string extension = entry.path().extension().string();
            if (!entry.is_regular_file() || (extension != ".h" && extension != ".cpp"))
                continue;
            std::string from = fs::relative(entry.path(), base).generic_string();
            if (std::string(top) == "tools")
                from = "tools/" + from;
            std::ifstream file(entry.path());
            std::string line;
            for (int number = 1; std::getline(file, line); ++number) {
                std::smatch match;
                if (!std::regex_search(line, match, include))
                    continue;
                const std::string why = violation(from, match[1].str());
                if (!why.empty())
                    found.push_back(std::string(top) + "/" + fs::relative(entry.path(), base).generic_string() + ":" +
                                    std::to_string(number) + ": #include \"" + match[1].str() + "\" " + why);
            }
        }
    }
    std::sort(found.begin(), found.end());
    return found;
}

TEST(IncludeDirection, EveryIncludeRunsDownTheStack) {
    const std::vector<std::string> found = findViolations(LMD_SOURCE_DIR);
    std::string report;
    for (const std::string& line : found)
        report += line + "\n";
    EXPECT_TRUE(found.empty()) << report;
}

TEST(IncludeDirection, FindsEveryKindOfWrongInclude) {
    Lumenda3D::test::TestDataRoot root;
    const fs::path tree = root.path();
    auto write = [&](const std::string& path, const std::string& text) {
        fs::create_directories((tree / path).parent_path());
        std::ofstream(tree / path) << text;
    };
    write("src/base/Log.cpp", "#include \"base/Log.h\"\n#include <vector>\n#include \"ui/BaseUI.h\"\n");
    write("src/engine/scene/Scene.cpp", "#include \"engine/editing/LmdSourceFiles.h\"\n"
                                        "#include \"engine/Lumenda3DEngine.h\"\n#include \"engine/app/LmdAppContext.h\"\n");
    write("src/engine/editing/Tools.cpp", "#include \"engine/Lumenda3DEngine.h\"\n#include \"engine/gizmo/LmdGizmo.h\"\n");
    write("src/engine/Lumenda3DEngine.cpp", "#include \"engine/gizmo/LmdGizmo.h\"\n");
    write("src/project/Save.cpp", "  #  include \"chrome/TopBar.h\"\n#include \"ui/AllUI.h\"\n#include \"core/X.h\"\n");
    write("src/core/Editor.cpp", "#include \"project/Save.h\"\n#include \"mcp/M.h\"\n");
    write("src/newlayer/Thing.cpp", "#include \"base/Log.h\"\n");
    write("tools/lumenda3d-player/main.cpp", "#include \"engine/LmdRuntime.h\"\n#include \"core/Lumenda3DEditor.h\"\n");
    write("tools/lmd-other/main.cpp", "#include \"core/Lumenda3DEditor.h\"\n");

    const std::vector<std::string> found = findViolations(tree);
    const std::vector<std::string> expected = {
        "src/base/Log.cpp:3: #include \"ui/BaseUI.h\" runs up from base to ui",
        "src/engine/Lumenda3DEngine.cpp:1: #include \"engine/gizmo/LmdGizmo.h\" runs from the engine into its editing "
        "parts, which the player does not link",
        "src/engine/scene/Scene.cpp:1: #include \"engine/editing/LmdSourceFiles.h\" runs from the engine into its "
        "editing parts, which the player does not link",
        "src/engine/scene/Scene.cpp:2: #include \"engine/Lumenda3DEngine.h\" runs from an engine room up to the "
        "engine object",
        "src/newlayer/Thing.cpp:1: #include \"base/Log.h\" src/newlayer/ is in no layer: add it to the table of this "
        "test and to docs/architecture.md",
        "src/project/Save.cpp:1: #include \"chrome/TopBar.h\" runs sideways from the feature project to the feature "
        "chrome",
        "src/project/Save.cpp:3: #include \"core/X.h\" runs up from project to core",
        "tools/lumenda3d-player/main.cpp:2: #include \"core/Lumenda3DEditor.h\" the player links the engine alone",
    };
    EXPECT_EQ(found, expected);
}

} // namespace
