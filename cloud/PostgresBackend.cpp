#include "PostgresBackend.h"

#include <pqxx/pqxx>

#include <unordered_map>

#include "StorageError.h"

namespace pqxx {
// Lets a list of SqlValue go to exec_params as text parameters (null stays null).
template <>
struct string_traits<Lumenda3D::Cloud::SqlValue> {
    static constexpr const char* name() noexcept { return "SqlValue"; }
    static constexpr bool has_null() noexcept { return true; }
    static bool is_null(const Lumenda3D::Cloud::SqlValue& v) { return std::holds_alternative<std::monostate>(v); }
    static Lumenda3D::Cloud::SqlValue null() { return std::monostate{}; }
    static void from_string(const char s[], Lumenda3D::Cloud::SqlValue& v) { v = std::string(s); }
    static std::string to_string(const Lumenda3D::Cloud::SqlValue& v) {
        using namespace Lumenda3D::Cloud;
        if (const auto* i = std::get_if<std::int64_t>(&v))
            return std::to_string(*i);
        if (const auto* s = std::get_if<std::string>(&v))
            return *s;
        if (const auto* b = std::get_if<SqlBlob>(&v)) {
            static const char* hex = "0123456789abcdef";
            std::string out;
            out.reserve(2 + b->bytes.size() * 2);
            out += "\\x";
            for (unsigned char c : b->bytes) {
                out += hex[c >> 4];
                out += hex[c & 15];
            }
            return out;
        }
        return {};
    }
};
} // namespace pqxx

namespace Lumenda3D::Cloud {
namespace {

constexpr unsigned kByteaOid = 17, kInt8Oid = 20, kInt2Oid = 21, kInt4Oid = 23, kBoolOid = 16, kNumericOid = 1700;

class PostgresConnection : public SqlConnection {
public:
    explicit PostgresConnection(const std::string& connectionString) {
        try {
            connection_ = std::make_unique<pqxx::connection>(connectionString);
        } catch (const std::exception& e) {
            throw StorageError(StorageError::Kind::Unavailable,
                               std::string("cannot connect to PostgreSQL: ") + firstLine(e.what()));
        }
    }

    void begin(bool) override {
        guard([&] { work_ = std::make_unique<pqxx::work>(*connection_); });
    }
    void commit() override {
        guard([&] {
            if (work_)
                work_->commit();
        });
        work_.reset();
    }
    void rollback() noexcept override {
        try {
            if (work_)
                work_->abort();
        } catch (...) {
            broken_ = true;
        }
        work_.reset();
    }
    bool broken() const override { return broken_ || !connection_ || !connection_->is_open(); }

    SqlRows query(const std::string& sql, const SqlParams& params) override {
        if (!work_)
            throw StorageError(StorageError::Kind::Failed, "query outside a transaction");
        SqlRows rows;
        guard([&] {
            const pqxx::result result =
                work_->exec_params(numbered(sql), pqxx::prepare::make_dynamic_params(params));
            rows.reserve(result.size());
            for (const pqxx::row& r : result) {
                std::vector<SqlValue> values;
                values.reserve(r.size());
                for (const pqxx::field& f : r)
                    values.push_back(convert(f));
                rows.emplace_back(std::move(values));
            }
        });
        return rows;
    }

private:
    static std::string firstLine(const std::string& text) {
        const auto end = text.find('\n');
        return end == std::string::npos ? text : text.substr(0, end);
    }

    static SqlValue convert(const pqxx::field& f) {
        if (f.is_null())
            return std::monostate{};
        switch (f.type()) {
        case kByteaOid:
            return SqlBlob{pqxx::binarystring(f).str()};
        case kInt8Oid:
        case kInt4Oid:
        case kInt2Oid:
        case kNumericOid:
            try {
                return static_cast<std::int64_t>(std::stoll(f.c_str()));
            } catch (const std::exception&) {
                return std::string(f.c_str(), f.size());
            }
        case kBoolOid:
            return static_cast<std::int64_t>(f.c_str()[0] == 't' ? 1 : 0);
        default:
            return std::string(f.c_str(), f.size());
        }
    }

    const std::string& numbered(const std::string& sql) {
        auto found = numbered_.find(sql);
        if (found == numbered_.end())
            found = numbered_.emplace(sql, PostgresBackend::numberPlaceholders(sql)).first;
        return found->second;
    }

    template <class F>
    void guard(F&& f) {
        try {
            f();
        } catch (const pqxx::broken_connection& e) {
            broken_ = true;
            throw StorageError(StorageError::Kind::Unavailable, "lost the connection to PostgreSQL: " + firstLine(e.what()));
        } catch (const pqxx::in_doubt_error& e) {
            broken_ = true;
            throw StorageError(StorageError::Kind::Unavailable, "PostgreSQL connection lost during commit: " + firstLine(e.what()));
        } catch (const pqxx::sql_error& e) {
            const std::string state = e.sqlstate();
            const std::string text = firstLine(e.what());
            if (state == "40001" || state == "40P01" || state == "55P03")
                throw StorageError(StorageError::Kind::Busy, text);
            if (state.rfind("23", 0) == 0)
                throw StorageError(StorageError::Kind::Constraint, text);
            if (state.rfind("08", 0) == 0 || state.rfind("57", 0) == 0 || state.rfind("53", 0) == 0) {
                broken_ = true;
                throw StorageError(StorageError::Kind::Unavailable, text);
            }
            throw StorageError(StorageError::Kind::Failed, text);
        } catch (const StorageError&) {
            throw;
        } catch (const std::exception& e) {
            if (!connection_->is_open())
                broken_ = true;
            throw StorageError(broken_ ? StorageError::Kind::Unavailable : StorageError::Kind::Failed,
                               firstLine(e.what()));
        }
    }

    std::unique_ptr<pqxx::connection> connection_;
    std::unique_ptr<pqxx::work> work_;
    bool broken_ = false;
    std::unordered_map<std::string, std::string> numbered_;
};

} // namespace

PostgresBackend::PostgresBackend(std::string connectionString) : connectionString_(std::move(connectionString)) {}

std::unique_ptr<SqlConnection> PostgresBackend::connect() {
    return std::make_unique<PostgresConnection>(connectionString_);
}

std::string PostgresBackend::ddl(const std::string& portable) const {
    std::string s = replaceAll(portable, "{serial}", "BIGSERIAL PRIMARY KEY");
    s = replaceAll(s, "{int}", "BIGINT");
    return replaceAll(s, "{blob}", "BYTEA");
}

std::string PostgresBackend::migrationLock() const {
    // Any constant: it only has to be the same for every lumenda3d-cloud on this database.
    return "SELECT pg_advisory_xact_lock(727364001)";
}

std::string PostgresBackend::numberPlaceholders(const std::string& sql) {
    std::string out;
    out.reserve(sql.size() + 16);
    int n = 0;
    char quote = 0;
    for (char c : sql) {
        if (quote) {
            if (c == quote)
                quote = 0;
            out += c;
        } else if (c == '\'' || c == '"') {
            quote = c;
            out += c;
        } else if (c == '?') {
            out += '$' + std::to_string(++n);
        } else {
            out += c;
        }
    }
    return out;
}

} // namespace Lumenda3D::Cloud
