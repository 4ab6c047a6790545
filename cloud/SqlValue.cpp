#include "SqlValue.h"

#include <stdexcept>

namespace Lumenda3D::Cloud {

const SqlValue& SqlRow::at(std::size_t column) const {
    if (column >= values_.size())
        throw std::out_of_range("result column " + std::to_string(column) + " does not exist");
    return values_[column];
}

bool SqlRow::isNull(std::size_t column) const { return std::holds_alternative<std::monostate>(at(column)); }

std::int64_t SqlRow::integer(std::size_t column) const {
    const SqlValue& v = at(column);
    if (const auto* i = std::get_if<std::int64_t>(&v))
        return *i;
    if (const auto* s = std::get_if<std::string>(&v)) {
        try {
            return std::stoll(*s);
        } catch (const std::exception&) {
            return 0;
        }
    }
    return 0;
}

std::string SqlRow::text(std::size_t column) const {
    const SqlValue& v = at(column);
    if (const auto* s = std::get_if<std::string>(&v))
        return *s;
    if (const auto* i = std::get_if<std::int64_t>(&v))
        return std::to_string(*i);
    if (const auto* b = std::get_if<SqlBlob>(&v))
        return b->bytes;
    return {};
}

std::string SqlRow::bytes(std::size_t column) const { return text(column); }

} // namespace Lumenda3D::Cloud
