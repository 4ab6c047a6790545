#include "export/AssetPathManager.h"

#include <cstdlib>

#include "services/ApiConfig.h"
#include "services/UrlUtils.h"

namespace Lumenda3D {

int AssetPathManager::getVersionFromXml(const pugi::xml_document& document) {
    const char* text = document.document_element().attribute("assetsVersion").value();
    char* end = nullptr;
    const long version = std::strtol(text, &end, 10);
    if (end == text || *end != '\0' || version < 1 || version > 1000000000L)
        return 1;
    return int(version);
}

std::string AssetPathManager::getNodeNameForAssetType(const std::string& type) {
    if (type == "texture" || type == "textures")
        return "textures";
    if (type == "model" || type == "models")
        return "models";
    if (type == "sound" || type == "sounds")
        return "sounds";
    return "";
}

std::string AssetPathManager::buildAssetUrl(int version, const std::string& nodeName, const std::string& fileName) {
    const std::string base = ApiConfig::getAssetsBaseUrl();
    if (base.empty() || nodeName.empty() || fileName.empty())
        return "";
    return base + "/" + nodeName + "/" + UrlUtils::urlEncode(fileName) + "?v=" + std::to_string(version);
}

} // namespace Lumenda3D
