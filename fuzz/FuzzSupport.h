#pragma once
// What the fuzz targets share: the way a broken property is reported, the splitting of one input
// into several fields, the media the targets run against, and the checks of the agent protocol's
// answers that several targets make.
//
// A target asserts properties, not only "no crash": when one does not hold, fail() prints what
// broke and aborts, so that libFuzzer keeps the input as a crash.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace Lumenda3D {
class CodeSchema;
}

namespace Lumenda3D::fuzz {

[[noreturn]] void fail(const char* property, const std::string& detail = {});
inline void require(bool holds, const char* property, const std::string& detail = {}) {
    if (!holds)
        fail(property, detail);
}

// The input cut at its first count-1 NUL bytes into count fields; missing fields are empty and
// the last one takes the rest.
std::vector<std::string> splitFields(const uint8_t* data, size_t size, size_t count);

// The command schema of the source tree's media folder, loaded once.
const CodeSchema& schema();
// A file of the media folder (an example game, say), read once.
const std::string& mediaFile(const std::string& relativePath);

// Makes the process write under a private data root ($LUMENDA3D_HOME in a new temporary folder,
// removed at exit) and keeps the editor's log off standard error.
void quietPrivateProcess();

// Empty when `body` is one JSON-RPC 2.0 response object: "jsonrpc":"2.0", an id that is a
// string, a number or null, and exactly one of "result" (an object) and "error" (an integer
// "code" and a string "message"); otherwise what is wrong with it.
std::string jsonRpcResponseProblem(const std::string& body);
// Empty when `result` has the shape of a tool result: {"content":[...]} of text and image items,
// "isError" absent or true; otherwise what is wrong with it.
std::string toolResultProblem(const nlohmann::json& result);
// Whether `answer` carries a library's exception text (nlohmann's "[json.exception.", the
// standard library's names) that must never reach a client, other than what `input` itself
// holds (an answer may quote what it was sent).
bool addsLibraryInternals(const std::string& answer, const std::string& input);

// Short printable excerpt of a text for failure details.
std::string excerpt(const std::string& text, size_t limit = 400);

} // namespace Lumenda3D::fuzz
