#pragma once
// Undo and redo for the game document. A step is one undo unit: a list of records, applied
// backwards to undo and forwards to redo. Each step holds only what changed, never a copy of
// the document.
#include <cstddef>
#include <deque>
#include <vector>

#include "engine/editing/LmdHistoryRecord.h"

namespace Lumenda3D {

struct LmdHistoryStep {
    std::vector<LmdHistoryRecord> records;
    size_t memoryBytes() const;
};

class LmdEditHistory {
public:
    // Oldest steps are dropped beyond these limits.
    void setLimits(size_t maxSteps, size_t maxBytes);

    // A new step; clears what could be redone.
    LmdHistoryStep& pushStep();
    // The newest undoable step (call only when canUndo()).
    LmdHistoryStep& lastStep() { return undo_.back(); }
    // Call after a step has grown, to keep the memory account and the limits.
    void stepChanged();

    bool canUndo() const { return !undo_.empty(); }
    bool canRedo() const { return !redo_.empty(); }
    size_t undoCount() const { return undo_.size(); }
    size_t redoCount() const { return redo_.size(); }
    size_t memoryBytes() const;
    void clear();

    // Applies the newest step backwards (undo) or the next redo step forwards. On a record that
    // does not fit, what was applied is rolled back and false is returned.
    bool undo(pugi::xml_document& doc, const LmdTreeHooks& hooks);
    bool redo(pugi::xml_document& doc, const LmdTreeHooks& hooks);

private:
    static bool applyStep(pugi::xml_document& doc, const LmdHistoryStep& step, bool forward, const LmdTreeHooks& hooks);
    void enforceLimits();

    std::deque<LmdHistoryStep> undo_;
    std::vector<LmdHistoryStep> redo_;
    size_t maxSteps_ = 1000;
    size_t maxBytes_ = 64u * 1024u * 1024u;
};

} // namespace Lumenda3D
