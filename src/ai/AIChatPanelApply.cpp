// AIChatPanel's second half: a good reply's changes checked against the schema, repaired by the
// model when they break it, merged with the user's concurrent edits and applied as one step.
#include <cstdlib>

#include <pugixml.hpp>

#include "ai/AIChatPanel.h"
#include "ai/AiChatHost.h"
#include "ai/MergeConflictDialog.h"
#include "base/LmdLog.h"
#include "engine/document/AiXmlEdit.h"

namespace Lumenda3D {

using json = nlohmann::json;

namespace {

bool mergeDebug() {
    static const bool on = std::getenv("LMD_AIMERGE_DEBUG") != nullptr;
    return on;
}

pugi::xml_node topElement(const pugi::xml_document& doc) {
    for (pugi::xml_node child = doc.first_child(); child; child = child.next_sibling())
        if (child.type() == pugi::node_element)
            return child;
    return pugi::xml_node();
}

} // namespace

void AIChatPanel::applyChanges(const json& changes) {
    const std::string base = baseSnapshotXml_.empty() ? getCurrentXml() : baseSnapshotXml_;
    std::string error;
    std::string edited = AiXmlEdit::buildEditedXml(changes, base, error);
    if (edited.empty() || !error.empty()) {
        errorText_ = "The assistant's changes could not be applied: " + (error.empty() ? std::string("no result.") : error);
        displayAssistantReply();
        recordHistory(json::array());
        repairAttempts_ = 0;
        pendingUserText_.clear();
        return;
    }
    const std::vector<std::string> findings = AiXmlEdit::introducedViolations(base, edited);
    if (!findings.empty()) {
        if (repairAttempts_ < kMaxRepairs) {
            requestRepair(findings);
            return;
        }
        std::string text = "Could not produce schema-valid changes after retries:";
        for (const std::string& finding : findings)
            text += "\n• " + finding;
        errorText_ = text;
        displayAssistantReply();
        messages_.push_back({"system", text, 0.0});
        recordHistory(json::array());
        repairAttempts_ = 0;
        pendingUserText_.clear();
        return;
    }
    displayAssistantReply();

    const std::string current = captureBaseSnapshotXml();
    pugi::xml_document baseDoc, currentDoc;
    const bool parsed = baseDoc.load_buffer(base.data(), base.size()) && currentDoc.load_buffer(current.data(), current.size()) &&
                        topElement(baseDoc) && topElement(currentDoc);
    std::vector<XmlMerge::UserOp> ops;
    if (parsed)
        ops = XmlMerge::computeUserDiff(topElement(baseDoc), topElement(currentDoc));
    bool createDocument = false;
    for (const json& change : changes)
        createDocument = createDocument || AiXmlEdit::isCreateDocument(change);
    if (mergeDebug())
        LmdLog::message("[AIMerge] changes=" + std::to_string(changes.size()) + " createDoc=" +
                        (createDocument ? "yes" : "no") + " userConcurrentOps=" + std::to_string(ops.size()));

    if (createDocument) {
        std::string text = edited;
        if (!ops.empty()) {
            const std::string carried = XmlMerge::appendUserAdds(edited, ops, error);
            if (!carried.empty())
                text = carried;
        }
        if (host_)
            host_->applyAiEditedXml(text);
        recordHistory(changes);
        clearPendingMergeState();
        return;
    }
    if (!parsed || ops.empty()) {
        applyMergedResult(changes, edited);
        return;
    }
    std::vector<std::string> labels;
    if (!XmlMerge::detectConflicts(ops, changes, topElement(baseDoc), labels)) {
        const std::string merged = XmlMerge::merge(base, changes, ops, XmlMerge::NoConflict, error);
        applyMergedResult(changes, merged.empty() ? edited : merged);
        return;
    }
    pendingMergeChanges_ = changes;
    pendingMergeUserOps_ = ops;
    baseSnapshotXml_ = base;
    auto dialog = getPanel<MergeConflictDialog>();
    if (!dialog) {
        const std::string merged = XmlMerge::merge(base, changes, ops, XmlMerge::AssistantWins, error);
        applyMergedResult(changes, merged.empty() ? edited : merged);
        return;
    }
    dialog->show(labels, [this](int winner) { onMergeWinnerChosen(winner); });
}

void AIChatPanel::applyMergedResult(const json& changes, const std::string& xml) {
    if (host_)
        host_->applyAiEditedXml(xml);
    recordHistory(changes);
    clearPendingMergeState();
}

void AIChatPanel::clearPendingMergeState() {
    repairAttempts_ = 0;
    pendingUserText_.clear();
    baseSnapshotXml_.clear();
    pendingMergeChanges_ = json::array();
    pendingMergeUserOps_.clear();
}

void AIChatPanel::onMergeWinnerChosen(int winner) {
    if (winner == XmlMerge::DiscardAssistant) {
        messages_.push_back({"system", "Discarded the assistant's changes — your edits were kept.", 0.0});
        recordHistory(json::array());
        clearPendingMergeState();
        scrollToBottom_ = true;
        return;
    }
    if (winner != XmlMerge::AssistantWins && winner != XmlMerge::UserWins)
        return;
    const json copy = pendingMergeChanges_;
    std::string error;
    const std::string merged =
        XmlMerge::merge(baseSnapshotXml_, copy, pendingMergeUserOps_, static_cast<XmlMerge::Winner>(winner), error);
    if (!merged.empty()) {
        if (host_)
            host_->applyAiEditedXml(merged);
        recordHistory(copy);
        clearPendingMergeState();
        return;
    }
    messages_.push_back({"system", error.empty() ? std::string("Merge failed.") : error, 0.0});
    recordHistory(json::array());
    clearPendingMergeState();
    scrollToBottom_ = true;
}

void AIChatPanel::requestRepair(const std::vector<std::string>& findings) {
    ++repairAttempts_;
    std::string list;
    for (const std::string& finding : findings)
        list += "- " + finding + "\n";
    messages_.push_back(
        {"system", "Tidying up the assistant's response and retrying (" + std::to_string(repairAttempts_) + "/2)...", 0.0});
    waiting_ = true;
    scrollToBottom_ = true;
    baseSnapshotXml_ = captureBaseSnapshotXml();
    startAiJob(host_ ? host_->projectName() : "", conversationId_, pendingUserText_, getCurrentXml(), buildHistoryJson(),
               "", list);
}

} // namespace Lumenda3D
