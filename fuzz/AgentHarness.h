#pragma once
// The agent server as the mcp_* targets drive it: the real catalogue and tools over the tests'
// stand-in editor (a real game document and the real schema, tests/mcp/FakeMcpEditor.h), the real
// protocol layer and endpoint. Tools run on the calling thread (no frame loop pumps here), and
// every input starts from the same state: the same game under the same ids and a fresh record of
// operations, so an input that breaks a property breaks it again when run alone.
#include <memory>
#include <string>

#include <nlohmann/json.hpp>

#include "mcp/FakeMcpEditor.h"
#include "mcp/LmdMcpServer.h"
#include "mcp/LmdMcpTools.h"

namespace Lumenda3D::fuzz {

class AgentHarness {
public:
    static AgentHarness& instance();

    // The starting state again; called at the start of every input.
    void reset();

    test::FakeMcpEditor& editor() { return editor_; }
    LmdMcpTools& tools() { return *tools_; }
    LmdMcpServer& server() { return *server_; }

    // The game as it is saved (no ids, no session marks): what "unchanged" is judged by.
    std::string savedForm() { return editor_.getSourceXmlString(false, true); }

    // Checks one tool call's result against the document before and after it: the result has
    // a tool result's shape and no library text, a failure left the document as it was, only a
    // successful apply_edits or set_game_xml changed it, and a success reports the revision that
    // get_game_xml now gives.
    void checkToolCall(const std::string& name, const nlohmann::json& arguments, const nlohmann::json& result,
                       const std::string& savedBefore);

    // Checks an HTTP-level answer of the protocol layer (status and body) to `request`, and the
    // document against what it was before.
    void checkProtocolAnswer(const std::string& request, int status, const std::string& body,
                             const std::string& savedBefore);

private:
    AgentHarness();

    class Backend;
    test::FakeMcpEditor editor_;
    std::unique_ptr<LmdMcpTools> tools_;
    std::unique_ptr<Backend> backend_;
    std::unique_ptr<LmdMcpServer> server_;
    std::string startXml_;
};

} // namespace Lumenda3D::fuzz
