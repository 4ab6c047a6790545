#pragma once
// Where the product's web server is and which of its environments the editor talks to. The cloud
// services (projects, assets, templates, login) build their addresses from here.
//
// init(text) takes a JSON object with the optional keys "environment" ("production" or
// "development") and "serverUrl" (the server's base URL). Keys it leaves out, and an empty text,
// are taken from the environment variables LUMENDA3D_ENVIRONMENT and LUMENDA3D_SERVER. The
// environment is production unless "development" is named. Without a server URL the cloud
// services have nowhere to go: getApiBaseUrl() is "" and they report that.
#include <string>

namespace Lumenda3D {

class ApiConfig {
public:
    enum Environment { Development = 0, Production = 1 };

    static constexpr const char* kEnvironmentVariable = "LUMENDA3D_ENVIRONMENT";
    static constexpr const char* kServerVariable = "LUMENDA3D_SERVER";

    // Main thread, at start. A text that is not a JSON object is logged and treated as empty.
    static void init(const std::string& configText);

    // Environment as a number: 1 production, 0 development.
    static int getEnvironment();
    // The server's base URL without a trailing '/', or "".
    static std::string getServerUrl();
    // The base of the server's API calls ("<server>/api"), or "" without a server.
    static std::string getApiBaseUrl();
    // The assets endpoint, where textures, models and sounds are listed, uploaded and deleted by
    // form calls ("<server>/api/assets"), or "".
    static std::string getTexturesUrl();
    // The root of stored asset files ("<server>/assets"), or "".
    static std::string getAssetsBaseUrl();
};

} // namespace Lumenda3D
