// The asset library's actions: drags into the scene, files offered by drop or by path, local
// import, cloud upload, delete, and their modals.
#include "assets/AssetLibraryPanel.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <OgreRoot.h>

#include "assets/AssetLibraryHost.h"
#include "base/LmdLog.h"
#include "base/LmdPaths.h"
#include "engine/app/LmdImageEncoder.h"
#include "engine/assets/LmdAssetResolver.h"
#include "engine/assets/LmdMeshData.h"
#include "engine/assets/LmdModelImporter.h"
#include "services/FileManager.h"
#include "services/LmdAssetFormats.h"
#include "services/LocalStorage.h"

namespace Lumenda3D {

namespace fs = std::filesystem;

namespace {

std::string fileNameOf(const std::string& path) { return fs::path(path).filename().string(); }

std::string oneDecimal(double value) {
    char text[32];
    std::snprintf(text, sizeof(text), "%.1f", value);
    return text;
}

} // namespace

void AssetLibraryPanel::tell(const std::string& text) {
    lastMessage_ = text;
    if (host_)
        host_->showToast(text);
}

void AssetLibraryPanel::fail(const std::string& text) {
    lastMessage_ = text;
    LmdLog::message("AssetLibraryPanel: " + text);
    if (host_)
        host_->showError(text);
}

// --- Drags ---------------------------------------------------------------------------------------

void AssetLibraryPanel::beginDrag(AssetType type, const std::string& name, SourceTab source) {
    dragging_ = true;
    drag_ = {type, name, source};
}

void AssetLibraryPanel::cancelDrag() {
    dragging_ = false;
    sceneDrop_.endDrag();
}

void AssetLibraryPanel::updateTextureDropTarget(ImVec2 screen) { sceneDrop_.updateTextureDropTarget(screen); }

AssetSceneDrop::Dragged AssetLibraryPanel::draggedOf(const Drag& drag) const {
    return {kindOf(drag.type), drag.name, referenceOf(drag.type, drag.name, drag.source)};
}

void AssetLibraryPanel::performDrop(const Drag& drag, ImVec2 screen) {
    sceneDrop_.dropAssetIntoScene(draggedOf(drag), screen);
}

void AssetLibraryPanel::dropAssetIntoScene(ImVec2 screen) {
    if (!dragging_)
        return;
    const Drag drag = drag_;
    dragging_ = false;
    // The target is kept while a cloud file is fetched.
    whenOnThisComputer(drag, [this, drag, screen] { performDrop(drag, screen); });
}

void AssetLibraryPanel::whenOnThisComputer(const Drag& drag, std::function<void()> then) {
    if (drag.type == AssetType::Material || drag.source == SourceTab::Local) {
        then();
        return;
    }
    // A cloud asset comes to this machine first, where the engine looks for downloaded files,
    // so that the game finds it as soon as the document names it.
    AssetCatalog& catalog = getCatalog(drag.type);
    const bool mine = drag.source == SourceTab::Cloud;
    const std::string reference = referenceOf(drag.type, drag.name, drag.source);
    const std::string path =
        (fs::path(LmdPaths::cacheDir()) / "assets" / typeWord(drag.type) / LmdAssetResolver::fileNameOf(reference)).string();
    ++busy_;
    std::weak_ptr<bool> alive = alive_;
    catalog.fetchAssetBytes(drag.name, mine, [this, alive, drag, path, then = std::move(then)](
                                                 bool ok, const std::string& bytes, const std::string& error) {
        if (!alive.lock())
            return;
        --busy_;
        std::string why;
        if (!ok)
            return fail(error);
        if (!LmdPaths::ensureDir(fs::path(path).parent_path().string(), &why) ||
            !FileManager::writeFileAtomic(path, bytes, &why))
            return fail("Could not keep \"" + drag.name + "\" on this computer: " + why);
        then();
    });
}

// --- Drops onto blocks and fields ----------------------------------------------------------------

static_assert(int(AssetDragPayload::Kind::Material) == int(AssetLibraryPanel::AssetType::Material) &&
                  int(AssetDragPayload::Kind::Sound) == int(AssetLibraryPanel::AssetType::Sound),
              "the payload's kinds are the library's types");
static_assert(int(AssetDragPayload::Source::Local) == int(AssetLibraryPanel::SourceTab::Local) &&
                  int(AssetDragPayload::Source::Cloud) == int(AssetLibraryPanel::SourceTab::Cloud),
              "the payload's sources are the library's source tabs");

AssetDragPayload AssetLibraryPanel::payloadOf(AssetType type, const std::string& name, SourceTab source) const {
    return AssetDragPayload::make(static_cast<AssetDragPayload::Kind>(type), static_cast<AssetDragPayload::Source>(source),
                                  name);
}

std::string AssetLibraryPanel::preview(const AssetDragPayload& asset, int xmlId, const std::string& attribute,
                                       bool& fits) {
    const Drag drag{static_cast<AssetType>(asset.kind), asset.name, static_cast<SourceTab>(asset.source)};
    const AssetElementDrop::Plan plan = elementDrop_.plan(draggedOf(drag), xmlId, attribute);
    fits = plan.fits;
    return plan.text;
}

void AssetLibraryPanel::drop(const AssetDragPayload& asset, int xmlId, const std::string& attribute) {
    const Drag drag{static_cast<AssetType>(asset.kind), asset.name, static_cast<SourceTab>(asset.source)};
    cancelDrag();
    const AssetElementDrop::Plan plan = elementDrop_.plan(draggedOf(drag), xmlId, attribute);
    if (!plan.fits) {
        tell(plan.text);
        return;
    }
    whenOnThisComputer(drag, [this, drag, xmlId, attribute] {
        const std::string error = elementDrop_.apply(draggedOf(drag), xmlId, attribute);
        if (!error.empty())
            tell(error);
    });
}

// --- Files offered -------------------------------------------------------------------------------

bool AssetLibraryPanel::matchAssetTypeForFile(const std::string& fileName, AssetType& type) {
    for (size_t i = 0; i < AssetCatalogs::size(); ++i)
        if (catalogs_->at(i).allowsExtension(fileName)) {
            type = static_cast<AssetType>(i);
            return true;
        }
    return false;
}

bool AssetLibraryPanel::droppedFileAlreadyExists(const std::string& fileName, AssetType type) {
    AssetCatalog& catalog = getCatalog(type);
    const std::string name = fileNameOf(fileName);
    if (droppedFileGoesToLocal()) {
        catalog.refreshLocalList();
        return catalog.localAssetExists(name);
    }
    const auto& mine = catalog.getMyAssets();
    return std::find(mine.begin(), mine.end(), name) != mine.end();
}

void AssetLibraryPanel::offerFile(const std::string& path) {
    AssetType type = AssetType::Texture;
    if (!matchAssetTypeForFile(fileNameOf(path), type))
        return fail("Unsupported file type: " + fileNameOf(path));
    pendingFile_ = path;
    pendingType_ = type;
    pendingExists_ = droppedFileAlreadyExists(path, type);
}

void AssetLibraryPanel::handleDroppedFiles() {
    if (!host_)
        return;
    for (const std::string& path : host_->takeDroppedFiles()) {
        // One question at a time: files dropped while one is asked about wait for the next drop.
        if (isAskingAboutDroppedFile()) {
            fail("One file at a time, please: \"" + fileNameOf(path) + "\" was not added.");
            continue;
        }
        offerFile(path);
    }
}

void AssetLibraryPanel::answerDroppedFile(bool yes) {
    const std::string path = pendingFile_;
    const AssetType type = pendingType_;
    const bool overwrite = pendingExists_;
    pendingFile_.clear();
    pendingExists_ = false;
    if (!yes || path.empty())
        return;
    if (droppedFileGoesToLocal())
        importDroppedFile(path, type, overwrite);
    else
        uploadFileToCloud(type, path);
}

void AssetLibraryPanel::importDroppedFile(const std::string& path, AssetType type, bool overwrite) {
    AssetCatalog& catalog = getCatalog(type);
    AssetCatalog::FileData file{path, fileNameOf(path), "", overwrite};
    auto result = std::make_shared<std::pair<std::string, std::string>>();  // (stored name, error)
    ++busy_;
    std::weak_ptr<bool> alive = alive_;
    auto work = [&catalog, file, result] { result->first = catalog.importLocalFile(file, result->second); };
    auto done = [this, alive, &catalog, file, result] {
        if (!alive.lock())
            return;
        --busy_;
        if (result->first.empty())
            return fail("Import failed: " + result->second);
        catalog.localThumbnails().invalidate(result->first);
        if (host_)
            host_->refreshLocalAssets();
        catalog.refreshLocalList();
        tell("Imported \"" + result->first + "\"!");
    };
    if (host_)
        host_->runInBackground(std::move(work), std::move(done));
    else {
        work();
        done();
    }
}

bool AssetLibraryPanel::cloudUploadWithinQuota(const AssetCatalog& catalog, size_t bytes, std::string& message) const {
    if (!catalog.isStorageKnown() || catalog.isStorageUnlimited())
        return true;
    const double sizeMb = static_cast<double>(bytes) / (1024.0 * 1024.0);
    const double freeMb = std::max(0.0, catalog.getStorageQuotaMb() - catalog.getStorageUsedMb());
    if (sizeMb <= freeMb)
        return true;
    message = "Not enough cloud storage: file is " + oneDecimal(sizeMb) + " MB, " + oneDecimal(freeMb) + " MB free";
    return false;
}

void AssetLibraryPanel::uploadFileToCloud(AssetType type, const std::string& path) {
    const std::string name = fileNameOf(path);
    AssetCatalog& catalog = getCatalog(type);
    if (!catalog.allowsExtension(name))
        return fail("Unsupported file type: " + name);
    if (uploadInProgress_ || catalog.isUploading())
        return fail("Upload already in progress");
    if (!host_ || !host_->isLoggedIn())
        return fail("Sign in to upload assets");
    uploadInProgress_ = true;
    struct Read {
        bool readable = false;
        std::string bytes, fault, thumbnail;
        std::shared_ptr<LmdMeshData> mesh;  // a model, for its rendered thumbnail
    };
    auto read = std::make_shared<Read>();
    const std::string word = typeWord(type);
    auto work = [path, name, word, read] {
        std::ifstream in(path, std::ios::binary);
        if (!in)
            return;
        read->bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
        read->readable = !in.bad();
        if (!read->readable)
            return;
        read->fault = LmdAssetFormats::check(word, name, read->bytes);
        if (read->fault.empty() && word == "textures")
            try {
                read->thumbnail = AssetCatalog::makeThumbnailJpeg(read->bytes, name);
            } catch (const std::exception&) {
                // The server then has no thumbnail of it; the upload goes on.
            }
        // A model must be one the importer reads, as for a local import; its picture is rendered.
        if (read->fault.empty() && word == "models" && LmdModelImporter::canRead(name) &&
            !LmdModelImporter::isOgreMesh(name)) {
            auto mesh = std::make_shared<LmdMeshData>();
            std::string why;
            if (LmdModelImporter::load(path, *mesh, why))
                read->mesh = std::move(mesh);
            else
                read->fault = "\"" + name + "\" could not be read as a model: " + why;
        }
    };
    std::weak_ptr<bool> alive = alive_;
    auto done = [this, alive, &catalog, name, read] {
        if (!alive.lock())
            return;
        if (!read->readable) {
            uploadInProgress_ = false;
            return fail("Could not read " + name);
        }
        if (!read->fault.empty()) {
            uploadInProgress_ = false;
            return fail("Upload failed: " + read->fault);
        }
        std::string quota;
        if (!cloudUploadWithinQuota(catalog, read->bytes.size(), quota)) {
            uploadInProgress_ = false;
            return fail(quota);
        }
        std::weak_ptr<bool> stillAlive = alive_;
        auto upload = [this, stillAlive, &catalog, name, read](const std::string& thumbnail) {
            if (!stillAlive.lock())
                return;
            catalog.uploadToServer(name, read->bytes, thumbnail, thumbnail.empty() ? "" : "thumb.jpg",
                                   [this, stillAlive, name](bool ok, const std::string& error) {
                                       if (!stillAlive.lock())
                                           return;
                                       uploadInProgress_ = false;
                                       if (ok)
                                           tell("Uploaded \"" + name + "\"");
                                       else
                                           fail("Upload failed: " + error);
                                   });
        };
        Ogre::Root* root = Ogre::Root::getSingletonPtr();
        if (!read->mesh || !root || !root->getRenderSystem())
            return upload(read->thumbnail);
        // The model's picture comes with it: rendered in its turn, encoded off the main thread.
        // A render that fails only costs the picture.
        modelRenderer_->enqueue("upload:" + name, read->mesh,
                                [this, stillAlive, upload](const std::string&, std::vector<unsigned char> rgb,
                                                           const std::string&) {
                                    if (!stillAlive.lock())
                                        return;
                                    if (rgb.empty() || !host_)
                                        return upload("");
                                    auto jpeg = std::make_shared<std::string>();
                                    auto pixels = std::make_shared<std::vector<unsigned char>>(std::move(rgb));
                                    host_->runInBackground(
                                        [jpeg, pixels] {
                                            const int side = int(ModelThumbnailRenderer::kSize);
                                            const std::vector<unsigned char> bytes =
                                                LmdImageEncoder::encodeJpeg(pixels->data(), side, side, 85);
                                            jpeg->assign(bytes.begin(), bytes.end());
                                        },
                                        [upload, jpeg] { upload(*jpeg); });
                                });
    };
    host_->runInBackground(std::move(work), std::move(done));
}

// --- Delete --------------------------------------------------------------------------------------

void AssetLibraryPanel::requestDeleteAsset(AssetType type, const std::string& name, bool local) {
    pendingDelete_ = name;
    pendingDeleteType_ = type;
    pendingDeleteLocal_ = local;
}

void AssetLibraryPanel::confirmDelete() {
    const std::string name = pendingDelete_;
    pendingDelete_.clear();
    if (name.empty())
        return;
    AssetCatalog& catalog = getCatalog(pendingDeleteType_);
    if (pendingDeleteLocal_) {
        std::string error;
        if (!catalog.deleteLocalAsset(name, error))
            return fail("Delete failed: " + error);
        return tell("Deleted \"" + name + "\"");
    }
    std::weak_ptr<bool> alive = alive_;
    catalog.deleteAsset(name, [this, alive, name](bool ok, const std::string& error) {
        if (!alive.lock())
            return;
        if (ok)
            tell("Deleted \"" + name + "\"");
        else
            fail("Delete failed: " + error);
    });
}

bool AssetLibraryPanel::openLocalAssetFolder(AssetType type) {
    const fs::path folder = fs::path(LocalStorage::localAssetsDir()) / typeWord(type);
    std::error_code error;
    fs::create_directories(folder, error);
#ifdef _WIN32
    const std::string command = "explorer \"" + folder.string() + "\"";
#else
    const std::string command = "xdg-open '" + folder.string() + "' >/dev/null 2>&1 &";
#endif
    if (error || folder.string().find('\'') != std::string::npos || std::system(command.c_str()) != 0) {
        fail("Could not open folder");
        return false;
    }
    return true;
}

// --- Modals --------------------------------------------------------------------------------------

void AssetLibraryPanel::drawDroppedFileModal() {
    const char* id = "Add dropped file?##AssetLibrary";
    if (isAskingAboutDroppedFile() && !ImGui::IsPopupOpen(id))
        ImGui::OpenPopup(id);
    if (!ImGui::BeginPopupModal(id, nullptr, ImGuiWindowFlags_AlwaysAutoResize))
        return;
    const std::string name = fileNameOf(pendingFile_);
    const std::string word = typeWord(pendingType_);
    if (droppedFileGoesToLocal())
        ImGui::Text("Import \"%s\" into your local %s?", name.c_str(), word.c_str());
    else
        ImGui::Text("Upload \"%s\" to your cloud %s?", name.c_str(), word.c_str());
    if (pendingExists_)
        ImGui::Text("\"%s\" already exists \xE2\x80\x94 it will be overwritten.", name.c_str());
    const bool yes = ImGui::Button(pendingExists_ ? "Overwrite##dropped" : "Yes##dropped", ImVec2(scaled(100), 0));
    recordItem("Yes");
    if (yes) {
        answerDroppedFile(true);
        ImGui::CloseCurrentPopup();
    }
    ImGui::SameLine();
    if (ImGui::Button("No##dropped", ImVec2(scaled(100), 0)) || !isAskingAboutDroppedFile()) {
        answerDroppedFile(false);
        ImGui::CloseCurrentPopup();
    }
    ImGui::EndPopup();
}

void AssetLibraryPanel::drawDeleteModal() {
    const char* id = "Delete asset?##AssetLibrary";
    if (isAskingToDelete() && !ImGui::IsPopupOpen(id))
        ImGui::OpenPopup(id);
    if (!ImGui::BeginPopupModal(id, nullptr, ImGuiWindowFlags_AlwaysAutoResize))
        return;
    ImGui::Text("Permanently delete \"%s\"?", pendingDelete_.c_str());
    ImGui::TextUnformatted("This cannot be undone.");
    const bool confirmed = ImGui::Button("Delete##confirmDelete", ImVec2(scaled(100), 0));
    recordItem("Delete");
    if (confirmed) {
        confirmDelete();
        ImGui::CloseCurrentPopup();
    }
    ImGui::SameLine();
    if (ImGui::Button("Cancel##confirmDelete", ImVec2(scaled(100), 0)) || !isAskingToDelete()) {
        pendingDelete_.clear();
        ImGui::CloseCurrentPopup();
    }
    ImGui::EndPopup();
}

void AssetLibraryPanel::drawImportModal() {
    const char* id = "Add a file##AssetLibraryImport";
    if (openImport_) {
        openImport_ = false;
        ImGui::OpenPopup(id);
    }
    if (!ImGui::BeginPopupModal(id, nullptr, ImGuiWindowFlags_AlwaysAutoResize))
        return;
    const bool local = currentSource_ == SourceTab::Local;
    ImGui::TextUnformatted(local ? "Import a file into your local assets." : "Upload a file to your cloud assets.");
    ImGui::TextDisabled("Type or paste its path, or drop the file onto the window.");
    ImGui::SetNextItemWidth(scaled(420));
    if (ImGui::IsWindowAppearing())
        ImGui::SetKeyboardFocusHere();
    const bool entered = ImGui::InputText("##importPath", importPath_, sizeof(importPath_), ImGuiInputTextFlags_EnterReturnsTrue);
    recordItem("Path");
    if (ImGui::Button(local ? "Import##importFile" : "Upload##importFile", ImVec2(scaled(100), 0)) || entered) {
        const std::string path = cleanTypedPath(importPath_);
        importPath_[0] = '\0';
        ImGui::CloseCurrentPopup();
        if (!path.empty())
            offerFile(path);
    }
    ImGui::SameLine();
    if (ImGui::Button("Cancel##importFile", ImVec2(scaled(100), 0)))
        ImGui::CloseCurrentPopup();
    ImGui::EndPopup();
}

} // namespace Lumenda3D
