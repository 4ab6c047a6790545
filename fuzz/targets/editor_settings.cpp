// The settings store (EditorSettings over DataPersist) with any stored text, and DataPersist's
// keys. Input: stored settings text NUL key NUL value NUL second key.
//
// Properties: every getter answers as documented for the stored JSON (the value when it has the
// asked type, and fits an int for getInt, else the caller's default; all defaults for text that is
// not a JSON object); after a setter the store loads again to the same values, with the new one
// (when it is valid UTF-8); a persisted key maps to a file inside the settings folder, and two
// different keys never to the same file.
#include <filesystem>
#include <limits>

#include "FuzzSupport.h"
#include "services/EditorSettings.h"
#include "services/DataPersist.h"
#include "base/LmdPaths.h"

using namespace Lumenda3D;
using namespace Lumenda3D::fuzz;
using json = nlohmann::json;

namespace {

bool isUtf8(const std::string& text) {
    try {
        (void)json(text).dump();
        return true;
    } catch (const json::exception&) {
        return false;
    }
}

// What the getters must answer for one key of the stored object.
void checkKey(const EditorSettings& settings, const std::string& key, const json* value) {
    const bool isBool = value && value->is_boolean();
    require(settings.isBool(key) == isBool, "isBool tells a stored boolean", key);
    require(settings.getBool(key, true) == (isBool ? value->get<bool>() : true) &&
                settings.getBool(key, false) == (isBool ? value->get<bool>() : false),
            "getBool answers the stored boolean or the default", key);
    long long n = 0;
    bool fits = false;
    if (value && value->is_number_unsigned()) {
        fits = value->get<unsigned long long>() <= static_cast<unsigned long long>(std::numeric_limits<int>::max());
        n = fits ? static_cast<long long>(value->get<unsigned long long>()) : 0;
    } else if (value && value->is_number_integer()) {
        n = value->get<long long>();
        fits = n >= std::numeric_limits<int>::min() && n <= std::numeric_limits<int>::max();
    }
    require(settings.getInt(key, -7) == (fits ? n : -7), "getInt answers a stored int that fits or the default", key);
    const bool isString = value && value->is_string();
    require(settings.getString(key, "\x01") == (isString ? value->get<std::string>() : std::string("\x01")),
            "getString answers the stored string or the default", key);
}

void checkAll(const json& stored, const std::string& extraKey) {
    const EditorSettings& settings = EditorSettings::getInstance();
    for (auto it = stored.begin(); it != stored.end(); ++it)
        checkKey(settings, it.key(), &*it);
    if (!stored.contains(extraKey))
        checkKey(settings, extraKey, nullptr);
}

void checkEntryPath(const std::string& key, const std::string& other) {
    const std::string path = DataPersist::entryPath(key);
    if (path.empty())
        return;
    const std::string root = LmdPaths::configDir() + "/";
    require(path.compare(0, root.size(), root) == 0, "a persisted entry lies in the settings folder", path);
    for (const auto& part : std::filesystem::path(path.substr(root.size())))
        require(part != ".." && part != "." && !part.empty(), "a persisted entry's path has no '.' or '..' part", path);
    if (other != key) {
        const std::string otherPath = DataPersist::entryPath(other);
        require(otherPath.empty() || otherPath != path, "two keys never share a file", excerpt(key) + " / " + excerpt(other));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool quiet = (quietPrivateProcess(), true);
    (void)quiet;
    const std::vector<std::string> fields = splitFields(data, size, 4);
    const std::string& stored = fields[0];
    const std::string& key = fields[1];
    const std::string& value = fields[2];
    checkEntryPath(key, fields[3]);

    if (!DataPersist::SavePersistText("lmdEditor/settings", stored))
        fail("the settings entry can be written");
    EditorSettings::reloadForTesting();
    json expected = json::parse(stored, nullptr, false);
    if (!expected.is_object())
        expected = json::object();
    checkAll(expected, key);

    // A set writes the whole store; loading it again gives the same values and the new ones
    // (bytes that aren't UTF-8 come back replaced, as the store writes them).
    EditorSettings::getInstance().setString(key, value);
    EditorSettings::getInstance().setBool(key + "#b", !value.empty());
    EditorSettings::reloadForTesting();
    expected[key] = value;
    expected[key + "#b"] = !value.empty();
    if (!isUtf8(key) || !isUtf8(value))
        expected = json::parse(expected.dump(-1, ' ', false, json::error_handler_t::replace));
    else
        require(EditorSettings::getInstance().getString(key, "") == value, "a set string loads again unchanged");
    checkAll(expected, "\x01never set");
    return 0;
}
