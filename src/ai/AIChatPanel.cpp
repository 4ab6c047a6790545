#include "ai/AIChatPanel.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "ai/AISettingsDialog.h"
#include "ai/AiChatHost.h"
#include "base/TimeUtils.h"
#include "services/EditorSettings.h"
#include "ui/ConfirmDialog.h"
#include "ui/LmdCommandRegistry.h"

namespace Lumenda3D {

using json = nlohmann::json;

namespace {

const ImVec4 kUserColour(0.55f, 0.8f, 1.0f, 1.0f);
const ImVec4 kAssistantColour(0.6f, 1.0f, 0.6f, 1.0f);
const ImVec4 kNoteColour(0.7f, 0.7f, 0.7f, 1.0f);
const ImVec4 kElapsedColour(0.55f, 0.55f, 0.6f, 1.0f);
const ImVec4 kErrorColour(1.0f, 0.45f, 0.4f, 1.0f);
const ImVec4 kKeyHintColour(1.0f, 0.8f, 0.3f, 1.0f);
const ImVec4 kTipColour(0.5f, 0.85f, 1.0f, 1.0f);

const char* const kThinkingLabels[] = {"Thinking",        "Designing",     "Planning", "Placing objects",
                                       "Wiring blocks",   "Assembling",    "Building", "Polishing"};
const char* const kSpinner[] = {"|", "/", "-", "\\"};

bool holds(const std::string& text, const char* part) { return text.find(part) != std::string::npos; }

std::string trimmedInput(const std::string& text) {
    const char* space = " \n\t\r";
    const size_t begin = text.find_first_not_of(space);
    if (begin == std::string::npos)
        return "";
    return text.substr(begin, text.find_last_not_of(space) - begin + 1);
}

std::string jsonText(const json& object, const char* key) {
    if (!object.is_object())
        return "";
    const auto it = object.find(key);
    return it != object.end() && it->is_string() ? it->get<std::string>() : "";
}

} // namespace

AIChatPanel::AIChatPanel(AiChatHost* host) : BaseUI(kName), host_(host) {}

void AIChatPanel::init() {
    collapsed_ = !EditorSettings::getInstance().getBool("aiChatPanel.open", false);
}

double AIChatPanel::now() const {
    if (clock_)
        return clock_();
    return ImGui::GetCurrentContext() ? ImGui::GetTime() : 0.0;
}

void AIChatPanel::setCollapsed(bool collapsed) {
    if (collapsed == collapsed_)
        return;
    collapsed_ = collapsed;
    EditorSettings::getInstance().setBool("aiChatPanel.open", !collapsed);
}

void AIChatPanel::setInputText(const std::string& text) {
    const size_t n = std::min(text.size(), static_cast<size_t>(kInputBytes - 1));
    std::memcpy(input_, text.data(), n);
    input_[n] = '\0';
}

void AIChatPanel::openSettings() {
    if (auto dialog = getPanel<AISettingsDialog>())
        dialog->show();
}

std::string AIChatPanel::getCurrentXml() { return host_ ? host_->documentXml(false) : ""; }

std::string AIChatPanel::captureBaseSnapshotXml() { return host_ ? host_->documentXml(true) : ""; }

std::string AIChatPanel::buildHistoryJson() const { return history_.dump(-1, ' ', false, json::error_handler_t::replace); }

void AIChatPanel::recordHistory(const json& changes) {
    history_.push_back({{"role", "user"}, {"text", pendingUserText_}});
    history_.push_back(
        {{"role", "assistant"}, {"text", lastReplyText_}, {"changes", changes.is_array() ? changes : json::array()}});
}

void AIChatPanel::displayAssistantReply() {
    const double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - sendTime_).count();
    messages_.push_back({"assistant", lastReplyText_, elapsed});
    scrollToBottom_ = true;
}

void AIChatPanel::beginRequest(const std::string& text) {
    pendingUserText_ = text;
    waiting_ = true;
    sendTime_ = std::chrono::steady_clock::now();
    errorText_.clear();
    providerFailures_ = json::array();
    scrollToBottom_ = true;
}

