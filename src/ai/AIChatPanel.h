#pragma once
// The in-editor assistant: a panel along the bottom of the viewport in which the user describes a
// game in plain words. It holds the visible transcript, the history sent with each request, the
// waiting display, the automatic retry and every error text; all traffic goes through
// AIChatService. A good reply's changes are checked against the schema (repaired by the model at
// most twice), merged with the edits the user made meanwhile (asking through MergeConflictDialog
// when both touch the same things) and applied as one undoable step (AIChatPanelApply.cpp).
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "services/AIChatService.h"
#include "services/XmlMerge.h"
#include "ui/BaseUI.h"

namespace Lumenda3D {

class AiChatHost;

struct ChatMsg {
    std::string role;   // "user", "assistant" or "system"
    std::string text;
    double elapsedSeconds = 0.0;
};

class AIChatPanel : public BaseUI {
public:
    static constexpr const char* kName = "aiChatPanel";
    static constexpr int kMaxAutoRetries = 10;
    static constexpr int kMaxRepairs = 2;
    static constexpr int kInputBytes = 4096;
    static constexpr const char* kMalformedFinding =
        "Your previous reply was not valid JSON for this protocol. Respond with ONLY a single JSON object — a "
        "top-level \"reply\" string and a \"changes\" array — with no prose, explanations, or markdown fences "
        "before or after it.";

    explicit AIChatPanel(AiChatHost* host);

    void init() override;
    void draw() override;
    void drawChatBody();
    void renderMobileContent() { drawChatBody(); }

    void sendCurrentMessage();
    void retryLastSend();
    void newConversation();
    // What "Cancel" does while a request runs: abandons it (and its queued job) and says so.
    void cancel();
    void startAiJob(const std::string& projectName, const std::string& conversationId, const std::string& text,
                    const std::string& xml, const std::string& history, const std::string& extraA,
                    const std::string& extraB);
    void pollInFlightJob();
    void onResponse(bool ok, const AiChatResponse& response, const std::string& error);
    void displayAssistantReply();
    void recordHistory(const nlohmann::json& changes);
    std::string buildHistoryJson() const;
    std::string captureBaseSnapshotXml();
    std::string getCurrentXml();

    // Applying a reply (AIChatPanelApply.cpp).
    void applyChanges(const nlohmann::json& changes);
    void requestRepair(const std::vector<std::string>& findings);
    void applyMergedResult(const nlohmann::json& changes, const std::string& xml);
    void onMergeWinnerChosen(int winner);
    void clearPendingMergeState();

    // The model and reasoning choices (AIChatPanelControls.cpp).
    void drawModelSelector();
    void drawReasoningControls();
    std::string activeReasoningCaps() const;

    // The text box (what Enter or "Send" would send).
    void setInputText(const std::string& text);
    std::string inputBoxText() const { return input_; }
    // The UI clock in seconds (ImGui's time inside frames); tests may set their own.
    void setClock(std::function<double()> clock) { clock_ = std::move(clock); }

    // State, read by tests and by the editor's status.
    const std::vector<ChatMsg>& messages() const { return messages_; }
    const nlohmann::json& history() const { return history_; }
    const std::string& errorText() const { return errorText_; }
    const nlohmann::json& providerFailures() const { return providerFailures_; }
    bool waiting() const { return waiting_; }
    bool collapsed() const { return collapsed_; }
    void setCollapsed(bool collapsed);
    bool autoRetryPending() const { return autoRetryPending_; }
    int autoRetryCount() const { return autoRetryCount_; }
    int repairAttempts() const { return repairAttempts_; }
    bool conversationLong() const { return conversationLong_; }
    const std::string& conversationId() const { return conversationId_; }
    const std::string& lastPrompt() const { return lastPrompt_; }
    const std::string& lastHistoryJson() const { return lastHistoryJson_; }
    // The provider's queued job being polled ("" when the request is answered directly).
    const std::string& jobId() const { return jobId_; }
    double nextPollTime() const { return nextPollTime_; }
    bool mergePending() const { return pendingMergeChanges_.is_array() && !pendingMergeChanges_.empty(); }
    // The countdown line while an automatic retry waits, "" otherwise.
    std::string retryCountdownText(double now) const;
    // `text` broken into lines at spaces so that none is wider than `width` in the current font.
    static std::string wrappedText(const std::string& text, float width);
    // Runs the countdown's end as the body would (for a collapsed panel's tests and the driver).
    void tickAutoRetry(double now);

private:
    // The state every request starts with: its text pending, waiting, the clock started, the
    // banner cleared.
    void beginRequest(const std::string& text);
    // The next poll of the queued job, by how long the request has been waiting.
    void scheduleNextPoll();
    void openSettings();
    void drawWelcome();
    void drawTranscript();
    void drawWaiting(double now);
    void drawErrorBanner(double now);
    void drawInputRow();
    void drawSelectableText(const char* id, const std::string& text);
    double now() const;

    AiChatHost* host_ = nullptr;
    std::function<double()> clock_;

    std::vector<ChatMsg> messages_;
    nlohmann::json history_ = nlohmann::json::array();
    std::string conversationId_;
    std::string pendingUserText_;
    std::string lastReplyText_;
    std::chrono::steady_clock::time_point sendTime_{};
    std::string lastPrompt_;
    std::string lastHistoryJson_;
    int repairAttempts_ = 0;
    std::string baseSnapshotXml_;
    nlohmann::json pendingMergeChanges_ = nlohmann::json::array();
    std::vector<XmlMerge::UserOp> pendingMergeUserOps_;
    int jobGeneration_ = 0;
    std::string jobId_;
    double nextPollTime_ = 0.0;
    bool pollInFlight_ = false;
    char input_[kInputBytes] = {};
    bool collapsed_ = true;
    bool waiting_ = false;
    double thinkingStartTime_ = 0.0;
    bool conversationLong_ = false;
    bool scrollToBottom_ = false;
    std::string errorText_;
    nlohmann::json providerFailures_ = nlohmann::json::array();
    bool autoRetryPending_ = false;
    double autoRetryAt_ = 0.0;
    int autoRetryCount_ = 0;
    bool focusInput_ = false;
};

} // namespace Lumenda3D
