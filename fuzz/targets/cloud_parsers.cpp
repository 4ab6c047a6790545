// The cloud server's request parsers, which see every byte a client sends before a handler does:
// multipart bodies (MultipartBody), form bodies and query strings (FormData), JSON bodies
// (JsonBody) and the rules for names (TextRules). Input: one byte choosing the parser, then its
// text (for multipart: the Content-Type value NUL the body).
//
// Properties: nothing throws but the server's own refusal (ApiError); what a parser accepts is
// clean: parts have names, fields and texts are UTF-8 without NUL, a JSON body is an object;
// what is accepted reads back the same when written again (form fields through their encoding,
// multipart parts in a body of their own); a valid asset file name holds no path, no control
// character and no character a URL or a file system would take for something else.
#include "ApiError.h"
#include "FormData.h"
#include "FuzzSupport.h"
#include "JsonBody.h"
#include "MultipartBody.h"
#include "TextRules.h"

using namespace Lumenda3D::Cloud;
using namespace Lumenda3D::fuzz;
using json = nlohmann::json;

namespace {

void checkMultipart(const std::string& contentType, const std::string& body) {
    MultipartBody parsed;
    std::string error;
    if (!MultipartBody::parse(contentType, body, parsed, error)) {
        require(!error.empty(), "a refused multipart body says why");
        return;
    }
    require(parsed.parts.size() <= MultipartBody::kMaxParts, "at most kMaxParts parts");
    const std::string boundary = MultipartBody::boundaryOf(contentType);
    require(!boundary.empty(), "an accepted body has a boundary");
    std::string again;
    bool writable = true;
    for (const MultipartBody::Part& part : parsed.parts) {
        require(!part.name.empty(), "every part has a name");
        require(body.find(part.data) != std::string::npos, "a part's data is bytes of the body");
        require(part.isFile || part.fileName.empty(), "only a file part has a file name");
        for (const std::string* text : {&part.name, &part.fileName, &part.contentType})
            writable = writable && text->find_first_of("\"\\\r\n") == std::string::npos;
        writable = writable && part.data.find("\r\n--" + boundary) == std::string::npos &&
                   part.contentType.find(';') == std::string::npos;
        again += "--" + boundary + "\r\nContent-Disposition: form-data; name=\"" + part.name + "\"";
        if (part.isFile)
            again += "; filename=\"" + part.fileName + "\"";
        again += "\r\n";
        if (!part.contentType.empty())
            again += "Content-Type: " + part.contentType + "\r\n";
        again += "\r\n" + part.data + "\r\n";
    }
    again += "--" + boundary + "--\r\n";
    if (!writable || boundary.find_first_of("\"\\; \t\r\n") != std::string::npos)
        return;
    MultipartBody reread;
    require(MultipartBody::parse("multipart/form-data; boundary=\"" + boundary + "\"", again, reread, error),
            "accepted parts written again are accepted", error + "\n" + excerpt(again));
    require(reread.parts.size() == parsed.parts.size(), "accepted parts written again read back as many");
    for (size_t i = 0; i < parsed.parts.size(); ++i) {
        const MultipartBody::Part &a = parsed.parts[i], &b = reread.parts[i];
        require(a.name == b.name && a.fileName == b.fileName && a.contentType == b.contentType && a.data == b.data &&
                    a.isFile == b.isFile,
                "accepted parts written again read back the same", a.name);
    }
}

void checkForm(const std::string& text) {
    FormData form;
    std::string error;
    if (!FormData::parse(text, form, error)) {
        require(!error.empty(), "a refused form says why");
        return;
    }
    std::string again;
    for (const auto& [name, value] : form.fields) {
        require(TextRules::isCleanText(name) && TextRules::isCleanText(value), "form fields are clean text");
        again += (again.empty() ? "" : "&") + FormData::encode(name) + "=" + FormData::encode(value);
    }
    FormData reread;
    require(FormData::parse(again, reread, error), "encoded fields parse again", error);
    // Fields with an empty name are not fields: the rest must come back in order.
    std::vector<std::pair<std::string, std::string>> named;
    for (const auto& field : form.fields)
        if (!field.first.empty())
            named.push_back(field);
    std::vector<std::pair<std::string, std::string>> rereadNamed;
    for (const auto& field : reread.fields)
        if (!field.first.empty())
            rereadNamed.push_back(field);
    require(named == rereadNamed, "form fields read back the same through their encoding", excerpt(again));
}

void checkJson(const std::string& text) {
    json body;
    std::string error;
    if (!JsonBody::parseObject(text, body, error)) {
        require(!error.empty(), "a refused JSON body says why");
        return;
    }
    require(body.is_object(), "an accepted JSON body is an object");
    std::vector<std::string> fields = {"name", "password", "token", "xml", "id", "public"};
    for (auto it = body.begin(); it != body.end(); ++it)
        fields.push_back(it.key());
    for (const std::string& field : fields) {
        try {
            if (auto t = JsonBody::text(body, field.c_str()))
                require(TextRules::isCleanText(*t), "a text field read is clean text");
            (void)JsonBody::boolean(body, field.c_str());
            (void)JsonBody::integer(body, field.c_str());
            (void)JsonBody::requiredText(body, field.c_str());
        } catch (const ApiError& refusal) {
            require(refusal.status() == 400 && refusal.what()[0] != 0, "a field of the wrong type is a 400 with a reason");
        } catch (const std::exception& e) {
            fail("reading a JSON field throws only the server's refusal", field + ": " + e.what());
        }
    }
}

void checkNames(const std::string& name) {
    if (TextRules::isValidAssetFileName(name)) {
        require(TextRules::isCleanText(name) && TextRules::codePoints(name) >= 1 && TextRules::codePoints(name) <= 128,
                "an asset name is 1 to 128 code points of clean text");
        require(name.find_first_of("/\\<>:\"|?*%#") == std::string::npos, "an asset name holds no path or URL character");
        for (unsigned char c : name)
            require(c >= 0x20 && c != 0x7F, "an asset name holds no control character");
        require(name.front() != '.' && name.back() != '.' && name.front() != ' ' && name.back() != ' ',
                "an asset name neither begins nor ends with a dot or a blank");
        require(name.compare(0, TextRules::stem(name).size(), TextRules::stem(name)) == 0, "a stem is the name's start");
    }
    if (TextRules::isValidUsername(name)) {
        require(name.size() >= 3 && name.size() <= 32, "a user name is 3 to 32 characters");
        for (unsigned char c : name)
            require(std::isalnum(c) || c == '.' || c == '_' || c == '-', "a user name is A-Z a-z 0-9 . _ -");
    }
    if (TextRules::isValidResourceName(name))
        require(TextRules::isCleanText(name), "a resource name is clean text");
    require(TextRules::codePoints(name) <= name.size() || !TextRules::isCleanText(name),
            "clean text has at most one code point a byte");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0)
        return 0;
    const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
    switch (data[0] % 4) {
    case 0: {
        const std::vector<std::string> fields = splitFields(data + 1, size - 1, 2);
        checkMultipart(fields[0], fields[1]);
        break;
    }
    case 1:
        checkForm(text);
        break;
    case 2:
        checkJson(text);
        break;
    default:
        checkNames(text);
        break;
    }
    return 0;
}
