// Sixteen agents at once against the real server, tools and document: every call answers, every
// refusal is one of the server's own sentences, and the document ends exactly as the accepted
// edits left it (no lost update, nothing torn).
#include <atomic>
#include <chrono>
#include <regex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <httplib.h>

#include "FakeMcpEditor.h"
#include "base/LmdLog.h"
#include "mcp/LmdMcpEditorBackend.h"
#include "mcp/LmdMcpServer.h"
#include "mcp/LmdMcpTools.h"

namespace Lumenda3D {
namespace {
using json = nlohmann::json;
using test::FakeMcpEditor;

constexpr int kClients = 16;
constexpr int kCallsPerClient = 1000;

const std::set<std::string> kRefusals = {
    "Stale revision: the document changed since you read it. Call get_game_xml and re-derive your edits.",
    "editor request queue is full — retry shortly",
};

std::string game() {
    std::string xml = "<KiteBench3D>\n  <Level name=\"Main\">\n";
    for (int i = 0; i < kClients; ++i)
        xml += "    <Box name=\"B" + std::to_string(i) + "\" x=\"-1\"/>\n";
    return xml + "  </Level>\n</KiteBench3D>";
}

struct ClientOutcome {
    int calls = 0;
    int applied = 0;
    int lastAppliedValue = -1;
    int logLinesSeen = 0;
    std::vector<std::string> faults;  // anything that is neither a result nor a known refusal
};

class Agent {
public:
    Agent(int port, int index) : http_("127.0.0.1", port), index_(index) {
        http_.set_read_timeout(30, 0);
        http_.set_keep_alive(true);
    }

    ClientOutcome run() {
        ClientOutcome out;
        std::uint64_t sinceId = 0;
        int value = 0;
        while (out.calls < kCallsPerClient) {
            switch (out.calls % 3) {
            case 0:
                call("get_status", json::object(), out);
                break;
            case 1: {
                const json logs = call("get_logs", {{"sinceId", sinceId}}, out);
                std::smatch m;
                const std::string text = textOf(logs);
                // Only ever newer lines than asked for.
                for (auto it = std::sregex_iterator(text.begin(), text.end(), kIdPattern); it != std::sregex_iterator();
                     ++it) {
                    const std::uint64_t id = std::stoull((*it)[1]);
                    if (id <= sinceId)
                        out.faults.push_back("get_logs returned line " + std::to_string(id) + " after " +
                                             std::to_string(sinceId));
                    sinceId = std::max(sinceId, id);
                    ++out.logLinesSeen;
                }
                break;
            }
            default: {
                // Read, then edit this agent's own box against what was read.
                const json read = call("get_game_xml", json::object(), out);
                if (read.is_null() || out.calls >= kCallsPerClient)
                    break;
                const std::string text = textOf(read);
                std::smatch rev;
                const std::string id = boxId(text);
                if (!std::regex_search(text, rev, kRevisionPattern) || id.empty()) {
                    out.faults.push_back("get_game_xml without revision or box: " + text.substr(0, 120));
                    break;
                }
                ++value;
                const json ops = json::array({{{"op", "update"}, {"id", id},
                                               {"attrs", {{"x", std::to_string(value)}}}}});
                const json result = call("apply_edits", {{"ops", ops}, {"baseRevision", rev[1].str()}}, out);
                if (!result.is_null() && !result.value("isError", false)) {
                    ++out.applied;
                    out.lastAppliedValue = value;
                }
            }
            }
        }
        return out;
    }

private:
    // The id of this agent's box in the agent form that follows the revision line.
    std::string boxId(const std::string& text) const {
        pugi::xml_document doc;
        const std::size_t start = text.find('<');
        if (start == std::string::npos || !doc.load_string(text.c_str() + start))
            return "";
        const std::string name = "B" + std::to_string(index_);
        return doc.find_node([&](const pugi::xml_node& n) { return name == n.attribute("name").value(); })
            .attribute("id")
            .value();
    }

