#include "engine/editing/LmdDocumentFindings.h"

#include <algorithm>

#include "engine/document/LmdGameDocument.h"
#include "engine/editing/LmdSourceFiles.h"
#include "engine/schema/CodeSchema.h"

namespace Lumenda3D {

LmdDocumentFindings& LmdDocumentFindings::getInstance() {
    static LmdDocumentFindings instance;
    return instance;
}

void LmdDocumentFindings::follow(LmdSourceFiles* files, std::function<const CodeSchema*()> schema) {
    changes_.cancel();
    files_ = files;
    schema_ = std::move(schema);
    drop();
    pending_ = files_ != nullptr;
    due_ = Clock::time_point{};
    if (!files_)
        return;
    changes_ = files_->subscribeChanges([this](const LmdDocumentChange& change) {
        if (change.kind == LmdDocumentChange::Kind::Replaced) {
            // Every node id changed: the old findings point at nothing now.
            drop();
            due_ = Clock::time_point{};
        } else {
            due_ = Clock::now() + kQuiet;
        }
        pending_ = true;
    });
}

void LmdDocumentFindings::update(Clock::time_point now) {
    if (pending_ && now >= due_)
        checkNow();
}

void LmdDocumentFindings::checkNow() {
    const CodeSchema* schema = schema_ ? schema_() : nullptr;
    LmdGameDocument* document = files_ ? files_->getDocument() : nullptr;
    if (!schema || !schema->isLoaded() || !document)
        return;
    pending_ = false;
    std::vector<Finding> found;
    if (pugi::xml_node root = document->root())
        found = LmdDocumentCheck::check(root, *schema);
    const bool same = std::equal(found.begin(), found.end(), findings_.begin(), findings_.end(),
                                 [](const Finding& a, const Finding& b) {
                                     return a.nodeId == b.nodeId && a.text == b.text && a.attributes == b.attributes;
                                 });
    if (same)
        return;
    findings_ = std::move(found);
    byNode_.clear();
    for (const Finding& finding : findings_)
        if (finding.nodeId > 0)
            byNode_[finding.nodeId].push_back(&finding);
    ++generation_;
}

const std::vector<const LmdDocumentFindings::Finding*>* LmdDocumentFindings::forNode(int nodeId) const {
    const auto found = byNode_.find(nodeId);
    return found == byNode_.end() ? nullptr : &found->second;
}

std::vector<const LmdDocumentFindings::Finding*> LmdDocumentFindings::forAttribute(int nodeId,
                                                                                   const std::string& attribute) const {
    std::vector<const Finding*> out;
    if (const std::vector<const Finding*>* list = forNode(nodeId))
        for (const Finding* finding : *list)
            if (std::find(finding->attributes.begin(), finding->attributes.end(), attribute) !=
                finding->attributes.end())
                out.push_back(finding);
    return out;
}

void LmdDocumentFindings::drop() {
    if (findings_.empty() && byNode_.empty())
        return;
    findings_.clear();
    byNode_.clear();
    ++generation_;
}

} // namespace Lumenda3D