void AIChatPanel::sendCurrentMessage() {
    if (waiting_ || mergePending())
        return;
    const std::string text = trimmedInput(input_);
    if (text.empty())
        return;
    if (!AIChatService::getInstance().hasAnyKey()) {
        errorText_ = "Set up your AI API key first (Settings → AI Settings).";
        openSettings();
        return;
    }
    messages_.push_back({"user", text, 0.0});
    input_[0] = '\0';
    beginRequest(text);
    autoRetryPending_ = false;
    autoRetryCount_ = 0;
    baseSnapshotXml_ = captureBaseSnapshotXml();
    lastHistoryJson_ = buildHistoryJson();
    lastPrompt_ = text;
    startAiJob(host_ ? host_->projectName() : "", conversationId_, text, getCurrentXml(), lastHistoryJson_, "", "");
}

void AIChatPanel::retryLastSend() {
    if (waiting_ || lastPrompt_.empty())
        return;
    beginRequest(lastPrompt_);
    repairAttempts_ = 0;
    baseSnapshotXml_ = captureBaseSnapshotXml();
    startAiJob(host_ ? host_->projectName() : "", conversationId_, lastPrompt_, getCurrentXml(), lastHistoryJson_, "",
               "");
}

void AIChatPanel::startAiJob(const std::string& projectName, const std::string& conversationId, const std::string& text,
                             const std::string& xml, const std::string& history, const std::string& extraA,
                             const std::string& extraB) {
    jobId_.clear();
    pollInFlight_ = false;
    nextPollTime_ = 0.0;
    const int generation = jobGeneration_;
    AIChatService::getInstance().directMessage(
        projectName, conversationId, text, xml, "", history, extraA, extraB,
        [this, generation](bool ok, const AiChatResponse& response, const std::string& error) {
            if (generation != jobGeneration_)
                return;
            if (!response.conversationId.empty())
                conversationId_ = response.conversationId;
            if (ok && !response.jobId.empty()) {
                // The provider queued the request: the reply comes from polling the job.
                jobId_ = response.jobId;
                scheduleNextPoll();
                return;
            }
            onResponse(ok, response, error);
        });
}

void AIChatPanel::scheduleNextPoll() {
    // Every 10 seconds during the first minute of waiting, every 5 seconds after it.
    const double t = now();
    const bool young = thinkingStartTime_ <= 0.0 || t - thinkingStartTime_ < 60.0;
    nextPollTime_ = t + (young ? 10.0 : 5.0);
}

void AIChatPanel::pollInFlightJob() {
    pollInFlight_ = true;
    const int generation = jobGeneration_;
    AIChatService::getInstance().pollMessage(
        jobId_, [this, generation](bool pending, bool ok, const AiChatResponse& response, const std::string& error) {
            pollInFlight_ = false;
            scheduleNextPoll();
            if (generation != jobGeneration_ || pending)
                return;
            jobId_.clear();
            if (error == "cancelled") {
                waiting_ = false;
                pendingUserText_.clear();
                return;
            }
            onResponse(ok, response, error);
        });
}

