// lmd-cloud-load: a bounded load test of lumenda3d-cloud on loopback. It starts the server in
// this process (on SQLite, on PostgreSQL, or both), lets N clients run a mix of login, list,
// load, save and asset upload for a number of seconds, checks that every client's last save is
// what it reads back, times single 1 MB saves, and runs a plain cpp-httplib "hello" handler under
// the same clients as the ceiling. See docs/cloud-server.md ("Load test").
#include <httplib.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <map>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "CloudLog.h"
#include "CloudServer.h"
#include "Encoding.h"
#include "TempPostgres.h"

using namespace Lumenda3D::Cloud;
using Clock = std::chrono::steady_clock;

namespace {

struct Options {
    std::string backend = "both";
    std::string postgresUrl;
    int clients = 50;
    int seconds = 60;
    int documentKb = 100;
    int bigSaves = 100;
    bool check = false;   // exit 1 on any error or lost save
};

struct Stats {
    std::map<std::string, std::vector<double>> latencies;   // milliseconds by operation
    long errors = 0;
    std::vector<std::string> errorSamples;
    void merge(const Stats& other) {
        for (const auto& [op, v] : other.latencies)
            latencies[op].insert(latencies[op].end(), v.begin(), v.end());
        errors += other.errors;
        for (const auto& e : other.errorSamples)
            if (errorSamples.size() < 5)
                errorSamples.push_back(e);
    }
};

double percentile(std::vector<double> v, double p) {
    if (v.empty())
        return 0;
    std::sort(v.begin(), v.end());
    const std::size_t i = std::min(v.size() - 1, static_cast<std::size_t>(p * (v.size() - 1) + 0.5));
    return v[i];
}

void printRow(const std::string& label, const std::string& op, const std::vector<double>& v, double seconds) {
    std::printf("%-12s %-8s %9zu %9.2f %9.2f %10.1f\n", label.c_str(), op.c_str(), v.size(), percentile(v, 0.5),
                percentile(v, 0.99), v.size() / seconds);
}

void report(const std::string& label, const Stats& s, double seconds) {
    std::vector<double> all;
    for (const auto& [op, v] : s.latencies) {
        printRow(label, op, v, seconds);
        all.insert(all.end(), v.begin(), v.end());
    }
    printRow(label, "all", all, seconds);
}

std::string document(int client, int sequence, int kb) {
    const std::string head = "<KiteBench3D client=\"" + std::to_string(client) + "\" save=\"" + std::to_string(sequence) + "\">";
    std::string body = head;
    while (body.size() + 16 < static_cast<std::size_t>(kb) * 1024)
        body += "<Box name=\"b\"/>";
    return body + "</KiteBench3D>";
}

// One client: its own keep-alive connection and account, a weighted mix of operations.
struct Client {
    int index = 0;
    int port = 0;
    std::string user;
    std::string password = "load test password";
    std::string token;
    std::string projectId;
    int sequence = 0;
    std::string lastSaved;
    Stats stats;

