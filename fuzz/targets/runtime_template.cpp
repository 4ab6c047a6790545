// What the editor reads of a runtime template from the server before an export uses it: the
// server's list (RuntimeTemplateManifest) and the archive (TemplateArchive). Input: one byte
// choosing the reader (even: the list, odd: the archive), then the bytes.
//
// Properties: nothing throws; an accepted list holds only versions usable as folder names,
// 64-digit lowercase hex digests and sizes within the limit; a refused list says why. An archive
// is unpacked only inside its folder: every path under it, resolved, stays inside, and nothing
// under it is a link; a refused archive leaves no folder and says why.
#include <filesystem>
#include <random>

#include "FuzzSupport.h"
#include "export/RuntimeTemplateManifest.h"
#include "export/Sha256.h"
#include "export/TemplateArchive.h"

using namespace Lumenda3D;
using namespace Lumenda3D::fuzz;
namespace fs = std::filesystem;

namespace {

void checkManifest(const std::string& text) {
    std::string error;
    const auto manifest = RuntimeTemplateManifest::parse(text, "windows", error);
    if (!manifest) {
        require(!error.empty(), "a refused list says why");
        return;
    }
    require(manifest->platform == "windows", "an accepted list is the asked platform's");
    for (const RuntimeTemplateEntry& e : manifest->templates) {
        require(RuntimeTemplateManifest::isValidVersion(e.version) && e.version.find("..") != 0 &&
                    fs::path(e.version).filename() == e.version,
                "a version is one plain folder name", e.version);
        require(Sha256::isHexDigest(e.sha256), "a digest is 64 lowercase hex digits", e.sha256);
        require(e.size > 0 && e.size <= RuntimeTemplateManifest::kMaxArchiveBytes, "a size is within the limit");
    }
}

void checkArchive(const std::string& bytes) {
    static const fs::path root = fs::temp_directory_path() / ("lmd-fuzz-archive-" + std::to_string(std::random_device{}()));
    fs::create_directories(root);
    const fs::path dest = root / "t";
    std::error_code ec;
    fs::remove_all(dest, ec);
    std::string error;
    const bool ok = TemplateArchive::unpackBytes(bytes, dest.string(), error);
    if (!ok) {
        require(!error.empty(), "a refused archive says why");
        require(!fs::exists(dest), "a refused archive leaves no folder", error);
    } else {
        const fs::path base = fs::canonical(dest);
        for (auto it = fs::recursive_directory_iterator(dest); it != fs::recursive_directory_iterator(); ++it) {
            require(!it->is_symlink(), "nothing unpacked is a link", it->path().string());
            const fs::path resolved = fs::weakly_canonical(it->path());
            const std::string rel = resolved.lexically_relative(base).string();
            require(!rel.empty() && rel.rfind("..", 0) != 0, "every unpacked path stays inside its folder",
                    it->path().string());
        }
    }
    // Nothing may have been written beside the folder.
    for (const auto& entry : fs::directory_iterator(root))
        require(entry.path() == dest, "nothing is written beside the folder", entry.path().string());
    fs::remove_all(dest, ec);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0)
        return 0;
    const std::string bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
    if (data[0] % 2 == 0)
        checkManifest(bytes);
    else
        checkArchive(bytes);
    return 0;
}
