// How the editor reads every answer of the product's web server (CloudReply::read): any status,
// any body, any transfer error. Input: two bytes of status (little-endian, taken modulo 600; 0
// means no answer came), then the body NUL the transfer's error text.
//
// Properties: nothing throws; a reply is ok exactly when the status is 2xx and the body is a JSON
// object, and then carries neither code nor error; any other reply has a code and one sentence for
// the person, never a library's internals; "log in again" is told only for a 401 "unauthorized",
// always in the same words, and nothing else is taken for it.
#include <nlohmann/json.hpp>

#include "FuzzSupport.h"
#include "services/CloudReply.h"

using namespace Lumenda3D;
using namespace Lumenda3D::fuzz;

namespace {
bool isJsonObject(const std::string& text) {
    const nlohmann::json parsed = nlohmann::json::parse(text, nullptr, false);
    return !parsed.is_discarded() && parsed.is_object();
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2)
        return 0;
    HttpResponse response;
    response.status = (data[0] | (data[1] << 8)) % 600;
    const std::vector<std::string> fields = splitFields(data + 2, size - 2, 2);
    response.body = fields[0];
    response.error = fields[1];
    response.success = response.status >= 200 && response.status < 300;
    const std::string server = "http://127.0.0.1:8080";

    CloudReply reply;
    try {
        reply = CloudReply::read(response, server);
    } catch (const std::exception& e) {
        fail("reading an answer never throws", e.what());
    }
    const bool twoHundreds = response.status >= 200 && response.status < 300;
    require(reply.status == response.status, "the reply keeps the status");
    require(reply.ok == (twoHundreds && isJsonObject(response.body)),
            "ok exactly for a 2xx answer whose body is a JSON object", excerpt(response.body));
    if (reply.ok) {
        require(reply.code.empty() && reply.error.empty(), "a success carries neither code nor error");
        require(reply.body.is_object(), "a success's body is the object");
        return 0;
    }
    require(!reply.code.empty(), "a failure has a code");
    require(!reply.error.empty(), "a failure has a sentence for the person");
    // With no answer, the sentence quotes the HTTP client's own reason as it is; otherwise it may
    // quote the server's words, never add a library's.
    if (response.status != 0)
        require(!addsLibraryInternals(reply.error, response.body), "no library internals in the sentence",
                reply.error);
    const bool loginAgain = response.status == 401 && reply.code == "unauthorized";
    require(reply.sessionEnded() == loginAgain, "only a 401 \"unauthorized\" ends the session");
    if (reply.sessionEnded())
        require(reply.error == CloudReply::kSessionEndedText, "an ended session is told in the same words");
    else
        require(reply.error != CloudReply::kSessionEndedText || response.body.find(CloudReply::kSessionEndedText) !=
                                                                    std::string::npos,
                "only an ended session is told as one (unless the server said so itself)");
    if (response.status == 0)
        require(reply.code == "unreachable" && reply.error.find(server) != std::string::npos &&
                    reply.error.find(response.error) != std::string::npos,
                "no answer names the server that could not be reached, and why");
    return 0;
}
