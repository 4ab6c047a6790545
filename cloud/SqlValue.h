#pragma once
// Values that cross the boundary to the database, the same for both backends: null, a 64-bit
// integer, UTF-8 text or raw bytes. Booleans are stored as 0 and 1, times as Unix seconds.
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace Lumenda3D::Cloud {

struct SqlBlob {
    std::string bytes;
};

using SqlValue = std::variant<std::monostate, std::int64_t, std::string, SqlBlob>;
using SqlParams = std::vector<SqlValue>;

// One row of a result. The accessors convert leniently (a backend may return an integer as text),
// and a null reads as 0 or "".
class SqlRow {
public:
    explicit SqlRow(std::vector<SqlValue> values) : values_(std::move(values)) {}

    std::size_t size() const { return values_.size(); }
    bool isNull(std::size_t column) const;
    std::int64_t integer(std::size_t column) const;
    bool boolean(std::size_t column) const { return integer(column) != 0; }
    std::string text(std::size_t column) const;
    // The bytes of a blob (or of text, which is also bytes).
    std::string bytes(std::size_t column) const;

private:
    const SqlValue& at(std::size_t column) const;
    std::vector<SqlValue> values_;
};

using SqlRows = std::vector<SqlRow>;

} // namespace Lumenda3D::Cloud
