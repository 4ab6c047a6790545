#include "export/RuntimeTemplateManifest.h"

#include <cctype>
#include <nlohmann/json.hpp>

#include "export/Sha256.h"

namespace Lumenda3D {

bool RuntimeTemplateManifest::isValidVersion(const std::string& v) {
    if (v.empty() || v.size() > 32 || !std::isalnum(static_cast<unsigned char>(v[0])))
        return false;
    for (char c : v)
        if (!(std::isalnum(static_cast<unsigned char>(c)) || c == '.' || c == '_' || c == '-'))
            return false;
    return true;
}

std::optional<RuntimeTemplateManifest> RuntimeTemplateManifest::parse(const std::string& text,
                                                                      const std::string& platform,
                                                                      std::string& error) {
    const nlohmann::json json = nlohmann::json::parse(text, nullptr, false);
    if (json.is_discarded() || !json.is_object()) {
        error = "the server's list of runtime templates is not JSON";
        return std::nullopt;
    }
    auto p = json.find("platform");
    if (p == json.end() || !p->is_string() || p->get<std::string>() != platform) {
        error = "the server's list of runtime templates is not for " + platform;
        return std::nullopt;
    }
    auto list = json.find("templates");
    if (list == json.end() || !list->is_array()) {
        error = "the server's list of runtime templates has no \"templates\" array";
        return std::nullopt;
    }
    RuntimeTemplateManifest manifest;
    manifest.platform = platform;
    for (const nlohmann::json& item : *list) {
        if (!item.is_object()) {
            error = "a runtime template in the server's list is not an object";
            return std::nullopt;
        }
        auto version = item.find("version");
        auto sha = item.find("sha256");
        auto size = item.find("size");
        if (version == item.end() || !version->is_string() || !isValidVersion(version->get<std::string>())) {
            error = "a runtime template in the server's list has no usable version";
            return std::nullopt;
        }
        RuntimeTemplateEntry entry;
        entry.version = version->get<std::string>();
        if (sha == item.end() || !sha->is_string() || !Sha256::isHexDigest(sha->get<std::string>())) {
            error = "the runtime template " + entry.version + " has no valid sha256";
            return std::nullopt;
        }
        entry.sha256 = sha->get<std::string>();
        if (size == item.end() || !size->is_number_integer() || size->get<std::int64_t>() <= 0 ||
            size->get<std::int64_t>() > kMaxArchiveBytes) {
            error = "the runtime template " + entry.version + " has no valid size";
            return std::nullopt;
        }
        entry.size = size->get<std::int64_t>();
        manifest.templates.push_back(std::move(entry));
    }
    return manifest;
}

} // namespace Lumenda3D
