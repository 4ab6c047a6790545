#include "services/UrlUtils.h"

#include <gtest/gtest.h>

namespace Lumenda3D {
namespace {

TEST(UrlUtils, ParseQuerySplitsDecodesAndKeepsKeysAsWritten) {
    const auto q = UrlUtils::parseQuery("resId=7&resID=8&&flag&=lost&name=a%20b+c&pct=100%&bad=%zz&x=1&x=2");
    EXPECT_EQ(q.at("resId"), "7");
    EXPECT_EQ(q.at("resID"), "8");
    EXPECT_EQ(q.at("flag"), "");
    EXPECT_EQ(q.at("name"), "a b c");
    EXPECT_EQ(q.at("pct"), "100%");
    EXPECT_EQ(q.at("bad"), "%zz");
    EXPECT_EQ(q.at("x"), "2");
    EXPECT_EQ(q.count(""), 0u);
    EXPECT_EQ(q.size(), 7u);
    EXPECT_TRUE(UrlUtils::parseQuery("").empty());
    EXPECT_EQ(UrlUtils::parseQuery("a=b=c").at("a"), "b=c");
}

TEST(UrlUtils, EncodeRoundTripsEveryByte) {
    std::string all;
    for (int i = 0; i < 256; ++i)
        all.push_back(static_cast<char>(i));
    const std::string encoded = UrlUtils::urlEncode(all);
    EXPECT_EQ(encoded.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.~%"),
              std::string::npos);
    EXPECT_EQ(UrlUtils::urlDecode(encoded), all);
    EXPECT_EQ(UrlUtils::urlEncode("a b+c/é"), "a%20b%2Bc%2F%C3%A9");
    EXPECT_EQ(UrlUtils::urlDecode("a+b", false), "a+b");
}

} // namespace
} // namespace Lumenda3D
