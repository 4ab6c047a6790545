#include "assets/AssetLibraryPanel.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <cstdint>
#include <filesystem>
#include <fstream>

#include <OgreDataStream.h>
#include <OgreImage.h>
#include <OgreTextureManager.h>

#include "assets/AssetLibraryHost.h"
#include "base/LmdLog.h"
#include "base/LmdPaths.h"
#include "base/LmdValueParser.h"
#include "services/LocalStorage.h"

namespace Lumenda3D {

namespace fs = std::filesystem;

namespace {

const char* const kTypeTabs[] = {"Textures", "Models", "Sounds", "Materials"};
const char* const kSourceTabs[] = {"Public", "Cloud", "Local"};

std::string lower(const std::string& text) {
    std::string out = text;
    std::transform(out.begin(), out.end(), out.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return out;
}

} // namespace


AssetLibraryPanel::AssetLibraryPanel(std::shared_ptr<AssetCatalogs> catalogs)
    : BaseUI(kName), catalogs_(catalogs ? std::move(catalogs) : AssetCatalogs::shared()) {
    for (size_t i = 0; i < AssetCatalogs::size(); ++i)
        catalogs_->at(i).setModelRenderer(modelRenderer_);
}

AssetLibraryPanel::~AssetLibraryPanel() {
    *alive_ = false;
    AssetDropHandler::uninstall(this);
    // The catalogs may outlive the panel (they are shared): they must not call a host that goes.
    setHost(nullptr);
    for (size_t i = 0; i < AssetCatalogs::size(); ++i)
        catalogs_->at(i).setModelRenderer({});
    if (!soundIconTexture_.empty())
        if (Ogre::TextureManager* textures = Ogre::TextureManager::getSingletonPtr())
            textures->remove(soundIconTexture_, Ogre::RGN_INTERNAL);
}

void AssetLibraryPanel::setHost(AssetLibraryHost* host) {
    host_ = host;
    sceneDrop_.setHost(host);
    for (size_t i = 0; i < AssetCatalogs::size(); ++i) {
        AssetCatalog* catalog = &catalogs_->at(i);
        if (host) {
            catalog->setBackgroundRunner([host](std::function<void()> work, std::function<void()> done) {
                host->runInBackground(std::move(work), std::move(done));
            });
            catalog->setOnLocalChange([host] { host->refreshLocalAssets(); });
        } else {
            catalog->setBackgroundRunner(nullptr);
            catalog->setOnLocalChange(nullptr);
        }
    }
}

void AssetLibraryPanel::init() {
    AssetDropHandler::install(this);
    for (size_t i = 0; i < AssetCatalogs::size(); ++i)
        catalogs_->at(i).refreshLocalList();
    Ogre::TextureManager* textures = Ogre::TextureManager::getSingletonPtr();
    if (!textures)
        return;
    try {
        const fs::path icon = fs::path(LmdPaths::mediaDir()) / "blocks" / "icons" / "sound.png";
        Ogre::Image image;
        auto file = std::make_shared<std::ifstream>(icon, std::ios::binary);
        if (!*file)
            throw std::runtime_error("cannot read " + icon.string());
        Ogre::DataStreamPtr stream(new Ogre::FileStreamDataStream(icon.string(), file.get(), false));
        image.load(stream, "png");
        soundIconTexture_ = "LmdAssetLibrary/soundIcon";
        Ogre::TexturePtr texture = textures->loadImage(soundIconTexture_, Ogre::RGN_INTERNAL, image, Ogre::TEX_TYPE_2D, 0);
        soundIcon_ = reinterpret_cast<ImTextureID>(static_cast<std::uintptr_t>(texture->getHandle()));
    } catch (const std::exception& e) {
        soundIconTexture_.clear();
        LmdLog::message(std::string("AssetLibraryPanel: failed to load sound icon: ") + e.what());
    }
}

AssetCatalog& AssetLibraryPanel::getCatalog(AssetType type) {
    const size_t index = type == AssetType::Material ? 0 : static_cast<size_t>(type);
    return catalogs_->at(index);
}

const char* AssetLibraryPanel::typeWord(AssetType type) {
    switch (type) {
    case AssetType::Texture:
        return "textures";
    case AssetType::Model:
        return "models";
    case AssetType::Sound:
        return "sounds";
    case AssetType::Material:
        break;
    }
    return "materials";
}

AssetSceneDrop::Kind AssetLibraryPanel::kindOf(AssetType type) const {
    switch (type) {
    case AssetType::Texture:
        return AssetSceneDrop::Kind::Texture;
    case AssetType::Model:
        return AssetSceneDrop::Kind::Model;
    case AssetType::Sound:
        return AssetSceneDrop::Kind::Sound;
    case AssetType::Material:
        break;
    }
    return AssetSceneDrop::Kind::Material;
}

void AssetLibraryPanel::selectTabs(AssetType type, SourceTab source) {
    requestedTab_ = static_cast<int>(type);
    setCurrent(type, source);
}

void AssetLibraryPanel::setCurrent(AssetType type, SourceTab source) {
    const bool changed = type != currentType_ || source != currentSource_;
    currentType_ = type;
    currentSource_ = source;
    if (changed)
        refreshCurrent();
}

void AssetLibraryPanel::setSearch(const std::string& text) {
    const size_t n = std::min(text.size(), sizeof(search_) - 1);
    text.copy(search_, n);
    search_[n] = '\0';
}

void AssetLibraryPanel::refreshCurrent() {
    if (currentType_ == AssetType::Material)
        return;
    AssetCatalog& catalog = getCatalog(currentType_);
    if (currentSource_ == SourceTab::Local)
        catalog.refreshLocalList();
    else if (!catalog.isFetching())
        catalog.fetchList();
}

std::vector<std::string> AssetLibraryPanel::materialNames() const {
    std::vector<std::string> names;
    pugi::xml_document* document = host_ ? host_->getSourceXml() : nullptr;
    if (!document)
        return names;
    for (const pugi::xpath_node& hit : document->select_nodes("//Material[@name]")) {
        const std::string name = hit.node().attribute("name").value();
        if (!name.empty() && std::find(names.begin(), names.end(), name) == names.end())
            names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::string> AssetLibraryPanel::visibleNames() const {
    std::vector<std::string> all;
    if (currentType_ == AssetType::Material) {
        all = materialNames();
    } else {
        const AssetCatalog& catalog = catalogs_->at(static_cast<size_t>(currentType_));
        all = currentSource_ == SourceTab::Local  ? catalog.getLocalAssets()
              : currentSource_ == SourceTab::Cloud ? catalog.getMyAssets()
                                                   : catalog.getCatalogAssets();
    }
    const std::string needle = lower(search_);
    if (needle.empty())
        return all;
    std::vector<std::string> shown;
    for (const std::string& name : all)
        if (lower(name).find(needle) != std::string::npos)
            shown.push_back(name);
    return shown;
}

std::string AssetLibraryPanel::emptyGridMessage() const {
    if (!visibleNames().empty())
        return "";
    const std::string word = typeWord(currentType_);
    if (currentType_ == AssetType::Material)
        return search_[0] ? "No matching materials." : "No materials in this game yet. Drop a texture onto an object to make one.";
    const AssetCatalog& catalog = catalogs_->at(static_cast<size_t>(currentType_));
    if (currentSource_ == SourceTab::Local) {
        if (!LocalStorage::isFeatureAvailable())
            return "Local " + word + " are not supported in this build.";
        if (catalog.getLocalAssets().empty())
            return "No local " + word + " yet. Click \"Import local " + word + "...\" below.";
        return "No matching local " + word + ".";
    }
    if (currentSource_ == SourceTab::Cloud && host_ && !host_->isLoggedIn())
        return "Log in to see your cloud " + word + ".";
    if (!catalog.hasListed()) {
        if (!catalog.getListError().empty())
            return catalog.getListError();
        return "Loading " + word + "...";
    }
    return "No " + word + " found";
}

std::string AssetLibraryPanel::referenceOf(AssetType type, const std::string& name, SourceTab source) const {
    if (type == AssetType::Material)
        return name;
    if (source == SourceTab::Local)
        return std::string("local:") + name;
    return catalogs_->at(static_cast<size_t>(type)).cloudReference(name, source == SourceTab::Cloud);
}

// --- Drawing -------------------------------------------------------------------------------------

namespace {

// Measures the scope's time into the panel's frame cost.
// The main thread's processor time: on a loaded machine the wall clock also counts the time
// the thread waited for a core, which is not the library's work.
double threadCpuMs() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) * 1000.0 + double(now.tv_nsec) / 1.0e6;
}

// Measures the scope's time (wall clock and processor) into the panel's frame cost.
class CostScope {
public:
    explicit CostScope(std::function<void(double, double)> add)
        : add_(std::move(add)), start_(std::chrono::steady_clock::now()), cpuStart_(threadCpuMs()) {}
    ~CostScope() {
        add_(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start_).count(),
             threadCpuMs() - cpuStart_);
    }

private:
    std::function<void(double, double)> add_;
    std::chrono::steady_clock::time_point start_;
    double cpuStart_;
};

} // namespace

void AssetLibraryPanel::addFrameCost(double milliseconds, double cpuMilliseconds) {
    const int frame = ImGui::GetFrameCount();
    if (frame != costFrame_) {
        if (costFrame_ >= 0) {
            ++costFrames_;
            if (frameCostMs_ > kFrameBudgetMs)
                ++framesOverBudget_;
        }
        costFrame_ = frame;
        frameCostMs_ = 0.0;
        frameCpuMs_ = 0.0;
    }
    frameCostMs_ += milliseconds;
    frameCpuMs_ += cpuMilliseconds;
    worstFrameMs_ = std::max(worstFrameMs_, frameCostMs_);
    worstFrameCpuMs_ = std::max(worstFrameCpuMs_, frameCpuMs_);
}

size_t AssetLibraryPanel::pendingThumbnails() {
    size_t pending = 0;
    for (size_t i = 0; i < AssetCatalogs::size(); ++i)
        pending += catalogs_->at(i).localThumbnails().pendingCount() + catalogs_->at(i).remoteThumbnails().pendingCount();
    pending += modelRenderer_->queued();
    return pending;
}

void AssetLibraryPanel::draw() {
    if (!ImGui::GetCurrentContext())
        return;
    // At most one model picture a frame; its time is measured on its own (getModelRenderer).
    modelRenderer_->renderNext();
    CostScope cost([this](double ms, double cpuMs) { addFrameCost(ms, cpuMs); });
    handleDroppedFiles();
    for (size_t i = 0; i < AssetCatalogs::size(); ++i)
        catalogs_->at(i).updateThumbnails();
    if (dragging_) {
        const ImVec2 mouse = ImGui::GetIO().MousePos;
        const bool overScene = host_ && host_->isOverScene(mouse);
        if (!ImGui::IsMouseDown(ImGuiMouseButton_Left)) {
            if (overScene)
                dropAssetIntoScene(mouse);
            else
                cancelDrag();
        } else {
            if (overScene && (drag_.type == AssetType::Texture || drag_.type == AssetType::Material))
                updateTextureDropTarget(mouse);
            else
                sceneDrop_.endDrag();
            drawDragPreview();
        }
    }
    drawDroppedFileModal();
    drawDeleteModal();
    drawImportModal();
    drawExportModal();
}

void AssetLibraryPanel::drawDragPreview() {
    ImGui::BeginTooltip();
    ImGui::TextUnformatted(drag_.name.c_str());
    if ((drag_.type == AssetType::Texture || drag_.type == AssetType::Material) && !sceneDrop_.getTargetName().empty())
        ImGui::Text("Apply to: %s", sceneDrop_.getTargetName().c_str());
    ImGui::EndTooltip();
}

void AssetLibraryPanel::drawContent() {
    CostScope cost([this](double ms, double cpuMs) { addFrameCost(ms, cpuMs); });
    drawTypeTabs();
    if (currentType_ != AssetType::Material)
        drawSourceTabs();
    drawActionRow();
    if (currentType_ == AssetType::Material)
        drawMaterials();
    else
        drawGrid();
}

void AssetLibraryPanel::drawTypeTabs() {
    if (!ImGui::BeginTabBar("##assetTypes"))
        return;
    // A type set from code selects its tab; until the tab bar shows it (a frame later), the tab
    // that was open does not count as the person's choice.
    const int requested = requestedTab_;
    for (int i = 0; i < 4; ++i) {
        const bool open = ImGui::BeginTabItem(kTypeTabs[i], nullptr, i == requested ? ImGuiTabItemFlags_SetSelected : 0);
        recordItem(kTypeTabs[i]);
        if (open) {
            if (requested < 0)
                setCurrent(static_cast<AssetType>(i), currentSource_);
            else if (i == requested && static_cast<int>(currentType_) == requested)
                requestedTab_ = -1;
            ImGui::EndTabItem();
        }
    }
    ImGui::EndTabBar();
}

void AssetLibraryPanel::drawSourceTabs() {
    for (int i = 0; i < 3; ++i) {
        if (i > 0)
            ImGui::SameLine();
        if (ImGui::RadioButton(kSourceTabs[i], currentSource_ == static_cast<SourceTab>(i)))
            setCurrent(currentType_, static_cast<SourceTab>(i));
        recordItem(kSourceTabs[i]);
    }
}

void AssetLibraryPanel::drawActionRow() {
    ImGui::SetNextItemWidth(scaled(180));
    ImGui::InputTextWithHint("##assetSearch", "Search assets...", search_, sizeof(search_));
    if (currentType_ == AssetType::Material)
        return;
    const std::string word = typeWord(currentType_);
    ImGui::SameLine();
    if (currentSource_ == SourceTab::Local) {
        if (ImGui::Button(("Import local " + word + "...##assetImport").c_str()))
            openImport_ = true;
        recordItem("Import");
    } else {
        if (ImGui::Button(("Upload " + word + "...##assetUpload").c_str()))
            openImport_ = true;
        recordItem("Upload");
        ImGui::SameLine();
        if (ImGui::Button("Refresh##assetRefresh"))
            getCatalog(currentType_).fetchList();
    }
    AssetCatalog& catalog = getCatalog(currentType_);
    if (currentSource_ == SourceTab::Cloud && catalog.isStorageKnown() && !catalog.isStorageUnlimited())
        ImGui::TextDisabled("%.1f of %.1f MB used", catalog.getStorageUsedMb(), catalog.getStorageQuotaMb());
    if (busy_ > 0)
        ImGui::TextDisabled("Working...");
    if (currentSource_ != SourceTab::Local && !catalog.getUploadStatus().empty())
        ImGui::TextDisabled("%s", catalog.getUploadStatus().c_str());
}

void AssetLibraryPanel::drawGrid() {
    const std::vector<std::string> names = visibleNames();
    ImGui::BeginChild("##assetGrid", ImVec2(0, 0), false);
    if (names.empty()) {
        ImGui::TextDisabled("%s", emptyGridMessage().c_str());
        ImGui::EndChild();
        return;
    }
    const float cell = scaled(84);
    const float spacing = ImGui::GetStyle().ItemSpacing.x;
    const int columns = std::max(1, static_cast<int>((ImGui::GetContentRegionAvail().x + spacing) / (cell + spacing)));
    const float rowHeight = cell + ImGui::GetTextLineHeightWithSpacing() * 2 + ImGui::GetStyle().ItemSpacing.y;
    const int rows = static_cast<int>((names.size() + columns - 1) / columns);
    // Only the rows on screen are drawn (and ask for their thumbnails).
    ImGuiListClipper clipper;
    clipper.Begin(rows, rowHeight);
    while (clipper.Step())
        for (int row = clipper.DisplayStart; row < clipper.DisplayEnd; ++row) {
            for (int column = 0; column < columns; ++column) {
                const size_t index = static_cast<size_t>(row * columns + column);
                if (index >= names.size())
                    break;
                if (column > 0)
                    ImGui::SameLine();
                drawCell(names[index], cell);
            }
        }
    ImGui::EndChild();
}

void AssetLibraryPanel::drawCell(const std::string& name, float size) {
    AssetCatalog& catalog = getCatalog(currentType_);
    const bool local = currentSource_ == SourceTab::Local;
    ThumbnailCache::Picture picture;
    if (currentType_ == AssetType::Sound) {
        picture.id = soundIcon_;
        picture.size = ImVec2(64, 64);
    } else if (local) {
        catalog.requestLocalThumbnail(name);
        picture = catalog.getLocalThumbnail(name);
    } else {
        catalog.requestThumbnail(name, currentSource_ == SourceTab::Cloud);
        picture = catalog.getThumbnail(name);
    }
    ImGui::PushID(name.c_str());
    ImGui::BeginGroup();
    const ImVec2 box(size, size);
    bool clicked = false;
    if (picture.id) {
        const float scale = std::min(size / std::max(1.0f, picture.size.x), size / std::max(1.0f, picture.size.y));
        const ImVec2 shown(picture.size.x * scale, picture.size.y * scale);
        const ImVec2 start = ImGui::GetCursorScreenPos();
        clicked = ImGui::InvisibleButton("##cell", box);
        ImDrawList* draw = ImGui::GetWindowDrawList();
        draw->AddRectFilled(start, ImVec2(start.x + size, start.y + size), IM_COL32(40, 40, 46, 255));
        const ImVec2 corner(start.x + (size - shown.x) * 0.5f, start.y + (size - shown.y) * 0.5f);
        draw->AddImage(picture.id, corner, ImVec2(corner.x + shown.x, corner.y + shown.y));
    } else {
        clicked = ImGui::Button("##cell", box);
    }
    (void)clicked;
    recordItem(("cell:" + name).c_str());
    if (ImGui::BeginDragDropSource(ImGuiDragDropFlags_SourceNoPreviewTooltip)) {
        const AssetDragPayload payload = payloadOf(currentType_, name, currentSource_);
        ImGui::SetDragDropPayload(AssetDragPayload::kType, &payload, sizeof(payload));
        if (!dragging_)
            beginDrag(currentType_, name, currentSource_);
        ImGui::EndDragDropSource();
    }
    if (ImGui::IsItemHovered())
        ImGui::SetTooltip("%s\nDrag it into the scene%s, onto a block or onto a field", name.c_str(),
                          currentType_ == AssetType::Texture ? " onto an object" : "");
    if (ImGui::BeginPopupContextItem("##cellMenu")) {
        const bool mine = local || currentSource_ == SourceTab::Cloud;
        if (mine && ImGui::MenuItem("Delete..."))
            requestDeleteAsset(currentType_, name, local);
        if (ImGui::MenuItem("Export..."))
            requestExport(currentType_, name, currentSource_);
        if (local && ImGui::MenuItem("Open folder"))
            openLocalAssetFolder(currentType_);
        if (!mine)
            ImGui::TextDisabled("Public assets cannot be deleted");
        ImGui::EndPopup();
    }
    if (currentType_ == AssetType::Sound && local) {
        const bool playing = previewing_ == name;
        if (ImGui::SmallButton(playing ? "Stop##preview" : "Play##preview") && host_) {
            if (playing) {
                host_->previewSound("");
                previewing_.clear();
            } else {
                const std::string path = (fs::path(LocalStorage::localAssetsDir()) / "sounds" / name).string();
                if (host_->previewSound(path))
                    previewing_ = name;
                else
                    fail("Could not play \"" + name + "\"");
            }
        }
    }
    // The name, cut to the cell's width.
    std::string label = name;
    while (label.size() > 3 && ImGui::CalcTextSize(label.c_str()).x > size)
        label = label.substr(0, label.size() - 4) + "..";
    ImGui::TextUnformatted(label.c_str());
    ImGui::EndGroup();
    ImGui::PopID();
}

void AssetLibraryPanel::drawMaterials() {
    const std::vector<std::string> names = visibleNames();
    if (names.empty()) {
        ImGui::TextDisabled("%s", emptyGridMessage().c_str());
        return;
    }
    pugi::xml_document* document = host_ ? host_->getSourceXml() : nullptr;
    if (!ImGui::BeginTable("##materials", 2, ImGuiTableFlags_RowBg | ImGuiTableFlags_BordersInnerV))
        return;
    ImGui::TableSetupColumn("Material");
    ImGui::TableSetupColumn("Picture");
    ImGui::TableHeadersRow();
    for (const std::string& name : names) {
        ImGui::TableNextRow();
        ImGui::TableNextColumn();
        ImGui::PushID(name.c_str());
        ImGui::Selectable(name.c_str(), false);
        if (ImGui::BeginDragDropSource(ImGuiDragDropFlags_SourceNoPreviewTooltip)) {
            const AssetDragPayload payload = payloadOf(AssetType::Material, name, SourceTab::Local);
            ImGui::SetDragDropPayload(AssetDragPayload::kType, &payload, sizeof(payload));
            if (!dragging_)
                beginDrag(AssetType::Material, name, SourceTab::Local);
            ImGui::EndDragDropSource();
        }
        ImGui::PopID();
        ImGui::TableNextColumn();
        pugi::xml_node node = document ? document->find_node([&](pugi::xml_node n) {
            return std::string(n.name()) == "Material" && name == n.attribute("name").value();
        }) : pugi::xml_node();
        ImGui::TextUnformatted(node ? node.attribute("picture").value() : "");
    }
    ImGui::EndTable();
}

} // namespace Lumenda3D
