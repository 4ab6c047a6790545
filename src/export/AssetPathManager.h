#pragma once
// Where an asset of the public catalogue lives on the server, for the export's asset bundle.
//   the document's asset version: the root element's `assetsVersion` attribute (a whole number
//                                 of at least 1); 1 when it is absent or not such a number
//   node name of an asset type:   "textures", "models", "sounds"
//   address:                      <assets base>/<node name>/<file name, URL-encoded>?v=<version>
// The version lets the server (and any cache between) tell an updated catalogue file from the
// one an older game was made with.
#include <string>

#include <pugixml.hpp>

namespace Lumenda3D {

class AssetPathManager {
public:
    static int getVersionFromXml(const pugi::xml_document& document);
    // "texture"/"textures" -> "textures", "model"/"models" -> "models", "sound"/"sounds" ->
    // "sounds"; "" for anything else.
    static std::string getNodeNameForAssetType(const std::string& type);
    // "" when no server is set up (ApiConfig::getAssetsBaseUrl() is empty) or a part is empty.
    static std::string buildAssetUrl(int version, const std::string& nodeName, const std::string& fileName);
};

} // namespace Lumenda3D
