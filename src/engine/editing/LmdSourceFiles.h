#pragma once
// The document service. Every change of the game document passes through here, so that it is
// recorded for undo and marked for auto-save. It works on the document the engine holds
// (LmdGameDocument); nodes of any other document are changed without being recorded.
//
// Undo units: a structural edit is its own step. Attribute writes fold into the step before
// them when they continue a run on the same attribute of the same node (a user typing, a slider
// being dragged), or when they fill in nodes that the previous structural edit created during
// the same frame (creating a block and setting its values is one step). Edits between
// beginEditGroup and endEditGroup form one step. Replacing the whole document (an agent's or
// the assistant's edit) is a step too, recorded as the difference to the previous document.
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <pugixml.hpp>

#include "base/LmdSignal.h"
#include "engine/editing/LmdAutoSaver.h"
#include "engine/editing/LmdEditHistory.h"

namespace Lumenda3D {

class LmdGameDocument;

// One change of the game document, as the document service tells its listeners.
struct LmdDocumentChange {
    enum class Kind {
        Replaced,   // a whole new document (a load, an agent's or the assistant's edit, undo, redo):
                    // every node handle held from before is dead
        Structure,  // elements were added, moved or removed
        Attribute,  // attribute values changed
    };
    Kind kind = Kind::Replaced;
    // The element the change is about: the new or changed element, the parent an element was
    // removed from or moved to. With several elements in one edit group, the document's root
    // element. Empty for a replacement.
    pugi::xml_node node;
};

class LmdSourceFiles {
public:
    using AutoSaveSnapshot = Lumenda3D::AutoSaveSnapshot;

    // The instance the engine uses.
    static LmdSourceFiles& getInstance();

    LmdSourceFiles();
    ~LmdSourceFiles();
    LmdSourceFiles(const LmdSourceFiles&) = delete;
    LmdSourceFiles& operator=(const LmdSourceFiles&) = delete;

    // The document whose changes are recorded (null detaches).
    void attachDocument(LmdGameDocument* document);
    LmdGameDocument* getDocument() const { return document_; }

    // Structure and attributes.
    void setAttribute(const pugi::xml_node& node, const char* name, bool value);
    void setAttribute(const pugi::xml_node& node, const char* name, const char* value);
    void setAttribute(const pugi::xml_node& node, const char* name, float value);
    void setAttribute(const pugi::xml_node& node, const char* name, int value);
    void setAttribute(const pugi::xml_node& node, const char* name, const std::string& value);
    void removeAttribute(const pugi::xml_node& node, const char* name);
    pugi::xml_node appendChild(const pugi::xml_node& parent, const char* elementName);
    pugi::xml_node appendCopy(const pugi::xml_node& parent, const pugi::xml_node& source);
    pugi::xml_node appendMove(const pugi::xml_node& parent, const pugi::xml_node& child);
    pugi::xml_node prependMove(const pugi::xml_node& parent, const pugi::xml_node& child);
    pugi::xml_node insertCopyAfter(const pugi::xml_node& parent, const pugi::xml_node& source, const pugi::xml_node& after);
    pugi::xml_node insertMoveAfter(const pugi::xml_node& parent, const pugi::xml_node& child, const pugi::xml_node& after);
    void removeChild(const pugi::xml_node& parent, const pugi::xml_node& child);
    void updateNodeGuid(const pugi::xml_node& node, bool recursive);
    // A `name` not yet used in the document: the base without trailing digits, followed by the
    // smallest number from 1 that is free ("Box" -> "Box1", "Box1" -> "Box2" when Box1 exists).
    std::string getNextAutoName(const std::string& baseName);

    // A new element in one step, the way every new element is made: appended to `parent` (an
    // element of the document), given `attributes` in map order and a fresh `id`, registered,
    // announced to the change listeners (the block tree shows it), and then built in the scene
    // through the scene builder (with Build::Later the caller builds once for a batch). One undo
    // step. Empty when the parent is not in the document.
    enum class Build { Now, Later };
    pugi::xml_node createElement(const pugi::xml_node& parent, const char* elementName,
                                 const std::map<std::string, std::string>& attributes, Build build = Build::Now);
    // Builds a new element (and its subtree) in the running scene under its parent; set by the
    // editor's edit layer. May be empty: the element is then only in the document.
    using SceneBuilder = std::function<void(pugi::xml_node node, pugi::xml_node parent)>;
    void setSceneBuilder(SceneBuilder builder) { sceneBuilder_ = std::move(builder); }

    // Every change of the document, told once to each listener after it happened: one
    // notification per operation of this service that changed the game (setting a value to what
    // it was is none, and neither is writing the ephemeral `id`), one per edit group at its end,
    // one per replaced document (a load that failed changed nothing and is told nothing), one
    // per undo or redo. Listeners run on the main thread and may edit the document themselves.
    LmdSubscription subscribeChanges(std::function<void(const LmdDocumentChange&)> listener) {
        return changed_.subscribe(std::move(listener));
    }
    // New `guidId` on the root element: the identity of the project. A change of the document
    // (version, listeners, auto-save) but no undo step.
    void regenerateProjectGuid();
    // The root's `guidId` ("" when it has none), and setting it back (for an operation that gave the
    // project a new identity and then failed); "" removes it. Like the renewal: no undo step.
    std::string getProjectGuid() const;
    void setProjectGuid(const std::string& guid);

