#include "base/LmdValueParser.h"

#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>

namespace Lumenda3D {

std::string_view LmdValueParser::trim(std::string_view text) {
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front())))
        text.remove_prefix(1);
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back())))
        text.remove_suffix(1);
    return text;
}

std::string LmdValueParser::toLower(std::string_view text) {
    std::string out(text);
    for (char& c : out)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return out;
}

bool LmdValueParser::equalsIgnoreCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size())
        return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(static_cast<unsigned char>(b[i])))
            return false;
    return true;
}

bool LmdValueParser::parseNumber(std::string_view text, double& out) {
    text = trim(text);
    if (!text.empty() && text.front() == '+')
        text.remove_prefix(1);
    if (text.empty())
        return false;
    double value = 0.0;
    const char* end = text.data() + text.size();
    auto result = std::from_chars(text.data(), end, value, std::chars_format::general);
    if (result.ec != std::errc() || result.ptr != end || !std::isfinite(value))
        return false;
    out = value;
    return true;
}

bool LmdValueParser::parseInt(std::string_view text, int& out) {
    double value = 0.0;
    if (!parseNumber(text, value) || value != std::floor(value) || std::fabs(value) > 2147483647.0)
        return false;
    out = int(value);
    return true;
}

bool LmdValueParser::parseBool(std::string_view text, bool& out) {
    text = trim(text);
    if (text == "true" || text == "1" || text == "True" || text == "TRUE") {
        out = true;
        return true;
    }
    if (text == "false" || text == "0" || text == "False" || text == "FALSE") {
        out = false;
        return true;
    }
    return false;
}

bool LmdValueParser::parseColor(std::string_view text, std::uint32_t& out) {
    text = trim(text);
    if (text.size() >= 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X'))
        text.remove_prefix(2);
    else if (!text.empty() && text[0] == '#')
        text.remove_prefix(1);
    if (text.size() != 6)
        return false;
    std::uint32_t value = 0;
    auto result = std::from_chars(text.data(), text.data() + text.size(), value, 16);
    if (result.ec != std::errc() || result.ptr != text.data() + text.size())
        return false;
    out = value;
    return true;
}

std::string LmdValueParser::formatColor(std::uint32_t rgb) {
    char buffer[16];
    std::snprintf(buffer, sizeof buffer, "0x%06X", unsigned(rgb & 0xFFFFFFu));
    return buffer;
}

} // namespace Lumenda3D
