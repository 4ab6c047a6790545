#include "export/ExportRequest.h"

namespace Lumenda3D {
namespace {

std::string text(const nlohmann::json& object, const char* key, const std::string& fallback = "") {
    auto it = object.find(key);
    return it != object.end() && it->is_string() ? it->get<std::string>() : fallback;
}

bool flag(const nlohmann::json& object, const char* key, bool fallback) {
    auto it = object.find(key);
    return it != object.end() && it->is_boolean() ? it->get<bool>() : fallback;
}

} // namespace

bool ExportRequest::fromArguments(const nlohmann::json& arguments, ExportRequest& out, std::string& error) {
    if (!arguments.is_object()) {
        error = "export_game takes an object of arguments.";
        return false;
    }
    ExportRequest request;
    const std::string platform = text(arguments, "platform");
    if (platform == "linux")
        request.platform = ExportService::Platform::Linux;
    else if (platform == "windows")
        request.platform = ExportService::Platform::Windows;
    else if (platform == "android")
        request.platform = ExportService::Platform::Android;
    else if (platform == "web")
        request.platform = ExportService::Platform::Web;
    else if (platform == "mac") {
        error = "Mac builds are made by the Lumenda3D cloud, which this editor cannot reach for builds; export for "
                "linux or windows instead.";
        return false;
    } else {
        error = "export_game requires 'platform': linux, windows, android, web or mac.";
        return false;
    }
    ExportService::Options& o = request.options;
    o.displayName = text(arguments, "appName");
    if (o.displayName.empty()) {
        error = "export_game requires a non-empty 'appName'.";
        return false;
    }
    o.fullScreen = flag(arguments, "fullScreen", false);
    o.versionName = text(arguments, "versionName", "1.0");
    if (auto it = arguments.find("versionCode"); it != arguments.end()) {
        if (!it->is_number_integer() || it->get<long long>() < 1 || it->get<long long>() > 2100000000LL) {
            error = "'versionCode' must be a whole number from 1 to 2100000000.";
            return false;
        }
        o.versionCode = int(it->get<long long>());
    }
    const std::string format = text(arguments, "windowsFormat", "zip");
    if (format != "zip" && format != "installer") {
        error = "'windowsFormat' must be zip or installer.";
        return false;
    }
    o.windowsFormat = format == "installer" ? ExportService::WindowsFormat::Installer : ExportService::WindowsFormat::Zip;
    o.desktopShortcut = flag(arguments, "windowsDesktopShortcut", true);
    if (auto it = arguments.find("windowsSigning"); it != arguments.end() && it->is_object()) {
        o.windowsSigning.certificatePath = text(*it, "pfxPath");
        o.windowsSigning.password = text(*it, "password");
        o.windowsSigning.timestampUrl = text(*it, "timestampUrl");
    }
    o.androidFormat = text(arguments, "androidFormat", "apk") == "aab" ? ExportService::AndroidFormat::Aab
                                                                       : ExportService::AndroidFormat::Apk;
    if (auto it = arguments.find("androidSigning"); it != arguments.end() && it->is_object()) {
        o.androidSigning.mode = text(*it, "mode", "generate");
        o.androidSigning.keystorePath = text(*it, "keystorePath");
        o.androidSigning.keyAlias = text(*it, "keyAlias");
        o.androidSigning.storePassword = text(*it, "storePassword");
        o.androidSigning.keyPassword = text(*it, "keyPassword");
    }
    out = std::move(request);
    return true;
}

} // namespace Lumenda3D
