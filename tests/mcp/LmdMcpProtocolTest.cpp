#include "mcp/LmdMcpProtocol.h"

#include <gtest/gtest.h>

#include "mcp/LmdMcpToolResult.h"

namespace Lumenda3D {
namespace {
using json = nlohmann::json;

class LmdMcpProtocolTest : public ::testing::Test {
protected:
    void SetUp() override {
        const json schema = json::parse(R"({"type":"object","properties":{},"required":[]})");
        protocol.configure(
            "2.1.3", "Read the rules first.", {{"get_logs", "Recent log lines.", schema}, {"run_game", "Start.", schema}},
            {{"lumenda3d://docs/rules", "Rules", "Read first", "text/markdown"},
             {"lumenda3d://docs/assets", "Assets", "Names", "text/markdown"}},
            [this](const std::string& name, const json& arguments) {
                calls.push_back({name, arguments});
                return LmdMcpToolResult::textResult("ran " + name + " — Größe");
            },
            // "assets" is catalogued but has no text, which counts as missing.
            [](const std::string& uri) { return uri == "lumenda3d://docs/rules" ? "# Rules" : ""; });
    }
    std::string body(const std::string& message) const { return protocol.handleMessage(message).body; }
    json result(const std::string& message) const { return json::parse(body(message))["result"]; }

