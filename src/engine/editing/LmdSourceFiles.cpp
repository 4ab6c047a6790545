#include "engine/editing/LmdSourceFiles.h"

#include "base/LmdLog.h"
#include "base/LmdXmlWriter.h"
#include "engine/document/LmdGameDocument.h"
#include "engine/document/Lumenda3DUtils.h"
#include "engine/editing/LmdTreeDiff.h"
#include "engine/editing/LmdXmlTreeOps.h"

#include <cctype>
#include <cstring>
#include <unordered_set>

namespace Lumenda3D {

LmdSourceFiles& LmdSourceFiles::getInstance() {
    static LmdSourceFiles instance;
    return instance;
}

LmdSourceFiles::LmdSourceFiles() = default;

LmdSourceFiles::~LmdSourceFiles() {
    if (document_)
        document_->setOnReplaced(nullptr);
}

void LmdSourceFiles::attachDocument(LmdGameDocument* document) {
    if (document_)
        document_->setOnReplaced(nullptr);
    document_ = document;
    resetHistory();
    if (document_)
        document_->setOnReplaced(
            [this](std::unique_ptr<pugi::xml_document> previous) { onDocumentReplaced(std::move(previous)); });
}

bool LmdSourceFiles::inDocument(const pugi::xml_node& node) const {
    if (!node || !document_ || !document_->getSourceXml())
        return false;
    return node.root() == *document_->getSourceXml();
}

// ---- recording ---------------------------------------------------------------------------

void LmdSourceFiles::closeRun() {
    runOpen_ = false;
    runNode_ = pugi::xml_node();
    runName_.clear();
}

bool LmdSourceFiles::isCreatedInJoinWindow(const pugi::xml_node& node) const {
    for (pugi::xml_node n = node; n; n = n.parent())
        for (const pugi::xml_node& created : joinNodes_)
            if (n == created)
                return true;
    return false;
}

LmdHistoryStep* LmdSourceFiles::stepForStructure() {
    if (!historyEnabled_)
        return nullptr;
    compactPendingReplacement();
    closeRun();
    if (groupDepth_ > 0) {
        if (!groupStepStarted_) {
            history_.pushStep();
            groupStepStarted_ = true;
        }
        return &history_.lastStep();
    }
    joinNodes_.clear();
    return &history_.pushStep();
}

LmdHistoryStep* LmdSourceFiles::stepForAttribute(const pugi::xml_node& node, const char* name, bool foldable) {
    if (!historyEnabled_)
        return nullptr;
    compactPendingReplacement();
    if (groupDepth_ > 0) {
        closeRun();
        if (!groupStepStarted_) {
            history_.pushStep();
            groupStepStarted_ = true;
        }
        return &history_.lastStep();
    }
    if (!joinNodes_.empty() && history_.canUndo() && isCreatedInJoinWindow(node)) {
        closeRun();
        return &history_.lastStep();
    }
    joinNodes_.clear();
    if (!(foldable && runOpen_ && runNode_ == node && runName_ == name))
        closeRun();
    return &history_.pushStep();
}

void LmdSourceFiles::afterChange(LmdDocumentChange::Kind kind, const pugi::xml_node& node) {
    if (document_)
        document_->markChanged();
    autoSaver_.noteChange();
    LmdDocumentChange change;
    change.kind = kind;
    change.node = node;
    if (groupDepth_ == 0) {
        notifyChange(change);
        return;
    }
    // One notification for the whole group: structure outweighs values, and changes of several
    // elements are about the document as a whole.
    if (!groupChanged_) {
        groupChanged_ = true;
        groupChange_ = change;
        return;
    }
    if (kind == LmdDocumentChange::Kind::Structure)
        groupChange_.kind = kind;
    if (groupChange_.node != node)
        groupChange_.node = document_ ? document_->root() : pugi::xml_node();
}

void LmdSourceFiles::notifyChange(const LmdDocumentChange& change) {
    changed_.emit(change);
}

void LmdSourceFiles::setAttributeText(const pugi::xml_node& node, const char* name, const std::string& value) {
    if (!node || !name || !*name)
        return;
    pugi::xml_node target = node;
    if (!inDocument(node)) {
        pugi::xml_attribute a = target.attribute(name);
        (a ? a : target.append_attribute(name)).set_value(value.c_str());
        return;
    }
    pugi::xml_attribute existing = target.attribute(name);
    // The id is the node's ephemeral address, not game content: it is neither recorded nor saved.
    if (std::strcmp(name, "id") == 0) {
        (existing ? existing : target.append_attribute(name)).set_value(value.c_str());
        if (document_)
            document_->markChanged();
        return;
    }
    if (existing && value == existing.value())
        return;

    // Continue the open typing run: only the newest value of the run is kept.
    if (historyEnabled_ && groupDepth_ == 0 && runOpen_ && runNode_ == node && runName_ == name && !pendingPrevious_ &&
        history_.canUndo() && runRecord_ < history_.lastStep().records.size()) {
        LmdHistoryRecord& r = history_.lastStep().records[runRecord_];
        r.hasNew = true;
        r.newValue = value;
        existing.set_value(value.c_str());
        afterChange(LmdDocumentChange::Kind::Attribute, node);
        return;
    }

    if (LmdHistoryStep* step = stepForAttribute(node, name, true)) {
        LmdHistoryRecord r;
        r.kind = LmdHistoryRecord::Kind::Attribute;
        r.path = LmdXmlTreeOps::pathOf(node);
        r.name = name;
        r.hadOld = static_cast<bool>(existing);
        if (existing) {
            r.oldValue = existing.value();
            r.oldPosition = LmdXmlTreeOps::attributeIndex(node, name);
        }
        r.hasNew = true;
        r.newValue = value;
        step->records.push_back(std::move(r));
        history_.stepChanged();
        if (joinNodes_.empty() && groupDepth_ == 0) {
            runOpen_ = true;
            runNode_ = node;
            runName_ = name;
            runRecord_ = step->records.size() - 1;
        }
    }
    (existing ? existing : target.append_attribute(name)).set_value(value.c_str());
    afterChange(LmdDocumentChange::Kind::Attribute, node);
}

void LmdSourceFiles::setAttribute(const pugi::xml_node& node, const char* name, bool value) {
    setAttributeText(node, name, value ? "true" : "false");
}
void LmdSourceFiles::setAttribute(const pugi::xml_node& node, const char* name, const char* value) {
    setAttributeText(node, name, value ? value : "");
}
void LmdSourceFiles::setAttribute(const pugi::xml_node& node, const char* name, float value) {
    setAttributeText(node, name, Lumenda3DUtils::formatFloat(value));
}
void LmdSourceFiles::setAttribute(const pugi::xml_node& node, const char* name, int value) {
    setAttributeText(node, name, std::to_string(value));
}
void LmdSourceFiles::setAttribute(const pugi::xml_node& node, const char* name, const std::string& value) {
    setAttributeText(node, name, value);
}

void LmdSourceFiles::removeAttribute(const pugi::xml_node& node, const char* name) {
    if (!node || !name)
        return;
    pugi::xml_node target = node;
    pugi::xml_attribute existing = target.attribute(name);
    if (!existing)
        return;
    if (!inDocument(node) || std::strcmp(name, "id") == 0) {
        target.remove_attribute(existing);
        return;
    }
    if (LmdHistoryStep* step = stepForAttribute(node, name, false)) {
        LmdHistoryRecord r;
        r.kind = LmdHistoryRecord::Kind::Attribute;
        r.path = LmdXmlTreeOps::pathOf(node);
        r.name = name;
        r.hadOld = true;
        r.oldValue = existing.value();
        r.oldPosition = LmdXmlTreeOps::attributeIndex(node, name);
        step->records.push_back(std::move(r));
        history_.stepChanged();
        closeRun();
    }
    target.remove_attribute(existing);
    afterChange(LmdDocumentChange::Kind::Attribute, node);
}

namespace {
LmdHistoryRecord spliceRecord(const pugi::xml_node& parent, uint32_t index) {
    LmdHistoryRecord r;
    r.kind = LmdHistoryRecord::Kind::Splice;
    r.path = LmdXmlTreeOps::pathOf(parent);
    r.index = index;
    return r;
}
} // namespace

// Records a node just inserted into the document in the open history step (if any) and
// announces the change; returns the node, or the null node when the insertion failed.
pugi::xml_node LmdSourceFiles::recordInserted(LmdHistoryStep* step, const pugi::xml_node& created) {
    if (!created)
        return created;
    if (step) {
        LmdHistoryRecord r = spliceRecord(created.parent(), LmdXmlTreeOps::childIndex(created));
        r.insertedCount = 1;
        r.insertedXml = LmdXmlTreeOps::fragmentOf(created, 1);
        step->records.push_back(std::move(r));
        history_.stepChanged();
        joinNodes_.push_back(created);
    }
    afterChange(LmdDocumentChange::Kind::Structure, created);
    return created;
}

pugi::xml_node LmdSourceFiles::appendChild(const pugi::xml_node& parent, const char* elementName) {
    if (!parent || !elementName || !*elementName)
        return pugi::xml_node();
    pugi::xml_node p = parent;
    if (!inDocument(parent))
        return p.append_child(elementName);
    LmdHistoryStep* step = stepForStructure();
    pugi::xml_node created = p.append_child(elementName);
    return recordInserted(step, created);
}

pugi::xml_node LmdSourceFiles::insertCopyAfter(const pugi::xml_node& parent, const pugi::xml_node& source,
                                               const pugi::xml_node& after) {
    if (!parent || !source)
        return pugi::xml_node();
    pugi::xml_node p = parent;
    if (after && after.parent() != parent)
        return pugi::xml_node();
    if (!inDocument(parent))
        return after ? p.insert_copy_after(source, after) : p.append_copy(source);
    LmdHistoryStep* step = stepForStructure();
    pugi::xml_node created = after ? p.insert_copy_after(source, after) : p.append_copy(source);
    return recordInserted(step, created);
}

pugi::xml_node LmdSourceFiles::appendCopy(const pugi::xml_node& parent, const pugi::xml_node& source) {
    return insertCopyAfter(parent, source, pugi::xml_node());
}

namespace {
// Where a move puts the child: after `after`, at the end (no `after`, append) or at the start.
enum class MoveWhere { After, End, Start };

pugi::xml_node doMove(pugi::xml_node parent, pugi::xml_node child, const pugi::xml_node& after, MoveWhere where) {
    switch (where) {
    case MoveWhere::After: return parent.insert_move_after(child, after);
    case MoveWhere::End: return parent.append_move(child);
    case MoveWhere::Start: return parent.prepend_move(child);
    }
    return pugi::xml_node();
}

bool isInside(const pugi::xml_node& node, const pugi::xml_node& ancestor) {
    for (pugi::xml_node n = node; n; n = n.parent())
        if (n == ancestor)
            return true;
    return false;
}
} // namespace

pugi::xml_node LmdSourceFiles::appendMove(const pugi::xml_node& parent, const pugi::xml_node& child) {
    return insertMoveAfter(parent, child, pugi::xml_node());
}

pugi::xml_node LmdSourceFiles::prependMove(const pugi::xml_node& parent, const pugi::xml_node& child) {
    if (!parent || !child || isInside(parent, child) || parent.root() != child.root())
        return pugi::xml_node();
    if (!inDocument(parent))
        return doMove(parent, child, pugi::xml_node(), MoveWhere::Start);
    // Record through the general move with "before everything".
    LmdHistoryStep* step = stepForStructure();
    LmdHistoryRecord r;
    r.kind = LmdHistoryRecord::Kind::Move;
    r.path = LmdXmlTreeOps::pathOf(child.parent());
    r.index = LmdXmlTreeOps::childIndex(child);
    r.toPathBefore = LmdXmlTreeOps::pathOf(parent);
    pugi::xml_node oldParent = child.parent();
    pugi::xml_node moved = doMove(parent, child, pugi::xml_node(), MoveWhere::Start);
    if (!moved)
        return moved;
    if (step) {
        r.toPathAfter = LmdXmlTreeOps::pathOf(parent);
        r.fromPathAfter = LmdXmlTreeOps::pathOf(oldParent);
        r.toIndex = LmdXmlTreeOps::childIndex(moved);
        step->records.push_back(std::move(r));
        history_.stepChanged();
    }
    afterChange(LmdDocumentChange::Kind::Structure, parent);
    return moved;
}

pugi::xml_node LmdSourceFiles::insertMoveAfter(const pugi::xml_node& parent, const pugi::xml_node& child,
                                               const pugi::xml_node& after) {
    if (!parent || !child || isInside(parent, child) || parent.root() != child.root())
        return pugi::xml_node();
    if (after && (after.parent() != parent || after == child))
        return pugi::xml_node();
    const MoveWhere where = after ? MoveWhere::After : MoveWhere::End;
    if (!inDocument(parent))
        return doMove(parent, child, after, where);
    LmdHistoryStep* step = stepForStructure();
    LmdHistoryRecord r;
    r.kind = LmdHistoryRecord::Kind::Move;
    r.path = LmdXmlTreeOps::pathOf(child.parent());
    r.index = LmdXmlTreeOps::childIndex(child);
    r.toPathBefore = LmdXmlTreeOps::pathOf(parent);
    pugi::xml_node oldParent = child.parent();
    pugi::xml_node moved = doMove(parent, child, after, where);
    if (!moved)
        return moved;
    if (step) {
        r.toPathAfter = LmdXmlTreeOps::pathOf(parent);
        r.fromPathAfter = LmdXmlTreeOps::pathOf(oldParent);
        r.toIndex = LmdXmlTreeOps::childIndex(moved);
        step->records.push_back(std::move(r));
        history_.stepChanged();
    }
    afterChange(LmdDocumentChange::Kind::Structure, parent);
    return moved;
}

void LmdSourceFiles::removeChild(const pugi::xml_node& parent, const pugi::xml_node& child) {
    if (!parent || !child || child.parent() != parent)
        return;
    pugi::xml_node p = parent;
    if (!inDocument(parent)) {
        p.remove_child(child);
        return;
    }
    if (LmdHistoryStep* step = stepForStructure()) {
        LmdHistoryRecord r = spliceRecord(p, LmdXmlTreeOps::childIndex(child));
        r.removedCount = 1;
        r.removedXml = LmdXmlTreeOps::fragmentOf(child, 1);
        step->records.push_back(std::move(r));
        history_.stepChanged();
    }
    if (document_)
        document_->unregisterSubtree(child);
    p.remove_child(child);
    afterChange(LmdDocumentChange::Kind::Structure, parent);
}

void LmdSourceFiles::updateNodeGuid(const pugi::xml_node& node, bool recursive) {
    if (!node || node.type() != pugi::node_element)
        return;
    setAttributeText(node, "guidId", Lumenda3DUtils::newGuid());
    if (!recursive)
        return;
    for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling())
        updateNodeGuid(child, true);
}

