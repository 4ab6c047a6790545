#pragma once
// What a database operation can fail with. Handlers map the kinds onto HTTP answers: a busy or
// unreachable database is a 503 that the client may retry, anything else a 500.
#include <stdexcept>
#include <string>

namespace Lumenda3D::Cloud {

class StorageError : public std::runtime_error {
public:
    enum class Kind {
        Busy,          // locked by another writer, or a serialisation conflict: retry later
        Unavailable,   // the database cannot be reached or its file cannot be used
        Constraint,    // a uniqueness or reference rule refused the write
        Failed,        // anything else: a bug or a damaged database
    };

    StorageError(Kind kind, const std::string& message) : std::runtime_error(message), kind_(kind) {}
    Kind kind() const { return kind_; }

private:
    Kind kind_;
};

} // namespace Lumenda3D::Cloud
