#include "services/EditorSettings.h"

#include "services/DataPersist.h"

#include <limits>

#include <nlohmann/json.hpp>

namespace Lumenda3D {
namespace {

const char* const kSettingsKey = "lmdEditor/settings";

} // namespace

// Bad settings cost the stored values, never a message.
nlohmann::json EditorSettings::loadAll() {
    std::string text;
    if (!DataPersist::LoadPersistText(kSettingsKey, text) || text.empty())
        return nlohmann::json::object();
    nlohmann::json parsed = nlohmann::json::parse(text, nullptr, /*allow_exceptions=*/false);
    if (!parsed.is_object())
        return nlohmann::json::object();
    return parsed;
}

nlohmann::json& EditorSettings::cache() {
    static nlohmann::json values = loadAll();
    return values;
}

void EditorSettings::saveAll() {
    // Replace invalid UTF-8 in strings rather than throw: a bad string must not cost the store.
    const std::string text = cache().dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    // A failure is logged by DataPersist; the value stays in memory for this run.
    DataPersist::SavePersistText(kSettingsKey, text);
}

const nlohmann::json* EditorSettings::find(const std::string& key) {
    const nlohmann::json& values = cache();
    auto it = values.find(key);
    return it == values.end() ? nullptr : &*it;
}

EditorSettings& EditorSettings::getInstance() {
    static EditorSettings instance;
    cache();
    return instance;
}

bool EditorSettings::getBool(const std::string& key, bool defaultValue) const {
    const nlohmann::json* value = find(key);
    return (value && value->is_boolean()) ? value->get<bool>() : defaultValue;
}

int EditorSettings::getInt(const std::string& key, int defaultValue) const {
    const nlohmann::json* value = find(key);
    if (!value)
        return defaultValue;
    if (value->is_number_unsigned()) {
        const auto n = value->get<nlohmann::json::number_unsigned_t>();
        return n <= static_cast<nlohmann::json::number_unsigned_t>(std::numeric_limits<int>::max())
                   ? static_cast<int>(n)
                   : defaultValue;
    }
    if (value->is_number_integer()) {
        const auto n = value->get<nlohmann::json::number_integer_t>();
        return (n >= std::numeric_limits<int>::min() && n <= std::numeric_limits<int>::max()) ? static_cast<int>(n)
                                                                                              : defaultValue;
    }
    return defaultValue;
}

std::string EditorSettings::getString(const std::string& key, const std::string& defaultValue) const {
    const nlohmann::json* value = find(key);
    return (value && value->is_string()) ? value->get<std::string>() : defaultValue;
}

bool EditorSettings::isBool(const std::string& key) const {
    const nlohmann::json* value = find(key);
    return value && value->is_boolean();
}

void EditorSettings::setBool(const std::string& key, bool value) {
    cache()[key] = value;
    saveAll();
}

void EditorSettings::setInt(const std::string& key, int value) {
    cache()[key] = value;
    saveAll();
}

void EditorSettings::setString(const std::string& key, const std::string& value) {
    cache()[key] = value;
    saveAll();
}

} // namespace Lumenda3D
