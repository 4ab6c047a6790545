#include "FuzzSupport.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <sstream>

#include "base/LmdLog.h"
#include "engine/schema/CodeSchema.h"

namespace Lumenda3D::fuzz {
namespace {
using json = nlohmann::json;

std::filesystem::path& privateRoot() {
    static std::filesystem::path root;
    return root;
}

void removePrivateRoot() {
    std::error_code ec;
    if (!privateRoot().empty())
        std::filesystem::remove_all(privateRoot(), ec);
}
} // namespace

void fail(const char* property, const std::string& detail) {
    std::fprintf(stderr, "\n== Property broken: %s\n", property);
    if (!detail.empty())
        std::fprintf(stderr, "%s\n", detail.c_str());
    std::fflush(stderr);
    std::abort();
}

std::vector<std::string> splitFields(const uint8_t* data, size_t size, size_t count) {
    std::vector<std::string> fields;
    const char* p = reinterpret_cast<const char*>(data);
    const char* end = p + size;
    while (fields.size() + 1 < count) {
        const char* nul = static_cast<const char*>(std::memchr(p, 0, static_cast<size_t>(end - p)));
        if (!nul)
            break;
        fields.emplace_back(p, nul);
        p = nul + 1;
    }
    fields.emplace_back(p, end);
    fields.resize(count);
    return fields;
}

const CodeSchema& schema() {
    static const CodeSchema* loaded = [] {
        auto* s = new CodeSchema();
        if (!s->load(LMD_FUZZ_MEDIA_DIR "/codeSchema.xml"))
            fail("the command schema loads", LMD_FUZZ_MEDIA_DIR "/codeSchema.xml");
        return s;
    }();
    return *loaded;
}

const std::string& mediaFile(const std::string& relativePath) {
    static std::mutex mutex;
    static std::map<std::string, std::string> files;
    std::lock_guard<std::mutex> lock(mutex);
    auto it = files.find(relativePath);
    if (it != files.end())
        return it->second;
    std::ifstream in(std::string(LMD_FUZZ_MEDIA_DIR) + "/" + relativePath, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    if (!in)
        fail("a media file the target needs exists", relativePath);
    return files.emplace(relativePath, text.str()).first->second;
}

void quietPrivateProcess() {
    LmdLog::setEchoToStderr(false);
    if (!privateRoot().empty())
        return;
    // Memory-backed when the machine has it: the settings target writes (and syncs) files on
    // every input.
    std::error_code ec;
    const std::filesystem::path base =
        std::filesystem::is_directory("/dev/shm", ec) ? std::filesystem::path("/dev/shm") : std::filesystem::temp_directory_path();
    std::string pattern = (base / "lmd-fuzz-XXXXXX").string();
    if (!mkdtemp(pattern.data()))
        fail("a private data root can be made", pattern);
    privateRoot() = pattern;
    setenv("LUMENDA3D_HOME", pattern.c_str(), 1);
    std::atexit(removePrivateRoot);
}

std::string jsonRpcResponseProblem(const std::string& body) {
    const json reply = json::parse(body, nullptr, false);
    if (reply.is_discarded())
        return "the body is not JSON";
    if (!reply.is_object())
        return "the body is not a JSON object";
    auto version = reply.find("jsonrpc");
    if (version == reply.end() || *version != "2.0")
        return "no \"jsonrpc\":\"2.0\"";
    auto id = reply.find("id");
    if (id == reply.end() || !(id->is_string() || id->is_number() || id->is_null()))
        return "no id, or an id that is neither a string, a number nor null";
    const bool hasResult = reply.contains("result");
    const bool hasError = reply.contains("error");
    if (hasResult == hasError)
        return "not exactly one of result and error";
    if (hasResult && !reply["result"].is_object())
        return "a result that is not an object";
    if (hasError) {
        const json& error = reply["error"];
        if (!error.is_object() || !error.contains("code") || !error["code"].is_number_integer() ||
            !error.contains("message") || !error["message"].is_string())
            return "an error without an integer code and a string message";
    }
    if (reply.size() != 3)
        return "members other than jsonrpc, id and result or error";
    return "";
}

std::string toolResultProblem(const json& result) {
    if (!result.is_object())
        return "a tool result that is not an object";
    auto content = result.find("content");
    if (content == result.end() || !content->is_array() || content->empty())
        return "no content array, or an empty one";
    for (const json& item : *content) {
        if (!item.is_object() || !item.contains("type"))
            return "a content item without a type";
        if (item["type"] == "text") {
            if (!item.contains("text") || !item["text"].is_string())
                return "a text item without text";
        } else if (item["type"] == "image") {
            if (!item.contains("data") || !item["data"].is_string() || item.value("mimeType", "") != "image/jpeg")
                return "an image item without base64 data and its type";
        } else {
            return "a content item of an unknown type";
        }
    }
    if (result.contains("isError") && result["isError"] != true)
        return "an isError that is not true";
    for (auto it = result.begin(); it != result.end(); ++it) {
        if (it.key() != "content" && it.key() != "isError")
            return "a member other than content and isError: " + it.key();
    }
    return "";
}

bool addsLibraryInternals(const std::string& answer, const std::string& input) {
    for (const char* marker : {"[json.exception.", "type_error", "parse_error", "out_of_range", "invalid_iterator",
                               "basic_string", "std::", "what()", "bad_alloc"}) {
        if (answer.find(marker) != std::string::npos && input.find(marker) == std::string::npos)
            return true;
    }
    return false;
}

std::string excerpt(const std::string& text, size_t limit) {
    std::string out;
    for (unsigned char c : text.substr(0, limit)) {
        if (c >= 0x20 && c < 0x7F)
            out += static_cast<char>(c);
        else {
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\x%02X", c);
            out += buf;
        }
    }
    if (text.size() > limit)
        out += "... (" + std::to_string(text.size()) + " bytes)";
    return out;
}

} // namespace Lumenda3D::fuzz
