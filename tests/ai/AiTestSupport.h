#pragma once
// Support for the assistant's tests: a loopback HTTP server that speaks one provider's wire format
// with scripted replies, a document host for the chat panel, and a fixture with a private data
// root, the engine's schema and the real AIChatService over a real HTTP client.
#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <nlohmann/json.hpp>

#include "TestDataRoot.h"
#include "ai/AiChatHost.h"
#include "engine/document/LmdGameDocument.h"
#include "engine/scene/ScriptParser.h"
#include "services/AIChatService.h"
#include "services/AiProviderSettings.h"
#include "services/EditorSettings.h"
#include "services/MyHttpClient.h"
#include "services/LoopbackHttpServer.h"

namespace Lumenda3D::test {

// One scripted answer: a status and a body, after an optional delay (the server holds the
// request that long, or until it stops).
struct ScriptedReply {
    int status = 200;
    std::string body;
    int delayMs = 0;
};

// A provider's stand-in: answers the provider's path with the scripted replies in order (the last
// one repeats) and keeps every request it received. A queued job's polls (GET) are answered from
// their own script, and its cancellation (DELETE) with 200.
class ProviderStandIn {
public:
    // `wire`: "openai", "anthropic" or "gemini".
    explicit ProviderStandIn(std::string wire) : wire_(std::move(wire)) {
        auto handler = [this](const httplib::Request& request, httplib::Response& response) {
            ScriptedReply reply;
            {
                std::lock_guard<std::mutex> lock(mutex_);
                received_.push_back({request.path, request.body, request.headers, request.method, request.target});
                if (!replies_.empty()) {
                    reply = replies_.front();
                    if (replies_.size() > 1)
                        replies_.pop_front();
                }
            }
            if (reply.delayMs > 0)
                server_.hold(std::chrono::milliseconds(reply.delayMs));
            response.status = reply.status;
            response.set_content(reply.body, "application/json");
        };
        server_.server().Post(R"(/.*)", handler);
        server_.server().Get(R"(/.*)", [this](const httplib::Request& request, httplib::Response& response) {
            ScriptedReply reply{404, R"({"error":{"message":"no such job"}})", 0};
            {
                std::lock_guard<std::mutex> lock(mutex_);
                received_.push_back({request.path, request.body, request.headers, request.method, request.target});
                if (!polls_.empty()) {
                    reply = polls_.front();
                    if (polls_.size() > 1)
                        polls_.pop_front();
                }
            }
            response.status = reply.status;
            response.set_content(reply.body, "application/json");
        });
        server_.server().Delete(R"(/.*)", [this](const httplib::Request& request, httplib::Response& response) {
            std::lock_guard<std::mutex> lock(mutex_);
            received_.push_back({request.path, request.body, request.headers, request.method, request.target});
            response.set_content(R"({"status":"cancelled"})", "application/json");
        });
        // One request per connection: the client keeps no idle connection that the server's
        // stop would wait out.
        server_.server().set_keep_alive_max_count(1);
        server_.start();
    }

    void script(std::vector<ScriptedReply> replies) {
        std::lock_guard<std::mutex> lock(mutex_);
        replies_.assign(replies.begin(), replies.end());
    }
    void scriptPolls(std::vector<ScriptedReply> replies) {
        std::lock_guard<std::mutex> lock(mutex_);
        polls_.assign(replies.begin(), replies.end());
    }
    // A queued job's state as a compatible server says it: 202 when the request is taken, 200 on
    // a poll.
    static ScriptedReply job(const std::string& id, const std::string& status, int httpStatus = 200,
                             const std::string& errorMessage = "") {
        nlohmann::json body = {{"id", id}, {"object", "chat.completion.job"}, {"status", status}};
        if (!errorMessage.empty())
            body["error"] = {{"message", errorMessage}};
        return {httpStatus, body.dump(), 0};
    }
    // The requests received with `method`.
    std::vector<std::string> paths(const std::string& method) {
        std::vector<std::string> result;
        for (const Received& r : received())
            if (r.method == method)
                result.push_back(r.path);
        return result;
    }
    // A good answer in this wire's format whose text is `modelText`.
    ScriptedReply answer(const std::string& modelText, int delayMs = 0) const {
        nlohmann::json body;
        if (wire_ == "anthropic")
            body = {{"type", "message"}, {"role", "assistant"}, {"stop_reason", "end_turn"},
                    {"content", {{{"type", "text"}, {"text", modelText}}}}};
        else if (wire_ == "gemini")
            body = {{"candidates", {{{"content", {{"role", "model"}, {"parts", {{{"text", modelText}}}}}}, {"finishReason", "STOP"}}}}};
        else
            body = {{"id", "chatcmpl-1"}, {"object", "chat.completion"},
                    {"choices", {{{"index", 0}, {"message", {{"role", "assistant"}, {"content", modelText}}}, {"finish_reason", "stop"}}}}};
        return {200, body.dump(), delayMs};
    }
    // An error answer in this wire's format.
    ScriptedReply error(int status, const std::string& message) const {
        nlohmann::json body = wire_ == "anthropic"
                                  ? nlohmann::json{{"type", "error"}, {"error", {{"type", "api_error"}, {"message", message}}}}
                                  : nlohmann::json{{"error", {{"code", status}, {"message", message}}}};
        return {status, body.dump(), 0};
    }

