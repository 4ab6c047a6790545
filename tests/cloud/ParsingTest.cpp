// The request parsers on their own: form bodies and query strings, multipart bodies, JSON bodies
// and the rules for names, fed the malformed and hostile input a client could send.
#include <gtest/gtest.h>

#include "ApiError.h"
#include "Encoding.h"
#include "FormData.h"
#include "JsonBody.h"
#include "MultipartBody.h"
#include "PostgresBackend.h"
#include "TextRules.h"

namespace Lumenda3D::Cloud {
namespace {

TEST(ParsingForm, DecodesEscapesPlusAndEmptyValues) {
    FormData f;
    std::string error;
    ASSERT_TRUE(FormData::parse("action=getTextures&token=ab%2Fc&name=a+b%20c&flag&=x&&last=", f, error)) << error;
    EXPECT_EQ(f.get("action"), "getTextures");
    EXPECT_EQ(f.get("token"), "ab/c");
    EXPECT_EQ(f.get("name"), "a b c");
    EXPECT_TRUE(f.has("flag"));
    EXPECT_EQ(f.get("flag", "absent"), "");
    EXPECT_EQ(f.get("last", "absent"), "");
    EXPECT_EQ(f.get("missing", "absent"), "absent");
    // Round trip of every byte value that is valid text.
    const std::string tricky = "a&b=c%d+e/ü'\";--";
    ASSERT_TRUE(FormData::parse("v=" + FormData::encode(tricky), f, error));
    EXPECT_EQ(f.get("v"), tricky);
}

TEST(ParsingForm, RefusesBrokenEscapesNulAndInvalidUtf8) {
    FormData f;
    std::string error;
    for (const char* bad : {"a=%", "a=%4", "a=%zz", "a=%00", "a=%C3%28", "a=%ED%A0%80", "%G1=1"}) {
        EXPECT_FALSE(FormData::parse(bad, f, error)) << bad;
        EXPECT_FALSE(error.empty());
    }
}

std::string part(const std::string& boundary, const std::string& disposition, const std::string& data,
                 const std::string& type = "") {
    std::string p = "--" + boundary + "\r\nContent-Disposition: " + disposition + "\r\n";
    if (!type.empty())
        p += "Content-Type: " + type + "\r\n";
    return p + "\r\n" + data + "\r\n";
}

TEST(ParsingMultipart, ReadsFieldsAndFilesWithBinaryData) {
    const std::string b = "XyZ123";
    const std::string binary("\x00\x01\r\n--Xy\xff", 10);
    const std::string body = "preamble\r\n" + part(b, "form-data; name=\"action\"", "uploadTexture") +
                             part(b, "form-data; name=\"fileName\"", "a;b \"c\".png") +
                             part(b, "form-data; name=\"imageData\"; filename=\"x.png\"", binary,
                                  "application/octet-stream") +
                             part(b, "form-data; name=thumbData; filename=\"\"", "") + "--" + b + "--\r\nepilogue";
    MultipartBody m;
    std::string error;
    ASSERT_TRUE(MultipartBody::parse("multipart/form-data; boundary=" + b, body, m, error)) << error;
    ASSERT_EQ(m.parts.size(), 4u);
    EXPECT_EQ(m.find("action")->data, "uploadTexture");
    EXPECT_FALSE(m.find("action")->isFile);
    EXPECT_EQ(m.find("fileName")->data, "a;b \"c\".png");
    EXPECT_EQ(m.find("imageData")->data, binary);
    EXPECT_EQ(m.find("imageData")->fileName, "x.png");
    EXPECT_TRUE(m.find("imageData")->isFile);
    EXPECT_TRUE(m.find("thumbData")->isFile);
    EXPECT_TRUE(m.find("thumbData")->data.empty());
    // A quoted boundary in the content type.
    ASSERT_TRUE(MultipartBody::parse("Multipart/Form-Data; charset=x; boundary=\"" + b + "\"", body, m, error));
}

TEST(ParsingMultipart, RefusesMalformedBodies) {
    const std::string b = "bnd";
    const std::string good = part(b, "form-data; name=\"a\"", "1") + "--" + b + "--";
    MultipartBody m;
    std::string error;
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"multipart/form-data", good},                                          // no boundary
        {"application/json; boundary=bnd", good},                               // not multipart
        {"multipart/form-data; boundary=bnd", ""},                              // empty
        {"multipart/form-data; boundary=bnd", "no boundary here"},
        {"multipart/form-data; boundary=bnd", part(b, "form-data; name=\"a\"", "1")},   // never closed
        {"multipart/form-data; boundary=bnd", "--bnd\r\nContent-Disposition: form-data; name=\"a\"\r\n1"},
        {"multipart/form-data; boundary=bnd", part(b, "form-data; filename=\"x\"", "1") + "--bnd--"},  // no name
        {"multipart/form-data; boundary=bnd", part(b, "attachment; name=\"a\"", "1") + "--bnd--"},
        {"multipart/form-data; boundary=bnd", "--bnd\r\nbroken header line\r\n\r\n1\r\n--bnd--"},
        {"multipart/form-data; boundary=bnd", "--bndX"},
    };
    for (const auto& [type, body] : cases) {
        EXPECT_FALSE(MultipartBody::parse(type, body, m, error)) << type << " | " << body;
        EXPECT_FALSE(error.empty());
    }
    std::string many;
    for (std::size_t i = 0; i <= MultipartBody::kMaxParts; ++i)
        many += part(b, "form-data; name=\"p" + std::to_string(i) + "\"", "x");
    EXPECT_FALSE(MultipartBody::parse("multipart/form-data; boundary=bnd", many + "--bnd--", m, error));
}

