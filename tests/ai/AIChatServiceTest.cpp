// AIChatService against loopback stand-ins that speak each provider's wire format.
#include <sys/stat.h>

#include "AiTestSupport.h"
#include "base/LmdLog.h"
#include "services/DataPersist.h"

namespace Lumenda3D::test {
namespace {

using json = nlohmann::json;

struct Outcome {
    bool done = false;
    bool ok = false;
    AiChatResponse response;
    std::string error;
};

class ChatServiceTest : public AiServiceTest {
protected:
    Outcome send(const std::string& message = "Make a red box", const std::string& history = "[]",
                 const std::string& repair = "") {
        Outcome outcome;
        AIChatService::getInstance().directMessage("Proj", "", message, "<KiteBench3D id=\"1\"/>", "", history, "", repair,
                                                   [&outcome](bool ok, const AiChatResponse& r, const std::string& e) {
                                                       outcome = {true, ok, r, e};
                                                   });
        EXPECT_TRUE(pumpUntil([&] { return outcome.done; }));
        return outcome;
    }
    struct Polled {
        bool done = false;
        bool pending = false;
        bool ok = false;
        AiChatResponse response;
        std::string error;
    };
    Polled poll(const std::string& jobId) {
        Polled polled;
        AIChatService::getInstance().pollMessage(jobId, [&polled](bool pending, bool ok, const AiChatResponse& r,
                                                                  const std::string& e) {
            polled = {true, pending, ok, r, e};
        });
        EXPECT_TRUE(pumpUntil([&] { return polled.done; }));
        return polled;
    }
    // Sends a message that `standIn` queues as `jobId`.
    void queue(ProviderStandIn& standIn, const std::string& jobId) {
        standIn.script({ProviderStandIn::job(jobId, "queued", 202)});
        const Outcome outcome = send();
        ASSERT_TRUE(outcome.ok) << outcome.error;
        ASSERT_EQ(outcome.response.jobId, jobId);
    }
};

TEST_F(ChatServiceTest, EachWireCarriesTheConversationAndReadsTheReply) {
    for (const std::string provider : {"openai", "anthropic", "gemini"}) {
        SCOPED_TRACE(provider);
        EditorSettings::reloadForTesting();
        ProviderStandIn standIn(provider);
        configure(provider, standIn, "secret-" + provider);
        const json changes = {{{"op", "update"}, {"id", "1"}, {"attrs", {{"x", "1"}}}}};
        standIn.script({standIn.answer("```json\n" + replyText("Done!", changes) + "\n```")});
        const std::string history =
            json{{{"role", "user"}, {"text", "first"}}, {{"role", "assistant"}, {"text", "ok"}, {"changes", json::array()}}}.dump();
        const Outcome outcome = send("Make a red box", history, "- the Box needs a name\n");
        ASSERT_TRUE(outcome.ok) << outcome.error;
        EXPECT_EQ(outcome.response.replyText, "Done!");
        EXPECT_EQ(outcome.response.changes, changes);
        EXPECT_EQ(outcome.response.conversationId.rfind("conv-", 0), 0u);

        const auto received = standIn.received();
        ASSERT_EQ(received.size(), 1u);
        const json body = json::parse(received[0].body);
        std::string system, lastUser;
        size_t turns = 0;
        if (provider == "openai") {
            EXPECT_EQ(received[0].path, "/v1/chat/completions");
            EXPECT_EQ(received[0].headers.find("Authorization")->second, "Bearer secret-openai");
            EXPECT_EQ(body["response_format"]["type"], "json_object");
            system = body["messages"][0]["content"];
            turns = body["messages"].size() - 1;
            lastUser = body["messages"].back()["content"];
            EXPECT_EQ(body["messages"][2]["role"], "assistant");
        } else if (provider == "anthropic") {
            EXPECT_EQ(received[0].path, "/v1/messages");
            EXPECT_EQ(received[0].headers.find("x-api-key")->second, "secret-anthropic");
            EXPECT_EQ(received[0].headers.find("anthropic-version")->second, "2023-06-01");
            system = body["system"];
            turns = body["messages"].size();
            lastUser = body["messages"].back()["content"];
        } else {
            EXPECT_EQ(received[0].path, "/v1beta/models/gemini-2.5-flash:generateContent");
            EXPECT_EQ(received[0].headers.find("x-goog-api-key")->second, "secret-gemini");
            EXPECT_EQ(body["generationConfig"]["responseMimeType"], "application/json");
            system = body["systemInstruction"]["parts"][0]["text"];
            turns = body["contents"].size();
            lastUser = body["contents"].back()["parts"][0]["text"];
            EXPECT_EQ(body["contents"][1]["role"], "model");
        }
        EXPECT_EQ(system.rfind("KNOWLEDGE BASE TEXT", 0), 0u);
        EXPECT_EQ(turns, 3u);
        EXPECT_NE(lastUser.find("Make a red box"), std::string::npos);
        EXPECT_NE(lastUser.find("<KiteBench3D id=\"1\"/>"), std::string::npos);
        EXPECT_NE(lastUser.find("- the Box needs a name"), std::string::npos);
    }
}

TEST_F(ChatServiceTest, ProviderStatusesBecomeThePanelsErrorWords) {
    ProviderStandIn standIn("openai");
    configure("openai", standIn);
    const std::vector<std::pair<ScriptedReply, std::string>> cases = {
        {standIn.error(429, "Rate limit reached"), "rate_limited"},
        {standIn.error(503, "overloaded"), "ai_busy"},
        {standIn.error(401, "Incorrect API key provided"), "api_key_invalid"},
        {standIn.error(400, "model not found"), "provider_error"},
        {{200, "<html>proxy page</html>", 0}, "Invalid JSON from the AI provider: the answer is not a JSON object."},
        {standIn.answer("Sure! I made the box."), "model_malformed"},
        {standIn.answer(replyText("x", json::object())), "model_malformed"},
    };
    for (const auto& [reply, word] : cases) {
        standIn.script({reply});
        const Outcome outcome = send();
        EXPECT_FALSE(outcome.ok);
        EXPECT_EQ(outcome.error, word);
    }
    standIn.script({standIn.error(400, "model not found")});
    EXPECT_EQ(send().response.errorDetail, "OpenAI: model not found");
}

TEST_F(ChatServiceTest, FailsOverInPriorityOrderAndListsEveryFailure) {
    ProviderStandIn anthropic("anthropic"), gemini("gemini");
    configure("anthropic", anthropic);
    configure("gemini", gemini);
    AiProviderSettings::setKey("openai", "k-openai-000");
    AiProviderSettings::setBaseUrl("openai", "http://127.0.0.1:" + std::to_string(closedLoopbackPort()) + "/v1");
    AiProviderSettings::setOrder({"openai", "anthropic", "gemini"});
    anthropic.script({anthropic.error(529, "Overloaded")});
    gemini.script({gemini.answer(replyText("From Gemini"))});
    Outcome outcome = send();
    ASSERT_TRUE(outcome.ok) << outcome.error;
    EXPECT_EQ(outcome.response.replyText, "From Gemini");
    EXPECT_EQ(outcome.response.provider, "Google Gemini");

    gemini.script({gemini.error(429, "Quota exceeded")});
    outcome = send();
    EXPECT_FALSE(outcome.ok);
    EXPECT_EQ(outcome.error, "all_providers_failed");
    ASSERT_EQ(outcome.response.providerFailures.size(), 3u);
    EXPECT_EQ(outcome.response.providerFailures[0]["provider"], "OpenAI");
    EXPECT_NE(outcome.response.providerFailures[0]["reason"].get<std::string>().find("No response"), std::string::npos);
    EXPECT_EQ(outcome.response.providerFailures[1]["provider"], "Anthropic");
    EXPECT_EQ(outcome.response.providerFailures[2]["reason"], "Rate limit or quota reached (HTTP 429). Quota exceeded");

    // A chosen model goes first, the others follow in their order.
    AiProviderSettings::setChosenModel("gemini/gemini-2.5-pro");
    gemini.script({gemini.answer(replyText("Pro"))});
    outcome = send();
    EXPECT_EQ(outcome.response.model, "gemini-2.5-pro");
    EXPECT_EQ(gemini.received().back().path, "/v1beta/models/gemini-2.5-pro:generateContent");
}

TEST_F(ChatServiceTest, CompatibleServerNeedsNoKeyAndNoKeyAtAllIsReported) {
    Outcome none = send();
    EXPECT_EQ(none.error, "api_key_required");
    EXPECT_FALSE(AIChatService::getInstance().hasAnyKey());

    ProviderStandIn local("openai");
    AiProviderSettings::setBaseUrl("compatible", local.baseUrl() + "/");
    AiProviderSettings::setModel("compatible", "qwen2.5-coder");
    EXPECT_TRUE(AIChatService::getInstance().hasAnyKey());
    local.script({local.answer(replyText("Local"))});
    const Outcome outcome = send();
    ASSERT_TRUE(outcome.ok) << outcome.error;
    const auto request = local.received().back();
    EXPECT_EQ(request.headers.count("Authorization"), 0u);
    EXPECT_EQ(json::parse(request.body)["model"], "qwen2.5-coder");
    EXPECT_FALSE(json::parse(request.body).contains("response_format"));
}

TEST_F(ChatServiceTest, CancelledAndTimedOutRequests) {
    ProviderStandIn standIn("anthropic");
    configure("anthropic", standIn);
    standIn.script({standIn.answer(replyText("late"), 5000)});
    bool called = false;
    AIChatService::getInstance().directMessage("", "c1", "hi", "<A/>", "", "[]", "", "",
                                               [&called](bool, const AiChatResponse&, const std::string&) { called = true; });
    pumpFor(100);
    AIChatService::getInstance().cancelDirect();
    standIn.release();
    pumpFor(300);
    EXPECT_FALSE(called);
    EXPECT_FALSE(AIChatService::getInstance().busy());

    ProviderStandIn silent("openai");
    AiProviderSettings::clearKey("anthropic");
    configure("openai", silent);
    EditorSettings::getInstance().setInt("ai.timeoutSeconds", 1);
    silent.script({silent.answer(replyText("never"), 8000)});
    const Outcome outcome = send();
    EXPECT_FALSE(outcome.ok);
    EXPECT_EQ(outcome.error.rfind("No response from the AI service: ", 0), 0u) << outcome.error;
    silent.release();
}

TEST_F(ChatServiceTest, AQueuedRequestIsPolledAtItsProviderUntilTheReplyComes) {
    ProviderStandIn standIn("openai");
    configure("openai", standIn, "job-key-987654");
    standIn.script({ProviderStandIn::job("job 7/a", "queued", 202)});
    const Outcome queued = send();
    ASSERT_TRUE(queued.ok) << queued.error;
    EXPECT_EQ(queued.response.jobId, "job 7/a");
    EXPECT_TRUE(queued.response.replyText.empty());
    EXPECT_EQ(queued.response.conversationId.rfind("conv-", 0), 0u);

    const json changes = {{{"op", "update"}, {"id", "1"}, {"attrs", {{"x", "3"}}}}};
    standIn.scriptPolls({ProviderStandIn::job("job 7/a", "queued"), ProviderStandIn::job("job 7/a", "in_progress"),
                         standIn.answer(replyText("Built it", changes))});
    const Polled first = poll("job 7/a");
    EXPECT_TRUE(first.pending);
    EXPECT_EQ(first.response.conversationId, queued.response.conversationId);
    EXPECT_TRUE(poll("job 7/a").pending);
    const Polled done = poll("job 7/a");
    EXPECT_FALSE(done.pending);
    ASSERT_TRUE(done.ok) << done.error;
    EXPECT_EQ(done.response.replyText, "Built it");
    EXPECT_EQ(done.response.changes, changes);
    EXPECT_EQ(done.response.provider, "OpenAI");

    // The job's URL carries the id as one path part, with the key.
    const auto received = standIn.received();
    ASSERT_EQ(received.size(), 4u);
    for (size_t i = 1; i < received.size(); ++i) {
        EXPECT_EQ(received[i].method, "GET");
        EXPECT_EQ(received[i].target, "/v1/chat/completions/job%207%2Fa");
        EXPECT_EQ(received[i].headers.find("Authorization")->second, "Bearer job-key-987654");
    }
    // An ended job is forgotten, and so is an id never handed out.
    const Polled again = poll("job 7/a");
    EXPECT_FALSE(again.ok);
    EXPECT_FALSE(again.pending);
    EXPECT_EQ(again.error, "There is no assistant job \"job 7/a\".");
    EXPECT_EQ(standIn.received().size(), 4u);
}

TEST_F(ChatServiceTest, AQueuedJobEndsInThePanelsWordsWhenItFailsOrIsCancelled) {
    ProviderStandIn standIn("compatible");
    configure("compatible", standIn, "");
    struct Case {
        const char* name;
        ScriptedReply poll;
        std::string error;
        std::string detail;
    };
    const std::vector<Case> cases = {
        {"failed", ProviderStandIn::job("j", "failed", 200, "The model ran out of memory"), "provider_error",
         "OpenAI-compatible server: The model ran out of memory"},
        {"expired", ProviderStandIn::job("j", "expired"), "provider_error", "OpenAI-compatible server: The provider's job failed."},
        {"cancelled", ProviderStandIn::job("j", "cancelled"), "cancelled", ""},
        {"rate limited", standIn.error(429, "slow down"), "rate_limited", "slow down"},
        {"unknown at the provider", standIn.error(404, "no such job"), "provider_error", "OpenAI-compatible server: no such job"},
        {"not a reply", standIn.answer("no JSON here"), "model_malformed", ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        queue(standIn, "j");
        standIn.scriptPolls({c.poll});
        const Polled polled = poll("j");
        EXPECT_FALSE(polled.pending);
        EXPECT_FALSE(polled.ok);
        EXPECT_EQ(polled.error, c.error);
        if (!c.detail.empty()) {
            EXPECT_EQ(polled.response.errorDetail, c.detail);
        }
        EXPECT_EQ(poll("j").error, "There is no assistant job \"j\".");
    }
}

TEST_F(ChatServiceTest, CancellingAQueuedRequestCancelsItsJobAndDropsThePollInFlight) {
    ProviderStandIn standIn("openai");
    configure("openai", standIn);
    queue(standIn, "job-42");
    standIn.scriptPolls({ProviderStandIn::job("job-42", "in_progress")});
    bool called = false;
    AIChatService::getInstance().pollMessage("job-42", [&called](bool, bool, const AiChatResponse&, const std::string&) {
        called = true;
    });
    AIChatService::getInstance().cancelDirect();
    ASSERT_TRUE(pumpUntil([&] { return !standIn.paths("DELETE").empty(); }));
    pumpFor(200);
    EXPECT_FALSE(called);
    EXPECT_EQ(standIn.paths("DELETE"), std::vector<std::string>{"/v1/chat/completions/job-42"});
    EXPECT_FALSE(AIChatService::getInstance().busy());
    EXPECT_EQ(poll("job-42").error, "There is no assistant job \"job-42\".");

    // A new message abandons the queued job of the one before it in the same way.
    queue(standIn, "job-43");
    standIn.script({standIn.answer(replyText("direct"))});
    EXPECT_EQ(send().response.replyText, "direct");
    EXPECT_TRUE(pumpUntil([&] { return standIn.paths("DELETE").size() == 2; }));
    EXPECT_EQ(standIn.paths("DELETE").back(), "/v1/chat/completions/job-43");
}

TEST_F(ChatServiceTest, KeysStayInTheOwnerOnlySettingsFileAndOutOfTheLog) {
    std::vector<std::string> lines;
    LmdLog::setEchoToStderr(false);
    const int sink = LmdLog::addSink([&lines](const std::string& text, LogLevel) { lines.push_back(text); });
    ProviderStandIn standIn("openai");
    const std::string key = "sk-very-secret-key-42";
    configure("openai", standIn, key);
    standIn.script({standIn.error(401, "Incorrect API key provided: " + key)});
    EXPECT_EQ(send().error, "api_key_invalid");
    standIn.script({standIn.answer(replyText("fine"))});
    EXPECT_TRUE(send().ok);
    LmdLog::removeSink(sink);
    LmdLog::setEchoToStderr(true);
    EXPECT_FALSE(lines.empty());
    for (const std::string& line : lines)
        EXPECT_EQ(line.find(key), std::string::npos) << line;

    const std::string path = DataPersist::entryPath("lmdEditor/settings");
    struct stat info {};
    ASSERT_EQ(::stat(path.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
    EditorSettings::reloadForTesting();
    EXPECT_EQ(AiProviderSettings::key("openai"), key);
}

TEST_F(ChatServiceTest, TestConnectionSaysWhatCameBack) {
    ProviderStandIn standIn("gemini");
    std::string said;
    bool ok = false;
    standIn.script({standIn.answer("OK")});
    AIChatService::getInstance().testConnection("gemini", "g-key", standIn.baseUrl(), "gemini-2.5-flash",
                                                [&](bool good, const std::string& text) { ok = good, said = text; });
    ASSERT_TRUE(pumpUntil([&] { return !said.empty(); }));
    EXPECT_TRUE(ok);
    EXPECT_EQ(said, "Connected to Google Gemini (gemini-2.5-flash). The model answered: \"OK\"");

    said.clear();
    standIn.script({standIn.error(403, "API key not valid")});
    AIChatService::getInstance().testConnection("gemini", "g-key", standIn.baseUrl(), "gemini-2.5-flash",
                                                [&](bool good, const std::string& text) { ok = good, said = text; });
    ASSERT_TRUE(pumpUntil([&] { return !said.empty(); }));
    EXPECT_FALSE(ok);
    EXPECT_EQ(said, "Google Gemini (gemini-2.5-flash): The API key was refused. API key not valid");

    AIChatService::getInstance().testConnection("anthropic", "", "", "m", [&](bool good, const std::string& text) {
        ok = good, said = text;
    });
    EXPECT_EQ(said, "Enter the API key first.");
}

} // namespace
} // namespace Lumenda3D::test
