#pragma once
// Strict readers of attribute texts as the scene takes them: a number is a whole decimal number
// (no trailing text, no NaN or infinity, the same rule the schema validator applies), a boolean
// is true/false/1/0, a colour is six hexadecimal digits after an optional 0x or #. Each returns
// false for a text that is not such a value, so that the caller can report it and keep its
// default. Locale-independent.
#include <cstdint>
#include <string>
#include <string_view>

namespace Lumenda3D {

class LmdValueParser {
public:
    static bool parseNumber(std::string_view text, double& out);
    // A number without a fraction ("3", and "3.000000" as number inputs write it).
    static bool parseInt(std::string_view text, int& out);
    static bool parseBool(std::string_view text, bool& out);
    // 0xRRGGBB as an integer.
    static bool parseColor(std::string_view text, std::uint32_t& out);
    // "0xRRGGBB" in upper case.
    static std::string formatColor(std::uint32_t rgb);
    static std::string_view trim(std::string_view text);
};

} // namespace Lumenda3D
