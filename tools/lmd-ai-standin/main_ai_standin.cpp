// A scripted AI provider for tests of the real editor: an HTTP server on 127.0.0.1 that speaks
// OpenAI Chat Completions (POST /v1/chat/completions) and answers with the model texts of the
// given files, one per request in order (the last one repeats).
//
//   lmd-ai-standin PORT_FILE [--delay-ms N] REPLY_FILE...
//
// The port the system chose is written to PORT_FILE. In a reply, "{{id:NAME}}" becomes the id of
// the element named NAME in the game XML of the request's last message, so that scripted changes
// address the editor's live ids. A "--delay-ms N" before a file holds that answer N milliseconds.
// Runs until it is terminated.
#include <chrono>
#include <csignal>
#include <fstream>
#include <iostream>
#include <mutex>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <httplib.h>
#include <nlohmann/json.hpp>

namespace {

struct Reply {
    std::string text;
    int delayMs = 0;
};

httplib::Server* server = nullptr;

void stop(int) {
    if (server)
        server->stop();
}

std::string idsFilledIn(std::string reply, const std::string& xml) {
    const std::regex placeholder(R"(\{\{id:([^}]+)\}\})");
    std::smatch match;
    while (std::regex_search(reply, match, placeholder)) {
        const std::regex element("<[A-Za-z_][^>]* name=\"" + match[1].str() + "\"[^>]*>");
        const std::regex idAttribute(" id=\"([0-9]+)\"");
        std::smatch found, id;
        std::string tag;
        if (std::regex_search(xml, found, element))
            tag = found[0].str();
        const std::string value = std::regex_search(tag, id, idAttribute) ? id[1].str() : "0";
        reply.replace(match.position(0), match.length(0), value);
    }
    return reply;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::cerr << "usage: lmd-ai-standin PORT_FILE [--delay-ms N] REPLY_FILE...\n";
        return 2;
    }
    std::vector<Reply> replies;
    int delay = 0;
    for (int i = 2; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--delay-ms" && i + 1 < argc) {
            delay = std::atoi(argv[++i]);
            continue;
        }
        std::ifstream in(arg, std::ios::binary);
        if (!in) {
            std::cerr << "lmd-ai-standin: cannot read " << arg << "\n";
            return 2;
        }
        std::ostringstream text;
        text << in.rdbuf();
        replies.push_back({text.str(), delay});
        delay = 0;
    }
    if (replies.empty()) {
        std::cerr << "lmd-ai-standin: no reply files\n";
        return 2;
    }
    httplib::Server http;
    server = &http;
    std::mutex mutex;
    size_t next = 0;
    http.Post("/v1/chat/completions", [&](const httplib::Request& request, httplib::Response& response) {
        Reply reply;
        {
            std::lock_guard<std::mutex> lock(mutex);
            reply = replies[std::min(next, replies.size() - 1)];
            ++next;
        }
        std::string xml;
        const nlohmann::json body = nlohmann::json::parse(request.body, nullptr, false);
        if (body.is_object() && body.contains("messages") && body["messages"].is_array() && !body["messages"].empty() &&
            body["messages"].back().contains("content") && body["messages"].back()["content"].is_string())
            xml = body["messages"].back()["content"].get<std::string>();
        if (reply.delayMs > 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(reply.delayMs));
        const nlohmann::json answer = {
            {"id", "chatcmpl-standin"},
            {"object", "chat.completion"},
            {"choices",
             {{{"index", 0}, {"message", {{"role", "assistant"}, {"content", idsFilledIn(reply.text, xml)}}}, {"finish_reason", "stop"}}}}};
        response.set_content(answer.dump(), "application/json");
    });
    const int port = http.bind_to_any_port("127.0.0.1");
    if (port <= 0) {
        std::cerr << "lmd-ai-standin: cannot listen on 127.0.0.1\n";
        return 1;
    }
    {
        std::ofstream out(argv[1]);
        out << port << "\n";
    }
    std::signal(SIGTERM, stop);
    std::signal(SIGINT, stop);
    http.listen_after_bind();
    return 0;
}
