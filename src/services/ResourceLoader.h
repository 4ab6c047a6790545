#pragma once
// Cloud projects ("resources") on the product's web server: load, save, create, publish,
// unpublish, the user's project list, and the user's uploaded assets of one type. The addresses
// and answers are those of docs/cloud-api.md.
//
// Every operation ends by calling its callback once, on the main thread, with (success, data,
// error): `data` is the answer's text for the caller (see each operation), `error` one sentence
// for the person. Failures before anything is sent (no server configured, no HTTP client, an id
// that is not a number) answer at once; everything else through the HTTP client's pump.
//
// Calls carry the session token of AuthenticationManager when there is one. A 401 "unauthorized"
// answer ends that session there and gives CloudReply::kSessionEndedText as the error, which
// AuthenticationFlowManager::isAuthenticationError recognises: the caller decides whether to log
// in and retry (one login, one retry, marked isRetry). The loader itself never retries.
//
// cancelAll() abandons every request in flight: their callbacks do not run (a generation counter
// that each callback compares first).
#include <functional>
#include <string>
#include <vector>

#include "services/CloudReply.h"
#include "services/MyHttpClient.h"
#include "services/LmdRequestGeneration.h"

namespace Lumenda3D {

class ResourceLoader {
public:
    using Callback = std::function<void(bool success, const std::string& data, const std::string& error)>;
    // (success, xml, text): text is the metadata JSON on success and the error on failure.
    using LoadCallback = Callback;

    static ResourceLoader& getInstance();

    // GET /api/resources/<id>. The document and its metadata (docs/cloud-api.md).
    void loadResource(const std::string& resourceId, LoadCallback callback);
    // PUT /api/resources/<id>. A non-empty newName renames; an empty xml saves no new revision;
    // an empty resourceType leaves the type. data: the answer, {"resource_id", "revision"}.
    void saveResource(const std::string& resourceId, const std::string& xml, Callback callback,
                      const std::vector<unsigned char>& thumbnail, const std::string& resourceType,
                      const std::string& newName);
    // POST /api/resources. data: the answer, {"resource_id": "<id>", "revision": 1}.
    void createResource(const std::string& name, const std::string& xml, Callback callback,
                        const std::vector<unsigned char>& thumbnail, const std::string& resourceType);
    // POST /api/resources/<id>/publish with the document as published, the assets text and the
    // publish dialog's description and category. data: the answer, with "url" of the game's page.
    void publishResource(const std::string& resourceId, const std::string& xml, const std::string& assetsXml,
                         const std::string& description, const std::string& categoryId, bool viewSource,
                         bool published, Callback callback, const std::vector<unsigned char>& thumbnail);
    // POST /api/resources/<id>/unpublish.
    void unpublishResource(const std::string& resourceId, Callback callback);
    // GET /api/resources: the user's projects, newest change first. data: the answer,
    // {"resources": [<metadata>...], "total", "offset", "limit"}.
    void listResources(Callback callback, int offset = 0, int limit = 100);
    // The user's own uploaded assets of one type ("textures", "models", "sounds"), through the
    // assets endpoint. data: {"assetType", "assets": [names], "username", "storage": {...}}.
    void listUserAssets(const std::string& assetType, Callback callback);
    // GET of a picture on the server: `address` is a path on it ("/api/resources/<id>/thumbnail",
    // a template's "/editor/data/6/<id>/pic.jpg") or a full URL. data: the picture's bytes. The
    // session token goes only to the server's own addresses.
    void loadPicture(const std::string& address, Callback callback);

    // The assets endpoint's calls for the asset catalog (docs/cloud-api.md, "Assets"): a form
    // POST, and a multipart upload. The session token goes in the field "token" when there is one,
    // and is left out entirely when there is none. `timeoutMs` 0 takes the client's default.
    void postAssetForm(const std::vector<std::pair<std::string, std::string>>& fields,
                       std::function<void(const CloudReply&)> handle);
    void postAssetMultipart(std::vector<HttpFormPart> parts, int timeoutMs, std::function<void(const CloudReply&)> handle);

    // Abandons every request in flight: their callbacks will not run.
    void cancelAll() { generation_.bump(); }

    // A project id as the server gives it: decimal digits only, at most 18.
    static bool isValidResourceId(const std::string& resourceId);

private:
    ResourceLoader() = default;
    void send(const std::string& method, const std::string& path, const std::string& body,
              std::function<void(const CloudReply&)> handle);
    void sendForm(const std::vector<std::pair<std::string, std::string>>& fields,
                  std::function<void(const CloudReply&)> handle);
    // The assets endpoint, the HTTP client and the session token of an asset call; false (after
    // `handle` has had the refusal) when there is no server or no client.
    struct AssetCall {
        std::string url;
        std::shared_ptr<MyHttpClient> client;
        std::string token;
    };
    bool prepareAssetCall(AssetCall& call, const std::function<void(const CloudReply&)>& handle) const;
    std::function<void(const HttpResponse&)> answerHandler(const std::string& token,
                                                           std::function<void(const CloudReply&)> handle) const;
    bool refuseBadId(const std::string& resourceId, const Callback& callback);

    LmdRequestGeneration generation_;
};

} // namespace Lumenda3D
