#pragma once
// The document check's findings for the open game, kept current for the views that show them
// (the block tree marks a block, the attribute panel shows the text beside the attribute it
// names). It follows the document service: a replaced document (a load, an agent's edit, undo)
// is checked at the next update, and a run of small edits (typing in a field) once the document
// has been quiet for kQuiet, so that the check, a translation of the whole game, never runs per
// keystroke. Findings are indexed by the node id of their element in the live document.
//
// Main thread only: update() runs once per frame (the edit layer's frame work).
#include <chrono>
#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

#include "base/LmdSubscription.h"
#include "engine/logic/LmdDocumentCheck.h"

namespace Lumenda3D {

class CodeSchema;
class LmdSourceFiles;

class LmdDocumentFindings {
public:
    using Finding = LmdDocumentCheck::Finding;
    using Clock = std::chrono::steady_clock;
    // How long the document must stay unchanged after an edit before it is checked again.
    static constexpr std::chrono::milliseconds kQuiet{300};

    // The instance the editor's views read.
    static LmdDocumentFindings& getInstance();

    LmdDocumentFindings() = default;
    LmdDocumentFindings(const LmdDocumentFindings&) = delete;
    LmdDocumentFindings& operator=(const LmdDocumentFindings&) = delete;

    // Follows the document of `files` (null: none, and the findings are dropped). `schema` is
    // asked at each check, since the schema may load after this is wired; while it answers null
    // nothing is checked.
    void follow(LmdSourceFiles* files, std::function<const CodeSchema*()> schema);
    // Checks the document when a check is due at `now`.
    void update(Clock::time_point now);
    // Checks the document now, due or not.
    void checkNow();
    // Whether a change has not been checked yet.
    bool isPending() const { return pending_; }

    // Every finding, in document order (problems before notes, as the check gives them).
    const std::vector<Finding>& all() const { return findings_; }
    // The findings of the element with this node id; null when it has none.
    const std::vector<const Finding*>* forNode(int nodeId) const;
    // The findings of that element that name `attribute`.
    std::vector<const Finding*> forAttribute(int nodeId, const std::string& attribute) const;
    // Changes whenever the findings change.
    int generation() const { return generation_; }

private:
    void drop();

    LmdSourceFiles* files_ = nullptr;
    std::function<const CodeSchema*()> schema_;
    LmdSubscription changes_;
    bool pending_ = false;
    Clock::time_point due_{};
    std::vector<Finding> findings_;
    std::unordered_map<int, std::vector<const Finding*>> byNode_;
    int generation_ = 0;
};

} // namespace Lumenda3D
