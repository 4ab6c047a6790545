#pragma once
// The assets endpoint (POST /api/assets, a form or multipart body with an "action" field) for
// textures, models and sounds: list the public catalogue and the user's own uploads with the
// storage in use, upload with a thumbnail, delete. And the files themselves under /assets/:
//   /assets/<type>/<name>                          public catalogue
//   /assets/<type>/thumbs/<prefix><stem>.jpg        its thumbnails
//   /assets/<type>/<user>/<name>                   a user's upload
//   /assets/<type>/<user>/thumbs/<prefix><stem>.jpg
#include <httplib.h>

#include "Authenticator.h"
#include "CloudServices.h"
#include "FormData.h"
#include "MultipartBody.h"

namespace Lumenda3D::Cloud {

class AssetHandlers {
public:
    explicit AssetHandlers(CloudServices& services) : services_(services), auth_(services) {}
    void install(httplib::Server& server);

    // The fields of one asset call, from whichever body form it came in.
    struct Call {
        FormData fields;              // text fields
        const MultipartBody::Part* file = nullptr;
        const MultipartBody::Part* thumbnail = nullptr;
        MultipartBody multipart;      // owns the parts the pointers refer to
    };
    // Reads a body as multipart or URL-encoded form by its content type; ApiError 400 when it
    // is neither or cannot be read.
    static void readCall(const std::string& contentType, const std::string& body, Call& call);

    // Runs before the body of a request is read. The HTTP library would parse a multipart body
    // of the assets endpoint itself, with its own limits and error answers; this moves the
    // request's Content-Type aside (to kRawContentType) so that the endpoint gets the raw bytes
    // and parses them with MultipartBody. The request object is the server's own, not const.
    static void takeRawBody(const httplib::Request& req);
    static constexpr const char* kRawContentType = "X-Lumenda3D-Content-Type";

    // "thumb_", "model_thumb_", "sound_thumb_".
    static std::string thumbPrefix(const std::string& assetType);
    static std::string contentTypeOf(const std::string& fileName);

private:
    void endpoint(const httplib::Request& req, httplib::Response& res, const std::string& body);
    void list(const std::string& type, Call& call, httplib::Response& res);
    void upload(const std::string& type, Call& call, httplib::Response& res);
    void remove(Call& call, httplib::Response& res);
    void serveFile(const httplib::Request& req, httplib::Response& res, bool ownedByUser, bool thumbnail);

    CloudServices& services_;
    Authenticator auth_;
};

} // namespace Lumenda3D::Cloud
