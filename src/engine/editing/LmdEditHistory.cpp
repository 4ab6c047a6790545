#include "engine/editing/LmdEditHistory.h"

namespace Lumenda3D {

size_t LmdHistoryStep::memoryBytes() const {
    size_t bytes = sizeof(*this);
    for (const LmdHistoryRecord& r : records)
        bytes += r.memoryBytes();
    return bytes;
}

void LmdEditHistory::setLimits(size_t maxSteps, size_t maxBytes) {
    maxSteps_ = maxSteps == 0 ? 1 : maxSteps;
    maxBytes_ = maxBytes;
    enforceLimits();
}

LmdHistoryStep& LmdEditHistory::pushStep() {
    redo_.clear();
    undo_.emplace_back();
    enforceLimits();
    return undo_.back();
}

void LmdEditHistory::stepChanged() { enforceLimits(); }

size_t LmdEditHistory::memoryBytes() const {
    size_t bytes = 0;
    for (const LmdHistoryStep& s : undo_)
        bytes += s.memoryBytes();
    for (const LmdHistoryStep& s : redo_)
        bytes += s.memoryBytes();
    return bytes;
}

void LmdEditHistory::clear() {
    undo_.clear();
    redo_.clear();
}

void LmdEditHistory::enforceLimits() {
    while (undo_.size() > maxSteps_)
        undo_.pop_front();
    // The newest step always stays, however large.
    while (undo_.size() > 1 && memoryBytes() > maxBytes_)
        undo_.pop_front();
}

bool LmdEditHistory::applyStep(pugi::xml_document& doc, const LmdHistoryStep& step, bool forward,
                               const LmdTreeHooks& hooks) {
    const size_t n = step.records.size();
    for (size_t i = 0; i < n; ++i) {
        const LmdHistoryRecord& r = step.records[forward ? i : n - 1 - i];
        if (LmdHistoryApplier::apply(doc, r, forward, hooks))
            continue;
        // Roll back the records already applied, newest first.
        for (size_t j = i; j-- > 0;)
            LmdHistoryApplier::apply(doc, step.records[forward ? j : n - 1 - j], !forward, hooks);
        return false;
    }
    return true;
}

bool LmdEditHistory::undo(pugi::xml_document& doc, const LmdTreeHooks& hooks) {
    if (undo_.empty())
        return false;
    if (!applyStep(doc, undo_.back(), false, hooks))
        return false;
    redo_.push_back(std::move(undo_.back()));
    undo_.pop_back();
    return true;
}

bool LmdEditHistory::redo(pugi::xml_document& doc, const LmdTreeHooks& hooks) {
    if (redo_.empty())
        return false;
    if (!applyStep(doc, redo_.back(), true, hooks))
        return false;
    undo_.push_back(std::move(redo_.back()));
    redo_.pop_back();
    enforceLimits();
    return true;
}

} // namespace Lumenda3D
