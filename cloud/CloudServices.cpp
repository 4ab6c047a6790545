#include "CloudServices.h"

#include <stdexcept>

#include "PostgresBackend.h"
#include "SqliteBackend.h"

namespace Lumenda3D::Cloud {

bool CloudConfig::isPostgres() const {
    return database.rfind("postgresql://", 0) == 0 || database.rfind("postgres://", 0) == 0;
}

std::size_t CloudConfig::payloadLimit() const {
    // A document travels as JSON text (escapes can double it) beside a base64 thumbnail.
    const std::int64_t project = maxDocumentBytes * 2 + maxThumbnailBytes * 2 + (1 << 20);
    const std::int64_t asset = maxAssetBytes + maxThumbnailBytes + (1 << 20);
    return static_cast<std::size_t>(std::max(project, asset));
}

std::unique_ptr<SqlBackend> CloudServices::backendFor(const CloudConfig& config) {
    if (config.database.empty())
        throw std::runtime_error("no database given (--db)");
    if (config.isPostgres())
        return std::make_unique<PostgresBackend>(config.database);
    std::string path = config.database;
    if (path.rfind("sqlite:", 0) == 0)
        path = path.substr(7);
    if (path.empty())
        throw std::runtime_error("the SQLite database needs a file path (--db sqlite:/path/to/cloud.sqlite3)");
    return std::make_unique<SqliteBackend>(path, std::chrono::milliseconds(config.busyTimeoutMs));
}

CloudServices::CloudServices(CloudConfig config)
    : config_(std::move(config)),
      database_(std::make_unique<Database>(backendFor(config_), config_.databaseConnections)),
      accounts_(*database_),
      projects_(*database_, config_.keepRevisions),
      templates_(*database_),
      assets_(*database_),
      releases_(*database_),
      runtimeTemplates_(*database_),
      hasher_(config_.passwordCost) {
    database_->migrate();
}

std::int64_t CloudServices::quotaOf(const User& user) const {
    return user.quotaBytes ? *user.quotaBytes : config_.defaultQuotaBytes;
}

} // namespace Lumenda3D::Cloud
