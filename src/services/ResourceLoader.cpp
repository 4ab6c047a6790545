#include "services/ResourceLoader.h"

#include <nlohmann/json.hpp>

#include "base/LmdBase64.h"
#include "services/ApiConfig.h"
#include "services/AuthenticationManager.h"
#include "services/MyHttpClient.h"

namespace Lumenda3D {
namespace {

using json = nlohmann::json;

const char* const kNoServerText =
    "No Lumenda3D server is configured, so cloud projects are out of reach (set LUMENDA3D_SERVER).";

// The body of a request as JSON text. A text in it that is not valid UTF-8 is refused through the
// callback (the server refuses such text, and replacing bytes would change the user's document).
bool jsonText(const json& body, std::string& text, const ResourceLoader::Callback& callback) {
    try {
        text = body.dump();
        return true;
    } catch (const json::exception&) {
        if (callback)
            callback(false, "",
                     "The project contains text that is not valid UTF-8, so it cannot be sent to the server. Nothing "
                     "was sent.");
        return false;
    }
}

std::string base64Of(const std::vector<unsigned char>& bytes) { return lmdBase64Encode(bytes.data(), bytes.size()); }

// The list and own-list keys of the assets endpoint for one asset type; empty for an unknown type.
struct AssetWords {
    const char* listAction;
    const char* ownKey;
};

AssetWords assetWordsFor(const std::string& type) {
    if (type == "textures")
        return {"getTextures", "my_textures"};
    if (type == "models")
        return {"getModels", "my_models"};
    if (type == "sounds")
        return {"getSounds", "my_sounds"};
    return {nullptr, nullptr};
}

} // namespace

ResourceLoader& ResourceLoader::getInstance() {
    static ResourceLoader instance;
    return instance;
}

bool ResourceLoader::isValidResourceId(const std::string& resourceId) {
    if (resourceId.empty() || resourceId.size() > 18)
        return false;
    for (char c : resourceId)
        if (c < '0' || c > '9')
            return false;
    return true;
}

bool ResourceLoader::refuseBadId(const std::string& resourceId, const Callback& callback) {
    if (isValidResourceId(resourceId))
        return false;
    if (callback)
        callback(false, "", "'" + resourceId + "' is not a cloud project id: ids are numbers such as 12.");
    return true;
}

std::function<void(const HttpResponse&)> ResourceLoader::answerHandler(const std::string& token,
                                                     std::function<void(const CloudReply&)> handle) const {
    // Read on arrival, unless abandoned; a refused session is the one this request carried.
    return generation_.guard([token, server = ApiConfig::getServerUrl(), handle = std::move(handle)](
                                 const HttpResponse& response) {
        const CloudReply reply = CloudReply::read(response, server);
        if (reply.sessionEnded())
            AuthenticationManager::getInstance().sessionEnded(token);
        handle(reply);
    });
}

void ResourceLoader::send(const std::string& method, const std::string& path, const std::string& body,
                          std::function<void(const CloudReply&)> handle) {
    const std::string api = ApiConfig::getApiBaseUrl();
    if (api.empty())
        return handle(CloudReply::failure(kNoServerText));
    AuthenticationManager& auth = AuthenticationManager::getInstance();
    std::shared_ptr<MyHttpClient> client = auth.getHttpClient();
    if (!client)
        return handle(CloudReply::failure(CloudReply::kNoClientText));
    HttpRequest request;
    request.method = method;
    request.url = api + path;
    const std::string token = auth.getSessionToken();
    if (!token.empty())
        request.headers.push_back({"Authorization", "Bearer " + token});
    if (method != "GET") {
        request.body = body;
        request.contentType = "application/json";
    }
    client->send(std::move(request), answerHandler(token, std::move(handle)));
}

void ResourceLoader::sendForm(const std::vector<std::pair<std::string, std::string>>& fields,
                              std::function<void(const CloudReply&)> handle) {
    AssetCall call;
    if (!prepareAssetCall(call, handle))
        return;
    const std::string& token = call.token;
    std::vector<std::pair<std::string, std::string>> form = fields;
    if (!token.empty())
        form.push_back({"token", token});
    call.client->postForm(call.url, form, answerHandler(token, std::move(handle)));
}

void ResourceLoader::postAssetForm(const std::vector<std::pair<std::string, std::string>>& fields,
                                   std::function<void(const CloudReply&)> handle) {
    sendForm(fields, std::move(handle));
}

void ResourceLoader::postAssetMultipart(std::vector<HttpFormPart> parts, int timeoutMs,
                                        std::function<void(const CloudReply&)> handle) {
    AssetCall call;
    if (!prepareAssetCall(call, handle))
        return;
    if (!call.token.empty())
        parts.push_back(HttpFormPart::field("token", call.token));
    HttpRequest request;
    request.method = "POST";
    request.url = call.url;
    request.multipart = std::move(parts);
    request.timeoutMs = timeoutMs;
    call.client->send(std::move(request), answerHandler(call.token, std::move(handle)));
}

bool ResourceLoader::prepareAssetCall(AssetCall& call, const std::function<void(const CloudReply&)>& handle) const {
    call.url = ApiConfig::getTexturesUrl();
    if (call.url.empty()) {
        handle(CloudReply::failure(kNoServerText));
        return false;
    }
    AuthenticationManager& auth = AuthenticationManager::getInstance();
    call.client = auth.getHttpClient();
    if (!call.client) {
        handle(CloudReply::failure(CloudReply::kNoClientText));
        return false;
    }
    call.token = auth.getSessionToken();
    return true;
}

void ResourceLoader::loadResource(const std::string& resourceId, LoadCallback callback) {
    if (refuseBadId(resourceId, callback))
        return;
    send("GET", "/resources/" + resourceId, "", [callback](const CloudReply& reply) {
        if (!callback)
            return;
        if (!reply.ok)
            return callback(false, "", reply.error);
        const auto xml = reply.body.find("xml");
        if (xml == reply.body.end() || !xml->is_string())
            return callback(false, "", "The Lumenda3D server sent the project without its document.");
        const auto metadata = reply.body.find("metadata");
        const std::string text =
            metadata != reply.body.end() && metadata->is_object() ? metadata->dump() : std::string("{}");
        callback(true, xml->get<std::string>(), text);
    });
}

void ResourceLoader::saveResource(const std::string& resourceId, const std::string& xml, Callback callback,
                                  const std::vector<unsigned char>& thumbnail, const std::string& resourceType,
                                  const std::string& newName) {
    if (refuseBadId(resourceId, callback))
        return;
    json body = json::object();
    if (!xml.empty())
        body["xml"] = xml;
    if (!thumbnail.empty())
        body["thumbnail"] = base64Of(thumbnail);
    if (!resourceType.empty())
        body["resource_type"] = resourceType;
    if (!newName.empty())
        body["name"] = newName;
    std::string text;
    if (!jsonText(body, text, callback))
        return;
    send("PUT", "/resources/" + resourceId, text, [callback](const CloudReply& reply) {
        if (callback)
            callback(reply.ok, reply.ok ? reply.body.dump() : std::string(), reply.error);
    });
}

void ResourceLoader::createResource(const std::string& name, const std::string& xml, Callback callback,
                                    const std::vector<unsigned char>& thumbnail, const std::string& resourceType) {
    json body = {{"name", name}, {"xml", xml}, {"resource_type", resourceType.empty() ? "project" : resourceType}};
    if (!thumbnail.empty())
        body["thumbnail"] = base64Of(thumbnail);
    std::string text;
    if (!jsonText(body, text, callback))
        return;
    send("POST", "/resources", text, [callback](const CloudReply& reply) {
        if (!callback)
            return;
        if (reply.ok && !reply.body.value("resource_id", json()).is_string())
            return callback(false, "", "The Lumenda3D server did not say which project it created.");
        callback(reply.ok, reply.ok ? reply.body.dump() : std::string(), reply.error);
    });
}

void ResourceLoader::publishResource(const std::string& resourceId, const std::string& xml,
                                     const std::string& assetsXml, const std::string& description,
                                     const std::string& categoryId, bool viewSource, bool published,
                                     Callback callback, const std::vector<unsigned char>& thumbnail) {
    if (refuseBadId(resourceId, callback))
        return;
    json body = {{"description", description}, {"category_id", categoryId}, {"view_source", viewSource},
                 {"published", published}};
    if (!xml.empty())
        body["xml"] = xml;
    if (!assetsXml.empty())
        body["assets"] = assetsXml;
    if (!thumbnail.empty())
        body["thumbnail"] = base64Of(thumbnail);
    std::string text;
    if (!jsonText(body, text, callback))
        return;
    send("POST", "/resources/" + resourceId + "/publish", text, [callback](const CloudReply& reply) {
             if (callback)
                 callback(reply.ok, reply.ok ? reply.body.dump() : std::string(), reply.error);
         });
}

void ResourceLoader::unpublishResource(const std::string& resourceId, Callback callback) {
    if (refuseBadId(resourceId, callback))
        return;
    send("POST", "/resources/" + resourceId + "/unpublish", "{}", [callback](const CloudReply& reply) {
        if (callback)
            callback(reply.ok, reply.ok ? reply.body.dump() : std::string(), reply.error);
    });
}

void ResourceLoader::listResources(Callback callback, int offset, int limit) {
    const std::string query = "?offset=" + std::to_string(offset < 0 ? 0 : offset) +
                              "&limit=" + std::to_string(limit < 1 ? 1 : (limit > 100 ? 100 : limit));
    send("GET", "/resources" + query, "", [callback](const CloudReply& reply) {
        if (!callback)
            return;
        if (reply.ok && !reply.body.value("resources", json()).is_array())
            return callback(false, "", "The Lumenda3D server sent a project list the editor cannot read.");
        callback(reply.ok, reply.ok ? reply.body.dump() : std::string(), reply.error);
    });
}

void ResourceLoader::loadPicture(const std::string& address, Callback callback) {
    const std::string server = ApiConfig::getServerUrl();
    const bool relative = !address.empty() && address[0] == '/';
    if (relative && server.empty())
        return callback(false, "", kNoServerText);
    if (address.empty())
        return callback(false, "", "There is no picture.");
    AuthenticationManager& auth = AuthenticationManager::getInstance();
    std::shared_ptr<MyHttpClient> client = auth.getHttpClient();
    if (!client)
        return callback(false, "", CloudReply::kNoClientText);
    HttpRequest request;
    request.method = "GET";
    request.url = relative ? server + address : address;
    request.timeoutMs = 20000;
    const std::string token = auth.getSessionToken();
    if (!token.empty() && !server.empty() && request.url.rfind(server + "/", 0) == 0)
        request.headers.push_back({"Authorization", "Bearer " + token});
    client->send(std::move(request), generation_.guard([callback, address](const HttpResponse& response) {
        if (response.isOk() && !response.body.empty())
            callback(true, response.body, "");
        else if (response.status == 0)
            callback(false, "", "The picture " + address + " could not be fetched: " + response.error);
        else
            callback(false, "", "The server has no picture at " + address + " (status " + std::to_string(response.status) + ").");
    }));
}

void ResourceLoader::listUserAssets(const std::string& assetType, Callback callback) {
    const AssetWords words = assetWordsFor(assetType);
    if (!words.listAction) {
        if (callback)
            callback(false, "", "Unknown asset type '" + assetType + "': use textures, models or sounds.");
        return;
    }
    // Without a session the endpoint answers the public catalogue only; the user's own list needs one.
    if (!AuthenticationManager::getInstance().isAuthenticated()) {
        if (callback)
            callback(false, "", CloudReply::kSessionEndedText);
        return;
    }
    sendForm({{"action", words.listAction}}, [callback, assetType, words](const CloudReply& reply) {
        if (!callback)
            return;
        if (!reply.ok)
            return callback(false, "", reply.error);
        const json own = reply.body.value(words.ownKey, json());
        if (!own.is_array())
            return callback(false, "", "The Lumenda3D server sent an asset list the editor cannot read.");
        // The user's folder on the server names the files' addresses (docs/cloud-api.md).
        const json user = reply.body.value("username", json());
        json out = {{"assetType", assetType}, {"assets", own}, {"username", user.is_string() ? user : json("")}};
        if (reply.body.contains("storage"))
            out["storage"] = reply.body["storage"];
        callback(true, out.dump(), "");
    });
}

} // namespace Lumenda3D
