#include "services/AIChatService.h"

#include <random>

#include "base/LmdLog.h"
#include "services/AiReplyParser.h"
#include "services/MyHttpClient.h"

namespace Lumenda3D {

using json = nlohmann::json;

namespace {

std::string newConversationId() {
    std::random_device device;
    std::mt19937_64 generator(device());
    const char* digits = "0123456789abcdef";
    std::string id = "conv-";
    for (int i = 0; i < 16; ++i)
        id += digits[generator() % 16];
    return id;
}

std::string labelOf(const std::string& providerId) {
    const AiProviderSettings::Provider* p = AiProviderSettings::find(providerId);
    return p ? p->label : providerId;
}

// The reply format, stated once more at the end of the system text whatever the knowledge base says.
const char* const kReplyFormat =
    "\n\n# Your answer\n"
    "Answer with ONLY one JSON object and nothing before or after it (no Markdown fences): "
    "{\"reply\": \"what you did or want to tell the user, in plain words\", \"changes\": [edit operations]}. "
    "\"changes\" holds the edit operations described above, applied in order to the game as it stands "
    "(use the ids of the game XML in the latest message); an empty array when nothing needs changing. "
    "Use {\"op\":\"createDocument\",\"xml\":\"...\"} only to start a new game from nothing.";

// A text about a provider's failure as it may go to the log: the key, should the provider quote
// it, is cut out.
std::string redacted(std::string text, const std::string& key) {
    if (key.size() < 4)
        return text;
    for (size_t at = text.find(key); at != std::string::npos; at = text.find(key, at))
        text.replace(at, key.size(), "[key]");
    return text;
}

} // namespace

AIChatService& AIChatService::getInstance() {
    static AIChatService instance;
    return instance;
}

void AIChatService::setHttpClient(std::shared_ptr<MyHttpClient> client) {
    cancelDirect();
    client_ = std::move(client);
}

void AIChatService::setSystemPrompt(std::function<std::string()> source) { systemPrompt_ = std::move(source); }

bool AIChatService::hasAnyKey() const { return !configuredProviders().empty(); }

std::vector<std::string> AIChatService::configuredProviders() const {
    std::vector<std::string> result;
    for (const std::string& id : AiProviderSettings::order())
        if (AiProviderSettings::isConfigured(id))
            result.push_back(id);
    return result;
}

AIChatService::Prefs AIChatService::loadPrefs() const {
    Prefs prefs;
    prefs.order = AiProviderSettings::order();
    prefs.chosenModel = AiProviderSettings::chosenModel();
    prefs.effort = AiProviderSettings::effort();
    prefs.deepThink = AiProviderSettings::deepThink();
    return prefs;
}

void AIChatService::savePrefs(const Prefs& prefs) {
    AiProviderSettings::setOrder(prefs.order);
    AiProviderSettings::setChosenModel(prefs.chosenModel);
    AiProviderSettings::setEffort(prefs.effort);
    AiProviderSettings::setDeepThink(prefs.deepThink);
}

AiPrompt AIChatService::buildPrompt(const std::string& system, const std::string& projectName, const std::string& message,
                                    const std::string& xml, const std::string& historyJson, const std::string& repairList) {
    AiPrompt prompt;
    prompt.system = system + kReplyFormat;
    const json history = json::parse(historyJson, nullptr, false);
    if (history.is_array()) {
        for (const json& entry : history) {
            if (!entry.is_object() || !entry.contains("text") || !entry["text"].is_string())
                continue;
            const bool assistant = entry.contains("role") && entry["role"] == "assistant";
            if (!assistant) {
                prompt.turns.push_back({"user", entry["text"].get<std::string>()});
                continue;
            }
            json answer = {{"reply", entry["text"]},
                           {"changes", entry.contains("changes") && entry["changes"].is_array() ? entry["changes"] : json::array()}};
            prompt.turns.push_back({"assistant", answer.dump(-1, ' ', false, json::error_handler_t::replace)});
        }
    }
    std::string text;
    if (!projectName.empty())
        text += "Project: " + projectName + "\n\n";
    text += message;
    text += "\n\nThe game as it stands now (the ids address nodes for your changes):\n```xml\n" + xml + "\n```";
    if (!repairList.empty())
        text += "\n\nYour previous answer to this request could not be used:\n" + repairList +
                "Answer the same request again, fixing these problems.";
    prompt.turns.push_back({"user", text});
    return prompt;
}

std::vector<AIChatService::Attempt> AIChatService::plannedAttempts() const {
    std::vector<Attempt> attempts;
    auto add = [&attempts](const std::string& id, const std::string& model) {
        Attempt attempt;
        attempt.providerId = id;
        AiProviderConfig& c = attempt.config;
        c.providerId = id;
        c.baseUrl = AiProviderSettings::baseUrl(id);
        c.apiKey = AiProviderSettings::key(id);
        c.model = model;
        const std::string caps = AiProviderSettings::reasoningCaps(id, model);
        if (caps == "effort_levels")
            c.effort = AiProviderSettings::effort();
        c.deepThink = caps == "deep_think" && AiProviderSettings::deepThink();
        c.timeoutMs = AiProviderSettings::timeoutSeconds() * 1000;
        attempts.push_back(attempt);
    };
    const std::vector<std::string> configured = configuredProviders();
    const std::string chosen = AiProviderSettings::chosenModel();
    const size_t slash = chosen.find('/');
    std::string first;
    if (slash != std::string::npos) {
        first = chosen.substr(0, slash);
        bool usable = false;
        for (const std::string& id : configured)
            usable = usable || id == first;
        if (usable)
            add(first, chosen.substr(slash + 1));
        else
            first.clear();
    }
    for (const std::string& id : configured)
        if (id != first)
            add(id, AiProviderSettings::model(id));
    return attempts;
}

void AIChatService::directMessage(const std::string& projectName, const std::string& conversationId,
                                  const std::string& message, const std::string& xml, const std::string& unusedA,
                                  const std::string& historyJson, const std::string& extra,
                                  const std::string& repairList, DirectCallback callback) {
    (void)unusedA;
    (void)extra;
    cancelDirect();
    auto run = std::make_shared<Run>();
    run->generation = ++generation_;
    run->callback = std::move(callback);
    run->base.conversationId = conversationId.empty() ? newConversationId() : conversationId;
    run->base.conversationLong = historyJson.size() > kLongConversationBytes;
    run->attempts = plannedAttempts();
    if (run->attempts.empty()) {
        if (run->callback)
            run->callback(false, run->base, "api_key_required");
        return;
    }
    if (!client_) {
        if (run->callback)
            run->callback(false, run->base, "HTTP client missing: the assistant can't reach any provider.");
        return;
    }
    run->prompt = buildPrompt(systemPrompt_ ? systemPrompt_() : std::string(), projectName, message, xml, historyJson,
                              repairList);
    startNext(run);
}

void AIChatService::startNext(const std::shared_ptr<Run>& run) {
    const Attempt& attempt = run->attempts[run->next];
    std::unique_ptr<AiProviderWire> wire = AiProviderWire::forProvider(attempt.providerId);
    HttpRequest request = wire->buildRequest(attempt.config, run->prompt);
    LmdLog::message("[AI] asking " + labelOf(attempt.providerId) + " (" + attempt.config.model + ")");
    std::shared_ptr<AiProviderWire> shared(std::move(wire));
    activeRequest_ = client_->send(std::move(request), [this, run, shared](const HttpResponse& response) {
        if (run->generation != generation_)
            return;
        activeRequest_ = 0;
        finishAttempt(run, shared->read(response));
    });
}

std::string AIChatService::failureReason(const AiProviderOutcome& outcome) {
    if (outcome.error == "rate_limited")
        return "Rate limit or quota reached (HTTP 429)." + (outcome.detail.empty() ? "" : " " + outcome.detail);
    if (outcome.error == "ai_busy")
        return "Busy (overloaded)." + (outcome.detail.empty() ? "" : " " + outcome.detail);
    if (outcome.error == "api_key_invalid")
        return "The API key was refused." + (outcome.detail.empty() ? "" : " " + outcome.detail);
    if (outcome.error == "provider_error")
        return outcome.detail.empty() ? "The provider rejected the request." : outcome.detail;
    return outcome.error;
}

void AIChatService::finishAttempt(const std::shared_ptr<Run>& run, const AiProviderOutcome& outcome) {
    const Attempt& attempt = run->attempts[run->next];
    AiChatResponse response = run->base;
    response.provider = labelOf(attempt.providerId);
    response.model = attempt.config.model;
    if (outcome.ok && outcome.pending) {
        jobs_[outcome.jobId] = Job{attempt, response};
        response.jobId = outcome.jobId;
        LmdLog::message("[AI] " + response.provider + " queued the request as job " + outcome.jobId);
        if (run->callback)
            run->callback(true, response, "");
        return;
    }
    if (outcome.ok) {
        std::string error;
        response = withReply(response, outcome.text, error);
        if (run->callback)
            run->callback(error.empty(), response, error);
        return;
    }
    LmdLog::warning("[AI] " + response.provider + " failed: " + redacted(failureReason(outcome), attempt.config.apiKey));
    run->base.providerFailures.push_back({{"provider", response.provider}, {"reason", failureReason(outcome)}});
    if (++run->next < run->attempts.size()) {
        startNext(run);
        return;
    }
    if (run->attempts.size() == 1) {
        response.errorDetail = errorDetail(response.provider, outcome);
        response.providerFailures = json::array();
        if (run->callback)
            run->callback(false, response, outcome.error);
        return;
    }
    response.providerFailures = run->base.providerFailures;
    if (run->callback)
        run->callback(false, response, "all_providers_failed");
}

AiChatResponse AIChatService::withReply(AiChatResponse response, const std::string& text, std::string& error) {
    const AiReplyParser::Result parsed = AiReplyParser::parse(text);
    if (!parsed.ok) {
        LmdLog::warning("[AI] " + response.provider + "'s answer could not be read: " + parsed.reason);
        response.errorDetail = parsed.reason;
        error = "model_malformed";
        return response;
    }
    response.replyText = parsed.reply;
    response.changes = parsed.changes;
    error.clear();
    return response;
}

std::string AIChatService::errorDetail(const std::string& provider, const AiProviderOutcome& outcome) {
    return outcome.error == "provider_error" && !outcome.detail.empty() ? provider + ": " + outcome.detail
                                                                          : outcome.detail;
}

void AIChatService::pollMessage(const std::string& jobId, PollCallback callback) {
    const auto it = jobs_.find(jobId);
    if (it == jobs_.end() || !client_) {
        if (callback)
            callback(false, false, AiChatResponse(),
                     it == jobs_.end() ? "There is no assistant job \"" + jobId + "\"."
                                       : "HTTP client missing: the assistant can't reach any provider.");
        return;
    }
    std::shared_ptr<AiProviderWire> wire(AiProviderWire::forProvider(it->second.attempt.providerId));
    HttpRequest request;
    if (!wire || !wire->pollRequest(it->second.attempt.config, jobId, request)) {
        jobs_.erase(it);
        if (callback)
            callback(false, false, AiChatResponse(), "provider_error");
        return;
    }
    const std::uint64_t generation = generation_;
    activePoll_ = client_->send(std::move(request), [this, jobId, generation, wire, callback](const HttpResponse& answer) {
        if (generation != generation_)
            return;
        activePoll_ = 0;
        const auto found = jobs_.find(jobId);
        if (found == jobs_.end())
            return;
        const AiProviderOutcome outcome = wire->read(answer);
        AiChatResponse response = found->second.base;
        if (outcome.ok && outcome.pending) {
            response.jobId = jobId;
            if (callback)
                callback(true, false, response, "");
            return;
        }
        const std::string key = found->second.attempt.config.apiKey;
        jobs_.erase(found);
        std::string error;
        if (outcome.ok) {
            response = withReply(response, outcome.text, error);
        } else if (outcome.error == "cancelled") {
            LmdLog::message("[AI] " + response.provider + " cancelled job " + jobId);
            error = "cancelled";
        } else {
            LmdLog::warning("[AI] " + response.provider + "'s job " + jobId + " failed: " +
                            redacted(failureReason(outcome), key));
            response.errorDetail = errorDetail(response.provider, outcome);
            error = outcome.error;
        }
        if (callback)
            callback(false, error.empty(), response, error);
    });
}

void AIChatService::cancelJobs() {
    if (client_)
        for (const auto& [id, job] : jobs_) {
            std::unique_ptr<AiProviderWire> wire = AiProviderWire::forProvider(job.attempt.providerId);
            HttpRequest request;
            if (wire && wire->cancelRequest(job.attempt.config, id, request)) {
                LmdLog::message("[AI] cancelling job " + id + " at " + job.base.provider);
                client_->send(std::move(request), [](const HttpResponse&) {});
            }
        }
    jobs_.clear();
}

void AIChatService::cancelDirect() {
    ++generation_;
    if (activeRequest_ != 0 && client_)
        client_->cancel(activeRequest_);
    if (activePoll_ != 0 && client_)
        client_->cancel(activePoll_);
    activeRequest_ = 0;
    activePoll_ = 0;
    cancelJobs();
}

void AIChatService::testConnection(const std::string& providerId, const std::string& key, const std::string& baseUrl,
                                   const std::string& model, TestCallback callback) {
    std::unique_ptr<AiProviderWire> wire = AiProviderWire::forProvider(providerId);
    if (!wire || !client_) {
        if (callback)
            callback(false, wire ? "The editor has no network client." : "Unknown provider \"" + providerId + "\".");
        return;
    }
    const AiProviderSettings::Provider* provider = AiProviderSettings::find(providerId);
    AiProviderConfig config;
    config.providerId = providerId;
    config.baseUrl = baseUrl.empty() && provider ? provider->defaultBaseUrl : baseUrl;
    while (!config.baseUrl.empty() && config.baseUrl.back() == '/')
        config.baseUrl.pop_back();
    config.apiKey = key;
    config.model = model;
    config.structuredOutput = false;
    config.maxOutputTokens = 16;
    config.timeoutMs = 30000;
    if (config.baseUrl.empty()) {
        if (callback)
            callback(false, "Enter the server's base URL first (for example http://localhost:11434/v1).");
        return;
    }
    if (key.empty() && !(provider && provider->keyOptional)) {
        if (callback)
            callback(false, "Enter the API key first.");
        return;
    }
    AiPrompt prompt;
    prompt.turns.push_back({"user", "Reply with the single word OK."});
    const HttpRequest request = wire->buildRequest(config, prompt);
    std::shared_ptr<AiProviderWire> shared(std::move(wire));
    const std::string label = provider ? provider->label : providerId;
    client_->send(request, [shared, callback, label, model](const HttpResponse& response) {
        const AiProviderOutcome outcome = shared->read(response);
        if (!callback)
            return;
        if (outcome.ok) {
            std::string said = outcome.text.substr(0, 60);
            callback(true, "Connected to " + label + " (" + model + "). The model answered: \"" + said + "\"");
        } else {
            callback(false, label + " (" + model + "): " + failureReason(outcome));
        }
    });
}

} // namespace Lumenda3D
