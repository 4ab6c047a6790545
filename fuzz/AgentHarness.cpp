#include "AgentHarness.h"

#include "FuzzSupport.h"
#include "engine/document/Lumenda3DUtils.h"

namespace Lumenda3D::fuzz {
namespace {
using json = nlohmann::json;

std::string textOf(const json& result) {
    const json& content = result["content"];
    return content[0].value("text", std::string());
}
} // namespace

// The editor's backend over the current input's tools, with every tool run on the calling thread.
class AgentHarness::Backend : public LmdMcpBackend {
public:
    explicit Backend(AgentHarness& harness) : harness_(harness) {}
    std::vector<LmdMcpProtocol::ToolDefinition> toolDefinitions() const override { return LmdMcpTools::definitions(); }
    std::vector<LmdMcpProtocol::ResourceDefinition> resourceDefinitions() const override {
        return LmdMcpTools::resourceDefinitions();
    }
    bool isThreadSafe(const std::string&) const override { return true; }
    json callTool(const std::string& tool, const json& arguments) override {
        const std::string before = harness_.savedForm();
        json result;
        try {
            result = harness_.tools_->call(tool, arguments);
        } catch (const std::exception& e) {
            fail("a tool never throws", tool + ": " + e.what() + "\narguments: " + excerpt(arguments.dump()));
        }
        harness_.checkToolCall(tool, arguments, result, before);
        return result;
    }
    // A tool that answered with a wait goes on from its check, as the server does once frames
    // have played; the check is the tool's own, so it must never throw either.
    json resumeTool(const json& check) override {
        try {
            return harness_.tools_->resume(check);
        } catch (const std::exception& e) {
            fail("a resumed tool never throws", std::string(e.what()) + "\ncheck: " + excerpt(check.dump()));
        }
    }
    std::string readResource(const std::string& uri) override { return harness_.tools_->readResource(uri); }
    json checkPermission(const std::string&) override { return nullptr; }
    std::string knowledgeSection(const std::string& name) const override {
        return harness_.tools_->knowledgeSection(name);
    }

private:
    AgentHarness& harness_;
};

AgentHarness& AgentHarness::instance() {
    static AgentHarness* harness = new AgentHarness();
    return *harness;
}

AgentHarness::AgentHarness() {
    quietPrivateProcess();
    startXml_ = mediaFile("examples/starter.xml");
    if (!editor_.schemaLoaded)
        fail("the stand-in editor loads the command schema");
    backend_ = std::make_unique<Backend>(*this);
    reset();
    server_ = std::make_unique<LmdMcpServer>(backend_.get());
    // The protocol is configured by start; the listener it opens on a free loopback port is not
    // used: the targets call handleHttp and the protocol directly.
    if (!server_->start(0))
        fail("the agent server starts on a free loopback port", server_->http().lastError());
    for (int i = 0; i < 5; ++i)
        server_->logs().record("line " + std::to_string(i), static_cast<LmdLogRingBuffer::Level>(1 + i % 4));
}

void AgentHarness::reset() {
    Lumenda3DUtils::restartIdsForTesting();
    if (!editor_.load(startXml_))
        fail("the starting game loads");
    tools_ = std::make_unique<LmdMcpTools>(&editor_, server_ ? &server_->logs() : nullptr);
}

void AgentHarness::checkToolCall(const std::string& name, const json& arguments, const json& result,
                                 const std::string& savedBefore) {
    const std::string shape = toolResultProblem(result);
    require(shape.empty(), "a tool answers with a tool result", name + ": " + shape + "\n" + excerpt(result.dump(-1, ' ', false, json::error_handler_t::replace)));
    const bool failed = result.value("isError", false);
    const std::string text = textOf(result);
    try {
        (void)json(text).dump();
    } catch (const json::exception&) {
        fail("a tool's text is UTF-8 (a client's JSON reader refuses anything else)", name + ": " + excerpt(text, 2000));
    }
    // What the game already held (an earlier call may have written any text into it) and what
    // the call was given may come back; nothing else of a library's.
    require(!addsLibraryInternals(text, arguments.dump(-1, ' ', false, json::error_handler_t::replace) + savedBefore),
            "a tool's text carries no library internals", name + ": " + excerpt(text));
    const std::string savedAfter = savedForm();
    if (savedAfter == savedBefore)
        return;
    require(!failed, "a failed tool call leaves the document as it was", name + ": " + excerpt(text));
    require(name == "apply_edits" || name == "set_game_xml", "only the edit tools change the document", name);
    const std::string revision = LmdMcpTools::revisionOf(tools_->currentXmlWithIds());
    require(text.find("Applied. New revision: " + revision) != std::string::npos,
            "a successful edit reports the revision get_game_xml now gives", excerpt(text));
}

void AgentHarness::checkProtocolAnswer(const std::string& request, int status, const std::string& body,
                                       const std::string& savedBefore) {
    require(status == 200 || status == 202, "the protocol answers 200 or 202", std::to_string(status));
    require((status == 202) == body.empty(), "exactly the 202 answers have no body", excerpt(body));
    if (status == 202) {
        require(savedForm() == savedBefore, "a notification changes nothing");
        return;
    }
    const std::string problem = jsonRpcResponseProblem(body);
    require(problem.empty(), "every 200 answer is a JSON-RPC response", problem + "\n" + excerpt(body));
    require(!addsLibraryInternals(body, request), "no answer carries library internals", excerpt(body));
    const json reply = json::parse(body);
    if (reply.contains("error")) {
        require(reply["error"]["code"] != -32603, "no handler throws (an internal error is a fault)", excerpt(body));
        require(savedForm() == savedBefore, "a request answered with an error leaves the document as it was");
    }
    const json message = json::parse(request, nullptr, false);
    if (message.is_object() && message.contains("id") && (message["id"].is_string() || message["id"].is_number()))
        require(reply["id"] == message["id"], "the answer carries the request's id", excerpt(body));
}

} // namespace Lumenda3D::fuzz