    // Edits between these form one undo step; calls nest.
    void beginEditGroup();
    void endEditGroup();
    // An edit group for one scope: it ends also when a write in between throws.
    class EditGroupScope {
    public:
        explicit EditGroupScope(LmdSourceFiles& files) : files_(files) { files_.beginEditGroup(); }
        ~EditGroupScope() { files_.endEditGroup(); }
        EditGroupScope(const EditGroupScope&) = delete;
        EditGroupScope& operator=(const EditGroupScope&) = delete;

    private:
        LmdSourceFiles& files_;
    };

    // History.
    void setHistoryEnabled(bool enabled);
    bool isHistoryEnabled() const { return historyEnabled_; }
    void resetHistory();
    // Undo and redo are all or nothing: the step is applied to the document, then the whole text
    // goes to the applied callback. When the callback refuses the text (returns false, or throws),
    // the step is put back: the document, the history and the backups are as they were, and no
    // change is announced.
    void undo();
    void redo();
    bool canUndo() const;
    bool canRedo() const;
    // The editor's answer to undo and redo: loads the whole text and returns whether it did.
    void setOnSnapshotApplied(std::function<bool(const std::string& xml)> callback);
    size_t historyMemoryBytes() const;
    size_t undoStepCount() const;

    // Auto-save.
    void setAutoSaveEnabled(bool enabled);
    void setAutoSaveProjectName(const std::string& name);
    bool autoBackupExists();
    std::optional<AutoSaveSnapshot> loadAutoBackup();
    void dismissAutoBackup();
    bool hasDismissedAutoBackup();
    std::optional<AutoSaveSnapshot> loadDismissedAutoBackup();
    void clearAutoBackup();
    // A backup that exists but cannot be read goes aside (see LmdAutoSaver); where it went, or "".
    std::string setAsideDamagedAutoBackup(bool dismissed);
    // Writes a due backup now and waits for it.
    void flushAutoSave();
    // The editor closes normally: keeps unsaved work in the backup, marked as such, or removes
    // this session's backup when nothing is unsaved (see LmdAutoSaver::endSession).
    void endAutoSaveSession(bool unsavedWork);
    LmdAutoSaver& autoSaver() { return autoSaver_; }

    // Others.
    std::string getMainSourceFileString(bool withIds, bool forStorage);
    bool isXmlSourceStringValid(const std::string& xml);

    // Once a frame on the main thread: ends the frame's compound edit, folds a replaced document
    // into the history, and hands a due backup to the writer thread.
    void update();

private:
    bool inDocument(const pugi::xml_node& node) const;
    void setAttributeText(const pugi::xml_node& node, const char* name, const std::string& value);
    LmdHistoryStep* stepForStructure();
    pugi::xml_node recordInserted(LmdHistoryStep* step, const pugi::xml_node& created);
    LmdHistoryStep* stepForAttribute(const pugi::xml_node& node, const char* name, bool foldable);
    bool isCreatedInJoinWindow(const pugi::xml_node& node) const;
    // Marks the document changed (version, auto-save) and tells the listeners, or keeps the news
    // for the end of the open edit group.
    void afterChange(LmdDocumentChange::Kind kind, const pugi::xml_node& node);
    void notifyChange(const LmdDocumentChange& change);
    void closeRun();
    void compactPendingReplacement();
    // Whether `previous` is the same game as the live document in its stored form.
    bool sameStoredText(const pugi::xml_document& previous) const;
    void onDocumentReplaced(std::unique_ptr<pugi::xml_document> previous);
    void applyHistory(bool undoing);
    // Puts back the step that undo (undone true) or redo just applied.
    void takeBackHistoryStep(bool undone);
    LmdTreeHooks treeHooks();
    std::string backupText() const;

    LmdGameDocument* document_ = nullptr;
    bool historyEnabled_ = false;
    LmdEditHistory history_;
    std::function<bool(const std::string&)> onSnapshotApplied_;
    bool applyingSnapshot_ = false;

    // The open typing run: the record that the next write of the same attribute updates.
    pugi::xml_node runNode_;
    std::string runName_;
    size_t runRecord_ = 0;
    bool runOpen_ = false;
    // Nodes the last structural step created in the current frame.
    std::vector<pugi::xml_node> joinNodes_;
    int groupDepth_ = 0;
    bool groupStepStarted_ = false;
    // The document before a whole replacement, until it is folded into a history step.
    std::unique_ptr<pugi::xml_document> pendingPrevious_;

    LmdAutoSaver autoSaver_;

    SceneBuilder sceneBuilder_;
    LmdSignal<const LmdDocumentChange&> changed_{"document changed"};
    // The change an open edit group will announce when it ends.
    bool groupChanged_ = false;
    LmdDocumentChange groupChange_;
};

} // namespace Lumenda3D