void AIChatPanel::onResponse(bool ok, const AiChatResponse& response, const std::string& error) {
    waiting_ = false;
    scrollToBottom_ = true;
    providerFailures_ = json::array();
    if (ok) {
        autoRetryPending_ = false;
        autoRetryCount_ = 0;
        conversationLong_ = response.conversationLong;
        lastReplyText_ = response.replyText;
        if (response.changes.is_array() && !response.changes.empty()) {
            applyChanges(response.changes);
            return;
        }
        displayAssistantReply();
        recordHistory(response.changes.is_array() ? response.changes : json::array());
        repairAttempts_ = 0;
        pendingUserText_.clear();
        return;
    }
    bool malformedPastLimit = false;
    if (error == "model_malformed") {
        if (repairAttempts_ < kMaxRepairs) {
            requestRepair({kMalformedFinding});
            return;
        }
        malformedPastLimit = true;
    }
    if (error == "rate_limited" || holds(error, "429") || holds(error, "Rate limit")) {
        errorText_ = "You've hit your AI provider's rate limit / quota. Wait about a minute before trying again — "
                     "retrying too quickly only extends the limit. (A paid API key has much higher limits.)";
    } else if (error == "ai_busy" || holds(error, "503")) {
        errorText_ = "The AI is busy right now (high demand on Google's side). Please try again in a few minutes.";
    } else if (error == "server_busy") {
        errorText_ = "The server is busy right now. Retrying automatically…";
    } else if (malformedPastLimit) {
        errorText_ = "The assistant's response couldn't be read this time. Please try again — if it keeps happening, "
                     "try rephrasing or building in smaller steps.";
    } else if (error == "all_providers_failed") {
        errorText_ = "None of your AI providers could handle the request right now:";
        providerFailures_ = response.providerFailures.is_array() ? response.providerFailures : json::array();
    } else if (error == "provider_error") {
        errorText_ = (response.errorDetail.empty() ? std::string("The AI provider rejected the request.")
                                                   : response.errorDetail) +
                     "\n(Open AI Settings to fix the key or pick another provider.)";
    } else if (error == "api_key_required" || error == "api_key_invalid") {
        errorText_ = "Your AI API key needs to be set up. Opening AI Settings…";
        openSettings();
    } else if (holds(error, "No response") || holds(error, "Invalid JSON") || holds(error, "HTTP client")) {
        errorText_ = "Couldn't reach the AI service. Check your connection and try again.";
    } else {
        errorText_ = error.empty() ? "Something went wrong. Please try again." : error;
    }
    const bool qualifies = error == "ai_busy" || error == "rate_limited" || error == "all_providers_failed" ||
                           error == "server_busy" || holds(error, "503") || holds(error, "429");
    autoRetryPending_ = qualifies && !lastPrompt_.empty() && autoRetryCount_ < kMaxAutoRetries;
    autoRetryAt_ = 0.0;
    repairAttempts_ = 0;
}

void AIChatPanel::newConversation() {
    messages_.clear();
    history_ = json::array();
    conversationId_.clear();
    conversationLong_ = false;
    errorText_.clear();
    providerFailures_ = json::array();
    pendingUserText_.clear();
    AIChatService::getInstance().cancelDirect();
    jobId_.clear();
    ++jobGeneration_;
    pollInFlight_ = false;
    nextPollTime_ = 0.0;
    waiting_ = false;
    repairAttempts_ = 0;
    autoRetryPending_ = false;
    autoRetryCount_ = 0;
    lastReplyText_.clear();
    thinkingStartTime_ = 0.0;
    baseSnapshotXml_.clear();
    pendingMergeChanges_ = json::array();
    pendingMergeUserOps_.clear();
}

std::string AIChatPanel::retryCountdownText(double t) const {
    if (!autoRetryPending_ || autoRetryAt_ <= 0.0 || t >= autoRetryAt_)
        return "";
    const int seconds = std::min(30, static_cast<int>(autoRetryAt_ - t) + 1);
    const int left = kMaxAutoRetries - autoRetryCount_;
    char text[96];
    std::snprintf(text, sizeof text, "Retry in %d seconds...  (%d %s left)", seconds, left,
                  autoRetryCount_ == 9 ? "retry" : "retries");
    return text;
}

void AIChatPanel::tickAutoRetry(double t) {
    if (!autoRetryPending_)
        return;
    if (autoRetryAt_ <= 0.0) {
        autoRetryAt_ = t + 30.0;
        return;
    }
    if (t >= autoRetryAt_) {
        ++autoRetryCount_;
        autoRetryPending_ = false;
        autoRetryAt_ = 0.0;
        retryLastSend();
    }
}

