#include <gtest/gtest.h>

#include "services/AiReplyParser.h"

namespace Lumenda3D {
namespace {

TEST(AiReplyParser, ReadsTheObjectInsideFencesAndProse) {
    const char* good = R"({"reply":"Added a box.","changes":[{"op":"delete","id":"4"}]})";
    for (const std::string& text : {std::string(good), "  \n" + std::string(good) + "\n",
                                   "```json\n" + std::string(good) + "\n```", "Here you go:\n" + std::string(good) + "\nEnjoy!"}) {
        const AiReplyParser::Result r = AiReplyParser::parse(text);
        ASSERT_TRUE(r.ok) << text << ": " << r.reason;
        EXPECT_EQ(r.reply, "Added a box.");
        ASSERT_EQ(r.changes.size(), 1u);
        EXPECT_EQ(r.changes[0]["id"], "4");
    }
    const AiReplyParser::Result noChanges = AiReplyParser::parse(R"({"reply":"Hi ☃","changes":null})");
    ASSERT_TRUE(noChanges.ok);
    EXPECT_TRUE(noChanges.changes.is_array() && noChanges.changes.empty());
}

TEST(AiReplyParser, RefusesWhatIsNotTheReplyFormat) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"", "The reply is empty."},
        {"Sure, I will add a box.", "The reply is not a JSON object."},
        {"[1,2]", "The reply is not a JSON object."},
        {R"({"reply":"x")", "The reply is not a JSON object."},
        {R"({"changes":[]})", "The reply has no \"reply\" text."},
        {R"({"reply":5})", "The reply has no \"reply\" text."},
        {R"({"reply":"x","changes":{"op":"delete"}})", "\"changes\" is not an array."},
        {R"({"reply":"x","changes":[{"id":"1"}]})", "Change 1 has no \"op\"."},
        {R"({"reply":"x","changes":[{"op":"delete","id":"1"},{"op":"explode"}]})", "Change 2 has the unknown op \"explode\"."},
        {"{\"reply\":\"a\xff\"}", "The reply is not valid UTF-8 text."},
        {std::string(AiReplyParser::kMaxReplyBytes + 1, ' '), "The reply is too long (4096 KB)."},
    };
    for (const auto& [text, reason] : cases) {
        const AiReplyParser::Result r = AiReplyParser::parse(text);
        EXPECT_FALSE(r.ok) << text.substr(0, 60);
        EXPECT_EQ(r.reason, reason) << text.substr(0, 60);
        EXPECT_TRUE(r.changes.empty());
    }
}

TEST(AiReplyParser, Utf8CheckRefusesOverlongSurrogatesAndCutSequences) {
    EXPECT_TRUE(AiReplyParser::isValidUtf8("plain ü € 😀"));
    EXPECT_FALSE(AiReplyParser::isValidUtf8("\xC0\xAF"));          // overlong '/'
    EXPECT_FALSE(AiReplyParser::isValidUtf8("\xE0\x80\xAF"));      // overlong
    EXPECT_FALSE(AiReplyParser::isValidUtf8("\xED\xA0\x80"));      // a surrogate
    EXPECT_FALSE(AiReplyParser::isValidUtf8("\xF4\x90\x80\x80"));  // above U+10FFFF
    EXPECT_FALSE(AiReplyParser::isValidUtf8("ok\xE2\x82"));        // cut at the end
}

} // namespace
} // namespace Lumenda3D
