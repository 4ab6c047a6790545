#pragma once
// The asset library: textures, models, sounds and materials as a grid, drawn by the block
// editor's "Asset Library" tab (Workflow calls drawContent). Each of the first three kinds has an
// AssetCatalog with three sources: "Public" (the server's catalogue), "Cloud" (the person's own
// uploads) and "Local" (the local store); materials are read from the open document.
//
// Gestures: a cell dragged onto the 3D view becomes a Model or a LoadSound block there, or (a
// texture or a material) is put on the object under the pointer; a file dropped on the window or
// typed into "Import" is checked, then imported into the local store or uploaded to the cloud; a
// cell's menu deletes (after asking) or opens the local folder. Imports, uploads' file reading
// and thumbnails run off the main thread; every failure is one message and leaves the store and
// the document as they were.
#include <array>
#include <memory>
#include <string>
#include <vector>

#include "assets/AssetCatalog.h"
#include "assets/AssetCatalogs.h"
#include "assets/AssetElementDrop.h"
#include "assets/AssetSceneDrop.h"
#include "ui/AssetDrop.h"
#include "ui/BaseUI.h"

namespace Lumenda3D {

class AssetLibraryHost;

class AssetLibraryPanel : public BaseUI, public AssetDropHandler {
public:
    static constexpr const char* kName = "assetLibraryPanel";

    enum class AssetType { Texture, Model, Sound, Material };
    enum class SourceTab { Public, Cloud, Local };

    // `catalogs` null: the editor's shared ones.
    explicit AssetLibraryPanel(std::shared_ptr<AssetCatalogs> catalogs = nullptr);
    ~AssetLibraryPanel() override;

    void setHost(AssetLibraryHost* host);
    void init() override;
    // Once a frame: dropped files, the end of a drag, the modals, thumbnails.
    void draw() override;
    // The tabs, the action row and the grid; inside the Workflow's "Asset Library" tab.
    void drawContent();

    // The catalog of a kind that has one (not materials).
    AssetCatalog& getCatalog(AssetType type);
    AssetSceneDrop& getSceneDrop() { return sceneDrop_; }

    AssetType getCurrentType() const { return currentType_; }
    SourceTab getCurrentSource() const { return currentSource_; }
    void setCurrent(AssetType type, SourceTab source);
    // setCurrent, with the type's tab brought to the front (a choice made outside the tabs).
    void selectTabs(AssetType type, SourceTab source);
    void setSearch(const std::string& text);
    // The names the grid shows now (after the search).
    std::vector<std::string> visibleNames() const;
    // The message the grid shows instead of cells ("No local textures yet. ..."); "" with cells.
    std::string emptyGridMessage() const;

    // --- Gestures and actions (also what tests drive) ------------------------------------------
    // Starts dragging a cell; ends over the scene with dropAssetIntoScene.
    void beginDrag(AssetType type, const std::string& name, SourceTab source);
    bool isDragging() const { return dragging_; }
    // Ends a drag over the 3D view at `screen`. A cloud asset is fetched first.
    void dropAssetIntoScene(ImVec2 screen);
    void updateTextureDropTarget(ImVec2 screen);
    // The drag ended elsewhere.
    void cancelDrag();
    // A cell dropped onto a block of the tree or a field of the attribute panel (AssetDrop): what
    // it would do, and the drop itself (a cloud asset is fetched first; a misfit is told).
    std::string preview(const AssetDragPayload& asset, int xmlId, const std::string& attribute, bool& fits) override;
    void drop(const AssetDragPayload& asset, int xmlId, const std::string& attribute) override;
    AssetDragPayload payloadOf(AssetType type, const std::string& name, SourceTab source) const;

    // Offers a file (dropped or typed): the kind by its extension, then the question.
    void offerFile(const std::string& path);
    void handleDroppedFiles();
    // The local road: checks and copies off the main thread.
    void importDroppedFile(const std::string& path, AssetType type, bool overwrite);
    // The cloud road: checks in order, reads off the main thread, then uploads.
    void uploadFileToCloud(AssetType type, const std::string& path);
    bool cloudUploadWithinQuota(const AssetCatalog& catalog, size_t bytes, std::string& message) const;
    // Asks, then deletes a local file or the person's cloud upload.
    void requestDeleteAsset(AssetType type, const std::string& name, bool local);
    void confirmDelete();
    bool openLocalAssetFolder(AssetType type);
    // "Export...": asks where, then saves a copy of the file there (a cloud file fetched first),
    // atomically; a folder takes the file under its own name.
    void requestExport(AssetType type, const std::string& name, SourceTab source);
    void exportAsset(AssetType type, const std::string& name, SourceTab source, const std::string& typedPath);
    // Where a typed export path puts the file; "" with the reason when it cannot go there.
    static std::string exportTargetFor(const std::string& name, const std::string& typedPath, std::string& error);
    // A typed or pasted path without its file:// prefix, quotes or trailing blanks; ~ is home.
    static std::string cleanTypedPath(std::string path);