    struct Received {
        std::string path;
        std::string body;
        httplib::Headers headers;
        std::string method = "POST";
        std::string target;  // the path as sent, before percent-decoding
    };
    std::vector<Received> received() {
        std::lock_guard<std::mutex> lock(mutex_);
        return received_;
    }
    std::string baseUrl() const {
        return server_.url(wire_ == "openai" ? "/v1" : "");
    }
    void release() { server_.release(); }

private:
    std::string wire_;
    LoopbackHttpServer server_;
    std::mutex mutex_;
    std::deque<ScriptedReply> replies_;
    std::deque<ScriptedReply> polls_;
    std::vector<Received> received_;
};

// The chat panel's editor: a real game document, replaced by the assistant's edits.
class DocumentHost : public AiChatHost {
public:
    LmdGameDocument document;
    int applied = 0;

    std::string documentXml(bool forStorage) override { return document.root() ? document.getSourceXmlString(true, forStorage) : ""; }
    bool applyAiEditedXml(const std::string& xml) override {
        if (xml.empty())
            return false;
        ++applied;
        return document.setXmlSourceString(xml);
    }
    std::string projectName() override { return "Test project"; }
    bool isGameRunning() override { return false; }
    float leftInset() override { return 0.0f; }

    // The id of the first element whose name attribute is `name`.
    std::string idOf(const std::string& name) const {
        return document.root()
            .find_node([&](const pugi::xml_node& n) { return name == n.attribute("name").value(); })
            .attribute("id")
            .value();
    }
    pugi::xml_node byName(const std::string& name) const {
        return document.root().find_node([&](const pugi::xml_node& n) { return name == n.attribute("name").value(); });
    }
};

class AiServiceTest : public ::testing::Test {
protected:
    AiServiceTest() {
        EditorSettings::reloadForTesting();
        client = std::make_shared<MyHttpClient>();
        AIChatService::getInstance().setHttpClient(client);
        AIChatService::getInstance().setSystemPrompt([] { return std::string("KNOWLEDGE BASE TEXT"); });
        EditorSettings::getInstance().setInt("ai.timeoutSeconds", 20);
    }
    ~AiServiceTest() override {
        AIChatService::getInstance().cancelDirect();
        AIChatService::getInstance().setHttpClient(nullptr);
        AIChatService::getInstance().setSystemPrompt(nullptr);
        client->shutdown();
        EditorSettings::reloadForTesting();
    }

    // Points a provider at a stand-in and gives it a key.
    void configure(const std::string& provider, const ProviderStandIn& standIn, const std::string& key = "test-key-123456") {
        AiProviderSettings::setBaseUrl(provider, standIn.baseUrl());
        if (!key.empty())
            AiProviderSettings::setKey(provider, key);
    }

    // Pumps the client until `done` or the limit.
    bool pumpUntil(const std::function<bool()>& done, int limitMs = 15000) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(limitMs);
        while (!done()) {
            if (std::chrono::steady_clock::now() > end)
                return false;
            client->pump();
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        return true;
    }
    void pumpFor(int ms) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
        while (std::chrono::steady_clock::now() < end) {
            client->pump();
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    }

    TestDataRoot root;
    ScriptParser parser{LMD_SOURCE_MEDIA_DIR "/codeSchema.xml"};
    std::shared_ptr<MyHttpClient> client;
};

// A model text in the assistant's reply format.
inline std::string replyText(const std::string& reply, const nlohmann::json& changes = nlohmann::json::array()) {
    return nlohmann::json{{"reply", reply}, {"changes", changes}}.dump();
}

} // namespace Lumenda3D::test
