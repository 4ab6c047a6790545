#pragma once
// Project templates: a document, a name, a description and a picture, listed in a fixed order.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Database.h"

namespace Lumenda3D::Cloud {

struct TemplateInfo {
    std::string id;
    std::string name;
    std::string description;
    std::string category;
    std::string picturePath;   // another path the picture is also served at, such as "/files/x.jpg"
    std::string pictureType;   // "image/jpeg", "image/png"
    std::int64_t sortOrder = 0;
    std::int64_t updatedAt = 0;
    bool hasPicture = false;
};

struct StoredFile {
    std::string bytes;
    std::string contentType;
};

class TemplateStore {
public:
    explicit TemplateStore(Database& db) : db_(db) {}

    // Adds the template or replaces the one with the same id. A picture left empty keeps the
    // stored one.
    void put(const TemplateInfo& info, const std::string& xml, const std::optional<std::string>& picture,
             std::int64_t now);
    bool remove(const std::string& id);
    std::vector<TemplateInfo> list();
    std::int64_t count();
    std::optional<std::string> document(const std::string& id);
    std::optional<StoredFile> picture(const std::string& id);
    std::optional<StoredFile> pictureAt(const std::string& path);

private:
    Database& db_;
};

} // namespace Lumenda3D::Cloud
