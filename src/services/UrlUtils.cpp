#include "services/UrlUtils.h"

namespace Lumenda3D {
namespace {

int hexValue(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

bool isUnreserved(unsigned char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '_' ||
           c == '.' || c == '~';
}

} // namespace

std::unordered_map<std::string, std::string> UrlUtils::parseQuery(const std::string& query) {
    std::unordered_map<std::string, std::string> result;
    std::size_t start = 0;
    while (start <= query.size()) {
        std::size_t end = query.find('&', start);
        if (end == std::string::npos)
            end = query.size();
        if (end > start) {
            const std::string pair = query.substr(start, end - start);
            const std::size_t eq = pair.find('=');
            std::string key = urlDecode(eq == std::string::npos ? pair : pair.substr(0, eq));
            std::string value = eq == std::string::npos ? std::string() : urlDecode(pair.substr(eq + 1));
            if (!key.empty())
                result[std::move(key)] = std::move(value);
        }
        start = end + 1;
    }
    return result;
}

std::string UrlUtils::urlEncode(const std::string& text) {
    static const char digits[] = "0123456789ABCDEF";
    std::string out;
    out.reserve(text.size() * 3);
    for (unsigned char c : text) {
        if (isUnreserved(c)) {
            out.push_back(static_cast<char>(c));
        } else {
            out.push_back('%');
            out.push_back(digits[c >> 4]);
            out.push_back(digits[c & 0x0F]);
        }
    }
    return out;
}

std::string UrlUtils::urlDecode(const std::string& text, bool plusAsSpace) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '%' && i + 2 < text.size() && hexValue(text[i + 1]) >= 0 && hexValue(text[i + 2]) >= 0) {
            out.push_back(static_cast<char>(hexValue(text[i + 1]) * 16 + hexValue(text[i + 2])));
            i += 2;
        } else if (c == '+' && plusAsSpace) {
            out.push_back(' ');
        } else {
            out.push_back(c);
        }
    }
    return out;
}

} // namespace Lumenda3D