    Clock::time_point started;
    bool timed(const std::string& op, const std::function<bool()>& call) {
        started = Clock::now();
        const bool ok = call();
        stats.latencies[op].push_back(std::chrono::duration<double, std::milli>(Clock::now() - started).count());
        return ok;
    }
    void fail(const std::string& what) {
        ++stats.errors;
        const double ms = std::chrono::duration<double, std::milli>(Clock::now() - started).count();
        if (stats.errorSamples.size() < 5)
            stats.errorSamples.push_back(what + " after " + std::to_string(static_cast<long>(ms)) + " ms");
    }
};

bool expect(Client& c, const httplib::Result& r, int status, const std::string& op) {
    if (r && r->status == status)
        return true;
    c.fail(op + ": " + (r ? std::to_string(r->status) + " " + r->body.substr(0, 200) : "no answer (" + httplib::to_string(r.error()) + ")"));
    return false;
}

httplib::Headers bearer(const std::string& token) { return {{"Authorization", "Bearer " + token}}; }

void setUp(Client& c, httplib::Client& http, int kb) {
    auto r = http.Post("/api/auth/register", nlohmann::json{{"username", c.user}, {"password", c.password}}.dump(),
                       "application/json");
    if (!expect(c, r, 201, "register"))
        return;
    c.token = nlohmann::json::parse(r->body)["token"];
    c.lastSaved = document(c.index, 0, kb);
    r = http.Post("/api/resources", bearer(c.token), nlohmann::json{{"name", "Load " + c.user}, {"xml", c.lastSaved}}.dump(),
                  "application/json");
    if (expect(c, r, 201, "create"))
        c.projectId = nlohmann::json::parse(r->body)["resource_id"];
}

void runClient(Client& c, const Options& o, Clock::time_point end) {
    httplib::Client http("127.0.0.1", c.port);
    http.set_keep_alive(true);
    http.set_tcp_nodelay(true);
    http.set_read_timeout(60, 0);
    std::mt19937 random(1000 + c.index);
    // Shares: login 0.5 %, list 20 %, load 34 %, save 34 %, upload 10 %. A login costs a
    // password hash (argon2id, 64 MiB) by design; an editor logs in once a month, not once in
    // fifty requests.
    std::discrete_distribution<int> pick({1, 40, 68, 68, 20});
    const std::string image = "\x89PNG\r\n\x1a\n" + std::string(20 * 1024, 'i');
    while (Clock::now() < end) {
        switch (pick(random)) {
        case 0:
            c.timed("login", [&] {
                auto r = http.Post("/api/auth/login", nlohmann::json{{"username", c.user}, {"password", c.password}}.dump(),
                                   "application/json");
                if (!expect(c, r, 200, "login"))
                    return false;
                c.token = nlohmann::json::parse(r->body)["token"];
                return true;
            });
            break;
        case 1:
            c.timed("list", [&] { return expect(c, http.Get("/api/resources?limit=20", bearer(c.token)), 200, "list"); });
            break;
        case 2:
            c.timed("load", [&] {
                return expect(c, http.Get(("/api/resources/" + c.projectId).c_str(), bearer(c.token)), 200, "load");
            });
            break;
        case 3: {
            const std::string doc = document(c.index, ++c.sequence, o.documentKb);
            const bool ok = c.timed("save", [&] {
                return expect(c,
                              http.Put(("/api/resources/" + c.projectId).c_str(), bearer(c.token),
                                       nlohmann::json{{"xml", doc}}.dump(), "application/json"),
                              200, "save");
            });
            if (ok)
                c.lastSaved = doc;
            break;
        }
        default:
            c.timed("upload", [&] {
                httplib::MultipartFormDataItems items = {
                    {"action", "uploadTexture", "", ""},
                    {"fileName", "tex" + std::to_string(random() % 5) + ".png", "", ""},
                    {"token", c.token, "", ""},
                    {"imageData", image, "tex.png", "application/octet-stream"},
                    {"thumbData", image.substr(0, 2048), "thumb", "application/octet-stream"}};
                return expect(c, http.Post("/api/assets", items), 200, "upload");
            });
        }
    }
}

struct Outcome {
    long errors = 0;
    long lostSaves = 0;
};

Outcome loadBackend(const std::string& label, const std::string& database, const Options& o) {
    CloudConfig config;
    config.database = database;
    config.threads = 64;
    config.defaultQuotaBytes = std::int64_t(1) << 30;
    CloudLog::setQuiet(std::getenv("LMD_CLOUD_LOAD_LOG") == nullptr);
    CloudServer server(config);
    const int port = server.bind();
    std::thread serving([&] { server.serve(); });

    std::vector<Client> clients;
    for (int i = 0; i < o.clients; ++i) {
        Client c;
        c.index = i;
        c.port = port;
        c.user = "load" + std::to_string(i) + "_" + std::to_string(::getpid());
        clients.push_back(std::move(c));
    }
    {
        // Accounts are made a few at a time: each waits for its password hash, which is not
        // what this test measures.
        std::atomic<std::size_t> next{0};
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t)
            threads.emplace_back([&] {
                for (std::size_t i = next++; i < clients.size(); i = next++) {
                    httplib::Client http("127.0.0.1", clients[i].port);
                    http.set_read_timeout(300, 0);
                    setUp(clients[i], http, o.documentKb);
                }
            });
        for (auto& t : threads)
            t.join();
    }
    Stats setupStats;
    for (Client& c : clients) {
        setupStats.merge(c.stats);
        c.stats = Stats();
    }

    const auto start = Clock::now();
    const auto end = start + std::chrono::seconds(o.seconds);
    std::vector<std::thread> threads;
    for (Client& c : clients)
        if (!c.projectId.empty())
            threads.emplace_back([&c, &o, end] { runClient(c, o, end); });
    for (auto& t : threads)
        t.join();
    const double elapsed = std::chrono::duration<double>(Clock::now() - start).count();

    Stats total;
    Outcome outcome;
    httplib::Client http("127.0.0.1", port);
    http.set_keep_alive(true);
    http.set_tcp_nodelay(true);
    for (Client& c : clients) {
        total.merge(c.stats);
        if (c.projectId.empty()) {   // its set-up failed (counted as an error)
            ++outcome.lostSaves;
            continue;
        }
        auto r = http.Get(("/api/resources/" + c.projectId).c_str(), bearer(c.token));
        if (!r || r->status != 200 || nlohmann::json::parse(r->body)["xml"] != c.lastSaved)
            ++outcome.lostSaves;
    }
    report(label, total, elapsed);