std::string LmdSourceFiles::getNextAutoName(const std::string& baseName) {
    std::string base = baseName;
    while (!base.empty() && std::isdigit(static_cast<unsigned char>(base.back())))
        base.pop_back();
    if (base.empty())
        base = "Object";
    std::unordered_set<std::string> used;
    if (document_ && document_->getSourceXml()) {
        struct Walker : pugi::xml_tree_walker {
            std::unordered_set<std::string>* used;
            bool for_each(pugi::xml_node& n) override {
                if (pugi::xml_attribute a = n.attribute("name"))
                    used->insert(a.value());
                return true;
            }
        } walker;
        walker.used = &used;
        document_->getSourceXml()->traverse(walker);
    }
    for (unsigned long n = 1;; ++n) {
        std::string candidate = base + std::to_string(n);
        if (!used.count(candidate))
            return candidate;
    }
}

pugi::xml_node LmdSourceFiles::createElement(const pugi::xml_node& parent, const char* elementName,
                                            const std::map<std::string, std::string>& attributes, Build build) {
    if (!inDocument(parent) || !elementName || !*elementName)
        return pugi::xml_node();
    pugi::xml_node node;
    {
        EditGroupScope group(*this);
        node = appendChild(parent, elementName);
        if (!node)
            return node;
        for (const auto& attribute : attributes)
            setAttribute(node, attribute.first.c_str(), attribute.second);
        setAttribute(node, "id", Lumenda3DUtils::getNextId());
        document_->registerXmlNode(node);
    } // the listeners hear of it here: the block tree shows it before the game does
    if (build == Build::Now && sceneBuilder_)
        sceneBuilder_(node, parent);
    return node;
}

