#include "JsonBody.h"

#include <cstring>

#include "ApiError.h"

namespace Lumenda3D::Cloud {

bool JsonBody::parseObject(std::string_view text, nlohmann::json& out, std::string& error) {
    out = nlohmann::json::parse(text.begin(), text.end(), nullptr, false);
    if (out.is_discarded()) {
        error = "the body is not valid JSON";
        return false;
    }
    if (!out.is_object()) {
        error = "the body must be a JSON object";
        return false;
    }
    return true;
}

std::optional<std::string> JsonBody::text(const nlohmann::json& body, const char* field) {
    const auto it = body.find(field);
    if (it == body.end() || it->is_null())
        return std::nullopt;
    if (!it->is_string())
        throw ApiError::badRequest(std::string("'") + field + "' must be a string.");
    const std::string& value = it->get_ref<const std::string&>();
    // The JSON parser has checked the UTF-8 already; only an escaped NUL can be left.
    if (std::memchr(value.data(), '\0', value.size()) != nullptr)
        throw ApiError::badRequest(std::string("'") + field + "' holds a NUL character.");
    return value;
}

std::optional<bool> JsonBody::boolean(const nlohmann::json& body, const char* field) {
    const auto it = body.find(field);
    if (it == body.end() || it->is_null())
        return std::nullopt;
    if (!it->is_boolean())
        throw ApiError::badRequest(std::string("'") + field + "' must be true or false.");
    return it->get<bool>();
}

std::optional<std::int64_t> JsonBody::integer(const nlohmann::json& body, const char* field) {
    const auto it = body.find(field);
    if (it == body.end() || it->is_null())
        return std::nullopt;
    if (!it->is_number_integer())
        throw ApiError::badRequest(std::string("'") + field + "' must be a whole number.");
    return it->get<std::int64_t>();
}

std::string JsonBody::requiredText(const nlohmann::json& body, const char* field) {
    auto value = text(body, field);
    if (!value)
        throw ApiError::badRequest(std::string("'") + field + "' is missing.");
    return *value;
}

} // namespace Lumenda3D::Cloud
