#pragma once
// Small helpers for URLs and query strings, shared by the command line, the second-instance
// hand-over and every client of the web services.
#include <string>
#include <unordered_map>

namespace Lumenda3D {

class UrlUtils {
public:
    // Splits "a=1&b=two%20words" into its keys and values.
    // - Pairs are separated by '&'; empty pairs ("a=1&&b=2") are skipped.
    // - A pair without '=' is a key with an empty value; a pair with an empty key is skipped.
    // - Keys and values are percent-decoded, and '+' stands for a space, as browsers write
    //   query strings. A '%' not followed by two hex digits is kept as it is.
    // - Keys keep their case. When a key appears twice, the last value wins.
    static std::unordered_map<std::string, std::string> parseQuery(const std::string& query);

    // Percent-encodes everything except the unreserved characters A-Z a-z 0-9 - _ . ~, with
    // upper-case hex digits, so the result is safe as a query key or value and in form bodies.
    static std::string urlEncode(const std::string& text);

    // Reverses urlEncode; with plusAsSpace, '+' becomes a space (query strings, form bodies).
    static std::string urlDecode(const std::string& text, bool plusAsSpace = true);
};

} // namespace Lumenda3D