    static std::string textOf(const json& result) {
        if (!result.is_object() || !result.contains("content") || result["content"].empty())
            return "";
        return result["content"][0].value("text", "");
    }

    // One tools/call; null after a fault (recorded) or a known refusal.
    json call(const std::string& tool, const json& arguments, ClientOutcome& out) {
        ++out.calls;
        const json request = {{"jsonrpc", "2.0"}, {"id", out.calls}, {"method", "tools/call"},
                              {"params", {{"name", tool}, {"arguments", arguments}}}};
        auto response = http_.Post("/mcp", request.dump(), "application/json");
        if (!response || response->status != 200) {
            out.faults.push_back(tool + ": HTTP " +
                                 (response ? std::to_string(response->status) : httplib::to_string(response.error())));
            return nullptr;
        }
        const json reply = json::parse(response->body, nullptr, false);
        if (reply.is_discarded() || reply.value("id", -1) != out.calls || !reply.contains("result")) {
            out.faults.push_back(tool + ": bad reply " + response->body.substr(0, 200));
            return nullptr;
        }
        const json& result = reply["result"];
        if (result.value("isError", false)) {
            const std::string text = textOf(result);
            if (!kRefusals.count(text))
                out.faults.push_back(tool + ": unexpected refusal: " + text);
            return nullptr;
        }
        return result;
    }

    static const std::regex kIdPattern;
    static const std::regex kRevisionPattern;
    httplib::Client http_;
    int index_;
};

const std::regex Agent::kIdPattern("\n\\[([0-9]+)\\]\\[");
const std::regex Agent::kRevisionPattern("^revision: ([0-9a-f]{16})");

TEST(LmdMcpLoad, SixteenAgentsThousandCallsEach) {
    FakeMcpEditor editor;
    ASSERT_TRUE(editor.load(game()));
    LmdMcpTools tools(&editor, nullptr);
    LmdMcpEditorBackend backend(tools, nullptr);
    LmdMcpServer server(&backend);
    tools.setLogBuffer(&server.logs());
    server.logs().attach();
    ASSERT_TRUE(server.start(0));
    const int port = server.http().port();

    std::vector<ClientOutcome> outcomes(kClients);
    std::atomic<int> finished{0};
    std::vector<std::thread> clients;
    for (int i = 0; i < kClients; ++i) {
        clients.emplace_back([&, i] {
            Agent agent(port, i);
            outcomes[i] = agent.run();
            ++finished;
        });
    }
    // The main thread: frames that run the queued jobs and log a line now and then, as the
    // engine does while a game runs.
    LmdLog::setEchoToStderr(false);
    for (int frame = 0; finished < kClients; ++frame) {
        server.dispatcher().pump();
        if (frame % 10 == 0)
            LmdLog::message("frame " + std::to_string(frame));
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    LmdLog::setEchoToStderr(true);
    for (std::thread& t : clients)
        t.join();
    server.logs().detach();
    server.dispatcher().shutdown();
    server.stop();

    int applied = 0;
    int logLines = 0;
    for (int i = 0; i < kClients; ++i) {
        const ClientOutcome& out = outcomes[i];
        EXPECT_EQ(out.calls, kCallsPerClient) << "client " << i;
        for (const std::string& fault : out.faults)
            ADD_FAILURE() << "client " << i << ": " << fault;
        applied += out.applied;
        logLines += out.logLinesSeen;
        // The last accepted edit of each agent is what its box holds: nothing lost, nothing torn.
        const pugi::xml_node box = editor.document.root().find_node([&](const pugi::xml_node& n) {
            return std::string(n.attribute("name").value()) == "B" + std::to_string(i);
        });
        ASSERT_TRUE(box) << "client " << i;
        EXPECT_EQ(box.attribute("x").as_int(-2), out.lastAppliedValue) << "client " << i;
    }
    // Optimistic concurrency lets edits through, not only refusals.
    EXPECT_GT(applied, kClients);
    EXPECT_EQ(editor.applyCount, applied);
    EXPECT_GT(logLines, 0);
}

} // namespace
} // namespace Lumenda3D
