#pragma once
// Small text conversions the server needs: base64 for thumbnails in JSON, escaping for HTML and
// XML pages, and the two date forms (ISO 8601 in JSON, RFC 822 in the update feed).
#include <cstdint>
#include <optional>
#include <string>

namespace Lumenda3D::Cloud {

class Encoding {
public:
    static std::string base64(const std::string& bytes);
    // Standard alphabet, with or without padding; none for anything else.
    static std::optional<std::string> fromBase64(const std::string& text);
    // Escapes & < > " ' for HTML text and attributes (also right for XML).
    static std::string html(const std::string& text);
    static std::string isoTime(std::int64_t unixSeconds);
    static std::string rfc822Time(std::int64_t unixSeconds);
    // The content type of image bytes by their first bytes; "application/octet-stream" if unknown.
    static std::string imageType(const std::string& bytes);
};

} // namespace Lumenda3D::Cloud
