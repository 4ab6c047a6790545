#pragma once
// A multipart/form-data body, parsed from its bytes: the boundary from the Content-Type value,
// then each part's Content-Disposition (name, filename), Content-Type and data. Pure function
// of bytes, so it can be fuzzed without a socket.
#include <string>
#include <string_view>
#include <vector>

namespace Lumenda3D::Cloud {

class MultipartBody {
public:
    struct Part {
        std::string name;
        std::string fileName;      // empty for a plain text field
        std::string contentType;
        std::string data;
        bool isFile = false;       // the part named a filename (even an empty one)
    };

    std::vector<Part> parts;

    // The first part called `name`, or null.
    const Part* find(const std::string& name) const;

    static constexpr std::size_t kMaxParts = 32;
    static constexpr std::size_t kMaxHeaderBytes = 8192;

    // False with `error` set when the content type names no boundary, the body does not start
    // with one or never closes, a part has no name or a header block that is too long, or there
    // are more than kMaxParts parts.
    static bool parse(std::string_view contentType, std::string_view body, MultipartBody& out, std::string& error);
    // The boundary parameter of a multipart content type; "" when there is none.
    static std::string boundaryOf(std::string_view contentType);
};

} // namespace Lumenda3D::Cloud
