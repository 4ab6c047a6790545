#pragma once
// The user's preferences of the editor, kept between runs: a small typed key/value store over
// one JSON object. The object is read from the persisted entry "lmdEditor/settings" at the first
// access and kept in memory for the rest of the process; every setter writes the whole object
// back. Each reader passes its own default, so the defaults live with the callers, and nothing
// is written until a value is set.
//
// Main thread only: apart from the first access (safe through static initialisation) there is
// no lock. The agent server's threads must not call it.
#include <string>

#include <nlohmann/json_fwd.hpp>

namespace Lumenda3D {

class EditorSettings {
public:
    static EditorSettings& getInstance();

    // Return the stored value, or defaultValue when the key is missing or holds another type
    // (an int is not a bool, a bool is not an int, a fractional or out-of-range number is not an int).
    bool getBool(const std::string& key, bool defaultValue) const;
    int getInt(const std::string& key, int defaultValue) const;
    std::string getString(const std::string& key, const std::string& defaultValue) const;

    // True when the key exists and holds a JSON boolean (tells an old boolean value from a later int).
    bool isBool(const std::string& key) const;

    void setBool(const std::string& key, bool value);
    void setInt(const std::string& key, int value);
    void setString(const std::string& key, const std::string& value);

    // Drops the in-memory values and reads the stored entry again, as a restart of the editor
    // would. Defined in the tests' support code only (tests/support/EditorSettingsReload.cpp):
    // the editor is built without it.
    static void reloadForTesting();

    EditorSettings(const EditorSettings&) = delete;
    EditorSettings& operator=(const EditorSettings&) = delete;

private:
    EditorSettings() = default;
    // The stored object; anything missing, empty, unparsable or not an object gives an empty one.
    static nlohmann::json loadAll();
    // Filled by loadAll at the first access and kept until the process ends.
    static nlohmann::json& cache();
    // Writes the whole store under its key.
    static void saveAll();
    static const nlohmann::json* find(const std::string& key);
};

} // namespace Lumenda3D
