// The shipped example games (media/examples) are the ones the knowledge base shows agents, they
// validate against the schema, read into a scene without a single fault, and their logic
// translates without problems. They are played for real by the runtime_xvfb_examples test.
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "base/LmdPaths.h"
#include "engine/document/LmdGameDocument.h"
#include "engine/logic/LmdLuaTranslator.h"
#include "engine/scene/LmdSceneFaults.h"
#include "engine/scene/LmdSceneReader.h"
#include "engine/scene/ScriptParser.h"
#include "engine/schema/SchemaValidator.h"

namespace Lumenda3D {
namespace {

namespace fs = std::filesystem;

std::string readText(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

class ExampleGame : public ::testing::TestWithParam<const char*> {};

TEST_P(ExampleGame, IsCleanValidAndShownInTheKnowledgeBase) {
    static ScriptParser parser(ScriptParser::defaultSchemaPath());
    ASSERT_TRUE(parser.hasSchema());
    const fs::path media = LmdPaths::mediaDir();
    const std::string xml = readText(media / "examples" / GetParam());
    ASSERT_FALSE(xml.empty());
    pugi::xml_document doc;
    ASSERT_TRUE(LmdGameDocument::parse(xml, doc));

    EXPECT_TRUE(SchemaValidator::validate(doc.document_element(), *parser.getCodeSchema()).empty());

    LmdSceneFaults faults;
    faults.setLogging(false);
    LmdSceneDescription scene;
    parser.describe(doc.document_element(), scene, "", faults);
    EXPECT_EQ(faults.count(), 0u) << (faults.count() ? faults.lines().front() : "");
    EXPECT_GE(scene.objects.size(), 5u);
    for (const LmdLevelDesc& level : scene.levels) {
        bool camera = false, light = false;
        for (const LmdObjectDesc& object : scene.objects)
            if (object.level == level.name) {
                camera = camera || object.kind == LmdObjectKind::Camera;
                light = light || object.kind == LmdObjectKind::DirectionalLight;
            }
        EXPECT_TRUE(camera && light) << "level '" << level.name << "' needs a camera and a sun";
    }

    const LmdLuaTranslation translation = LmdLuaTranslator::translate(doc.document_element(), *parser.getCodeSchema());
    for (const auto& problem : translation.problems)
        ADD_FAILURE() << problem.message();

    // The knowledge base shows exactly this document.
    const std::string knowledge = readText(media / "knowledge" / "examples.md");
    std::string body = xml;
    while (!body.empty() && body.back() == '\n')
        body.pop_back();
    EXPECT_NE(knowledge.find("```\n" + body + "\n```"), std::string::npos)
        << GetParam() << " differs from its copy in media/knowledge/examples.md";
}

INSTANTIATE_TEST_SUITE_P(Shipped, ExampleGame,
                         ::testing::Values("platformer.xml", "shooter.xml", "driving.xml", "puzzle.xml", "ferry.xml"));

} // namespace
} // namespace Lumenda3D

namespace Lumenda3D {
namespace {

// The knowledge base tells agents which pictures and sounds ship with the editor: they must be
// there, where the scene looks for plain names.
TEST(BundledAssets, EveryFileTheKnowledgeBaseNamesShips) {
    const fs::path media = LmdPaths::mediaDir();
    for (const char* picture : {"grass.png", "bricks.png", "crate.png", "road.png", "sky.png", "metal.png"})
        EXPECT_TRUE(fs::is_regular_file(media / "textures" / picture)) << picture;
    for (const char* sound : {"jump.wav", "coin.wav", "laser.wav", "hit.wav"})
        EXPECT_TRUE(fs::is_regular_file(media / "sounds" / sound)) << sound;
    EXPECT_NE(readText(media / "knowledge" / "assets.md").find("`laser.wav`"), std::string::npos);
}

} // namespace
} // namespace Lumenda3D