void AIChatPanel::draw() {
    if (isMobileMode() || !EditorSettings::getInstance().getBool("showAiPanel", true) ||
        (host_ && host_->isGameRunning()))
        return;
    if (waiting_ && !jobId_.empty() && !pollInFlight_ && nextPollTime_ > 0.0 && nextPollTime_ <= now())
        pollInFlightJob();

    const ImGuiIO& io = ImGui::GetIO();
    auto bar = [this](const char* name) {
        auto panel = getElementByName(name);
        return panel ? panel->getSize().y : 0.0f;
    };
    const float left = host_ ? host_->leftInset() : 0.0f;
    float width = std::max(scaled(220.0f), io.DisplaySize.x - left);
    if (auto attributes = getElementByName("attributesEditor"))
        if (attributes->getSize().x > 0 && attributes->getPosition().x > left)
            width -= attributes->getSize().x;
    const float bottomBar = bar("bottomBar");
    const float frame = ImGui::GetFrameHeight();
    const float height =
        collapsed_ ? frame
                   : std::min(scaled(260.0f), io.DisplaySize.y - bottomBar - bar("tabs") - bar("topBar") - scaled(8.0f));
    ImGui::SetNextWindowPos(ImVec2(left, io.DisplaySize.y - bottomBar - height), ImGuiCond_Always);
    ImGui::SetNextWindowSize(ImVec2(width, height), ImGuiCond_Always);
    ImGui::SetNextWindowCollapsed(collapsed_, ImGuiCond_Always);
    const ImGuiWindowFlags flags =
        ImGuiWindowFlags_NoResize | ImGuiWindowFlags_NoMove | ImGuiWindowFlags_NoSavedSettings;
    const bool open = ImGui::Begin("AI Assistant (Experimental)###AIAssistant", nullptr, flags);
    setCollapsed(ImGui::IsWindowCollapsed());
    if (open && !collapsed_)
        drawChatBody();
    calculateSize();
    ImGui::End();
}

// `text` with line breaks put in at spaces so that no line is wider than `width` (the read-only
// box that shows it does not wrap by itself); a word wider than the line stands alone on it.
std::string AIChatPanel::wrappedText(const std::string& text, float width) {
    std::string out;
    size_t lineStart = 0;
    size_t i = 0;
    while (i < text.size()) {
        if (text[i] == '\n') {
            out += text.substr(lineStart, i - lineStart + 1);
            lineStart = ++i;
            continue;
        }
        size_t wordEnd = text.find_first_of(" \n", i);
        if (wordEnd == std::string::npos)
            wordEnd = text.size();
        const std::string line = text.substr(lineStart, wordEnd - lineStart);
        if (wordEnd > lineStart && i > lineStart && ImGui::CalcTextSize(line.c_str()).x > width) {
            // Break before this word, dropping the space that ended the line.
            out += text.substr(lineStart, i - 1 - lineStart) + "\n";
            lineStart = i;
        }
        i = wordEnd < text.size() && text[wordEnd] == ' ' ? wordEnd + 1 : wordEnd;
    }
    out += text.substr(lineStart);
    return out;
}

void AIChatPanel::drawSelectableText(const char* id, const std::string& text) {
    const float width = ImGui::GetContentRegionAvail().x;
    const ImGuiStyle& style = ImGui::GetStyle();
    std::string shown = wrappedText(text, width - style.FramePadding.x * 2 - style.ScrollbarSize);
    const ImVec2 size = ImGui::CalcTextSize(shown.c_str());
    ImGui::PushStyleColor(ImGuiCol_FrameBg, ImVec4(0, 0, 0, 0));
    inputTextMultiline(id, shown, ImVec2(width, size.y + style.FramePadding.y * 2 + 2.0f),
                       ImGuiInputTextFlags_ReadOnly | ImGuiInputTextFlags_NoHorizontalScroll);
    ImGui::PopStyleColor();
}

