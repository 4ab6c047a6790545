// Agent server benchmarks: round trips of a main-thread tool (get_status) and of a
// connection-thread tool (get_logs) over real HTTP on loopback, with percentiles, and apply_edits
// on a generated game of 10,000 nodes.
//
// The round trips run against the real server, protocol, tool catalogue and document; a thread
// stands in for the editor's frame loop and runs the queued jobs (continuously, or at 60 frames
// per second, which is what an agent waits for in the editor).
#include "GeneratedGame.h"
#include "mcp/FakeMcpEditor.h"

#include "base/LmdLog.h"
#include "mcp/LmdMcpEditorBackend.h"
#include "mcp/LmdMcpServer.h"
#include "mcp/LmdMcpTools.h"

#include <benchmark/benchmark.h>
#include <httplib.h>
#include <pugixml.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

using namespace Lumenda3D;
using json = nlohmann::json;
using Clock = std::chrono::steady_clock;

namespace {

const char* const kSmallGame = R"(<KiteBench3D>
  <Level name="Main"><Camera name="Cam"/><Box name="Crate" x="1"/></Level>
</KiteBench3D>)";

// The server with its tools over a real document, and a frame loop thread.
class Endpoint {
public:
    explicit Endpoint(int frameMicros) : tools_(&editor_, nullptr), backend_(tools_, nullptr), server_(&backend_) {
        editor_.load(kSmallGame);
        tools_.setLogBuffer(&server_.logs());
        LmdLog::setEchoToStderr(false);
        server_.logs().attach();
        for (int i = 0; i < 2000; ++i)
            LmdLog::message("Lua: line " + std::to_string(i) + " of a running game's output");
        server_.start(0);
        frames_ = std::thread([this, frameMicros] {
            while (!stop_) {
                server_.dispatcher().pump();
                std::this_thread::sleep_for(std::chrono::microseconds(frameMicros > 0 ? frameMicros : 50));
            }
        });
    }
    ~Endpoint() {
        stop_ = true;
        frames_.join();
        server_.logs().detach();
        server_.dispatcher().shutdown();
        server_.stop();
        LmdLog::setEchoToStderr(true);
    }
    int port() const { return server_.http().port(); }
    std::uint64_t lastLogId() { return server_.logs().lastId(); }

private:
    test::FakeMcpEditor editor_;
    LmdMcpTools tools_;
    LmdMcpEditorBackend backend_;
    LmdMcpServer server_;
    std::atomic<bool> stop_{false};
    std::thread frames_;
};

void reportPercentiles(benchmark::State& state, std::vector<double>& micros) {
    if (micros.empty())
        return;
    std::sort(micros.begin(), micros.end());
    auto at = [&micros](double q) { return micros[static_cast<size_t>(q * static_cast<double>(micros.size() - 1))]; };
    state.counters["p50_us"] = at(0.50);
    state.counters["p99_us"] = at(0.99);
    state.counters["max_us"] = micros.back();
}

void roundTrips(benchmark::State& state, const std::string& tool, const json& arguments) {
    Endpoint endpoint(static_cast<int>(state.range(0)));
    httplib::Client http("127.0.0.1", endpoint.port());
    json request = {{"jsonrpc", "2.0"}, {"id", 1}, {"method", "tools/call"}, {"params", {{"name", tool}}}};
    request["params"]["arguments"] = arguments.is_null() ? json::object() : arguments;
    if (tool == "get_logs")
        request["params"]["arguments"]["sinceId"] = endpoint.lastLogId() - 50;  // the newest 50 lines
    const std::string body = request.dump();
    std::vector<double> micros;
    for (auto _ : state) {
        const auto start = Clock::now();
        auto response = http.Post("/mcp", body, "application/json");
        micros.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
        if (!response || response->status != 200) {
            state.SkipWithError("request failed");
            break;
        }
    }
    reportPercentiles(state, micros);
}

void BM_GetStatusRoundTrip(benchmark::State& state) { roundTrips(state, "get_status", nullptr); }
// 0: the jobs run as soon as they come; 16667: at 60 frames per second, as in the editor.
BENCHMARK(BM_GetStatusRoundTrip)->Arg(0)->Arg(16667)->Unit(benchmark::kMicrosecond)->UseRealTime()->Iterations(2000);

void BM_GetLogsRoundTrip(benchmark::State& state) { roundTrips(state, "get_logs", json::object()); }
// Answered on the connection thread: the frame rate must not matter.
BENCHMARK(BM_GetLogsRoundTrip)->Arg(16667)->Unit(benchmark::kMicrosecond)->UseRealTime()->Iterations(2000);

// apply_edits on a 10,000-node game: one attribute update with baseRevision, as an agent sends
// it. Measures the main thread's share (revision of the current text, the edited document built
// and checked, the document reloaded); the editor's scene rebuild comes on top.
void BM_ApplyEdits10kNodes(benchmark::State& state) {
    test::FakeMcpEditor editor;
    editor.load(bench::generateGame(10000));
    LmdMcpTools tools(&editor, nullptr);
    int value = 0;
    for (auto _ : state) {
        state.PauseTiming();
        const std::string read = tools.call("get_game_xml", json::object())["content"][0]["text"];
        const std::string revision = read.substr(std::string("revision: ").size(), 16);
        pugi::xml_document doc;
        doc.load_string(read.c_str() + read.find('<'));
        const std::string id = doc.select_node("//*[@name][@x]").node().attribute("id").value();
        const json args = {{"baseRevision", revision},
                           {"ops", {{{"op", "update"}, {"id", id}, {"attrs", {{"x", std::to_string(++value)}}}}}}};
        state.ResumeTiming();
        const json result = tools.call("apply_edits", args);
        if (result.value("isError", false)) {
            state.SkipWithError(result["content"][0]["text"].get<std::string>().c_str());
            break;
        }
    }
    state.counters["xmlBytes"] = static_cast<double>(editor.getSourceXmlString(false, true).size());
}
BENCHMARK(BM_ApplyEdits10kNodes)->Unit(benchmark::kMillisecond);

} // namespace
