#include "MediaSeeder.h"

#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "CloudLog.h"
#include "TextRules.h"

namespace Lumenda3D::Cloud {
namespace {

namespace fs = std::filesystem;

bool readFile(const fs::path& path, std::string& out) {
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return false;
    std::ostringstream s;
    s << in.rdbuf();
    out = s.str();
    return static_cast<bool>(in) || in.eof();
}

struct Example {
    const char* file;
    const char* id;
    const char* name;
    const char* description;
    const char* category;
};

// "10401" is the id the editor's "Simple Project" entry asks for.
const Example kExamples[] = {
    {"starter.xml", "10401", "Simple Project", "Start with a simple scene", "Starter"},
    {"platformer.xml", "platformer", "Platformer", "Run, jump and collect coins across a meadow", "Examples"},
    {"shooter.xml", "shooter", "Arena Shooter", "Defend the arena with lasers and keep your lives", "Examples"},
    {"driving.xml", "driving", "Driving Circuit", "Race a car through the gates of a circuit", "Examples"},
    {"puzzle.xml", "puzzle", "Lights Out", "A board puzzle: switch every light off in few moves", "Examples"},
};

} // namespace

MediaSeeder::Result MediaSeeder::seed(CloudServices& services, const std::string& mediaDir) {
    Result result;
    if (mediaDir.empty() || !fs::is_directory(mediaDir))
        return result;
    const std::int64_t now = std::time(nullptr);
    if (services.templates().count() == 0) {
        int order = 0;
        for (const Example& e : kExamples) {
            std::string xml;
            if (!readFile(fs::path(mediaDir) / "examples" / e.file, xml) || xml.empty())
                continue;
            TemplateInfo t;
            t.id = e.id;
            t.name = e.name;
            t.description = e.description;
            t.category = e.category;
            t.sortOrder = order += 10;
            services.templates().put(t, xml, std::nullopt, now);
            ++result.templates;
        }
    }
    for (const char* type : {"textures", "sounds", "models"}) {
        const fs::path folder = fs::path(mediaDir) / type;
        std::error_code ec;
        if (!fs::is_directory(folder, ec) || !services.assets().names(AssetStore::kPublic, type).empty())
            continue;
        for (const auto& entry : fs::directory_iterator(folder, ec)) {
            const std::string name = entry.path().filename().string();
            if (!entry.is_regular_file() || !TextRules::isValidAssetFileName(name) ||
                !TextRules::hasAllowedExtension(type, name))
                continue;
            AssetStore::Upload upload;
            upload.type = type;
            upload.name = name;
            if (!readFile(entry.path(), upload.data) || upload.data.empty())
                continue;
            if (std::string(type) == "textures")
                upload.thumbnail = upload.data;   // the picture is its own thumbnail
            services.assets().put(upload, -1, now);
            ++result.assets;
        }
    }
    if (result.templates || result.assets)
        CloudLog::info("seeded " + std::to_string(result.templates) + " templates and " +
                       std::to_string(result.assets) + " public assets from " + mediaDir);
    return result;
}

} // namespace Lumenda3D::Cloud
