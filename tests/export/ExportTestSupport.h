#pragma once
// What the export tests share: a scratch folder, a small real Windows program (a silent installer
// made with makensis: a valid PE file that osslsigncode can sign, standing in for the player), a
// Windows runtime template folder built around it, a game package and assets, and runs of 7z.
#include <gtest/gtest.h>

#include <zip.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "export/ComponentManager.h"
#include "export/ExportProcess.h"

namespace Lumenda3D::test {

class ScratchDir {
public:
    ScratchDir() {
        std::random_device rd;
        path_ = std::filesystem::temp_directory_path() / ("lmd-export-" + std::to_string(rd()) + std::to_string(rd()));
        std::filesystem::create_directories(path_);
    }
    ~ScratchDir() {
        std::error_code ec;
        std::filesystem::remove_all(path_, ec);
    }
    std::string operator/(const std::string& name) const { return (path_ / name).string(); }
    const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};

inline void writeFile(const std::string& path, const std::string& bytes) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << bytes;
}

inline std::string readAll(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

// A tiny Windows program written by makensis into `path`.
inline void makeStandInExe(const std::string& path) {
    const std::string makensis = ComponentManager::findProgram("nsis");
    ASSERT_FALSE(makensis.empty()) << "makensis is needed (Debian package nsis)";
    const std::string script = path + ".nsi";
    writeFile(script, "Unicode true\nOutFile \"" + path + "\"\nSilentInstall silent\nSection\nSectionEnd\n");
    const ExportProcess::Result r = ExportProcess::run({makensis, "-V1", script});
    ASSERT_TRUE(r.ok()) << r.output;
    std::filesystem::remove(script);
}

// A Windows runtime template: the player, a library beside it and runtime media.
inline std::string makeWindowsTemplate(const ScratchDir& scratch) {
    const std::string dir = scratch / "template-windows";
    makeStandInExe(dir + "/lumenda3d-player.exe");
    writeFile(dir + "/OgreMain.dll", "MZ library stand-in");
    writeFile(dir + "/media/codeSchema.xml", "<schema/>");
    writeFile(dir + "/template.json", "{\"built from\": \"a test\"}");
    return dir;
}

// A work folder as the pipeline leaves it before packaging: bin.dat and assets.
struct GameParts {
    std::string packagePath;
    std::string assetsDir;
};
inline GameParts makeGameParts(const ScratchDir& scratch) {
    GameParts parts{scratch / "work/bin.dat", scratch / "work/assets"};
    writeFile(parts.packagePath, std::string("LMDPKG\0\x01game bytes", 18));
    writeFile(parts.assetsDir + "/textures/bricks.png", "png bytes");
    writeFile(parts.assetsDir + "/sounds/jump.ogg", "ogg bytes");
    return parts;
}

// A ZIP archive written by libzip, returned as bytes. Entries ending in "/" are folders; an entry
// whose bytes start with "->" is stored as a Unix link to the rest; `executable` entries get 0755.
struct ZipEntry {
    std::string name;
    std::string bytes;
    bool executable = false;
};
inline std::string zipBytes(const std::vector<ZipEntry>& entries) {
    const std::string path = std::filesystem::temp_directory_path() / ("lmd-zip-" + std::to_string(std::random_device{}()));
    int err = 0;
    zip_t* zip = zip_open(path.c_str(), ZIP_CREATE | ZIP_TRUNCATE, &err);
    EXPECT_NE(zip, nullptr);
    std::vector<std::string> keep(entries.size());
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const ZipEntry& e = entries[i];
        zip_int64_t index;
        if (!e.name.empty() && e.name.back() == '/') {
            index = zip_dir_add(zip, e.name.c_str(), ZIP_FL_ENC_RAW);
        } else {
            const bool link = e.bytes.rfind("->", 0) == 0;
            keep[i] = link ? e.bytes.substr(2) : e.bytes;
            zip_source_t* src = zip_source_buffer(zip, keep[i].data(), keep[i].size(), 0);
            index = zip_file_add(zip, e.name.c_str(), src, ZIP_FL_ENC_RAW);
            const unsigned mode = link ? 0120777u : e.executable ? 0100755u : 0100644u;
            zip_file_set_external_attributes(zip, index, 0, ZIP_OPSYS_UNIX, mode << 16);
        }
        EXPECT_GE(index, 0) << e.name;
    }
    EXPECT_EQ(zip_close(zip), 0);
    const std::string bytes = readAll(path);
    std::filesystem::remove(path);
    return bytes;
}

// Runs 7z with `args`; its output.
inline ExportProcess::Result sevenZip(std::vector<std::string> args) {
    args.insert(args.begin(), "7z");
    return ExportProcess::run(args);
}

} // namespace Lumenda3D::test
