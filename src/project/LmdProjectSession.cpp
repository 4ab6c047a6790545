#include "project/LmdProjectSession.h"

#include "base/LmdLog.h"

#include <functional>

#include <nlohmann/json.hpp>

namespace Lumenda3D {

void LmdProjectSession::resetProjectMetadata() {
    cloudResourceId.clear();
    localProjectName.clear();
    projectName.clear();
    projectDescription.clear();
    projectCategoryId.clear();
    projectResourceType = "project";
    projectViewSource = true;
    projectPublished = false;
}

void LmdProjectSession::applyOpenedProject(const std::string& resourceId, const std::string& name,
                                           const std::string& metadataJson) {
    resetProjectMetadata();
    cloudResourceId = resourceId;
    projectName = name;
    if (metadataJson.empty())
        return;
    try {
        const nlohmann::json meta = nlohmann::json::parse(metadataJson);
        if (meta.contains("local") && meta.at("local").get<bool>()) {
            // The same flag turns an entry of the open dialog into a local project.
            localProjectName = meta.contains("name") ? meta.at("name").get<std::string>() : name;
            projectName = localProjectName;
            cloudResourceId.clear();
        } else if (projectName.empty() && meta.contains("resource_name")) {
            projectName = meta.at("resource_name").get<std::string>();
        }
        projectDescription = meta.value("description", std::string());
        projectCategoryId = meta.value("category_id", std::string());
        projectResourceType = meta.value("resource_type", std::string("project"));
        projectViewSource = meta.value("view_source", true);
        projectPublished = meta.value("published", false);
    } catch (const std::exception& e) {
        LmdLog::message(std::string("Failed to parse resource metadata: ") + e.what());
    }
}

std::string LmdProjectSession::projectTitle() const {
    const bool cloud = !cloudResourceId.empty();
    const bool local = !localProjectName.empty();
    const char* suffix = cloud && local ? " [Local+Cloud]" : cloud ? " [Cloud]" : local ? " [Local]" : "";
    return projectName + suffix;
}

uint64_t LmdProjectSession::hashXml(const std::string& storedXml) {
    return static_cast<uint64_t>(std::hash<std::string>()(storedXml));
}

} // namespace Lumenda3D