void AIChatPanel::drawChatBody() {
    AIChatService& service = AIChatService::getInstance();
    const bool keyed = service.hasAnyKey();
    const double t = now();
    if (keyed) {
        drawModelSelector();
        ImGui::SameLine();
    }
    if (button(keyed ? "AI Settings##aiChat" : "Setup API key##aiChat"))
        openSettings();
    ImGui::SameLine();
    if (button("New conversation##aiChat")) {
        if (auto confirm = getPanel<ConfirmDialog>())
            confirm->show("New conversation", "Start a new conversation?\nThe current chat will be cleared.\nYour game is kept.",
                          [this] { newConversation(); }, "Start new");
        else
            newConversation();
    }

    const float reserved = ImGui::GetFrameHeightWithSpacing() * (errorText_.empty() ? 1.2f : 3.2f) +
                           (conversationLong_ ? ImGui::GetTextLineHeightWithSpacing() : 0.0f);
    ImGui::BeginChild("aiMessages", ImVec2(0, -reserved), false);
    if (messages_.empty() && !waiting_)
        drawWelcome();
    drawTranscript();
    if (waiting_)
        drawWaiting(t);
    else
        thinkingStartTime_ = 0.0;
    if (scrollToBottom_) {
        ImGui::SetScrollHereY(1.0f);
        scrollToBottom_ = false;
    }
    ImGui::EndChild();

    if (conversationLong_)
        ImGui::TextUnformatted("Conversation is long — start a new one.");
    if (!errorText_.empty())
        drawErrorBanner(t);
    drawInputRow();
}

void AIChatPanel::drawWelcome() {
    ImGui::TextColored(kAssistantColour, "Assistant:");
    drawSelectableText("##welcome", "Welcome to Lumenda3D! Create games just by describing them — no coding needed.");
    if (!AIChatService::getInstance().hasAnyKey()) {
        ImGui::TextColored(kKeyHintColour, "To get started, set up your free AI API key.");
        if (button("Set up API key##welcome"))
            openSettings();
    }
    ImGui::TextColored(kTipColour, "Tip: for the best results, connect an AI agent through the MCP server.");
    drawSelectableText("##mcpTip", "It builds far better games than this chat and supports things the chat can't — like "
                                   "downloading real 3D models, textures and sounds from the web to match your game.");
    if (button("Enable the MCP server…##welcome"))
        if (LmdCommandRegistry* commands = getCommands())
            commands->execute("settings.mcp");
}

void AIChatPanel::drawTranscript() {
    for (size_t i = 0; i < messages_.size(); ++i) {
        const ChatMsg& msg = messages_[i];
        if (msg.role == "user")
            ImGui::TextColored(kUserColour, "You:");
        else if (msg.role == "assistant")
            ImGui::TextColored(kAssistantColour, "Assistant:");
        else
            ImGui::TextColored(kNoteColour, "Note:");
        if (msg.role == "assistant" && msg.elapsedSeconds > 0) {
            ImGui::SameLine();
            ImGui::TextColored(kElapsedColour, "(%s)", TimeUtils::formatElapsed(msg.elapsedSeconds).c_str());
        }
        const std::string copyLabel = "Copy##" + std::to_string(i);
        const float copyWidth = ImGui::CalcTextSize("Copy").x + ImGui::GetStyle().FramePadding.x * 2;
        ImGui::SameLine(std::max(0.0f, ImGui::GetWindowContentRegionMax().x - copyWidth));
        if (ImGui::SmallButton(copyLabel.c_str()))
            ImGui::SetClipboardText(msg.text.c_str());
        recordItem(copyLabel.c_str());
        drawSelectableText(("##msg" + std::to_string(i)).c_str(), msg.text);
    }
}

