#pragma once
// The server's way into its data: a pool of connections to one backend and transactions over
// them. Every write of the server is one call of write(), so a request either changes everything
// it means to or nothing. The server keeps no other state: several processes on one PostgreSQL
// database serve the same users.
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "SqlBackend.h"
#include "StorageError.h"

namespace Lumenda3D::Cloud {

class Transaction {
public:
    explicit Transaction(SqlConnection& connection) : connection_(connection) {}
    SqlRows query(const std::string& sql, const SqlParams& params = {}) { return connection_.query(sql, params); }
    // The first row, if any.
    std::optional<SqlRow> one(const std::string& sql, const SqlParams& params = {});

private:
    SqlConnection& connection_;
};

class Database {
public:
    // At most `poolSize` connections are open; a request waits up to `waitForConnection` for one.
    Database(std::unique_ptr<SqlBackend> backend, std::size_t poolSize,
             std::chrono::milliseconds waitForConnection = std::chrono::seconds(10));
    ~Database();

    const SqlBackend& backend() const { return *backend_; }

    // Runs `work` in a transaction and commits it; an exception rolls everything back and goes
    // on to the caller.
    template <class F>
    auto write(F&& work) {
        return run(true, std::forward<F>(work));
    }
    template <class F>
    auto read(F&& work) {
        return run(false, std::forward<F>(work));
    }

    // Brings the schema to the newest version (see Migrations).
    void migrate();

private:
    class Lease;

    // A pooled connection may have died while it was idle (the database server restarted): the
    // first use then fails before anything reached the database, and the work is tried once more
    // on a new connection. A failure during the commit is never retried: the commit may have
    // happened.
    template <class F>
    auto run(bool writing, F&& work) {
        for (int attempt = 0;; ++attempt) {
            Lease lease(*this);
            SqlConnection& c = lease.connection();
            bool committing = false;
            try {
                c.begin(writing);
                Transaction tx(c);
                if constexpr (std::is_void_v<decltype(work(tx))>) {
                    work(tx);
                    committing = true;
                    c.commit();
                    return;
                } else {
                    auto result = work(tx);
                    committing = true;
                    c.commit();
                    return result;
                }
            } catch (const StorageError& e) {
                c.rollback();
                if (attempt == 0 && lease.reused() && !committing && c.broken() &&
                    e.kind() == StorageError::Kind::Unavailable)
                    continue;
                throw;
            } catch (...) {
                c.rollback();
                throw;
            }
        }
    }

    class Lease {
    public:
        explicit Lease(Database& db);
        ~Lease();
        Lease(const Lease&) = delete;
        Lease& operator=(const Lease&) = delete;
        SqlConnection& connection() { return *connection_; }
        // The connection had been used before (it came from the pool, not freshly opened).
        bool reused() const { return reused_; }

    private:
        Database& db_;
        bool reused_ = false;
        std::unique_ptr<SqlConnection> connection_;
    };

    std::unique_ptr<SqlConnection> acquire(bool& reused);
    void release(std::unique_ptr<SqlConnection> connection);

    std::unique_ptr<SqlBackend> backend_;
    std::size_t poolSize_;
    std::chrono::milliseconds wait_;
    std::mutex mutex_;
    std::condition_variable available_;
    std::vector<std::unique_ptr<SqlConnection>> idle_;
    std::size_t open_ = 0;
};

} // namespace Lumenda3D::Cloud
