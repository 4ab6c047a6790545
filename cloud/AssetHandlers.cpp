#include "AssetHandlers.h"

#include <algorithm>
#include <cctype>
#include <ctime>

#include "ApiError.h"
#include "Encoding.h"
#include "HttpReply.h"
#include "TextRules.h"

namespace Lumenda3D::Cloud {
namespace {

struct Kind {
    const char* type;
    const char* listAction;
    const char* uploadAction;
    const char* myListKey;
    const char* uploadField;
};

const Kind kKinds[] = {
    {"textures", "getTextures", "uploadTexture", "my_textures", "imageData"},
    {"models", "getModels", "uploadModel", "my_models", "modelData"},
    {"sounds", "getSounds", "uploadSound", "my_sounds", "soundData"},
};

const Kind* kindOfType(const std::string& type) {
    for (const Kind& k : kKinds)
        if (type == k.type)
            return &k;
    return nullptr;
}

std::string megabytes(std::int64_t bytes) { return std::to_string((bytes + (1 << 20) - 1) / (1 << 20)) + " MB"; }

std::string lowerExtension(const std::string& name) {
    const auto dot = name.rfind('.');
    std::string ext = dot == std::string::npos ? std::string() : name.substr(dot + 1);
    std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
    return ext;
}

} // namespace

std::string AssetHandlers::thumbPrefix(const std::string& type) {
    if (type == "models")
        return "model_thumb_";
    if (type == "sounds")
        return "sound_thumb_";
    return "thumb_";
}

std::string AssetHandlers::contentTypeOf(const std::string& name) {
    const std::string ext = lowerExtension(name);
    if (ext == "png") return "image/png";
    if (ext == "jpg" || ext == "jpeg") return "image/jpeg";
    if (ext == "gif") return "image/gif";
    if (ext == "bmp") return "image/bmp";
    if (ext == "wav") return "audio/wav";
    if (ext == "mp3") return "audio/mpeg";
    if (ext == "ogg") return "audio/ogg";
    if (ext == "flac") return "audio/flac";
    if (ext == "gltf") return "model/gltf+json";
    if (ext == "glb") return "model/gltf-binary";
    return "application/octet-stream";
}

void AssetHandlers::readCall(const std::string& contentType, const std::string& body, Call& call) {
    std::string problem;
    if (!MultipartBody::boundaryOf(contentType).empty()) {
        if (!MultipartBody::parse(contentType, body, call.multipart, problem))
            throw ApiError(400, "malformed_multipart", "The upload could not be read: " + problem + ".");
        for (const MultipartBody::Part& p : call.multipart.parts) {
            if (p.isFile)
                continue;
            if (!TextRules::isCleanText(p.data))
                throw ApiError(400, "bad_request", "The field '" + p.name + "' is not UTF-8 text.");
            call.fields.fields.emplace_back(p.name, p.data);
        }
        return;
    }
    const std::string type = contentType.substr(0, contentType.find(';'));
    if (!type.empty() && type != "application/x-www-form-urlencoded")
        throw ApiError(415, "unsupported_media_type",
                       "Send the asset calls as application/x-www-form-urlencoded or multipart/form-data.");
    if (!FormData::parse(body, call.fields, problem))
        throw ApiError(400, "malformed_form", "The form could not be read: " + problem + ".");
}

void AssetHandlers::takeRawBody(const httplib::Request& constReq) {
    if (constReq.path != "/api/assets" || constReq.method != "POST")
        return;
    auto& req = const_cast<httplib::Request&>(constReq);
    req.headers.erase(kRawContentType);   // only the server sets it
    const auto type = req.headers.find("Content-Type");
    if (type == req.headers.end())
        return;
    const std::string value = type->second;
    req.headers.erase("Content-Type");
    req.headers.emplace(kRawContentType, value);
}

void AssetHandlers::install(httplib::Server& server) {
    server.Post("/api/assets", [this](const httplib::Request& req, httplib::Response& res,
                                      const httplib::ContentReader& reader) {
        std::string body;
        const std::size_t limit = services_.config().payloadLimit();
        bool tooLarge = false;
        reader([&](const char* data, std::size_t length) {
            if (body.size() + length > limit) {
                tooLarge = true;
                return false;
            }
            body.append(data, length);
            return true;
        });
        HttpReply::guard(
            [&](const httplib::Request& q, httplib::Response& r) {
                if (tooLarge)
                    throw ApiError(413, "payload_too_large", "The upload is larger than this server accepts.");
                endpoint(q, r, body);
            },
            HttpReply::Style::Assets)(req, res);
    });
    auto files = [this](bool owned, bool thumbnail) {
        return HttpReply::guard([this, owned, thumbnail](const httplib::Request& q, httplib::Response& r) {
            serveFile(q, r, owned, thumbnail);
        });
    };
    const std::string type = "(textures|models|sounds)";
    server.Get("/assets/" + type + "/thumbs/([^/]+)", files(false, true));
    server.Get("/assets/" + type + "/([^/]+)/thumbs/([^/]+)", files(true, true));
    server.Get("/assets/" + type + "/([^/]+)", files(false, false));
    server.Get("/assets/" + type + "/([^/]+)/([^/]+)", files(true, false));
}

void AssetHandlers::endpoint(const httplib::Request& req, httplib::Response& res, const std::string& body) {
    Call call;
    readCall(req.get_header_value(kRawContentType), body, call);
    const std::string action = call.fields.get("action");
    for (const Kind& k : kKinds) {
        if (action == k.listAction)
            return list(k.type, call, res);
        if (action == k.uploadAction)
            return upload(k.type, call, res);
    }
    if (action == "deleteAsset")
        return remove(call, res);
    throw ApiError(400, "unknown_action",
                   action.empty() ? "The request names no action." : "Unknown action '" + action + "'.");
}

void AssetHandlers::list(const std::string& type, Call& call, httplib::Response& res) {
    const Kind& kind = *kindOfType(type);
    nlohmann::json out = {{type, services_.assets().names(AssetStore::kPublic, type)},
                          {kind.myListKey, nlohmann::json::array()},
                          {"username", ""},
                          {"success", true}};
    const std::string token = call.fields.get("token");
    if (!token.empty()) {
        const User user = auth_.require(token);
        const std::int64_t quota = services_.quotaOf(user);
        out[kind.myListKey] = services_.assets().names(user.id, type);
        out["username"] = user.username;
        out["storage"] = {{"unlimited", quota < 0},
                          {"used_mb", double(user.storageUsed) / (1 << 20)},
                          {"quota_mb", quota < 0 ? 0.0 : double(quota) / (1 << 20)}};
    }
    HttpReply::json(res, 200, out);
}

void AssetHandlers::upload(const std::string& type, Call& call, httplib::Response& res) {
    const Kind& kind = *kindOfType(type);
    const CloudConfig& config = services_.config();
    const User user = auth_.require(call.fields.get("token"));
    const std::string name = call.fields.get("fileName");
    if (!TextRules::isValidAssetFileName(name))
        throw ApiError(400, "invalid_file_name",
                       "'" + name.substr(0, 200) + "' is not a usable file name: use a plain name such as tree.png.");
    if (!TextRules::hasAllowedExtension(type, name))
        throw ApiError(400, "unsupported_file_type", "'" + name + "' does not have a file type allowed for " + type + ".");
    const MultipartBody::Part* file = call.multipart.find(kind.uploadField);
    if (!file || !file->isFile || file->data.empty())
        throw ApiError::badRequest(std::string("The upload has no file in '") + kind.uploadField + "'.");
    if (static_cast<std::int64_t>(file->data.size()) > config.maxAssetBytes)
        throw ApiError(413, "file_too_large", "The file is larger than this server's limit of " +
                                                  megabytes(config.maxAssetBytes) + " per asset.");
    AssetStore::Upload upload;
    upload.ownerId = user.id;
    upload.type = type;
    upload.name = name;
    upload.data = file->data;
    if (const MultipartBody::Part* thumb = call.multipart.find("thumbData"); thumb && !thumb->data.empty()) {
        if (static_cast<std::int64_t>(thumb->data.size()) > config.maxThumbnailBytes)
            throw ApiError(413, "thumbnail_too_large",
                           "The thumbnail is larger than " + megabytes(config.maxThumbnailBytes) + ".");
        upload.thumbnail = thumb->data;
    }
    const std::int64_t quota = services_.quotaOf(user);
    if (services_.assets().put(upload, quota, std::time(nullptr)) == AssetStore::Outcome::QuotaExceeded)
        throw ApiError(403, "quota_exceeded",
                       "Your storage is full (" + megabytes(services_.assets().used(user.id)) + " of " +
                           megabytes(quota) + " used). Delete some of your assets to make room.");
    HttpReply::json(res, 200,
                    {{"success", true}, {"error", ""}, {"fileName", name},
                     {"path", "/assets/" + type + "/" + user.username + "/" + name}});
}

void AssetHandlers::remove(Call& call, httplib::Response& res) {
    const User user = auth_.require(call.fields.get("token"));
    const std::string type = call.fields.get("assetType");
    const std::string name = call.fields.get("fileName");
    if (!TextRules::isValidAssetType(type))
        throw ApiError::badRequest("'assetType' must be textures, models or sounds.");
    if (!TextRules::isValidAssetFileName(name) || !services_.assets().remove(user.id, type, name))
        throw ApiError::notFound("You have no " + type + " asset named '" + name.substr(0, 200) + "'.");
    HttpReply::json(res, 200, {{"success", true}, {"error", ""}});
}

void AssetHandlers::serveFile(const httplib::Request& req, httplib::Response& res, bool ownedByUser, bool thumbnail) {
    const std::string type = req.matches[1].str();
    const std::string file = req.matches[ownedByUser ? 3 : 2].str();
    std::int64_t owner = AssetStore::kPublic;
    if (ownedByUser) {
        auto user = services_.accounts().findByName(req.matches[2].str());
        if (!user)
            throw ApiError::notFound("No such asset.");
        owner = user->id;
    }
    if (thumbnail) {
        const std::string prefix = thumbPrefix(type);
        if (file.size() <= prefix.size() + 4 || file.compare(0, prefix.size(), prefix) != 0 ||
            file.compare(file.size() - 4, 4, ".jpg") != 0)
            throw ApiError::notFound("No such thumbnail.");
        const std::string stem = file.substr(prefix.size(), file.size() - prefix.size() - 4);
        auto bytes = services_.assets().thumbnail(owner, type, stem);
        if (!bytes)
            throw ApiError::notFound("No such thumbnail.");
        HttpReply::bytes(res, *bytes, Encoding::imageType(*bytes), true);
        return;
    }
    if (!TextRules::isValidAssetFileName(file))
        throw ApiError::notFound("No such asset.");
    auto bytes = services_.assets().data(owner, type, file);
    if (!bytes)
        throw ApiError::notFound("No such asset.");
    HttpReply::bytes(res, *bytes, contentTypeOf(file), true);
}

} // namespace Lumenda3D::Cloud
