#pragma once
// How the editor reads an answer of the product's web server (docs/cloud-api.md): the JSON body
// of a success, or one sentence for the person when the call failed. Every cloud service reads
// its answers through here, so that a dead server, a lapsed session, a busy database and a
// refusal are told in the same words everywhere.
#include <string>

#include <nlohmann/json.hpp>

#include "services/MyHttpClient.h"

namespace Lumenda3D {

struct CloudReply {
    // The sentence of every "no valid session" answer (401 with code "unauthorized"): the token
    // is missing, forged, expired or revoked. AuthenticationFlowManager::isAuthenticationError
    // recognises exactly this text, so it must not change casually.
    static constexpr const char* kSessionEndedText = "You are not logged in, or your session has ended. Please log in.";

    // Why a call could not even start.
    static constexpr const char* kNoClientText = "The editor cannot reach the network right now (no HTTP client).";

    bool ok = false;            // a 2xx answer whose body is a JSON object
    int status = 0;             // the HTTP status; 0 when no answer came
    std::string code;           // the server's stable word ("unauthorized", "not_found", ...); "" on success
    std::string error;          // the sentence for the person; "" on success
    nlohmann::json body;        // the parsed answer (an object on success, or null)

    // True for the answer that means "log in again" (and only for it: a wrong password is not).
    bool sessionEnded() const { return status == 401 && code == "unauthorized"; }

    // `server` is only used in the sentence for an unreachable server.
    static CloudReply read(const HttpResponse& response, const std::string& server);
    // A failure before anything was sent (no server configured, a bad argument).
    static CloudReply failure(const std::string& error);
};

} // namespace Lumenda3D
