#include "SqliteBackend.h"

#include <sqlite3.h>

#include <unordered_map>

#include "StorageError.h"

namespace Lumenda3D::Cloud {
namespace {

StorageError errorFor(sqlite3* db, int code, const std::string& what) {
    const std::string text = what + ": " + (db ? sqlite3_errmsg(db) : sqlite3_errstr(code));
    switch (code & 0xff) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return StorageError(StorageError::Kind::Busy, text);
    case SQLITE_CONSTRAINT:
        return StorageError(StorageError::Kind::Constraint, text);
    case SQLITE_CANTOPEN:
    case SQLITE_IOERR:
    case SQLITE_FULL:
    case SQLITE_READONLY:
    case SQLITE_PERM:
    case SQLITE_NOTADB:
    case SQLITE_CORRUPT:
        return StorageError(StorageError::Kind::Unavailable, text);
    default:
        return StorageError(StorageError::Kind::Failed, text);
    }
}

class SqliteConnection : public SqlConnection {
public:
    SqliteConnection(const std::string& path, std::chrono::milliseconds busyTimeout) {
        const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
        const int rc = sqlite3_open_v2(path.c_str(), &db_, flags, nullptr);
        if (rc != SQLITE_OK) {
            StorageError e = errorFor(db_, rc, "cannot open the database " + path);
            sqlite3_close(db_);
            db_ = nullptr;
            throw e;
        }
        sqlite3_busy_timeout(db_, static_cast<int>(busyTimeout.count()));
        sqlite3_extended_result_codes(db_, 1);
        try {
            // Documents and assets are large blobs: big pages hold them in fewer pieces and fewer
            // writes. Only a new, empty database takes the setting.
            run("PRAGMA page_size=32768");
            run("PRAGMA journal_mode=WAL");
            // In WAL mode NORMAL is safe against a crashed or killed server: a commit is either
            // in the log or not. Only a power cut may lose the last commits.
            run("PRAGMA synchronous=NORMAL");
            run("PRAGMA foreign_keys=ON");
        } catch (...) {
            sqlite3_close(db_);
            db_ = nullptr;
            throw;
        }
    }

    ~SqliteConnection() override {
        for (auto& entry : statements_)
            sqlite3_finalize(entry.second);
        sqlite3_close(db_);
    }

    void begin(bool write) override { run(write ? "BEGIN IMMEDIATE" : "BEGIN"); }
    void commit() override { run("COMMIT"); }
    void rollback() noexcept override {
        if (!sqlite3_get_autocommit(db_))
            sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
    }
    bool broken() const override { return broken_; }

    SqlRows query(const std::string& sql, const SqlParams& params) override {
        sqlite3_stmt* stmt = prepare(sql);
        sqlite3_reset(stmt);
        sqlite3_clear_bindings(stmt);
        for (std::size_t i = 0; i < params.size(); ++i)
            bind(stmt, static_cast<int>(i + 1), params[i]);
        SqlRows rows;
        const int columns = sqlite3_column_count(stmt);
        for (;;) {
            const int rc = sqlite3_step(stmt);
            if (rc == SQLITE_DONE)
                break;
            if (rc != SQLITE_ROW) {
                StorageError e = errorFor(db_, rc, "query failed");
                sqlite3_reset(stmt);
                noteFailure(rc);
                throw e;
            }
            std::vector<SqlValue> values;
            values.reserve(columns);
            for (int c = 0; c < columns; ++c)
                values.push_back(column(stmt, c));
            rows.emplace_back(std::move(values));
        }
        sqlite3_reset(stmt);
        return rows;
    }

private:
    void run(const char* sql) {
        char* message = nullptr;
        const int rc = sqlite3_exec(db_, sql, nullptr, nullptr, &message);
        if (rc != SQLITE_OK) {
            const std::string text = message ? message : sqlite3_errstr(rc);
            sqlite3_free(message);
            noteFailure(rc);
            StorageError e = errorFor(nullptr, rc, std::string(sql) + " failed: " + text);
            throw e;
        }
    }

    void noteFailure(int rc) {
        const int primary = rc & 0xff;
        if (primary == SQLITE_IOERR || primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB ||
            primary == SQLITE_CANTOPEN)
            broken_ = true;
    }

    sqlite3_stmt* prepare(const std::string& sql) {
        auto found = statements_.find(sql);
        if (found != statements_.end())
            return found->second;
        sqlite3_stmt* stmt = nullptr;
        const int rc = sqlite3_prepare_v2(db_, sql.c_str(), static_cast<int>(sql.size()), &stmt, nullptr);
        if (rc != SQLITE_OK) {
            noteFailure(rc);
            throw errorFor(db_, rc, "cannot prepare a statement");
        }
        statements_.emplace(sql, stmt);
        return stmt;
    }

    void bind(sqlite3_stmt* stmt, int index, const SqlValue& value) {
        int rc = SQLITE_OK;
        if (std::holds_alternative<std::monostate>(value))
            rc = sqlite3_bind_null(stmt, index);
        else if (const auto* i = std::get_if<std::int64_t>(&value))
            rc = sqlite3_bind_int64(stmt, index, *i);
        else if (const auto* s = std::get_if<std::string>(&value))
            rc = sqlite3_bind_text64(stmt, index, s->data(), s->size(), SQLITE_TRANSIENT, SQLITE_UTF8);
        else if (const auto* b = std::get_if<SqlBlob>(&value))
            rc = sqlite3_bind_blob64(stmt, index, b->bytes.data(), b->bytes.size(), SQLITE_TRANSIENT);
        if (rc != SQLITE_OK)
            throw errorFor(db_, rc, "cannot bind a parameter");
    }

    static SqlValue column(sqlite3_stmt* stmt, int c) {
        switch (sqlite3_column_type(stmt, c)) {
        case SQLITE_NULL:
            return std::monostate{};
        case SQLITE_INTEGER:
            return static_cast<std::int64_t>(sqlite3_column_int64(stmt, c));
        case SQLITE_FLOAT:
            return static_cast<std::int64_t>(sqlite3_column_double(stmt, c));
        case SQLITE_BLOB: {
            const void* data = sqlite3_column_blob(stmt, c);
            const int size = sqlite3_column_bytes(stmt, c);
            return SqlBlob{std::string(static_cast<const char*>(data), data ? size : 0)};
        }
        default: {
            const unsigned char* data = sqlite3_column_text(stmt, c);
            const int size = sqlite3_column_bytes(stmt, c);
            return std::string(reinterpret_cast<const char*>(data), data ? size : 0);
        }
        }
    }

    sqlite3* db_ = nullptr;
    bool broken_ = false;
    std::unordered_map<std::string, sqlite3_stmt*> statements_;
};

} // namespace

SqliteBackend::SqliteBackend(std::string path, std::chrono::milliseconds busyTimeout)
    : path_(std::move(path)), busyTimeout_(busyTimeout) {}

std::unique_ptr<SqlConnection> SqliteBackend::connect() {
    return std::make_unique<SqliteConnection>(path_, busyTimeout_);
}

std::string SqliteBackend::ddl(const std::string& portable) const {
    std::string s = replaceAll(portable, "{serial}", "INTEGER PRIMARY KEY AUTOINCREMENT");
    s = replaceAll(s, "{int}", "INTEGER");
    return replaceAll(s, "{blob}", "BLOB");
}

} // namespace Lumenda3D::Cloud
