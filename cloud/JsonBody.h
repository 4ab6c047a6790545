#pragma once
// Request bodies in JSON: parsed without exceptions, checked to be an object, and read field by
// field with the type the field must have. Pure functions of bytes, so they can be fuzzed.
#include <nlohmann/json.hpp>

#include <optional>
#include <string>
#include <string_view>

namespace Lumenda3D::Cloud {

class JsonBody {
public:
    // False with `error` set when the text is not JSON or not a JSON object.
    static bool parseObject(std::string_view text, nlohmann::json& out, std::string& error);

    // Reading fields: nullopt when absent (or null); ApiError 400 "bad_request" with the field's
    // name when present with another type or, for text, when it is not clean UTF-8.
    static std::optional<std::string> text(const nlohmann::json& body, const char* field);
    static std::optional<bool> boolean(const nlohmann::json& body, const char* field);
    static std::optional<std::int64_t> integer(const nlohmann::json& body, const char* field);
    // A text field that must be there.
    static std::string requiredText(const nlohmann::json& body, const char* field);
};

} // namespace Lumenda3D::Cloud
