#pragma once
// The backend for deployments that outgrow one machine: a PostgreSQL database shared by any
// number of server processes. Parameters travel as text (bytes in bytea's hex form), so the
// server's SQL needs no type declarations; a lost connection is dropped from the pool and the
// next request opens a new one.
#include <string>

#include "SqlBackend.h"

namespace Lumenda3D::Cloud {

class PostgresBackend : public SqlBackend {
public:
    // A libpq connection string or URI, such as "postgresql://user@host:5432/lumenda3d".
    explicit PostgresBackend(std::string connectionString);

    std::unique_ptr<SqlConnection> connect() override;
    std::string ddl(const std::string& portable) const override;
    std::string migrationLock() const override;
    std::string name() const override { return "postgresql"; }

    // "?" placeholders numbered as "$1", "$2", ...; question marks inside quotes stay.
    static std::string numberPlaceholders(const std::string& sql);

private:
    std::string connectionString_;
};

} // namespace Lumenda3D::Cloud
