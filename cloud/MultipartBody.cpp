#include "MultipartBody.h"

#include <algorithm>
#include <cctype>

namespace Lumenda3D::Cloud {
namespace {

std::string lower(std::string_view s) {
    std::string out(s);
    std::transform(out.begin(), out.end(), out.begin(), [](unsigned char c) { return std::tolower(c); });
    return out;
}

std::string_view trim(std::string_view s) {
    while (!s.empty() && (s.front() == ' ' || s.front() == '\t'))
        s.remove_prefix(1);
    while (!s.empty() && (s.back() == ' ' || s.back() == '\t'))
        s.remove_suffix(1);
    return s;
}

// The value of parameter `key` in a header value such as `form-data; name="x"; filename="y"`.
// Quoted values may contain ';' and backslash-escaped quotes. `found` tells whether it exists.
std::string parameter(std::string_view header, const std::string& key, bool& found) {
    found = false;
    std::size_t i = header.find(';');
    while (i != std::string_view::npos && i < header.size()) {
        ++i;
        while (i < header.size() && (header[i] == ' ' || header[i] == '\t'))
            ++i;
        const std::size_t eq = header.find('=', i);
        if (eq == std::string_view::npos)
            return "";
        const std::string name = lower(trim(header.substr(i, eq - i)));
        std::size_t j = eq + 1;
        std::string value;
        if (j < header.size() && header[j] == '"') {
            ++j;
            while (j < header.size() && header[j] != '"') {
                if (header[j] == '\\' && j + 1 < header.size())
                    ++j;
                value += header[j++];
            }
            if (j < header.size())
                ++j;   // closing quote
        } else {
            const std::size_t end = header.find(';', j);
            value = std::string(trim(header.substr(j, end == std::string_view::npos ? std::string_view::npos : end - j)));
            j = end == std::string_view::npos ? header.size() : end;
        }
        if (name == key) {
            found = true;
            return value;
        }
        i = header.find(';', j);
    }
    return "";
}

} // namespace

const MultipartBody::Part* MultipartBody::find(const std::string& name) const {
    for (const Part& p : parts)
        if (p.name == name)
            return &p;
    return nullptr;
}

std::string MultipartBody::boundaryOf(std::string_view contentType) {
    if (lower(trim(contentType.substr(0, contentType.find(';')))) != "multipart/form-data")
        return "";
    bool found = false;
    std::string boundary = parameter(contentType, "boundary", found);
    if (boundary.size() > 200)
        return "";
    return boundary;
}

bool MultipartBody::parse(std::string_view contentType, std::string_view body, MultipartBody& out,
                          std::string& error) {
    out.parts.clear();
    const std::string boundary = boundaryOf(contentType);
    if (boundary.empty()) {
        error = "the content type is not multipart/form-data with a boundary";
        return false;
    }
    const std::string dash = "--" + boundary;
    const std::string delimiter = "\r\n" + dash;
    // The first boundary may be preceded by a preamble.
    std::size_t at;
    if (body.substr(0, dash.size()) == dash)
        at = dash.size();
    else {
        at = body.find(delimiter);
        if (at == std::string_view::npos) {
            error = "the body does not contain its boundary";
            return false;
        }
        at += delimiter.size();
    }
    for (;;) {
        if (body.substr(at, 2) == "--")
            return true;   // closing boundary; an epilogue may follow and is ignored
        if (body.substr(at, 2) != "\r\n") {
            error = "a boundary is not followed by a line break";
            return false;
        }
        at += 2;
        const std::size_t headersEnd = body.find("\r\n\r\n", at);
        if (headersEnd == std::string_view::npos || headersEnd - at > kMaxHeaderBytes) {
            error = "a part's headers are missing or too long";
            return false;
        }
        Part part;
        bool hasDisposition = false;
        std::string_view headers = body.substr(at, headersEnd - at);
        while (!headers.empty()) {
            const std::size_t eol = headers.find("\r\n");
            const std::string_view line = headers.substr(0, eol);
            headers = eol == std::string_view::npos ? std::string_view() : headers.substr(eol + 2);
            const std::size_t colon = line.find(':');
            if (colon == std::string_view::npos) {
                error = "a part's header line has no ':'";
                return false;
            }
            const std::string name = lower(trim(line.substr(0, colon)));
            const std::string_view value = trim(line.substr(colon + 1));
            if (name == "content-disposition") {
                if (lower(trim(value.substr(0, value.find(';')))) != "form-data") {
                    error = "a part is not form-data";
                    return false;
                }
                bool found = false;
                part.name = parameter(value, "name", found);
                hasDisposition = found;
                part.fileName = parameter(value, "filename", part.isFile);
            } else if (name == "content-type") {
                part.contentType = std::string(value);
            }
        }
        if (!hasDisposition || part.name.empty()) {
            error = "a part has no name";
            return false;
        }
        const std::size_t dataStart = headersEnd + 4;
        const std::size_t dataEnd = body.find(delimiter, dataStart);
        if (dataEnd == std::string_view::npos) {
            error = "the body ends before its closing boundary";
            return false;
        }
        part.data = std::string(body.substr(dataStart, dataEnd - dataStart));
        if (out.parts.size() == kMaxParts) {
            error = "the body has more than " + std::to_string(kMaxParts) + " parts";
            return false;
        }
        out.parts.push_back(std::move(part));
        at = dataEnd + delimiter.size();
    }
}

} // namespace Lumenda3D::Cloud
