#include "export/WindowsZipPackager.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <vector>
#include <zip.h>

#include "export/ExportFiles.h"

namespace Lumenda3D {
namespace fs = std::filesystem;
namespace {

bool writeText(const fs::path& path, const std::string& text, std::string& error) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
    out.close();
    if (!out) {
        error = "cannot write " + path.string();
        return false;
    }
    return true;
}

} // namespace

bool WindowsZipPackager::isWindowsExecutable(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    char head[64] = {};
    if (!in.read(head, sizeof head) || head[0] != 'M' || head[1] != 'Z')
        return false;
    const std::uint32_t peOffset = static_cast<std::uint8_t>(head[60]) | (static_cast<std::uint8_t>(head[61]) << 8) |
                                   (static_cast<std::uint8_t>(head[62]) << 16) |
                                   (static_cast<std::uint32_t>(static_cast<std::uint8_t>(head[63])) << 24);
    char sig[4] = {};
    in.seekg(peOffset);
    return in.read(sig, 4) && sig[0] == 'P' && sig[1] == 'E' && sig[2] == 0 && sig[3] == 0;
}

bool WindowsZipPackager::zipFolder(const std::string& dir, const std::string& topName, const std::string& zipPath,
                                   std::string& error) {
    std::vector<fs::path> entries;
    std::error_code ec;
    for (auto it = fs::recursive_directory_iterator(dir, ec); !ec && it != fs::recursive_directory_iterator();
         it.increment(ec))
        entries.push_back(fs::relative(it->path(), dir));
    if (ec) {
        error = "cannot read " + dir + ": " + ec.message();
        return false;
    }
    std::sort(entries.begin(), entries.end());
    const std::string temp = ExportFiles::workFolderBeside(zipPath, "part");
    int zipError = 0;
    zip_t* zip = zip_open(temp.c_str(), ZIP_CREATE | ZIP_TRUNCATE, &zipError);
    if (!zip) {
        zip_error_t e;
        zip_error_init_with_code(&e, zipError);
        error = "cannot create " + zipPath + ": " + zip_error_strerror(&e);
        zip_error_fini(&e);
        return false;
    }
    auto fail = [&](const std::string& what) {
        error = what;
        zip_discard(zip);
        fs::remove(temp, ec);
        return false;
    };
    const std::string top = topName.empty() ? "" : topName + "/";
    if (!top.empty() && zip_dir_add(zip, topName.c_str(), ZIP_FL_ENC_UTF_8) < 0)
        return fail(std::string("cannot add a folder to the ZIP: ") + zip_strerror(zip));
    for (const fs::path& rel : entries) {
        const fs::path full = fs::path(dir) / rel;
        const std::string name = top + rel.generic_string();
        if (fs::is_directory(full)) {
            if (zip_dir_add(zip, name.c_str(), ZIP_FL_ENC_UTF_8) < 0)
                return fail(std::string("cannot add a folder to the ZIP: ") + zip_strerror(zip));
            continue;
        }
        zip_source_t* source = zip_source_file(zip, full.c_str(), 0, -1);
        if (!source)
            return fail("cannot read " + full.string() + ": " + zip_strerror(zip));
        const zip_int64_t index = zip_file_add(zip, name.c_str(), source, ZIP_FL_ENC_UTF_8 | ZIP_FL_OVERWRITE);
        if (index < 0) {
            zip_source_free(source);
            return fail(std::string("cannot add ") + name + " to the ZIP: " + zip_strerror(zip));
        }
    }
    // The bytes are written here; a full disk shows up now.
    if (zip_close(zip) != 0) {
        error = "cannot write " + zipPath + ": " + zip_strerror(zip);
        zip_discard(zip);
        fs::remove(temp, ec);
        return false;
    }
    fs::rename(temp, zipPath, ec);
    if (ec) {
        error = "cannot move the ZIP into place at " + zipPath + ": " + ec.message();
        fs::remove(temp, ec);
        return false;
    }
    return true;
}

bool WindowsZipPackager::package(const WindowsPackageInput& in, std::string& error, WindowsPackageResult& result) {
    std::error_code ec;
    if (in.appFileName.empty() || in.appFileName.find('/') != std::string::npos || in.appFileName == "." ||
        in.appFileName == "..") {
        error = "the game has no usable file name";
        return false;
    }
    const fs::path player = fs::path(in.templateDir) / kPlayerExe;
    if (!fs::is_regular_file(player, ec)) {
        error = "the Windows runtime template at " + in.templateDir + " has no " + kPlayerExe;
        return false;
    }
    if (!isWindowsExecutable(player.string())) {
        error = std::string("the template's ") + kPlayerExe + " is not a Windows program";
        return false;
    }
    if (!fs::is_regular_file(in.packagePath, ec)) {
        error = "the game package " + in.packagePath + " is missing";
        return false;
    }
    if (in.stageDir.empty() || in.outputPath.empty()) {
        error = "no stage folder or output path given";
        return false;
    }
    fs::remove_all(in.stageDir, ec);
    const fs::path stage = in.stageDir;
    fs::create_directories(stage.parent_path(), ec);
    if (!ExportFiles::copyTree(in.templateDir, stage.string(), error))
        return false;
    const std::string exeName = in.appFileName + ".exe";
    fs::rename(stage / kPlayerExe, stage / exeName, ec);
    if (ec) {
        error = "cannot name the game's program " + exeName + ": " + ec.message();
        return false;
    }
    fs::remove(stage / kTemplateStamp, ec);
    // The game goes where the player of every target looks for it: the "game" folder beside it.
    const fs::path game = stage / "game";
    if (!in.assetsDir.empty() && fs::is_directory(in.assetsDir, ec) &&
        !ExportFiles::copyTree(in.assetsDir, game.string(), error))
        return false;
    fs::create_directories(game, ec);
    if (!ExportFiles::copyFile(in.packagePath, (game / "bin.dat").string(), error))
        return false;
    if (!writeText(game / "app.json", in.appJson + "\n", error))
        return false;
    fs::create_directories(fs::path(in.outputPath).parent_path(), ec);
    if (!zipFolder(stage.string(), in.appFileName, in.outputPath, error))
        return false;
    result.zipPath = in.outputPath;
    result.stageDir = stage.string();
    result.exeName = exeName;
    result.exePath = (stage / exeName).string();
    return true;
}

} // namespace Lumenda3D
