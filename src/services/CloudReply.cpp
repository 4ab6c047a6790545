#include "services/CloudReply.h"

namespace Lumenda3D {

CloudReply CloudReply::failure(const std::string& error) {
    CloudReply reply;
    reply.error = error;
    return reply;
}

CloudReply CloudReply::read(const HttpResponse& response, const std::string& server) {
    CloudReply reply;
    reply.status = response.status;
    if (response.status == 0) {
        reply.code = "unreachable";
        reply.error = "Could not reach the Lumenda3D server at " + server + " (" +
                      (response.error.empty() ? std::string("no answer") : response.error) +
                      "). Check your connection, or that the server is running, and try again.";
        return reply;
    }
    reply.body = nlohmann::json::parse(response.body, nullptr, false);
    if (reply.body.is_discarded())
        reply.body = nullptr;
    if (response.status >= 200 && response.status < 300) {
        if (reply.body.is_object()) {
            reply.ok = true;
            return reply;
        }
        reply.code = "unreadable_answer";
        reply.error = "The Lumenda3D server sent an answer the editor cannot read. Nothing was changed here; try "
                      "again later.";
        return reply;
    }
    if (reply.body.is_object()) {
        const auto code = reply.body.find("code");
        if (code != reply.body.end() && code->is_string())
            reply.code = code->get<std::string>();
        const auto error = reply.body.find("error");
        if (error != reply.body.end() && error->is_string())
            reply.error = error->get<std::string>();
    }
    if (reply.sessionEnded()) {
        reply.error = kSessionEndedText;
    } else if (reply.error.empty()) {
        if (response.status == 503)
            reply.error = "The Lumenda3D server is busy or cannot reach its data. Nothing was changed; try again in "
                          "a moment.";
        else
            reply.error = "The Lumenda3D server refused the request (status " + std::to_string(response.status) +
                          ").";
    }
    if (reply.code.empty())
        reply.code = "status_" + std::to_string(response.status);
    return reply;
}

} // namespace Lumenda3D
