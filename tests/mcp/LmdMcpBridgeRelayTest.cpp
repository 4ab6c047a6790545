// What the stdio bridge writes for one line, with the editor's side played by a function: the
// answers a real editor never gives (several lines, no JSON, bytes that aren't UTF-8) included.
#include "mcp/LmdMcpBridgeRelay.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace Lumenda3D {
namespace {
using json = nlohmann::json;
using Reply = LmdMcpBridgeRelay::Reply;

LmdMcpBridgeRelay::Post answering(int status, std::string body) {
    return [status, body](const std::string&) {
        Reply reply;
        reply.reached = true;
        reply.status = status;
        reply.body = body;
        return reply;
    };
}

const char* const kPing = R"({"jsonrpc":"2.0","id":"p-1","method":"ping"})";
const char* const kNotification = R"({"jsonrpc":"2.0","method":"notifications/initialized"})";

json relayed(const std::string& line, const LmdMcpBridgeRelay::Post& post) {
    const std::string out = LmdMcpBridgeRelay::relay(line, 49222, post);
    EXPECT_EQ(out.find('\n'), std::string::npos) << out;
    return out.empty() ? json() : json::parse(out);
}

TEST(LmdMcpBridgeRelay, PassesTheEditorsAnswerOnOneLine) {
    const std::string compact = R"({"id":"p-1","jsonrpc":"2.0","result":{}})";
    EXPECT_EQ(LmdMcpBridgeRelay::relay(kPing, 1, answering(200, compact)), compact);
    EXPECT_EQ(relayed(kPing, answering(200, "{\n  \"id\": \"p-1\",\n  \"result\": {}\n}")),
              json::parse(R"({"id":"p-1","result":{}})"));
    EXPECT_EQ(relayed(kNotification, answering(202, "")), json());
}

// Both used to go wrong: a one-line answer that wasn't JSON was written out as it came, and a
// refusal whose text wasn't UTF-8 threw out of the relay, which ended the bridge.
TEST(LmdMcpBridgeRelay, AnAnswerThatIsNotJsonNeverReachesTheClient) {
    const json notJson = relayed(kPing, answering(200, "internal server error"));
    EXPECT_EQ(notJson["id"], "p-1");
    EXPECT_EQ(notJson["error"]["code"], LmdMcpBridgeRelay::kBadAnswerCode);
    EXPECT_EQ(notJson["error"]["message"], "The editor's answer was not valid JSON.");
    EXPECT_EQ(relayed(kNotification, answering(200, "oops")), json());

    const json refused = relayed(kPing, answering(500, "broken \xff\xfe text"));
    EXPECT_EQ(refused["id"], "p-1");
    EXPECT_EQ(refused["error"]["message"], "The editor refused the message (HTTP 500): broken \xEF\xBF\xBD\xEF\xBF\xBD text");
}

TEST(LmdMcpBridgeRelay, EveryRequestGetsAnAnswerWithItsId) {
    Reply gone;
    gone.failure = "Connection refused";
    std::string diagnostic;
    const std::string out = LmdMcpBridgeRelay::relay(R"({"id":7,"method":"initialize"})", 49300,
                                                     [&](const std::string&) { return gone; }, &diagnostic);
    const json unreachable = json::parse(out);
    EXPECT_EQ(unreachable["id"], 7);
    EXPECT_EQ(unreachable["error"]["code"], LmdMcpBridgeRelay::kNotReachableCode);
    EXPECT_EQ(unreachable["error"]["message"], LmdMcpBridgeRelay::notReachableText(49300));
    EXPECT_NE(diagnostic.find("Connection refused"), std::string::npos);
    EXPECT_EQ(LmdMcpBridgeRelay::relay(kNotification, 1, [&](const std::string&) { return gone; }), "");

    EXPECT_EQ(relayed(kPing, answering(202, ""))["error"]["message"], "The editor accepted the message but sent no reply.");
    // A line that isn't JSON is still a request: the editor's parse error is what it gets.
    EXPECT_EQ(relayed("{oops", answering(500, ""))["id"], json());
}

TEST(LmdMcpBridgeRelay, BlankLinesAndCarriageReturnsAreNotMessages) {
    std::string line = std::string(kPing) + "\r";
    EXPECT_TRUE(LmdMcpBridgeRelay::normaliseLine(line));
    EXPECT_EQ(line, kPing);
    for (std::string blank : {"", "\r", " \t \r"})
        EXPECT_FALSE(LmdMcpBridgeRelay::normaliseLine(blank)) << blank;
}

} // namespace
} // namespace Lumenda3D
