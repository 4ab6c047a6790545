#pragma once
// The assistant's connection to AI providers. It asks the providers the user configured
// (AiProviderSettings), in the user's priority order: a provider that fails hands over to the
// next, and when all fail the answer is "all_providers_failed" with one `providerFailures` entry
// per provider. A single configured provider reports its own error word (see AiProviderWire.h).
// A provider's text is read by AiReplyParser; one that can't be read is "model_malformed" and is
// not handed over (the panel repairs it with the same provider's next answer).
//
// Requests run on the HTTP client's workers; every callback runs on the main thread (the client's
// pump), never inside the call that started the request unless nothing could be sent at all.
//
// A provider may take a message as a queued job (AiProviderWire): directMessage then answers ok
// with the job's id in `jobId` and no reply, and pollMessage asks for the job until it ends. A job
// that fails ends with its provider's own error word (there is no fall-over once a provider has
// taken the request); cancelDirect also cancels the jobs at their providers.
// The system text comes from the feature that owns the knowledge base (setSystemPrompt). Keys
// never reach the log. Main thread only.
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "services/AiProviderSettings.h"
#include "services/AiProviderWire.h"

namespace Lumenda3D {

class MyHttpClient;

struct AiChatResponse {
    std::string replyText;
    nlohmann::json changes = nlohmann::json::array();
    std::string conversationId;
    bool conversationLong = false;
    std::string errorDetail;                                     // the provider's wording
    nlohmann::json providerFailures = nlohmann::json::array();  // {"provider","reason"} objects
    std::string provider;                                        // label of the provider that answered
    std::string model;
    std::string jobId;   // set when the provider queued the message as a job: poll it for the reply
};

class AIChatService {
public:
    using DirectCallback = std::function<void(bool ok, const AiChatResponse& response, const std::string& error)>;
    using PollCallback =
        std::function<void(bool pending, bool ok, const AiChatResponse& response, const std::string& error)>;
    using TestCallback = std::function<void(bool ok, const std::string& text)>;

    // A history longer than this (its JSON text, in bytes) makes replies say conversationLong.
    static constexpr std::size_t kLongConversationBytes = 150000;

    static AIChatService& getInstance();

    void setHttpClient(std::shared_ptr<MyHttpClient> client);
    std::shared_ptr<MyHttpClient> httpClient() const { return client_; }
    // The system text, asked for at each message (the knowledge base loads on first use).
    void setSystemPrompt(std::function<std::string()> source);

    bool hasAnyKey() const;

    // One message: `historyJson` is the panel's completed exchanges ([{"role","text","changes"}]),
    // `xml` the game as it stands (with ids), `repairList` the findings the last answer had ("" for
    // none). `unusedA` and `extra` are accepted and not sent anywhere. The answer's conversationId
    // is `conversationId`, or a new one when that is empty.
    void directMessage(const std::string& projectName, const std::string& conversationId, const std::string& message,
                       const std::string& xml, const std::string& unusedA, const std::string& historyJson,
                       const std::string& extra, const std::string& repairList, DirectCallback callback);
    // Asks once for a queued job of the last message: pending while it runs; when it has ended,
    // the reply (ok) or an error word like directMessage's, or "cancelled" when the provider
    // cancelled it. A job id this service didn't hand out is an error.
    void pollMessage(const std::string& jobId, PollCallback callback);
    // Abandons the running message: its transfer is aborted, its queued jobs are cancelled at the
    // provider, and no callback of it or of a poll runs.
    void cancelDirect();
    bool busy() const { return activeRequest_ != 0 || activePoll_ != 0; }

    // One small request to a provider with the given settings; says what came back in words.
    void testConnection(const std::string& providerId, const std::string& key, const std::string& baseUrl,
                        const std::string& model, TestCallback callback);

    // The AI settings dialog's operations, over AiProviderSettings.
    const std::vector<AiProviderSettings::Provider>& fetchProviders() const { return AiProviderSettings::providers(); }
    bool hasKey(const std::string& providerId) const { return AiProviderSettings::hasKey(providerId); }
    void setApiKey(const std::string& providerId, const std::string& key) { AiProviderSettings::setKey(providerId, key); }
    void clearKey(const std::string& providerId) { AiProviderSettings::clearKey(providerId); }
    // The providers that can be asked, in priority order.
    std::vector<std::string> configuredProviders() const;
    struct Prefs {
        std::vector<std::string> order;
        std::string chosenModel;   // "" automatic, else "<provider>/<model>"
        std::string effort;
        bool deepThink = false;
    };
    Prefs loadPrefs() const;
    void savePrefs(const Prefs& prefs);

    // The conversation as it is sent (exposed for tests and for the fuzz target).
    static AiPrompt buildPrompt(const std::string& system, const std::string& projectName, const std::string& message,
                                const std::string& xml, const std::string& historyJson, const std::string& repairList);
    // The error word and reason text that a failure of one provider leaves in providerFailures.
    static std::string failureReason(const AiProviderOutcome& outcome);

private:
    AIChatService() = default;

    struct Attempt {
        std::string providerId;
        AiProviderConfig config;
    };
    struct Run {
        std::uint64_t generation = 0;
        std::vector<Attempt> attempts;
        std::size_t next = 0;
        AiPrompt prompt;
        AiChatResponse base;   // conversationId and conversationLong
        DirectCallback callback;
    };
    // A queued job: where it runs and the answer it completes.
    struct Job {
        Attempt attempt;
        AiChatResponse base;
    };
    std::vector<Attempt> plannedAttempts() const;
    // `response` completed with a model text read as a reply; `error` is "" or "model_malformed".
    static AiChatResponse withReply(AiChatResponse response, const std::string& text, std::string& error);
    // The errorDetail of a provider's failure when it ends the message.
    static std::string errorDetail(const std::string& provider, const AiProviderOutcome& outcome);
    void cancelJobs();
    void startNext(const std::shared_ptr<Run>& run);
    void finishAttempt(const std::shared_ptr<Run>& run, const AiProviderOutcome& outcome);

    std::shared_ptr<MyHttpClient> client_;
    std::function<std::string()> systemPrompt_;
    std::uint64_t generation_ = 0;
    std::uint64_t activeRequest_ = 0;
    std::uint64_t activePoll_ = 0;
    std::map<std::string, Job> jobs_;
};

} // namespace Lumenda3D
