#include "export/InstalledLinuxTemplate.h"

#include <filesystem>

#include <nlohmann/json.hpp>

#include "base/LmdLog.h"
#include "base/LmdPaths.h"
#include "export/ExportFiles.h"
#include "services/FileManager.h"

namespace fs = std::filesystem;

namespace Lumenda3D {

InstalledLinuxTemplate::InstalledLinuxTemplate(LinuxTemplateBuilder::Inputs inputs, std::string cacheFolder)
    : inputs_(std::move(inputs)),
      folder_(cacheFolder.empty() ? (fs::path(LmdPaths::cacheDir()) / "templates" / "linux").string()
                                  : std::move(cacheFolder)) {}

bool InstalledLinuxTemplate::isCurrent() const {
    std::string text;
    if (!FileManager::readFile((fs::path(folder_) / "template.json").string(), text))
        return false;
    const nlohmann::json manifest = nlohmann::json::parse(text, nullptr, false);
    return manifest.is_object() && manifest.value("stamp", std::string()) == LinuxTemplateBuilder::stampOf(inputs_);
}

void InstalledLinuxTemplate::fetch(ExportService::Platform platform, std::shared_ptr<MyHttpClient>,
                                   ExportService::Progress progress, Delivered delivered) {
    auto deliver = [&delivered](bool ok, const std::string& text) {
        if (delivered)
            delivered(ok, text);
    };
    if (platform != ExportService::Platform::Linux)
        return deliver(false, std::string("this installation makes no ") + ExportService::platformName(platform) +
                                  " runtime");
    if (isCurrent()) {
        if (progress)
            progress(1.0f, "Using the cached Linux runtime template");
        return deliver(true, folder_);
    }
    // Built beside its place, then swapped in: an interrupted build never looks like a template.
    std::error_code ec;
    fs::create_directories(fs::path(folder_).parent_path(), ec);
    const std::string temp = ExportFiles::workFolderBeside(folder_, "building");
    std::string error;
    if (!LinuxTemplateBuilder::build(inputs_, temp, progress, error)) {
        fs::remove_all(temp, ec);
        return deliver(false, "The Linux runtime template could not be made: " + error);
    }
    fs::remove_all(folder_, ec);
    fs::rename(temp, folder_, ec);
    if (ec) {
        fs::remove_all(temp, ec);
        return deliver(false, "The Linux runtime template could not be put in place at '" + folder_ + "'.");
    }
    ++builds_;
    LmdLog::message("TemplateManager: built the Linux runtime template in " + folder_);
    if (progress)
        progress(1.0f, "The Linux runtime template is ready");
    deliver(true, folder_);
}

} // namespace Lumenda3D
