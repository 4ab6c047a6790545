#pragma once
// The two storage engines behind one face. The stores write their SQL once, in the dialect both
// SQLite and PostgreSQL understand ("?" placeholders, ON CONFLICT, RETURNING, CAST(? AS BIGINT)
// where a parameter's type would otherwise be guessed); a backend turns that into its own calls.
// Table definitions use three words a backend replaces: {serial} (an auto-numbered 64-bit primary
// key), {int} (a 64-bit integer) and {blob} (bytes).
#include <memory>
#include <string>

#include "SqlValue.h"

namespace Lumenda3D::Cloud {

// One connection; used by one thread at a time. Every failure is a StorageError.
class SqlConnection {
public:
    virtual ~SqlConnection() = default;
    // A write transaction takes the write lock at once, so that two writers never deadlock
    // upgrading their locks.
    virtual void begin(bool write) = 0;
    virtual void commit() = 0;
    virtual void rollback() noexcept = 0;
    virtual SqlRows query(const std::string& sql, const SqlParams& params) = 0;
    // True once the connection is known to be unusable; the pool then drops it.
    virtual bool broken() const = 0;
};

class SqlBackend {
public:
    virtual ~SqlBackend() = default;
    virtual std::unique_ptr<SqlConnection> connect() = 0;
    // Table definitions with {serial}, {int} and {blob} replaced.
    virtual std::string ddl(const std::string& portable) const = 0;
    // A statement run first in the migration transaction so that servers starting together
    // migrate one after the other; "" when the write transaction already excludes the others.
    virtual std::string migrationLock() const = 0;
    // "sqlite" or "postgresql".
    virtual std::string name() const = 0;
};

// Replaces every whole occurrence of `word` in `text`.
std::string replaceAll(std::string text, const std::string& word, const std::string& by);

} // namespace Lumenda3D::Cloud
