// The starting project the editor opens without arguments (media/start/src.xml) is a clean game:
// it validates against the schema, reads into a scene without faults, and its logic translates.
#include <filesystem>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "base/LmdPaths.h"
#include "engine/document/LmdGameDocument.h"
#include "engine/logic/LmdLuaTranslator.h"
#include "engine/scene/LmdSceneFaults.h"
#include "engine/scene/ScriptParser.h"
#include "engine/schema/SchemaValidator.h"

namespace Lumenda3D {
namespace {

TEST(StartProject, IsACleanGame) {
    ScriptParser parser(ScriptParser::defaultSchemaPath());
    ASSERT_TRUE(parser.hasSchema());
    std::ifstream in(std::filesystem::path(LmdPaths::mediaDir()) / "start" / "src.xml", std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    pugi::xml_document doc;
    ASSERT_TRUE(LmdGameDocument::parse(text.str(), doc));
    ASSERT_TRUE(doc.document_element().first_child()) << "an empty starting project would offer templates instead";

    EXPECT_TRUE(SchemaValidator::validate(doc.document_element(), *parser.getCodeSchema()).empty());
    LmdSceneFaults faults;
    faults.setLogging(false);
    LmdSceneDescription scene;
    parser.describe(doc.document_element(), scene, "", faults);
    EXPECT_EQ(faults.count(), 0u) << (faults.count() ? faults.lines().front() : "");
    EXPECT_FALSE(scene.objects.empty());
    const LmdLuaTranslation translation = LmdLuaTranslator::translate(doc.document_element(), *parser.getCodeSchema());
    EXPECT_TRUE(translation.problems.empty());
}

} // namespace
} // namespace Lumenda3D
