#pragma once
// The one place where texts are read as values: the scene, the schema validator, the logic
// translator, the HTTP code and the command line all use it. The readers are strict: a number is
// a whole decimal number (no trailing text, no NaN or infinity), a boolean is true/false/1/0, a
// colour is six hexadecimal digits after an optional 0x or #. Each returns false for a text that
// is not such a value, so that the caller can report it and keep its default. Locale-independent.
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
    // Without white space (as isspace tells it) at either end.
    static std::string_view trim(std::string_view text);
    // ASCII letters in lower case; other bytes (UTF-8 included) unchanged.
    static std::string toLower(std::string_view text);
    // Whether the two texts are equal ignoring the case of ASCII letters.
    static bool equalsIgnoreCase(std::string_view a, std::string_view b);
};

} // namespace Lumenda3D