    // The kind of a file by its extension; false when no catalog takes it.
    bool matchAssetTypeForFile(const std::string& fileName, AssetType& type);
    bool droppedFileGoesToLocal() const { return currentSource_ == SourceTab::Local; }
    bool droppedFileAlreadyExists(const std::string& fileName, AssetType type);

    // The modals' state.
    bool isAskingAboutDroppedFile() const { return !pendingFile_.empty(); }
    const std::string& getPendingFile() const { return pendingFile_; }
    void answerDroppedFile(bool yes);
    bool isAskingToDelete() const { return !pendingDelete_.empty(); }
    // How many imports or uploads run off the main thread now.
    int busyCount() const { return busy_; }
    // The last message the panel gave (toast or error), for tests and the status line.
    const std::string& getLastMessage() const { return lastMessage_; }
    // The longest time the panel's own work (draw and drawContent together) held one frame of
    // the main thread since the last reset, in milliseconds; measured for the speed target.
    double getWorstFrameMs() const { return worstFrameMs_; }
    // Frames measured since the reset, and how many of them took the library over the budget.
    static constexpr double kFrameBudgetMs = 4.0;
    int getMeasuredFrames() const { return costFrames_; }
    int getFramesOverBudget() const { return framesOverBudget_; }
    // The same in the main thread's processor time (without the waits for a core).
    double getWorstFrameCpuMs() const { return worstFrameCpuMs_; }
    void resetFrameCost() {
        worstFrameMs_ = worstFrameCpuMs_ = 0.0;
        costFrames_ = framesOverBudget_ = 0;
    }
    // Thumbnails asked for and not made yet, over the three catalogs.
    size_t pendingThumbnails();
    // Renders the pictures of local models (one a frame, in draw).
    ModelThumbnailRenderer& getModelRenderer() { return *modelRenderer_; }
    // The reference a cell writes into the document.
    std::string referenceOf(AssetType type, const std::string& name, SourceTab source) const;
    void setRefreshCallback(std::function<void()> refresh) { sceneDrop_.setRefreshCallback(std::move(refresh)); }

private:
    struct Drag {
        AssetType type = AssetType::Texture;
        std::string name;
        SourceTab source = SourceTab::Local;
    };

    void drawTypeTabs();
    void drawSourceTabs();
    void drawActionRow();
    void drawGrid();
    void drawCell(const std::string& name, float size);
    void drawMaterials();
    void drawDragPreview();
    void drawDroppedFileModal();
    void drawDeleteModal();
    void drawImportModal();
    void drawExportModal();
    void refreshCurrent();
    void tell(const std::string& text);
    void fail(const std::string& text);
    void performDrop(const Drag& drag, ImVec2 screen);
    // Runs `then` once the dragged asset's file is on this computer (a cloud file is fetched into
    // the asset cache first); a failed fetch is told and `then` never runs.
    void whenOnThisComputer(const Drag& drag, std::function<void()> then);
    AssetSceneDrop::Dragged draggedOf(const Drag& drag) const;
    std::vector<std::string> materialNames() const;
    AssetSceneDrop::Kind kindOf(AssetType type) const;
    static const char* typeWord(AssetType type);  // "textures"

    AssetLibraryHost* host_ = nullptr;
    std::shared_ptr<AssetCatalogs> catalogs_;
    std::shared_ptr<ModelThumbnailRenderer> modelRenderer_ = std::make_shared<ModelThumbnailRenderer>();
    AssetSceneDrop sceneDrop_;
    AssetElementDrop elementDrop_{sceneDrop_};
    AssetType currentType_ = AssetType::Texture;
    SourceTab currentSource_ = SourceTab::Local;
    int requestedTab_ = -1;
    char search_[256] = {};
    bool dragging_ = false;
    Drag drag_;
    std::string pendingFile_;
    AssetType pendingType_ = AssetType::Texture;
    bool pendingExists_ = false;
    std::string pendingDelete_;
    AssetType pendingDeleteType_ = AssetType::Texture;
    bool pendingDeleteLocal_ = true;
    bool openImport_ = false;
    char importPath_[1024] = {};
    Drag exporting_;
    bool openExport_ = false;
    char exportPath_[1024] = {};
    bool uploadInProgress_ = false;
    int busy_ = 0;
    std::string lastMessage_;
    std::string previewing_;
    ImTextureID soundIcon_ = nullptr;
    std::string soundIconTexture_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
    // The panel's work in the current ImGui frame, for getWorstFrameMs.
    void addFrameCost(double milliseconds, double cpuMilliseconds);
    int costFrame_ = -1;
    double frameCostMs_ = 0.0;
    double worstFrameMs_ = 0.0;
    double frameCpuMs_ = 0.0;
    double worstFrameCpuMs_ = 0.0;
    int costFrames_ = 0;
    int framesOverBudget_ = 0;
};

} // namespace Lumenda3D
