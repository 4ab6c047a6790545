#pragma once
// The editor's URL scheme. A web page opens the editor on a cloud project with a link such as
// "Lumenda3DApp://open?resId=1234"; the system starts the editor with that URL as its first
// argument, and the entry reads the resource id from it.
#include <string>
#include <unordered_map>

namespace Lumenda3D {

// The scheme prefix, matched without regard to case.
inline constexpr const char* kLumenda3DAppScheme = "Lumenda3DApp://";

struct UrlSchemeArgs {
    std::string path;                                     // between the scheme and the first '?'
    std::unordered_map<std::string, std::string> query;   // decoded query, keys as written
    bool valid = false;                                   // path or query is not empty
};

// Never fails: anything that does not start with the scheme yields valid == false.
// Trailing '/' characters are removed before the path and query are split, so
// "Lumenda3DApp://open/?resId=7/" gives path "open/" and resId "7".
UrlSchemeArgs parseLumenda3DAppUrl(const std::string& url);

// Whether the text starts with "Lumenda3DApp://", in any case.
bool hasLumenda3DAppScheme(const std::string& text);

// What the first positional argument of the command line asks for. A URL is a scheme of two or
// more letters, digits, '+', '-' or '.' (starting with a letter) followed by "://"; a Windows
// drive ("C:\\games") is one letter and so a path.
enum class StartArgument {
    None,      // no argument
    AppLink,   // a Lumenda3DApp:// link: the entry reads its resource id
    OtherUrl,  // a URL of another scheme (http://...): ignored, the editor starts as usual
    GameFile,  // anything else: the path of a game file to open
};
StartArgument classifyStartArgument(const std::string& text);

// The cloud resource a parsed URL asks to open: the value of "resId"; only when that key is
// absent, the value of "resID". An empty value means none (and a present but empty "resId"
// does not fall back to "resID"). Empty for an invalid URL.
std::string resourceIdFromAppUrl(const UrlSchemeArgs& args);

} // namespace Lumenda3D
