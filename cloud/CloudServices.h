#pragma once
// What the request handlers share: the configuration, the database and its stores, and the
// password hasher. Nothing here holds per-user state: all of it is in the database.
#include <memory>

#include "AccountStore.h"
#include "AssetStore.h"
#include "CloudConfig.h"
#include "Database.h"
#include "PasswordHasher.h"
#include "ProjectStore.h"
#include "ReleaseStore.h"
#include "RuntimeTemplateStore.h"
#include "TemplateStore.h"

namespace Lumenda3D::Cloud {

class CloudServices {
public:
    // Opens the database named in the configuration and brings its schema up to date. Throws
    // StorageError (cannot open, cannot migrate) or std::runtime_error (bad configuration).
    explicit CloudServices(CloudConfig config);

    const CloudConfig& config() const { return config_; }
    Database& database() { return *database_; }
    AccountStore& accounts() { return accounts_; }
    ProjectStore& projects() { return projects_; }
    TemplateStore& templates() { return templates_; }
    AssetStore& assets() { return assets_; }
    ReleaseStore& releases() { return releases_; }
    RuntimeTemplateStore& runtimeTemplates() { return runtimeTemplates_; }
    const PasswordHasher& hasher() const { return hasher_; }

    // The quota that applies to a user, in bytes; -1 for unlimited.
    std::int64_t quotaOf(const User& user) const;

    static std::unique_ptr<SqlBackend> backendFor(const CloudConfig& config);

private:
    CloudConfig config_;
    std::unique_ptr<Database> database_;
    AccountStore accounts_;
    ProjectStore projects_;
    TemplateStore templates_;
    AssetStore assets_;
    ReleaseStore releases_;
    RuntimeTemplateStore runtimeTemplates_;
    PasswordHasher hasher_;
};

} // namespace Lumenda3D::Cloud