    LmdMcpProtocol protocol;
    std::vector<std::pair<std::string, json>> calls;
};

std::string error(const std::string& id, int code, const std::string& message) {
    return R"({"error":{"code":)" + std::to_string(code) + R"(,"message":")" + message + R"("},"id":)" + id +
           R"(,"jsonrpc":"2.0"})";
}

TEST_F(LmdMcpProtocolTest, RequestErrorsHaveExactCodesTextsAndIds) {
    const std::pair<std::string, std::string> cases[] = {
        {"{", error("null", -32700, "Parse error: request body is not valid JSON")},
        {R"([{"id":1,"method":"ping"}])", error("null", -32600, "Invalid request: expected a single JSON-RPC object")},
        {R"("ping")", error("null", -32600, "Invalid request: expected a single JSON-RPC object")},
        {R"({"jsonrpc":"2.0","id":7})", error("7", -32600, "Invalid request: missing method")},
        {R"({"id":"a","method":""})", error(R"("a")", -32600, "Invalid request: missing method")},
        {R"({"params":{}})", error("null", -32600, "Invalid request: missing method")},
        {R"({"id":1,"method":"sampling/createMessage"})", error("1", -32601, "Method not found: sampling/createMessage")},
        {R"({"id":2,"method":"tools/call","params":{"name":"get_logs_x"}})", error("2", -32602, "Unknown tool: get_logs_x")},
        {R"({"id":4,"method":"resources/read","params":{"uri":"lumenda3d://docs/mcp"}})",
         error("4", -32002, "Resource not found: lumenda3d://docs/mcp")},
        {R"({"id":5,"method":"resources/read","params":{"uri":"lumenda3d://docs/assets"}})",
         error("5", -32002, "Resource not found: lumenda3d://docs/assets")},
    };
    for (const auto& [request, expected] : cases) {
        auto response = protocol.handleMessage(request);
        EXPECT_EQ(response.status, 200) << request;
        EXPECT_EQ(response.body, expected) << request;
    }
    EXPECT_TRUE(calls.empty());
}

// Members of the wrong type are the request's fault: a protocol error with the documented code,
// never the JSON library's exception (which used to reach the client as an HTTP 500).
TEST_F(LmdMcpProtocolTest, MistypedMembersAreProtocolErrors) {
    const std::pair<std::string, std::string> cases[] = {
        {R"({"id":1,"method":42})", error("1", -32600, "Invalid request: 'method' must be a string")},
        {R"({"method":["ping"]})", error("null", -32600, "Invalid request: 'method' must be a string")},
        {R"({"id":{"a":1},"method":"ping"})", error("null", -32600, "Invalid request: 'id' must be a string or a number")},
        {R"({"id":true,"method":"ping"})", error("null", -32600, "Invalid request: 'id' must be a string or a number")},
        {R"({"id":2,"method":"tools/list","params":[1]})", error("2", -32602, "Invalid params: 'params' must be an object")},
        {R"({"id":3,"method":"tools/call","params":{"name":7}})",
         error("3", -32602, "Invalid params: the tool 'name' must be a string")},
        {R"({"id":4,"method":"tools/call","params":{"name":"run_game","arguments":"fast"}})",
         error("4", -32602, "Invalid params: 'arguments' must be an object")},
        {R"({"id":5,"method":"tools/call","params":{"name":"run_game","arguments":[]}})",
         error("5", -32602, "Invalid params: 'arguments' must be an object")},
        {R"({"id":6,"method":"resources/read","params":{"uri":{}}})", error("6", -32602, "Invalid params: 'uri' must be a string")},
    };
    for (const auto& [request, expected] : cases) {
        auto response = protocol.handleMessage(request);
        EXPECT_EQ(response.status, 200) << request;
        EXPECT_EQ(response.body, expected) << request;
    }
    EXPECT_TRUE(calls.empty());
    // An unknown version of the wrong type is just an unknown version.
    EXPECT_EQ(result(R"({"id":1,"method":"initialize","params":{"protocolVersion":2025}})")["protocolVersion"], "2025-06-18");
}

TEST_F(LmdMcpProtocolTest, AHandlerThatThrowsIsAnInternalErrorWithoutItsText) {
    LmdMcpProtocol throwing;
    throwing.configure(
        "2.1.3", "", {{"run_game", "", json::object()}}, {{"lumenda3d://docs/rules", "Rules", "", "text/markdown"}},
        [](const std::string&, const json&) -> json { throw std::runtime_error("basic_string::_M_create"); },
        [](const std::string&) -> std::string { return json(1).at("x").get<std::string>(); });
    EXPECT_EQ(throwing.handleMessage(R"({"id":1,"method":"tools/call","params":{"name":"run_game"}})").body,
              error("1", -32603, "Internal error: the editor could not handle tools/call"));
    EXPECT_EQ(throwing.handleMessage(R"({"id":2,"method":"resources/read","params":{"uri":"lumenda3d://docs/rules"}})").body,
              error("2", -32603, "Internal error: the editor could not handle resources/read"));
}

TEST_F(LmdMcpProtocolTest, NotificationsGet202AndDoNothingWhileId0IsARequest) {
    for (const char* message : {R"({"method":"notifications/initialized"})", R"({"method":"no/such/method"})",
                                R"({"id":null,"method":"tools/call","params":{"name":"run_game"}})"}) {
        auto response = protocol.handleMessage(message);
        EXPECT_EQ(response.status, 202) << message;
        EXPECT_EQ(response.body, "") << message;
    }
    EXPECT_TRUE(calls.empty());
    EXPECT_EQ(body(R"({"jsonrpc":"2.0","id":0,"method":"ping"})"), R"({"id":0,"jsonrpc":"2.0","result":{}})");
    EXPECT_EQ(body(R"({"id":"r-1","method":"prompts/list"})"), R"({"id":"r-1","jsonrpc":"2.0","result":{"prompts":[]}})");
}

TEST_F(LmdMcpProtocolTest, InitializeNegotiatesTheVersionAndIntroducesTheServer) {
    auto version = [&](const std::string& requested) {
        return result(R"({"id":1,"method":"initialize","params":{"protocolVersion":")" + requested + R"("}})")["protocolVersion"];
    };
    EXPECT_EQ(version("2024-11-05"), "2024-11-05");
    EXPECT_EQ(version("2025-03-26"), "2025-03-26");
    EXPECT_EQ(version("1999-01-01"), "2025-06-18");
    json init = result(R"({"id":1,"method":"initialize"})");
    EXPECT_EQ(init["protocolVersion"], "2025-06-18");
    EXPECT_EQ(init["capabilities"], json::parse(R"({"tools":{},"resources":{}})"));
    EXPECT_EQ(init["serverInfo"], json::parse(R"({"name":"lumenda3d-editor","title":"Lumenda3D Editor","version":"2.1.3"})"));
    EXPECT_EQ(init["instructions"], "Read the rules first.");
}

TEST_F(LmdMcpProtocolTest, ListsCallsAndReadsUseTheCatalogue) {
    json tools = result(R"({"id":1,"method":"tools/list"})")["tools"];
    ASSERT_EQ(tools.size(), 2u);
    EXPECT_EQ(tools[1], json::parse(R"({"name":"run_game","description":"Start.","inputSchema":{"type":"object","properties":{},"required":[]}})"));
    EXPECT_EQ(result(R"({"id":1,"method":"resources/list","params":null})")["resources"][0],
              json::parse(R"({"uri":"lumenda3d://docs/rules","name":"Rules","description":"Read first","mimeType":"text/markdown"})"));
    EXPECT_EQ(result(R"({"id":1,"method":"resources/read","params":{"uri":"lumenda3d://docs/rules"}})"),
              json::parse(R"({"contents":[{"uri":"lumenda3d://docs/rules","mimeType":"text/markdown","text":"# Rules"}]})"));

    // Without arguments the tool gets an empty object; non-ASCII output stays raw UTF-8.
    EXPECT_EQ(body(R"({"id":9,"method":"tools/call","params":{"name":"run_game"}})"),
              "{\"id\":9,\"jsonrpc\":\"2.0\",\"result\":{\"content\":[{\"text\":\"ran run_game — Größe\",\"type\":\"text\"}]}}");
    body(R"({"id":10,"method":"tools/call","params":{"name":"get_logs","arguments":{"sinceId":5}}})");
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0].second, json::object());
    EXPECT_EQ(calls[1].second, json::parse(R"({"sinceId":5})"));
}

TEST(LmdMcpToolResult, ShapesAndBase64) {
    EXPECT_EQ(LmdMcpToolResult::errorResult("retry").dump(), R"({"content":[{"text":"retry","type":"text"}],"isError":true})");
    EXPECT_EQ(LmdMcpToolResult::imageResult({0xff, 0xd8, 0xff}).dump(),
              R"({"content":[{"data":"/9j/","mimeType":"image/jpeg","type":"image"}]})");
    for (const auto& [plain, encoded] : std::vector<std::pair<std::string, std::string>>{
             {"", ""}, {"f", "Zg=="}, {"fo", "Zm8="}, {"foo", "Zm9v"}, {"foobar", "Zm9vYmFy"}})
        EXPECT_EQ(LmdMcpToolResult::base64(reinterpret_cast<const unsigned char*>(plain.data()), plain.size()), encoded);
}

} // namespace
} // namespace Lumenda3D
