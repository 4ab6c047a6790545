#include "engine/schema/AiKnowledgeBase.h"

#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>
#include <pugixml.hpp>

#include "TestDataRoot.h"
#include "engine/schema/CodeSchema.h"
#include "engine/schema/SchemaValidator.h"
#include "mcp/LmdMcpTools.h"

namespace Lumenda3D {
namespace {

const std::string kMedia = LMD_SOURCE_MEDIA_DIR;

TEST(AiKnowledgeBase, ShipsEverySectionTheToolsOffer) {
    const AiKnowledgeBase knowledge(kMedia);
    for (const char* section : {"rules", "schema", "assets", "protocol", "examples", "mcp"}) {
        const std::string name = LmdMcpTools::knowledgeSectionFor(section);
        EXPECT_FALSE(knowledge.get(name).empty()) << section;
    }
    EXPECT_EQ(knowledge.get("rules"), knowledge.get("instructions"));
    EXPECT_EQ(knowledge.get("nothing"), "");
}

TEST(AiKnowledgeBase, EveryExampleIsAValidGame) {
    CodeSchema schema;
    ASSERT_TRUE(schema.load(kMedia + "/codeSchema.xml"));
    const AiKnowledgeBase knowledge(kMedia);
    const auto examples = AiKnowledgeBase::parseExamples(knowledge.get("examples"));
    ASSERT_GE(examples.size(), 2u);
    for (const auto& example : examples) {
        SCOPED_TRACE(example.title);
        EXPECT_FALSE(example.summary.empty());
        pugi::xml_document doc;
        ASSERT_TRUE(doc.load_string(example.xml.c_str())) << example.xml;
        EXPECT_EQ(SchemaValidator::validate(doc.first_child(), schema, 100), std::vector<std::string>{});
    }
}

TEST(AiKnowledgeBase, CommandReferenceIsGeneratedFromTheSchema) {
    // A schema of our own shows that nothing in the reference is copied by hand.
    CodeSchema schema;
    ASSERT_TRUE(schema.loadFromString(R"(<codeSchema version="1">
      <category name="Things" parents="root">
        <command name="Gizmo" en_caption="A gizmo">
          <attribute name="size" type="number" default="2" required="true"/>
          <attribute name="mode" type="optionsPicker" values="fast|slow" default="fast"/>
          <attribute name="tint" type="color"/>
        </command>
      </category>
      <command name="Loose" parents="Gizmo"/>
    </codeSchema>)"));
    const std::string reference = AiKnowledgeBase::schemaReference(schema);
    EXPECT_NE(reference.find("## Things\n"), std::string::npos);
    EXPECT_NE(reference.find("### Gizmo — A gizmo\nStands: directly under KiteBench3D.\n"), std::string::npos) << reference;
    EXPECT_NE(reference.find("- `size` number, default `2`, required\n"), std::string::npos) << reference;
    EXPECT_NE(reference.find("- `mode` one of fast|slow, default `fast`\n"), std::string::npos);
    EXPECT_NE(reference.find("- `tint` colour 0xRRGGBB\n"), std::string::npos);
    EXPECT_NE(reference.find("## Not in the palette"), std::string::npos);
    EXPECT_NE(reference.find("### Loose\nStands: in Gizmo.\nNo attributes of its own."), std::string::npos);
    EXPECT_NE(reference.find("## Key names"), std::string::npos);

    // The shipped reference names every command of the shipped schema.
    CodeSchema shipped;
    ASSERT_TRUE(shipped.load(kMedia + "/codeSchema.xml"));
    const std::string full = AiKnowledgeBase(kMedia).get("schema");
    for (std::string_view name : shipped.getCommandNames()) {
        const std::string heading = "### " + std::string(name);
        EXPECT_TRUE(full.find(heading + "\n") != std::string::npos || full.find(heading + " — ") != std::string::npos)
            << name;
    }
}

TEST(AiKnowledgeBase, MissingFolderGivesEmptySections) {
    test::TestDataRoot root;
    std::filesystem::create_directories(root.path() / "knowledge");
    std::ofstream(root.path() / "knowledge" / "mcp.md") << "only this";
    const AiKnowledgeBase knowledge(root.path().string());
    EXPECT_EQ(knowledge.get("mcp"), "only this");
    EXPECT_EQ(knowledge.get("schema"), "");
    EXPECT_EQ(knowledge.get("rules"), "");
    EXPECT_EQ(knowledge.names(), std::vector<std::string>{"mcp"});
}

} // namespace
} // namespace Lumenda3D