void LmdSourceFiles::regenerateProjectGuid() {
    setProjectGuid(Lumenda3DUtils::newGuid());
}

std::string LmdSourceFiles::getProjectGuid() const {
    if (!document_ || !document_->root())
        return "";
    return document_->root().attribute("guidId").as_string();
}

void LmdSourceFiles::setProjectGuid(const std::string& guid) {
    if (!document_ || !document_->root())
        return;
    // No undo step (see docs/document-service.md): the identity is not the user's edit. An agent's
    // replacement not yet folded into the history is folded first, so that the identity does not
    // ride along in its step.
    compactPendingReplacement();
    pugi::xml_node root = document_->root();
    pugi::xml_attribute a = root.attribute("guidId");
    if (guid.empty()) {
        if (!a)
            return;
        root.remove_attribute(a);
    } else {
        (a ? a : root.append_attribute("guidId")).set_value(guid.c_str());
    }
    afterChange(LmdDocumentChange::Kind::Attribute, root);
}

void LmdSourceFiles::beginEditGroup() {
    if (groupDepth_++ == 0) {
        groupStepStarted_ = false;
        closeRun();
        joinNodes_.clear();
    }
}

void LmdSourceFiles::endEditGroup() {
    if (groupDepth_ == 0)
        return;
    if (--groupDepth_ > 0)
        return;
    groupStepStarted_ = false;
    if (groupChanged_) {
        groupChanged_ = false;
        notifyChange(groupChange_);
    }
}