void AIChatPanel::drawWaiting(double t) {
    if (thinkingStartTime_ <= 0.0)
        thinkingStartTime_ = t > 0.0 ? t : 1e-6;
    const double elapsed = std::max(0.0, t - thinkingStartTime_);
    const int frame = static_cast<int>(std::floor(t * 8.0)) % 4;
    float cell = 0.0f;
    for (const char* f : kSpinner)
        cell = std::max(cell, ImGui::CalcTextSize(f).x);
    ImGui::TextUnformatted("[");
    ImGui::SameLine(0, 0);
    const float x = ImGui::GetCursorPosX();
    ImGui::TextUnformatted(kSpinner[frame < 0 ? 0 : frame]);
    ImGui::SameLine(x + cell, 0);
    ImGui::TextUnformatted("]");
    ImGui::SameLine();
    const int label = static_cast<int>(std::floor(elapsed / 4.0)) % 8;
    ImGui::Text("%s...", kThinkingLabels[label]);
    ImGui::SameLine();
    ImGui::Text("(%s)", TimeUtils::formatElapsed(elapsed).c_str());
    ImGui::SameLine();
    if (button("Cancel##aiCancel"))
        cancel();
}

void AIChatPanel::cancel() {
    AIChatService::getInstance().cancelDirect();
    ++jobGeneration_;
    waiting_ = false;
    jobId_.clear();
    pollInFlight_ = false;
    nextPollTime_ = 0.0;
    thinkingStartTime_ = 0.0;
    pendingUserText_.clear();
    repairAttempts_ = 0;
    autoRetryPending_ = false;
    messages_.push_back({"system", "Cancelled.", 0.0});
    scrollToBottom_ = true;
}

void AIChatPanel::drawErrorBanner(double t) {
    ImGui::PushStyleColor(ImGuiCol_Text, kErrorColour);
    ImGui::TextWrapped("%s", errorText_.c_str());
    if (providerFailures_.is_array())
        for (const json& failure : providerFailures_) {
            ImGui::Bullet();
            ImGui::TextUnformatted(jsonText(failure, "provider").c_str());
            ImGui::SameLine();
            ImGui::TextWrapped("%s", jsonText(failure, "reason").c_str());
        }
    ImGui::PopStyleColor();
    if (autoRetryPending_) {
        if (autoRetryAt_ <= 0.0)
            autoRetryAt_ = t + 30.0;
        if (t < autoRetryAt_) {
            ImGui::TextUnformatted(retryCountdownText(t).c_str());
            ImGui::SameLine();
            if (button("Cancel##aiRetry")) {
                autoRetryPending_ = false;
                autoRetryAt_ = 0.0;
                autoRetryCount_ = kMaxAutoRetries;
            }
            ImGui::SameLine();
            if (button("Retry now##aiRetry")) {
                ++autoRetryCount_;
                autoRetryPending_ = false;
                autoRetryAt_ = 0.0;
                retryLastSend();
            }
        } else {
            tickAutoRetry(t);
        }
    } else if (!lastPrompt_.empty()) {
        if (button("Retry##aiRetry"))
            retryLastSend();
    }
}

void AIChatPanel::drawInputRow() {
    const bool reasoning = !activeReasoningCaps().empty();
    const float sendWidth = ImGui::CalcTextSize("Send").x + ImGui::GetStyle().FramePadding.x * 2 + 8.0f;
    const float controls = reasoning ? scaled(230.0f) : 0.0f;
    ImGui::SetNextItemWidth(std::max(50.0f, ImGui::GetContentRegionAvail().x - sendWidth - controls));
    bool submit = false;
    if (isMobileMode()) {
        std::string text = input_;
        if (BaseUI::inputText("##aiInput", text))
            setInputText(text);
    } else {
        submit = ImGui::InputTextWithHint("##aiInput", "Ask the AI to build or change your game...", input_, kInputBytes,
                                          ImGuiInputTextFlags_EnterReturnsTrue);
        recordItem("##aiInput");
        if (submit)
            ImGui::SetKeyboardFocusHere(-1);
    }
    if (reasoning) {
        ImGui::SameLine();
        drawReasoningControls();
    }
    ImGui::SameLine();
    ImGui::BeginDisabled(waiting_);
    if (button("Send##aiChat"))
        submit = true;
    ImGui::EndDisabled();
    if (submit && !waiting_)
        sendCurrentMessage();
}

} // namespace Lumenda3D