    // Single saves of a 1 MB document, one after the other.
    if (!clients.empty() && !clients[0].projectId.empty()) {
        std::vector<double> big;
        const auto bigStart = Clock::now();
        const std::string doc = document(0, 999999, 1024);
        const std::string body = nlohmann::json{{"xml", doc}}.dump();
        for (int i = 0; i < o.bigSaves; ++i) {
            const auto t0 = Clock::now();
            auto r = http.Put(("/api/resources/" + clients[0].projectId).c_str(), bearer(clients[0].token), body,
                              "application/json");
            big.push_back(std::chrono::duration<double, std::milli>(Clock::now() - t0).count());
            if (!r || r->status != 200)
                ++total.errors;
        }
        printRow(label, "save1MB", big, std::chrono::duration<double>(Clock::now() - bigStart).count());
    }
    outcome.errors = total.errors + setupStats.errors;
    for (const auto& e : setupStats.errorSamples)
        std::printf("  setup error: %s\n", e.c_str());
    for (const auto& e : total.errorSamples)
        std::printf("  error: %s\n", e.c_str());
    std::printf("%-12s errors %ld, lost saves %ld of %d clients\n", label.c_str(), outcome.errors, outcome.lostSaves,
                o.clients);
    server.stop();
    serving.join();
    return outcome;
}

void loadHello(const Options& o) {
    httplib::Server hello;
    hello.new_task_queue = [] { return new httplib::ThreadPool(64); };
    hello.set_tcp_nodelay(true);
    hello.Get("/hello", [](const httplib::Request&, httplib::Response& res) { res.set_content("hello", "text/plain"); });
    const int port = hello.bind_to_any_port("127.0.0.1");
    std::thread serving([&] { hello.listen_after_bind(); });
    std::vector<std::vector<double>> latencies(o.clients);
    const auto start = Clock::now();
    const auto end = start + std::chrono::seconds(o.seconds);
    std::vector<std::thread> threads;
    for (int i = 0; i < o.clients; ++i)
        threads.emplace_back([&, i] {
            httplib::Client http("127.0.0.1", port);
            http.set_keep_alive(true);
            http.set_tcp_nodelay(true);
            while (Clock::now() < end) {
                const auto t0 = Clock::now();
                http.Get("/hello");
                latencies[i].push_back(std::chrono::duration<double, std::milli>(Clock::now() - t0).count());
            }
        });
    for (auto& t : threads)
        t.join();
    const double elapsed = std::chrono::duration<double>(Clock::now() - start).count();
    std::vector<double> all;
    for (auto& v : latencies)
        all.insert(all.end(), v.begin(), v.end());
    printRow("hello", "get", all, elapsed);
    hello.stop();
    serving.join();
}

} // namespace

int main(int argc, char** argv) {
    Options o;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        auto next = [&]() -> std::string {
            if (i + 1 >= argc) {
                std::cerr << a << " needs a value\n";
                std::exit(2);
            }
            return argv[++i];
        };
        if (a == "--backend") o.backend = next();
        else if (a == "--postgres-url") o.postgresUrl = next();
        else if (a == "--clients") o.clients = std::max(1, std::atoi(next().c_str()));
        else if (a == "--seconds") o.seconds = std::clamp(std::atoi(next().c_str()), 1, 600);
        else if (a == "--doc-kb") o.documentKb = std::clamp(std::atoi(next().c_str()), 1, 4096);
        else if (a == "--big-saves") o.bigSaves = std::clamp(std::atoi(next().c_str()), 0, 10000);
        else if (a == "--check") o.check = true;
        else {
            std::cerr << "usage: lmd-cloud-load [--backend sqlite|postgresql|both|hello] [--clients 50] [--seconds 60]\n"
                         "       [--doc-kb 100] [--big-saves 100] [--postgres-url URL] [--check]\n";
            return 2;
        }
    }
    std::printf("%d clients, %d s per run, %d KB documents; latencies in ms\n", o.clients, o.seconds, o.documentKb);
    std::printf("%-12s %-8s %9s %9s %9s %10s\n", "run", "op", "count", "p50", "p99", "req/s");
    Outcome sum;
    auto add = [&](const Outcome& r) {
        sum.errors += r.errors;
        sum.lostSaves += r.lostSaves;
    };
    char pattern[] = "/tmp/lmd-cloud-load-XXXXXX";
    const std::string dir = ::mkdtemp(pattern) ? pattern : "/tmp";
    if (o.backend == "sqlite" || o.backend == "both")
        add(loadBackend("sqlite", "sqlite:" + dir + "/load.sqlite3", o));
    if (o.backend == "postgresql" || o.backend == "both") {
        std::string url = o.postgresUrl, whyNot;
        if (url.empty()) {
            auto* pg = Lumenda3D::Cloud::test::TempPostgres::shared(whyNot);
            if (pg)
                url = pg->createDatabase();
            else
                std::printf("postgresql   skipped: %s\n", whyNot.c_str());
        }
        if (!url.empty())
            add(loadBackend("postgresql", url, o));
    }
    loadHello(o);
    Lumenda3D::Cloud::test::TempPostgres::shutdownShared();
    std::error_code ec;
    std::filesystem::remove_all(dir, ec);
    return o.check && (sum.errors || sum.lostSaves) ? 1 : 0;
}
