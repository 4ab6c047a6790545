#include "core/Lumenda3DAppUrl.h"

#include <gtest/gtest.h>

namespace Lumenda3D {
namespace {

std::string resourceOf(const std::string& url) { return resourceIdFromAppUrl(parseLumenda3DAppUrl(url)); }

TEST(Lumenda3DAppUrl, OtherSchemesAndShortInputsAreIgnored) {
    for (const char* url : {"", "Lumenda3DApp:/", "Lumenda3DApp:/x?resId=7", "Lumenda3DAp://open?resId=7",
                            "http://example.com/?resId=7", "xLumenda3DApp://open?resId=7", "Lumenda3DApp://",
                            "Lumenda3DApp:////", "Lumenda3DApp://?", "Lumenda3DApp://?&&"}) {
        const UrlSchemeArgs args = parseLumenda3DAppUrl(url);
        EXPECT_FALSE(args.valid) << url;
        EXPECT_TRUE(args.path.empty()) << url;
        EXPECT_EQ(resourceIdFromAppUrl(args), "") << url;
    }
}

TEST(Lumenda3DAppUrl, ResourceIdFollowsTheKeyRules) {
    EXPECT_EQ(resourceOf("LUMENDA3DAPP://open?resId=7"), "7");    // scheme in any case
    EXPECT_EQ(resourceOf("lumenda3dapp://?resID=7"), "7");        // no path, the other key
    EXPECT_EQ(resourceOf("Lumenda3DApp://open?resID=8&resId=7"), "7");
    EXPECT_EQ(resourceOf("Lumenda3DApp://open?resId=&resID=8"), "");   // present but empty: no fallback
    EXPECT_EQ(resourceOf("Lumenda3DApp://open?resid=7"), "");     // keys keep their case
    EXPECT_EQ(resourceOf("Lumenda3DApp://open?resId=a%20b"), "a b");

    const UrlSchemeArgs pathOnly = parseLumenda3DAppUrl("Lumenda3DApp://project/42");
    EXPECT_TRUE(pathOnly.valid);
    EXPECT_EQ(pathOnly.path, "project/42");
    EXPECT_TRUE(pathOnly.query.empty());
    EXPECT_EQ(resourceIdFromAppUrl(pathOnly), "");
}

TEST(Lumenda3DAppUrl, TrailingSlashesGoBeforeTheSplit) {
    const UrlSchemeArgs args = parseLumenda3DAppUrl("Lumenda3DApp://open/?resId=7/");
    EXPECT_EQ(args.path, "open/");           // the slash before '?' stays
    EXPECT_EQ(args.query.at("resId"), "7");  // the slash at the end of the value is lost
    EXPECT_EQ(parseLumenda3DAppUrl("Lumenda3DApp://open///").path, "open");
    EXPECT_EQ(parseLumenda3DAppUrl("Lumenda3DApp://a?b?c=d").query.at("b?c"), "d");
}

TEST(Lumenda3DAppUrl, TheFirstArgumentIsALinkAnotherUrlOrAGameFile) {
    EXPECT_EQ(classifyStartArgument(""), StartArgument::None);
    EXPECT_EQ(classifyStartArgument("LUMENDA3DAPP://open?resId=7"), StartArgument::AppLink);
    // Other schemes are no files: opening them as one would end in a dialog about a game file.
    for (const char* url : {"http://example.com/?resId=7", "https://example.com/game.xml", "file:///home/ada/game.xml",
                            "svn+ssh://host/repo", "x-scheme.v2://thing"})
        EXPECT_EQ(classifyStartArgument(url), StartArgument::OtherUrl) << url;
    // Paths, including ones that merely hold "://" or a drive letter.
    for (const char* path : {"media/examples/shooter.xml", "/tmp/game.xml", "C://games/kart.xml", "my game.xml",
                             "2d://odd.xml", "dir/with://colon.xml", "://nothing", "Lumenda3DApp:/open"})
        EXPECT_EQ(classifyStartArgument(path), StartArgument::GameFile) << path;
}

} // namespace
} // namespace Lumenda3D
