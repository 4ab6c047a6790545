// The app URL (parseLumenda3DAppUrl, resourceIdFromAppUrl) and the query strings it and the
// second-instance hand-over are made of (UrlUtils, LmdSingleInstance::buildPayload).
// Input: the URL NUL three hand-over values.
//
// Properties: a URL is valid only when it begins with the app's scheme (any case) and has a path
// or a query; the path holds no '?' and the text after the scheme never ends in '/'; the resource
// id follows resId, then resID; urlDecode undoes urlEncode for any bytes; a hand-over payload
// reads back to exactly the values that went in.
#include <cctype>
#include <unordered_map>

#include "FuzzSupport.h"
#include "core/Lumenda3DAppUrl.h"
#include "services/LmdSingleInstance.h"
#include "services/UrlUtils.h"

using namespace Lumenda3D;
using namespace Lumenda3D::fuzz;

namespace {
bool startsWithScheme(const std::string& url) {
    const std::string scheme = "lumenda3dapp://";
    if (url.size() < scheme.size())
        return false;
    for (size_t i = 0; i < scheme.size(); ++i) {
        if (std::tolower(static_cast<unsigned char>(url[i])) != scheme[i])
            return false;
    }
    return true;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::vector<std::string> fields = splitFields(data, size, 4);
    const std::string& url = fields[0];

    const UrlSchemeArgs args = parseLumenda3DAppUrl(url);
    if (!startsWithScheme(url)) {
        require(!args.valid && args.path.empty() && args.query.empty(), "a URL of another scheme is not valid");
    } else {
        require(args.valid == (!args.path.empty() || !args.query.empty()), "valid means a path or a query");
        require(args.path.find('?') == std::string::npos, "the path ends at the first '?'");
        const std::string rest = url.substr(15);
        const size_t q = rest.find('?');
        require(q != std::string::npos || args.path.empty() || args.path.back() != '/',
                "trailing slashes are gone from a URL without a query", excerpt(url));
        for (const auto& [k, v] : args.query)
            require(!k.empty(), "no query key is empty");
    }
    const std::string resource = resourceIdFromAppUrl(args);
    if (!args.valid) {
        require(resource.empty(), "an invalid URL opens nothing");
    } else {
        auto lower = args.query.find("resId");
        auto upper = args.query.find("resID");
        const std::string expected =
            lower != args.query.end() ? lower->second : (upper != args.query.end() ? upper->second : "");
        require(resource == expected, "resId wins over resID, and an empty one opens nothing");
    }

    for (const std::string& text : {fields[1], fields[2], fields[3]})
        require(UrlUtils::urlDecode(UrlUtils::urlEncode(text)) == text, "urlDecode undoes urlEncode", excerpt(text));
    const std::unordered_map<std::string, std::string> values = {
        {"resId", fields[1]}, {"mcp", fields[2]}, {"mcpPort", fields[3]}};
    const std::string payload = LmdSingleInstance::buildPayload(values, {"resId", "mcp", "mcpPort"});
    require(UrlUtils::parseQuery(payload) == values, "a hand-over payload reads back to its values", excerpt(payload));
    return 0;
}
