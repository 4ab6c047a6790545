#include "services/AiReplyParser.h"

#include <cstdint>

namespace Lumenda3D {

using json = nlohmann::json;

namespace {

bool isSpace(char c) { return c == ' ' || c == '\n' || c == '\r' || c == '\t'; }

std::string trimmed(const std::string& text) {
    size_t begin = 0, end = text.size();
    while (begin < end && isSpace(text[begin]))
        ++begin;
    while (end > begin && isSpace(text[end - 1]))
        --end;
    return text.substr(begin, end - begin);
}

// The text inside one Markdown code fence that spans the whole text, or the text itself.
std::string withoutFence(const std::string& text) {
    if (text.rfind("```", 0) != 0)
        return text;
    const size_t lineEnd = text.find('\n');
    if (lineEnd == std::string::npos)
        return text;
    const size_t close = text.rfind("```");
    if (close == std::string::npos || close <= lineEnd)
        return trimmed(text.substr(lineEnd + 1));
    return trimmed(text.substr(lineEnd + 1, close - lineEnd - 1));
}

bool parseObject(const std::string& text, json& out) {
    out = json::parse(text, nullptr, false);
    return !out.is_discarded() && out.is_object();
}

const char* const kOps[] = {"update", "replace", "insert", "delete", "createDocument"};

bool knownOp(const std::string& op) {
    for (const char* known : kOps)
        if (op == known)
            return true;
    return false;
}

} // namespace

bool AiReplyParser::isValidUtf8(const std::string& text) {
    const auto* p = reinterpret_cast<const unsigned char*>(text.data());
    const size_t n = text.size();
    size_t i = 0;
    while (i < n) {
        const unsigned char c = p[i];
        if (c < 0x80) {
            ++i;
            continue;
        }
        int extra = 0;
        std::uint32_t code = 0;
        if (c >= 0xC2 && c <= 0xDF) {
            extra = 1;
            code = c & 0x1F;
        } else if (c >= 0xE0 && c <= 0xEF) {
            extra = 2;
            code = c & 0x0F;
        } else if (c >= 0xF0 && c <= 0xF4) {
            extra = 3;
            code = c & 0x07;
        } else {
            return false;
        }
        if (i + static_cast<size_t>(extra) >= n)
            return false;
        for (int k = 1; k <= extra; ++k) {
            if ((p[i + k] & 0xC0) != 0x80)
                return false;
            code = (code << 6) | (p[i + k] & 0x3F);
        }
        if ((extra == 2 && code < 0x800) || (extra == 3 && (code < 0x10000 || code > 0x10FFFF)) ||
            (code >= 0xD800 && code <= 0xDFFF))
            return false;
        i += static_cast<size_t>(extra) + 1;
    }
    return true;
}

AiReplyParser::Result AiReplyParser::parse(const std::string& text) {
    Result result;
    if (text.size() > kMaxReplyBytes) {
        result.reason = "The reply is too long (" + std::to_string(text.size() / 1024) + " KB).";
        return result;
    }
    if (!isValidUtf8(text)) {
        result.reason = "The reply is not valid UTF-8 text.";
        return result;
    }
    const std::string body = withoutFence(trimmed(text));
    if (body.empty()) {
        result.reason = "The reply is empty.";
        return result;
    }
    json object;
    if (!parseObject(body, object)) {
        const size_t open = body.find('{');
        const size_t close = body.rfind('}');
        if (open == std::string::npos || close == std::string::npos || close < open ||
            !parseObject(body.substr(open, close - open + 1), object)) {
            result.reason = "The reply is not a JSON object.";
            return result;
        }
    }
    const auto reply = object.find("reply");
    if (reply == object.end() || !reply->is_string()) {
        result.reason = "The reply has no \"reply\" text.";
        return result;
    }
    const auto changes = object.find("changes");
    if (changes != object.end() && !changes->is_null()) {
        if (!changes->is_array()) {
            result.reason = "\"changes\" is not an array.";
            return result;
        }
        for (size_t i = 0; i < changes->size(); ++i) {
            const json& change = (*changes)[i];
            const auto op = change.is_object() ? change.find("op") : change.end();
            if (!change.is_object() || op == change.end() || !op->is_string()) {
                result.reason = "Change " + std::to_string(i + 1) + " has no \"op\".";
                return result;
            }
            if (!knownOp(op->get<std::string>())) {
                result.reason = "Change " + std::to_string(i + 1) + " has the unknown op \"" + op->get<std::string>() + "\".";
                return result;
            }
        }
        result.changes = *changes;
    }
    result.reply = reply->get<std::string>();
    result.ok = true;
    return result;
}

} // namespace Lumenda3D
