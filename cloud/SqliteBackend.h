#pragma once
// The embedded backend: one SQLite file in WAL mode, so readers never wait for the writer. A
// write transaction starts with BEGIN IMMEDIATE and waits up to the busy timeout for the write
// lock; after that the request fails with StorageError::Busy (a 503), and nothing was written.
#include <chrono>
#include <string>

#include "SqlBackend.h"

namespace Lumenda3D::Cloud {

class SqliteBackend : public SqlBackend {
public:
    SqliteBackend(std::string path, std::chrono::milliseconds busyTimeout = std::chrono::seconds(5));

    std::unique_ptr<SqlConnection> connect() override;
    std::string ddl(const std::string& portable) const override;
    std::string migrationLock() const override { return ""; }
    std::string name() const override { return "sqlite"; }

    const std::string& path() const { return path_; }

private:
    std::string path_;
    std::chrono::milliseconds busyTimeout_;
};

} // namespace Lumenda3D::Cloud