TEST(ParsingJson, AcceptsObjectsOnlyAndChecksFieldTypes) {
    nlohmann::json body;
    std::string error;
    for (const char* bad : {"", "{", "[1,2]", "\"text\"", "null", "{\"a\":1}x", "\xff\xfe{}", "{\"a\":\"\xc3\x28\"}"})
        EXPECT_FALSE(JsonBody::parseObject(bad, body, error)) << bad;
    ASSERT_TRUE(JsonBody::parseObject(R"({"name":"x","n":3,"b":true,"nul":"a\u0000b","z":null})", body, error));
    EXPECT_EQ(JsonBody::text(body, "name"), "x");
    EXPECT_EQ(JsonBody::text(body, "z"), std::nullopt);
    EXPECT_EQ(JsonBody::integer(body, "n"), 3);
    EXPECT_EQ(JsonBody::boolean(body, "b"), true);
    EXPECT_THROW(JsonBody::text(body, "n"), ApiError);
    EXPECT_THROW(JsonBody::boolean(body, "name"), ApiError);
    EXPECT_THROW(JsonBody::integer(body, "b"), ApiError);
    EXPECT_THROW(JsonBody::text(body, "nul"), ApiError);
    EXPECT_THROW(JsonBody::requiredText(body, "missing"), ApiError);
    // Deep nesting is parsed without exhausting the stack.
    const std::string deep = "{\"a\":" + std::string(100000, '[') + std::string(100000, ']') + "}";
    EXPECT_TRUE(JsonBody::parseObject(deep, body, error));
}

