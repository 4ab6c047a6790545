#include "services/LmdCommandLine.h"

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace Lumenda3D {
namespace {

TEST(LmdCommandLine, ReadsTheDocumentedSpellingsBesideTheUrl) {
    const LmdCommandLine spaced({"Lumenda3DApp://open?resId=7", "--mcp", "on", "--mcp-port", "50000"});
    EXPECT_TRUE(spaced.ok()) << spaced.errorText();
    EXPECT_EQ(spaced.get("mcp", ""), "on");
    EXPECT_EQ(spaced.get("mcp-port", ""), "50000");
    EXPECT_EQ(spaced.positional(), std::vector<std::string>{"Lumenda3DApp://open?resId=7"});

    const LmdCommandLine joined({"--mcp=OFF", "--mcp-port=065535", "--", "--mcp"});
    EXPECT_TRUE(joined.ok()) << joined.errorText();
    EXPECT_EQ(joined.get("mcp", ""), "off");
    EXPECT_EQ(joined.get("mcp-port", ""), "65535");
    EXPECT_EQ(joined.positional(), std::vector<std::string>{"--mcp"});

    for (const char* value : {"1", "0", "true", "false"})
        EXPECT_EQ(LmdCommandLine({"--mcp", value}).get("mcp", "x"), value);

    const LmdCommandLine none({});
    EXPECT_TRUE(none.ok());
    EXPECT_EQ(none.get("mcp", ""), "");
    EXPECT_EQ(none.get("mcp-port", "dflt"), "dflt");
    EXPECT_FALSE(none.helpRequested());

    EXPECT_TRUE(LmdCommandLine({"-h"}).helpRequested());
    EXPECT_TRUE(LmdCommandLine({"--help"}).helpRequested());
    EXPECT_TRUE(LmdCommandLine({"--version"}).versionRequested());
    EXPECT_NE(LmdCommandLine::usage().find("--mcp-port N"), std::string::npos);
}

TEST(LmdCommandLine, BadSpellingsAndValuesAreReportedAndLeftOut) {
    struct Case {
        std::vector<std::string> args;
        std::string mentions;
    };
    const std::vector<Case> cases = {
        {{"--mcp", "maybe"}, "--mcp"},
        {{"--mcp"}, "needs a value"},
        {{"--mcp", "--mcp-port", "50000"}, "needs a value"},
        {{"--mcp-port", "1023"}, "1024 to 65535"},
        {{"--mcp-port", "65536"}, "1024 to 65535"},
        {{"--mcp-port", "50000x"}, "'50000x'"},
        {{"--mcp-port", ""}, "--mcp-port"},
        {{"--mcp-port=99999999999999999999"}, "--mcp-port"},
        {{"--mpc", "on"}, "Unknown option '--mpc'"},
        {{"-mcp", "on"}, "two dashes"},
        {{"--help=yes"}, "takes no value"},
    };
    for (const Case& c : cases) {
        const LmdCommandLine line(c.args);
        EXPECT_FALSE(line.ok()) << c.args[0];
        EXPECT_NE(line.errorText().find(c.mentions), std::string::npos) << line.errorText();
        EXPECT_EQ(line.get("mcp", "dflt"), "dflt") << c.args[0];
        EXPECT_EQ(line.get("mcp-port", "dflt"), c.args[0] == "--mcp" && c.args.size() == 3 ? "50000" : "dflt");
    }

    // One bad option does not spoil the good ones.
    const LmdCommandLine mixed({"--bogus", "--mcp", "on", "--mcp-port", "80"});
    EXPECT_EQ(mixed.errors().size(), 2u);
    EXPECT_EQ(mixed.get("mcp", ""), "on");
    EXPECT_EQ(mixed.get("mcp-port", ""), "");
}

// Found by fuzzing: an argument holding a line break made an error span two lines.
TEST(LmdCommandLine, ErrorsQuoteControlCharactersAsEscapes) {
    const LmdCommandLine line({std::string("--mcp-p?\x83\n", 10), "--mcp=o\tn", std::string("-x\0\x7f", 4)});
    ASSERT_EQ(line.errors().size(), 3u);
    EXPECT_EQ(line.errors()[0], "Unknown option '--mcp-p?\x83\\n'. Run with --help to see the options.");
    EXPECT_EQ(line.errors()[1], "Option '--mcp' takes on or off, not 'o\\tn'.");
    EXPECT_EQ(line.errors()[2], "Unknown option '-x\\x00\\x7F'. Options are written with two dashes, as in --mcp on.");
    const std::string text = line.errorText();
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2); // between the three, none inside one
}

TEST(LmdCommandLine, ToleratesOddArgv) {
    char program[] = "lumenda3d";
    char mcp[] = "--mcp";
    char on[] = "on";
    char* argv[] = {program, mcp, on, nullptr};
    EXPECT_EQ(LmdCommandLine(3, argv).get("mcp", ""), "on");
    EXPECT_TRUE(LmdCommandLine(0, nullptr).ok());
    EXPECT_TRUE(LmdCommandLine(1, argv).positional().empty());
}

} // namespace
} // namespace Lumenda3D
