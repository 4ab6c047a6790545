// What the editor reads of asset files and of the assets endpoint before anything is stored or
// shown: the headers of pictures, sounds and models checked before an import or an upload
// (LmdAssetFormats), and the endpoint's list answer (AssetListing). Input: one byte choosing the
// reader (and for files, the kind and the extension), then the bytes.
//
// Properties: nothing throws; a refusal is one sentence that names the file; an accepted picture
// has a size within the limit and the format its extension names; an empty file is never
// accepted; the signature sniffer answers only its formats or the fallback; a list answer is
// accepted exactly when it is a JSON object, with sorted lists of the strings it held and
// storage figures that are finite numbers.
#include <algorithm>
#include <cmath>

#include <nlohmann/json.hpp>

#include "FuzzSupport.h"
#include "assets/AssetListing.h"
#include "services/LmdAssetFormats.h"

using namespace Lumenda3D;
using namespace Lumenda3D::fuzz;

namespace {

const char* const kKinds[] = {"textures", "sounds", "models"};
const char* const kExtensions[] = {"png", "jpg", "jpeg", "gif", "bmp", "tga", "wav", "ogg", "mp3", "flac",
                                   "obj", "gltf", "glb", "fbx", "dae", "3ds", "blend", "mesh", "md5mesh", "awd"};

void checkFile(unsigned choice, const std::string& bytes) {
    const std::string kind = kKinds[choice % 3];
    const std::string extension = kExtensions[(choice / 3) % (sizeof(kExtensions) / sizeof(*kExtensions))];
    const std::string name = "asset." + extension;
    const std::string fault = LmdAssetFormats::check(kind, name, bytes);
    if (!fault.empty()) {
        require(fault.rfind("\"" + name + "\"", 0) == 0, "a refusal names the file", fault);
        return;
    }
    require(!bytes.empty(), "an empty file is never accepted");
    if (kind == "textures") {
        const auto info = LmdAssetFormats::readImageInfo(bytes, extension == "jpeg" ? "jpg" : extension);
        require(info.format == (extension == "jpeg" ? "jpg" : extension), "an accepted picture is what its name says");
        require(info.width > 0 && info.height > 0 && info.width <= LmdAssetFormats::kMaxImageSide &&
                    info.height <= LmdAssetFormats::kMaxImageSide,
                "an accepted picture has a size within the limit");
    }
    const std::string sniffed = LmdAssetFormats::detectImageFormat(bytes, "fallback");
    require(sniffed == "jpg" || sniffed == "png" || sniffed == "gif" || sniffed == "fallback",
            "the sniffer answers its formats or the fallback", sniffed);
}

void checkListing(const std::string& body) {
    const AssetListing listing = AssetListing::parse("textures", "my_textures", body);
    const nlohmann::json parsed = nlohmann::json::parse(body, nullptr, false);
    require(listing.ok == (!parsed.is_discarded() && parsed.is_object()), "a list is accepted exactly when it is an object");
    if (!listing.ok) {
        require(!listing.error.empty(), "a refused list says why");
        return;
    }
    require(std::is_sorted(listing.catalog.begin(), listing.catalog.end()), "the catalogue is sorted");
    require(std::is_sorted(listing.mine.begin(), listing.mine.end()), "the user's list is sorted");
    require(std::isfinite(listing.storageUsedMb) && std::isfinite(listing.storageQuotaMb), "storage figures are finite");
    require(listing.storageKnown || (!listing.storageUnlimited && listing.storageUsedMb == 0.0),
            "no storage block, no storage figures");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0)
        return 0;
    const std::string bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
    if (data[0] == 0xFF)
        checkListing(bytes);
    else
        checkFile(data[0], bytes);
    return 0;
}