TEST(TextRulesNames, AssetNamesRefusePathTricksAndDeviceNames) {
    for (const char* good : {"tree.png", "Tree Bark (2).JPG", "ünïcode.ogg", "a.b.c.wav", "x'; DROP TABLE assets;--.png"})
        EXPECT_TRUE(TextRules::isValidAssetFileName(good)) << good;
    for (const char* bad : {"", "../x.png", "..", ".", "a/b.png", "a\\b.png", "/etc/passwd", ".hidden.png",
                            "x.png ", " x.png", "x.png.", "CON.png", "nul", "com1.wav", "LPT9.txt", "a:b.png",
                            "a\x01.png", "a\x7f.png", "x\"y.png", "a|b.png", "q?.png", "s*.png", "<x>.png", "%2e%2e.png", "a#b.png"})
        EXPECT_FALSE(TextRules::isValidAssetFileName(bad)) << bad;
    EXPECT_FALSE(TextRules::isValidAssetFileName(std::string(129, 'a')));
    EXPECT_FALSE(TextRules::isValidAssetFileName(std::string("a\0b.png", 7)));
    EXPECT_FALSE(TextRules::isValidAssetFileName("\xc0\xaf.png"));   // overlong "/"
    EXPECT_TRUE(TextRules::hasAllowedExtension("textures", "x.JPEG"));
    EXPECT_TRUE(TextRules::hasAllowedExtension("models", "m.glb"));
    EXPECT_FALSE(TextRules::hasAllowedExtension("textures", "x.wav"));
    EXPECT_FALSE(TextRules::hasAllowedExtension("sounds", "x"));
    EXPECT_FALSE(TextRules::hasAllowedExtension("scripts", "x.lua"));
    EXPECT_EQ(TextRules::stem("tree.png"), "tree");
    EXPECT_EQ(TextRules::stem("a.b.png"), "a.b");
}

TEST(TextRulesNames, UserAndProjectNames) {
    EXPECT_TRUE(TextRules::isValidUsername("ann"));
    EXPECT_TRUE(TextRules::isValidUsername("Ann.B_c-9"));
    for (const char* bad : {"an", "_ann", "ann!", "a b c", "thumbs", "THUMBS", "ann/x", "ä-ann"})
        EXPECT_FALSE(TextRules::isValidUsername(bad)) << bad;
    EXPECT_FALSE(TextRules::isValidUsername(std::string(33, 'a')));
    EXPECT_TRUE(TextRules::isValidResourceName("My game"));
    EXPECT_TRUE(TextRules::isValidResourceName(std::string(64, 'x')));
    EXPECT_FALSE(TextRules::isValidResourceName(std::string(65, 'x')));
    EXPECT_FALSE(TextRules::isValidResourceName("   "));
    EXPECT_FALSE(TextRules::isValidResourceName("tab\there"));
    EXPECT_EQ(TextRules::codePoints("Äpfel"), 5u);
    EXPECT_FALSE(TextRules::isValidPassword("short"));
    EXPECT_TRUE(TextRules::isValidPassword("long enough"));
}

TEST(EncodingTexts, Base64HtmlAndDates) {
    const std::string bytes("\x00\xff\x10 binary", 10);
    EXPECT_EQ(Encoding::fromBase64(Encoding::base64(bytes)), bytes);
    EXPECT_EQ(Encoding::fromBase64("aGk"), "hi");   // without padding
    EXPECT_EQ(Encoding::fromBase64("not base64!"), std::nullopt);
    EXPECT_EQ(Encoding::fromBase64("aGk=x"), std::nullopt);
    EXPECT_EQ(Encoding::html("<a href=\"x\">'&'</a>"), "&lt;a href=&quot;x&quot;&gt;&#39;&amp;&#39;&lt;/a&gt;");
    EXPECT_EQ(Encoding::rfc822Time(1748858400), "Mon, 02 Jun 2025 10:00:00 +0000");
    EXPECT_EQ(Encoding::isoTime(0), "1970-01-01T00:00:00Z");
}

TEST(ParsingSql, PlaceholdersAreNumberedOutsideQuotesOnly) {
    EXPECT_EQ(PostgresBackend::numberPlaceholders("SELECT a FROM t WHERE b = ? AND c = '?' AND d = ?"),
              "SELECT a FROM t WHERE b = $1 AND c = '?' AND d = $2");
    EXPECT_EQ(PostgresBackend::numberPlaceholders("INSERT INTO \"q?\" VALUES (?, ?)"),
              "INSERT INTO \"q?\" VALUES ($1, $2)");
}

} // namespace
} // namespace Lumenda3D::Cloud
