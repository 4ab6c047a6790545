#include "FormData.h"

#include <cctype>

#include "TextRules.h"

namespace Lumenda3D::Cloud {
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

bool decode(std::string_view in, std::string& out, std::string& error) {
    out.clear();
    out.reserve(in.size());
    for (std::size_t i = 0; i < in.size(); ++i) {
        const char c = in[i];
        if (c == '+') {
            out += ' ';
        } else if (c == '%') {
            if (i + 2 >= in.size()) {
                error = "a percent escape is cut short";
                return false;
            }
            const int hi = hexValue(in[i + 1]), lo = hexValue(in[i + 2]);
            if (hi < 0 || lo < 0) {
                error = "a percent escape is not two hex digits";
                return false;
            }
            out += static_cast<char>(hi * 16 + lo);
            i += 2;
        } else {
            out += c;
        }
    }
    if (!TextRules::isCleanText(out)) {
        error = "a field is not UTF-8 text or holds a NUL byte";
        return false;
    }
    return true;
}

} // namespace

bool FormData::has(const std::string& name) const {
    for (const auto& f : fields)
        if (f.first == name)
            return true;
    return false;
}

std::string FormData::get(const std::string& name, const std::string& fallback) const {
    for (const auto& f : fields)
        if (f.first == name)
            return f.second;
    return fallback;
}

bool FormData::parse(std::string_view text, FormData& out, std::string& error) {
    out.fields.clear();
    std::size_t start = 0;
    while (start <= text.size()) {
        std::size_t end = text.find('&', start);
        if (end == std::string_view::npos)
            end = text.size();
        const std::string_view pair = text.substr(start, end - start);
        if (!pair.empty()) {
            const std::size_t eq = pair.find('=');
            std::string name, value;
            if (!decode(pair.substr(0, eq), name, error))
                return false;
            if (eq != std::string_view::npos && !decode(pair.substr(eq + 1), value, error))
                return false;
            out.fields.emplace_back(std::move(name), std::move(value));
        }
        start = end + 1;
    }
    return true;
}

std::string FormData::encode(const std::string& value) {
    static const char* hex = "0123456789ABCDEF";
    std::string out;
    for (unsigned char c : value) {
        if (std::isalnum(c) || c == '-' || c == '_' || c == '.' || c == '~') {
            out += static_cast<char>(c);
        } else {
            out += '%';
            out += hex[c >> 4];
            out += hex[c & 15];
        }
    }
    return out;
}

} // namespace Lumenda3D::Cloud
