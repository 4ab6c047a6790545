// The one reader of values as texts: numbers, booleans and colours read strictly, and the text
// helpers every subsystem shares.
#include "base/LmdValueParser.h"

#include <gtest/gtest.h>

#include <cstdint>

using namespace Lumenda3D;

namespace {

TEST(LmdValueParser, ReadsTheLanguagesValueKindsStrictly) {
    double d = 0;
    EXPECT_TRUE(LmdValueParser::parseNumber(" -0.5 ", d));
    EXPECT_EQ(d, -0.5);
    EXPECT_TRUE(LmdValueParser::parseNumber("1e3", d));
    EXPECT_FALSE(LmdValueParser::parseNumber("1,5", d));
    EXPECT_FALSE(LmdValueParser::parseNumber("nan", d));
    EXPECT_FALSE(LmdValueParser::parseNumber("3px", d));
    int i = 0;
    EXPECT_TRUE(LmdValueParser::parseInt("3.000000", i));
    EXPECT_FALSE(LmdValueParser::parseInt("3.5", i));
    bool b = false;
    EXPECT_TRUE(LmdValueParser::parseBool("1", b) && b);
    EXPECT_FALSE(LmdValueParser::parseBool("yes", b));
    std::uint32_t c = 0;
    EXPECT_TRUE(LmdValueParser::parseColor("#ff8800", c));
    EXPECT_EQ(c, 0xFF8800u);
    EXPECT_FALSE(LmdValueParser::parseColor("0xFF88", c));
    EXPECT_EQ(LmdValueParser::formatColor(0xab), "0x0000AB");
}

TEST(LmdValueParser, TrimsAndComparesTextTheSameWayEverywhere) {
    EXPECT_EQ(LmdValueParser::trim(" \t value \r\n"), "value");
    EXPECT_EQ(LmdValueParser::trim("   "), "");
    EXPECT_EQ(LmdValueParser::toLower("Content-TYPE: Ab9"), "content-type: ab9");
    EXPECT_EQ(LmdValueParser::toLower("\xC3\x84rger"), "\xC3\x84rger");  // UTF-8 bytes stay as they are
    EXPECT_TRUE(LmdValueParser::equalsIgnoreCase("Lumenda3DApp://", "lumenda3dapp://"));
    EXPECT_FALSE(LmdValueParser::equalsIgnoreCase("abc", "abcd"));
    EXPECT_FALSE(LmdValueParser::equalsIgnoreCase("abc", "abd"));
}

} // namespace
