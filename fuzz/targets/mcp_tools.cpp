// Every tool's argument handling (LmdMcpTools::call) over the stand-in editor: up to four calls in a
// row on the same game. Input: records separated by NUL, each one byte choosing the tool (in
// catalogue order) followed by the arguments as JSON text.
//
// Properties: a tool never throws and always answers a tool result without library text; a failed
// call leaves the game as it was; only a successful apply_edits or set_game_xml changes it, and it
// then reports the revision get_game_xml gives; get_game_xml's revision is that of its own text.
#include "AgentHarness.h"
#include "FuzzSupport.h"

using namespace Lumenda3D;
using namespace Lumenda3D::fuzz;
using json = nlohmann::json;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    AgentHarness& harness = AgentHarness::instance();
    harness.reset();
    static const std::vector<LmdMcpTools::ToolDefinition> catalogue = LmdMcpTools::definitions();
    for (const std::string& record : splitFields(data, size, 4)) {
        if (record.empty())
            continue;
        const std::string& name = catalogue[static_cast<unsigned char>(record[0]) % catalogue.size()].name;
        const json arguments = json::parse(record.substr(1), nullptr, false);
        if (arguments.is_discarded())
            continue;
        const std::string before = harness.savedForm();
        json result;
        try {
            result = harness.tools().call(name, arguments);
        } catch (const std::exception& e) {
            fail("a tool never throws", name + ": " + e.what() + "\narguments: " + excerpt(record.substr(1)));
        }
        harness.checkToolCall(name, arguments, result, before);
        if (name == "get_game_xml" && !result.value("isError", false)) {
            const std::string text = result["content"][0]["text"];
            const size_t body = text.find("\n\n");
            require(body != std::string::npos && text.compare(0, 10, "revision: ") == 0 &&
                        text.substr(10, 16) == LmdMcpTools::revisionOf(text.substr(body + 2)),
                    "get_game_xml's revision is that of the text it gives");
        }
    }
    return 0;
}
