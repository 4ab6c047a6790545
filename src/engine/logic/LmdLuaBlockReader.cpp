#include "engine/logic/LmdLuaBlockReader.h"

#include <cctype>
#include <cstdint>

#include "base/LmdValueParser.h"

namespace Lumenda3D::translator {

std::string trim(std::string_view text) {
    return std::string(LmdValueParser::trim(text));
}

std::string lower(std::string_view text) {
    return LmdValueParser::toLower(text);
}

std::vector<std::string> splitComma(const std::string& text) {
    std::vector<std::string> out;
    size_t start = 0;
    while (start <= text.size()) {
        size_t comma = text.find(',', start);
        if (comma == std::string::npos)
            comma = text.size();
        out.push_back(trim(std::string_view(text).substr(start, comma - start)));
        start = comma + 1;
    }
    return out;
}

std::string normalizeColor(const std::string& text) {
    std::uint32_t rgb = 0;
    if (LmdValueParser::parseColor(text, rgb))
        return LmdValueParser::formatColor(rgb);
    std::string t = trim(text);
    if (t.size() >= 2 && t[0] == '0' && (t[1] == 'x' || t[1] == 'X'))
        t.erase(0, 2);
    else if (!t.empty() && t[0] == '#')
        t.erase(0, 1);
    for (char& c : t)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return "0x" + t;
}

} // namespace Lumenda3D::translator