// ---- history -----------------------------------------------------------------------------

void LmdSourceFiles::setHistoryEnabled(bool enabled) {
    historyEnabled_ = enabled;
    if (!enabled)
        resetHistory();
}

void LmdSourceFiles::resetHistory() {
    history_.clear();
    pendingPrevious_.reset();
    closeRun();
    joinNodes_.clear();
    groupStepStarted_ = false;
}

void LmdSourceFiles::onDocumentReplaced(std::unique_ptr<pugi::xml_document> previous) {
    closeRun();
    joinNodes_.clear();
    // Undo and redo announce their reload themselves, once.
    if (!applyingSnapshot_)
        notifyChange(LmdDocumentChange{});
    if (applyingSnapshot_ || !previous) {
        pendingPrevious_.reset();  // undo and redo keep their own accounts; the first document is no change
        return;
    }
    // The same game again (the Source tab left without an edit, a reload of the same text) is
    // a new tree but no change: nothing to undo and nothing to back up.
    if (sameStoredText(*previous)) {
        compactPendingReplacement();
        return;
    }
    if (!historyEnabled_) {
        pendingPrevious_.reset();
        autoSaver_.noteChange();
        return;
    }
    // Two replacements in a row: the first one's result is `previous`, so it can be folded now.
    if (pendingPrevious_) {
        std::vector<LmdHistoryRecord> records = LmdTreeDiff::diff(*pendingPrevious_, *previous);
        if (!records.empty()) {
            history_.pushStep().records = std::move(records);
            history_.stepChanged();
        }
    }
    pendingPrevious_ = std::move(previous);
    autoSaver_.noteChange();
}

