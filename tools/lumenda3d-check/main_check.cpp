// lumenda3d-check: reads a game file and reports what the command schema finds wrong with it.
// Exit status: 0 when the game is clean, 1 when it has violations, 2 when it cannot be read.
#include "base/LmdLog.h"
#include "base/LmdPaths.h"
#include "engine/document/LmdGameDocument.h"
#include "engine/schema/CodeSchema.h"
#include "engine/schema/SchemaValidator.h"
#include "services/FileManager.h"

#include <cstdio>
#include <cstring>
#include <string>

using namespace Lumenda3D;

int main(int argc, char** argv) {
    std::string gamePath, schemaPath;
    int limit = 50;
    // The schema's own log lines only matter when something fails, and then the error says why.
    LmdLog::setEchoToStderr(false);
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg == "--schema" && i + 1 < argc)
            schemaPath = argv[++i];
        else if (arg == "--max" && i + 1 < argc)
            limit = std::atoi(argv[++i]);
        else if (arg == "-h" || arg == "--help") {
            std::printf("Usage: lumenda3d-check [--schema codeSchema.xml] [--max N] game.xml\n"
                        "Checks a Lumenda3D game against the command schema and prints each problem.\n");
            return 0;
        } else
            gamePath = arg;
    }
    if (gamePath.empty()) {
        std::fprintf(stderr, "lumenda3d-check: no game file given (try --help)\n");
        return 2;
    }
    if (schemaPath.empty())
        schemaPath = LmdPaths::mediaDir() + "/codeSchema.xml";

    std::string text, error;
    if (!FileManager::readFile(gamePath, text, &error)) {
        std::fprintf(stderr, "lumenda3d-check: %s\n", error.c_str());
        return 2;
    }
    LmdGameDocument doc;
    if (!doc.setXmlSourceString(text, &error)) {
        std::fprintf(stderr, "lumenda3d-check: '%s' is not well-formed XML: %s\n", gamePath.c_str(), error.c_str());
        return 2;
    }
    CodeSchema schema;
    if (!schema.load(schemaPath, &error)) {
        std::fprintf(stderr, "lumenda3d-check: the command schema could not be loaded: %s\n", error.c_str());
        return 2;
    }
    std::vector<std::string> violations = SchemaValidator::validate(doc.root(), schema, limit);
    for (const std::string& v : violations)
        std::printf("%s\n", v.c_str());
    if (violations.empty())
        std::printf("%s: no problems found.\n", gamePath.c_str());
    return violations.empty() ? 0 : 1;
}
