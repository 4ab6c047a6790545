#include "core/Lumenda3DAppUrl.h"

#include <cctype>
#include <cstring>

#include "base/LmdValueParser.h"
#include "services/UrlUtils.h"

namespace Lumenda3D {

bool hasLumenda3DAppScheme(const std::string& text) {
    const std::size_t prefixLength = std::strlen(kLumenda3DAppScheme);
    return text.size() >= prefixLength &&
           LmdValueParser::equalsIgnoreCase(std::string_view(text).substr(0, prefixLength), kLumenda3DAppScheme);
}

StartArgument classifyStartArgument(const std::string& text) {
    if (text.empty())
        return StartArgument::None;
    if (hasLumenda3DAppScheme(text))
        return StartArgument::AppLink;
    const std::size_t colon = text.find("://");
    if (colon != std::string::npos && colon >= 2 && std::isalpha(static_cast<unsigned char>(text[0]))) {
        bool scheme = true;
        for (std::size_t i = 1; i < colon && scheme; ++i) {
            const unsigned char c = static_cast<unsigned char>(text[i]);
            scheme = std::isalnum(c) || c == '+' || c == '-' || c == '.';
        }
        if (scheme)
            return StartArgument::OtherUrl;
    }
    return StartArgument::GameFile;
}

UrlSchemeArgs parseLumenda3DAppUrl(const std::string& url) {
    UrlSchemeArgs result;
    const std::size_t prefixLength = std::strlen(kLumenda3DAppScheme);
    if (!hasLumenda3DAppScheme(url))
        return result;

    std::string rest = url.substr(prefixLength);
    while (!rest.empty() && rest.back() == '/')
        rest.pop_back();
    if (rest.empty())
        return result;

    const std::size_t question = rest.find('?');
    if (question == std::string::npos) {
        result.path = rest;
    } else {
        result.path = rest.substr(0, question);
        result.query = UrlUtils::parseQuery(rest.substr(question + 1));
    }
    result.valid = !result.path.empty() || !result.query.empty();
    return result;
}

std::string resourceIdFromAppUrl(const UrlSchemeArgs& args) {
    if (!args.valid)
        return "";
    auto it = args.query.find("resId");
    if (it == args.query.end())
        it = args.query.find("resID");
    return it == args.query.end() ? std::string() : it->second;
}

} // namespace Lumenda3D
