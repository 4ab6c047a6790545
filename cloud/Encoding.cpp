#include "Encoding.h"

#include <sodium.h>

#include <ctime>

namespace Lumenda3D::Cloud {

std::string Encoding::base64(const std::string& bytes) {
    const int variant = sodium_base64_VARIANT_ORIGINAL;
    std::string out(sodium_base64_encoded_len(bytes.size(), variant), '\0');
    sodium_bin2base64(out.data(), out.size(), reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(),
                      variant);
    out.pop_back();   // the terminating NUL
    return out;
}

std::optional<std::string> Encoding::fromBase64(const std::string& text) {
    std::string out(text.size() / 4 * 3 + 3, '\0');
    std::size_t length = 0;
    const char* end = nullptr;
    const int variant = (text.size() % 4 == 0) ? sodium_base64_VARIANT_ORIGINAL : sodium_base64_VARIANT_ORIGINAL_NO_PADDING;
    if (sodium_base642bin(reinterpret_cast<unsigned char*>(out.data()), out.size(), text.data(), text.size(), nullptr,
                          &length, &end, variant) != 0 ||
        end != text.data() + text.size())
        return std::nullopt;
    out.resize(length);
    return out;
}

std::string Encoding::html(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    for (char c : text) {
        switch (c) {
        case '&': out += "&amp;"; break;
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        case '"': out += "&quot;"; break;
        case '\'': out += "&#39;"; break;
        default: out += c;
        }
    }
    return out;
}

std::string Encoding::isoTime(std::int64_t unixSeconds) {
    const std::time_t t = static_cast<std::time_t>(unixSeconds);
    std::tm tm{};
    gmtime_r(&t, &tm);
    char buffer[32];
    std::strftime(buffer, sizeof buffer, "%Y-%m-%dT%H:%M:%SZ", &tm);
    return buffer;
}

std::string Encoding::rfc822Time(std::int64_t unixSeconds) {
    static const char* days[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    static const char* months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const std::time_t t = static_cast<std::time_t>(unixSeconds);
    std::tm tm{};
    gmtime_r(&t, &tm);
    char buffer[48];
    std::snprintf(buffer, sizeof buffer, "%s, %02d %s %04d %02d:%02d:%02d +0000", days[tm.tm_wday], tm.tm_mday,
                  months[tm.tm_mon], tm.tm_year + 1900, tm.tm_hour, tm.tm_min, tm.tm_sec);
    return buffer;
}

std::string Encoding::imageType(const std::string& b) {
    if (b.size() >= 3 && static_cast<unsigned char>(b[0]) == 0xFF && static_cast<unsigned char>(b[1]) == 0xD8 &&
        static_cast<unsigned char>(b[2]) == 0xFF)
        return "image/jpeg";
    if (b.size() >= 4 && b.compare(0, 4, "\x89PNG") == 0)
        return "image/png";
    if (b.size() >= 3 && b.compare(0, 3, "GIF") == 0)
        return "image/gif";
    if (b.size() >= 2 && b.compare(0, 2, "BM") == 0)
        return "image/bmp";
    return "application/octet-stream";
}

} // namespace Lumenda3D::Cloud
