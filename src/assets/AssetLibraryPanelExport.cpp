// "Export..." in a cell's menu: the asset's file (a cloud file fetched first) saved where the
// person says, written atomically, with one message for success or failure.
#include "assets/AssetLibraryPanel.h"

#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "assets/AssetLibraryHost.h"
#include "services/FileManager.h"
#include "services/LocalStorage.h"

namespace Lumenda3D {

namespace fs = std::filesystem;

std::string AssetLibraryPanel::cleanTypedPath(std::string path) {
    // A path pasted from a file manager may come as a file:// address or quoted.
    while (!path.empty() && (path.back() == ' ' || path.back() == '\n' || path.back() == '\r'))
        path.pop_back();
    if (path.size() >= 2 && (path.front() == '"' || path.front() == '\'') && path.back() == path.front())
        path = path.substr(1, path.size() - 2);
    if (path.rfind("file://", 0) == 0)
        path = path.substr(7);
    if (path.rfind("~/", 0) == 0)
        if (const char* home = std::getenv("HOME"))
            path = std::string(home) + path.substr(1);
    return path;
}

std::string AssetLibraryPanel::exportTargetFor(const std::string& name, const std::string& typed, std::string& error) {
    const std::string cleaned = cleanTypedPath(typed);
    if (cleaned.empty()) {
        error = "Type where the file should go.";
        return "";
    }
    std::error_code ec;
    fs::path target(cleaned);
    // A folder takes the file under its own name.
    if (fs::is_directory(target, ec))
        target /= name;
    const fs::path folder = target.has_parent_path() ? target.parent_path() : fs::current_path(ec);
    if (!fs::is_directory(folder, ec)) {
        error = "The folder \"" + folder.string() + "\" does not exist.";
        return "";
    }
    return target.string();
}

void AssetLibraryPanel::requestExport(AssetType type, const std::string& name, SourceTab source) {
    if (type == AssetType::Material)
        return;
    exporting_ = {type, name, source};
    const char* home = std::getenv("HOME");
    const std::string suggested = home ? (fs::path(home) / name).string() : name;
    const size_t n = std::min(suggested.size(), sizeof(exportPath_) - 1);
    suggested.copy(exportPath_, n);
    exportPath_[n] = '\0';
    openExport_ = true;
}

void AssetLibraryPanel::exportAsset(AssetType type, const std::string& name, SourceTab source, const std::string& typed) {
    std::string error;
    const std::string target = exportTargetFor(name, typed, error);
    if (target.empty())
        return fail("Export failed: " + error);
    if (type == AssetType::Material || !host_)
        return;
    auto finish = [this, name, target, alive = std::weak_ptr<bool>(alive_)](std::string bytes) {
        auto why = std::make_shared<std::string>();
        auto written = std::make_shared<bool>(false);
        auto data = std::make_shared<std::string>(std::move(bytes));
        ++busy_;
        // Writing a large file stays off the main thread.
        host_->runInBackground([data, target, why, written] { *written = FileManager::writeFileAtomic(target, *data, why.get()); },
                               [this, alive, name, target, why, written] {
                                   if (!alive.lock())
                                       return;
                                   --busy_;
                                   if (*written)
                                       tell("Exported \"" + name + "\" to " + target);
                                   else
                                       fail("Export failed: could not write " + target + ": " + *why);
                               });
    };
    if (source != SourceTab::Local) {
        ++busy_;
        getCatalog(type).fetchAssetBytes(
            name, source == SourceTab::Cloud,
            [this, finish, alive = std::weak_ptr<bool>(alive_)](bool ok, const std::string& bytes, const std::string& why) {
                if (!alive.lock())
                    return;
                --busy_;
                if (!ok)
                    return fail("Export failed: " + why);
                finish(bytes);
            });
        return;
    }
    const std::string assetType = getCatalog(type).getConfig().assetType;
    auto bytes = std::make_shared<std::vector<unsigned char>>();
    auto read = std::make_shared<bool>(false);
    ++busy_;
    host_->runInBackground([assetType, name, bytes, read] { *read = LocalStorage::readLocalAsset(assetType, name, *bytes); },
                           [this, name, bytes, read, finish, alive = std::weak_ptr<bool>(alive_)] {
                               if (!alive.lock())
                                   return;
                               --busy_;
                               if (!*read)
                                   return fail("Export failed: could not read \"" + name + "\" from your local assets.");
                               finish(std::string(bytes->begin(), bytes->end()));
                           });
}

void AssetLibraryPanel::drawExportModal() {
    const char* id = "Export asset##AssetLibraryExport";
    if (openExport_) {
        openExport_ = false;
        ImGui::OpenPopup(id);
    }
    if (!ImGui::BeginPopupModal(id, nullptr, ImGuiWindowFlags_AlwaysAutoResize))
        return;
    ImGui::Text("Save a copy of \"%s\".", exporting_.name.c_str());
    ImGui::TextDisabled("Type or paste the file's path, or a folder to put it in.");
    ImGui::SetNextItemWidth(scaled(420));
    if (ImGui::IsWindowAppearing())
        ImGui::SetKeyboardFocusHere();
    const bool entered = ImGui::InputText("##exportPath", exportPath_, sizeof(exportPath_), ImGuiInputTextFlags_EnterReturnsTrue);
    recordItem("Export path");
    std::string error;
    const std::string target = exportTargetFor(exporting_.name, exportPath_, error);
    std::error_code ec;
    if (!target.empty() && fs::exists(target, ec))
        ImGui::TextColored(ImVec4(1.0f, 0.8f, 0.3f, 1.0f), "\"%s\" exists already: it will be replaced.", target.c_str());
    if (ImGui::Button("Export##exportFile", ImVec2(scaled(100), 0)) || entered) {
        const std::string typed = exportPath_;
        ImGui::CloseCurrentPopup();
        exportAsset(exporting_.type, exporting_.name, exporting_.source, typed);
    }
    recordItem("Export");
    ImGui::SameLine();
    if (ImGui::Button("Cancel##exportFile", ImVec2(scaled(100), 0)))
        ImGui::CloseCurrentPopup();
    ImGui::EndPopup();
}

} // namespace Lumenda3D
