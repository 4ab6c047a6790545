// The game package: what the exporter writes the player reads back, and anything damaged or
// foreign is refused with a reason instead of being played.
#include "engine/package/LmdGamePackage.h"

#include "engine/logic/LmdLuaRuntime.h"
#include "engine/logic/LmdLuaTranslator.h"
#include "engine/logic/LmdLogicTestSupport.h"
#include "export/LocalExportService.h"
#include "services/FileManager.h"

#include "TestDataRoot.h"

#include <gtest/gtest.h>

namespace Lumenda3D {
namespace {

LmdGamePackage sample() {
    LmdGamePackage package;
    package.documentXml = "<KiteBench3D><Var name=\"a\" value=\"1\"/></KiteBench3D>";
    package.logicBytecode = std::string("\x1bLua\x54\0binary", 12);
    return package;
}

void setU32(std::string& bytes, size_t at, std::uint32_t value) {
    for (int i = 0; i < 4; ++i)
        bytes[at + i] = char((value >> (8 * i)) & 0xFF);
}

TEST(GamePackage, RoundTripsItsSectionsByteForByte) {
    const LmdGamePackage original = sample();
    LmdGamePackage read;
    std::string error;
    ASSERT_TRUE(LmdGamePackage::parse(original.serialize(), read, error)) << error;
    EXPECT_EQ(read.documentXml, original.documentXml);
    EXPECT_EQ(read.logicBytecode, original.logicBytecode);
    EXPECT_EQ(LmdGamePackage::crc32("123456789"), 0xCBF43926u); // the standard check value
}

TEST(GamePackage, RefusesWhatIsNotAWholePackageOfThisFormat) {
    const std::string good = sample().serialize();
    struct Case {
        const char* what;
        std::string bytes;
        const char* reason;
    };
    std::string flipped = good;
    flipped[flipped.size() - 3] ^= 0x40;
    std::string newer = good;
    setU32(newer, 8, LmdGamePackage::kFormatVersion + 1);
    std::string oneSection = good;
    setU32(oneSection, 12, 1);
    std::string doubled = good;
    setU32(doubled, 12, 3);
    doubled += good.substr(16, good.size() - 16); // both sections again: the document twice
    std::string huge = good;
    huge[16 + 4 + 7] = char(0x7F); // a document length far beyond the file
    const Case cases[] = {
        {"a game file", "<KiteBench3D/>", "not a game package"},
        {"an empty file", "", "not a game package"},
        {"a header cut short", good.substr(0, 10), "cut short in its header"},
        {"a section cut short", good.substr(0, good.size() - 1), "cut short"},
        {"a damaged byte", flipped, "damaged"},
        {"a newer format", newer, "format version"},
        {"a missing section", oneSection, "no logic section"},
        {"a section twice", doubled, "twice"},
        {"a length beyond the file", huge, "cut short"},
    };
    for (const Case& c : cases) {
        LmdGamePackage read;
        read.documentXml = "untouched";
        std::string error;
        EXPECT_FALSE(LmdGamePackage::parse(c.bytes, read, error)) << c.what;
        EXPECT_NE(error.find(c.reason), std::string::npos) << c.what << ": " << error;
        EXPECT_EQ(read.documentXml, "untouched") << c.what;
    }
    // Sections of a later version are skipped.
    std::string extended = good;
    setU32(extended, 12, 3);
    extended += std::string("ICON") + std::string(8, '\0') + std::string(4, '\0');
    LmdGamePackage read;
    std::string error;
    EXPECT_TRUE(LmdGamePackage::parse(extended, read, error)) << error;
}

// The exporter's bytecode runs in the game runtime, and the runtime's bytecode loader refuses
// source text, so a package cannot smuggle text past the compiler.
TEST(GamePackage, CompiledLogicRunsAndOnlyBytecodeIsAccepted) {
    test::TestDataRoot root;
    test::LogicLogCapture log;
    const std::string xml = "<KiteBench3D><Var name=\"score\" value=\"2\"/><OnStart><Set var=\"score\" value=\"score * 21\"/>"
                            "</OnStart></KiteBench3D>";
    pugi::xml_document doc;
    ASSERT_TRUE(doc.load_string(xml.c_str()));
    CodeSchema schema;
    ASSERT_TRUE(schema.load(std::string(LMD_SOURCE_MEDIA_DIR) + "/codeSchema.xml"));
    const LmdLuaTranslation translation = LmdLuaTranslator::translate(doc.document_element(), schema);
    const std::string source = (root.path() / "game.lua").string();
    ASSERT_TRUE(FileManager::writeFileAtomic(source, translation.chunk));
    std::string bytecode;
    ASSERT_TRUE(LocalExportService::luaFileToBytecode(source, bytecode));
    EXPECT_EQ(bytecode.rfind("\x1bLua", 0), 0u);

    test::FakeScriptHost host;
    LmdLuaRuntime runtime(host);
    ASSERT_TRUE(runtime.loadBytecode(bytecode)) << log.all();
    ASSERT_TRUE(runtime.start());
    LmdScriptValue score;
    ASSERT_TRUE(runtime.getVariable("score", score));
    EXPECT_EQ(score.number, 42);

    // A run-time error in the compiled logic names its block, as in the editor, and no path of
    // the computer that exported the game.
    const std::string faulty = "<KiteBench3D><Var name=\"n\" value=\"0\"/>"
                               "<OnStart><Set id=\"7\" var=\"n\" value=\"nobody.x\"/></OnStart></KiteBench3D>";
    pugi::xml_document faultyDoc;
    ASSERT_TRUE(faultyDoc.load_string(faulty.c_str()));
    ASSERT_TRUE(FileManager::writeFileAtomic(
        source, LmdLuaTranslator::translate(faultyDoc.document_element(), schema).chunk));
    std::string faultyBytecode;
    ASSERT_TRUE(LocalExportService::luaFileToBytecode(source, faultyBytecode));
    LmdLuaRuntime faultyRuntime(host);
    ASSERT_TRUE(faultyRuntime.loadBytecode(faultyBytecode)) << log.all();
    faultyRuntime.start();
    EXPECT_EQ(log.count("Script error in Set (id 7): there is no object named 'nobody'"), 1u) << log.all();
    EXPECT_EQ(log.count("game.lua"), 0u) << log.all();

    EXPECT_FALSE(runtime.loadBytecode(translation.chunk));
    EXPECT_EQ(log.count("does not load"), 1u) << log.all();

    // A script that does not load: false, and Lua's reason in the log.
    const std::string broken = (root.path() / "broken.lua").string();
    ASSERT_TRUE(FileManager::writeFileAtomic(broken, "local x = = 1"));
    std::vector<std::string> lines;
    const int sink = LmdLog::addSink([&lines](const std::string& text, LogLevel) { lines.push_back(text); });
    std::string none;
    EXPECT_FALSE(LocalExportService::luaFileToBytecode(broken, none));
    LmdLog::removeSink(sink);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back().rfind("LocalExportService: luaL_loadfile failed: ", 0), 0u) << lines.back();
    EXPECT_NE(lines.back().find("broken.lua:1"), std::string::npos) << lines.back();
}

} // namespace
} // namespace Lumenda3D