bool LmdSourceFiles::sameStoredText(const pugi::xml_document& previous) const {
    if (!document_ || !document_->getSourceXml())
        return false;
    LmdXmlWriteOptions stored;
    stored.withIds = false;
    stored.withSessionMarks = false;
    return LmdXmlWriter::toString(previous, stored) == document_->getSourceXmlString(false, true);
}

void LmdSourceFiles::compactPendingReplacement() {
    if (!pendingPrevious_)
        return;
    std::unique_ptr<pugi::xml_document> previous = std::move(pendingPrevious_);
    if (!document_ || !document_->getSourceXml())
        return;
    std::vector<LmdHistoryRecord> records = LmdTreeDiff::diff(*previous, *document_->getSourceXml());
    if (records.empty())
        return;
    history_.pushStep().records = std::move(records);
    history_.stepChanged();
}

LmdTreeHooks LmdSourceFiles::treeHooks() {
    LmdTreeHooks hooks;
    hooks.removing = [this](const pugi::xml_node& n) {
        if (document_)
            document_->unregisterSubtree(n);
    };
    hooks.inserted = [this](pugi::xml_node n) {
        if (document_)
            document_->assignIds(n);
    };
    return hooks;
}

void LmdSourceFiles::applyHistory(bool undoing) {
    if (!document_ || !document_->getSourceXml())
        return;
    compactPendingReplacement();
    closeRun();
    joinNodes_.clear();
    bool ok = undoing ? history_.undo(*document_->getSourceXml(), treeHooks())
                      : history_.redo(*document_->getSourceXml(), treeHooks());
    if (!ok) {
        if (undoing ? history_.canUndo() : history_.canRedo()) {
            LmdLog::critical(std::string(undoing ? "Undo" : "Redo") +
                             " failed: the document was changed outside the edit history; the history was cleared.");
            history_.clear();
        }
        return;
    }
    if (onSnapshotApplied_) {
        const std::string xml = document_->getSourceXmlString(false, false);
        bool taken = false;
        applyingSnapshot_ = true;
        try {
            taken = onSnapshotApplied_(xml);
        } catch (...) {
            applyingSnapshot_ = false;
            takeBackHistoryStep(undoing);
            throw;
        }
        applyingSnapshot_ = false;
        if (!taken) {
            // The editor refused the text (an agent's synthetic key, for one): the document must
            // not differ from the scene it shows.
            takeBackHistoryStep(undoing);
            return;
        }
    }
    document_->markChanged();
    autoSaver_.noteChange();
    // The nodes changed under their holders (and were replaced by the reload): a new document.
    notifyChange(LmdDocumentChange{});
}

