#include "services/ApiConfig.h"

#include <cstdlib>

#include <nlohmann/json.hpp>

#include "base/LmdLog.h"

namespace Lumenda3D {
namespace {

struct Config {
    int environment = ApiConfig::Production;
    std::string serverUrl;
};

Config& config() {
    static Config c;
    return c;
}

std::string fromEnvironment(const char* name) {
    const char* value = std::getenv(name);
    return value ? std::string(value) : std::string();
}

} // namespace

void ApiConfig::init(const std::string& configText) {
    std::string environment = fromEnvironment(kEnvironmentVariable);
    std::string server = fromEnvironment(kServerVariable);
    if (!configText.empty()) {
        try {
            const nlohmann::json given = nlohmann::json::parse(configText);
            if (!given.is_object())
                throw std::runtime_error("not a JSON object");
            environment = given.value("environment", environment);
            server = given.value("serverUrl", server);
        } catch (const std::exception& e) {
            LmdLog::message(std::string("API configuration ignored: ") + e.what());
            environment = fromEnvironment(kEnvironmentVariable);
            server = fromEnvironment(kServerVariable);
        }
    }
    while (!server.empty() && server.back() == '/')
        server.pop_back();
    Config& c = config();
    c.environment = environment == "development" ? Development : Production;
    c.serverUrl = server;
}

int ApiConfig::getEnvironment() {
    return config().environment;
}

std::string ApiConfig::getServerUrl() {
    return config().serverUrl;
}

std::string ApiConfig::getApiBaseUrl() {
    const std::string& server = config().serverUrl;
    return server.empty() ? std::string() : server + "/api";
}

std::string ApiConfig::getTexturesUrl() {
    const std::string api = getApiBaseUrl();
    return api.empty() ? std::string() : api + "/assets";
}

std::string ApiConfig::getAssetsBaseUrl() {
    const std::string& server = config().serverUrl;
    return server.empty() ? std::string() : server + "/assets";
}

} // namespace Lumenda3D
