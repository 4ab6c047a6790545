#pragma once
// Fields of an application/x-www-form-urlencoded body or of a query string ("a=1&b=x%20y").
// Pure functions of bytes, so they can be fuzzed without a socket.
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Lumenda3D::Cloud {

class FormData {
public:
    std::vector<std::pair<std::string, std::string>> fields;

    bool has(const std::string& name) const;
    // The first value of `name`; `fallback` when absent.
    std::string get(const std::string& name, const std::string& fallback = "") const;

    // False with `error` set for a broken percent escape or a decoded text that holds a NUL byte
    // or is not UTF-8. "+" reads as a space; a field without "=" has an empty value.
    static bool parse(std::string_view text, FormData& out, std::string& error);
    static std::string encode(const std::string& value);
};

} // namespace Lumenda3D::Cloud