void LmdSourceFiles::takeBackHistoryStep(bool undone) {
    // The step that was just applied is applied the other way, which also moves it back to the
    // stack it came from; the text is the same either way, so it fits.
    if (!document_ || !document_->getSourceXml())
        return;
    const bool back = undone ? history_.redo(*document_->getSourceXml(), treeHooks())
                             : history_.undo(*document_->getSourceXml(), treeHooks());
    if (!back) {
        LmdLog::critical(std::string(undone ? "Undo" : "Redo") +
                         " could not be taken back; the history was cleared.");
        history_.clear();
    }
}

void LmdSourceFiles::undo() {
    if (historyEnabled_)
        applyHistory(true);
}

void LmdSourceFiles::redo() {
    if (historyEnabled_)
        applyHistory(false);
}

bool LmdSourceFiles::canUndo() const { return historyEnabled_ && (history_.canUndo() || pendingPrevious_); }
bool LmdSourceFiles::canRedo() const { return historyEnabled_ && history_.canRedo() && !pendingPrevious_; }

void LmdSourceFiles::setOnSnapshotApplied(std::function<bool(const std::string&)> callback) {
    onSnapshotApplied_ = std::move(callback);
}

size_t LmdSourceFiles::historyMemoryBytes() const { return history_.memoryBytes(); }
size_t LmdSourceFiles::undoStepCount() const { return history_.undoCount() + (pendingPrevious_ ? 1 : 0); }

// ---- auto-save ---------------------------------------------------------------------------

std::string LmdSourceFiles::backupText() const {
    return document_ ? document_->getSourceXmlString(false, true) : std::string();
}

void LmdSourceFiles::setAutoSaveEnabled(bool enabled) { autoSaver_.setEnabled(enabled); }
void LmdSourceFiles::setAutoSaveProjectName(const std::string& name) { autoSaver_.setProjectName(name); }
bool LmdSourceFiles::autoBackupExists() { return autoSaver_.backupExists(); }
std::optional<AutoSaveSnapshot> LmdSourceFiles::loadAutoBackup() { return autoSaver_.loadBackup(); }
void LmdSourceFiles::dismissAutoBackup() { autoSaver_.dismissBackup(); }
bool LmdSourceFiles::hasDismissedAutoBackup() { return autoSaver_.dismissedBackupExists(); }
std::optional<AutoSaveSnapshot> LmdSourceFiles::loadDismissedAutoBackup() { return autoSaver_.loadDismissedBackup(); }
void LmdSourceFiles::clearAutoBackup() { autoSaver_.clearBackups(); }
std::string LmdSourceFiles::setAsideDamagedAutoBackup(bool dismissed) { return autoSaver_.setAsideDamagedBackup(dismissed); }
void LmdSourceFiles::flushAutoSave() {
    autoSaver_.flush([this] { return backupText(); });
}
void LmdSourceFiles::endAutoSaveSession(bool unsavedWork) {
    autoSaver_.endSession(unsavedWork, [this] { return backupText(); });
}

// ---- others ------------------------------------------------------------------------------

std::string LmdSourceFiles::getMainSourceFileString(bool withIds, bool forStorage) {
    return document_ ? document_->getSourceXmlString(withIds, forStorage) : std::string();
}

bool LmdSourceFiles::isXmlSourceStringValid(const std::string& xml) {
    return LmdGameDocument::isValidText(xml);
}

void LmdSourceFiles::update() {
    // The frame's compound edit (a block created and filled in) ends here.
    if (!joinNodes_.empty()) {
        joinNodes_.clear();
        closeRun();
    }
    compactPendingReplacement();
    autoSaver_.update([this] { return backupText(); });
}

} // namespace Lumenda3D
