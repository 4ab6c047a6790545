// The findings the views show: each names its element by node id and the attributes at fault; a
// replaced document is checked at the next frame and its old findings go at once; a run of edits
// is checked once the document has been quiet; nothing is checked before the schema is there.
#include "engine/editing/LmdDocumentFindings.h"

#include "engine/document/LmdGameDocument.h"
#include "engine/editing/LmdSourceFiles.h"
#include "engine/schema/CodeSchema.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Lumenda3D;
using Clock = LmdDocumentFindings::Clock;
using Strings = std::vector<std::string>;

namespace {

const CodeSchema& schema() {
    static CodeSchema instance;
    static const bool loaded = instance.load(LMD_SOURCE_MEDIA_DIR "/codeSchema.xml");
    EXPECT_TRUE(loaded);
    return instance;
}

const char* kGame = R"(<KiteBench3D>
  <Var name="score" value="0"/>
  <Level name="One">
    <Box name="player">
      <OnStart>
        <Set var="score" value="spede * 2"/>
        <If left="score" op="=&gt;" right="1"><Print text="x"/></If>
        <Move duration="slow" moveX="1"/>
        <Break/>
        <Print text="fine {score}"/>
      </OnStart>
    </Box>
  </Level>
</KiteBench3D>)";

class DocumentFindingsTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(doc.setXmlSourceString(kGame));
        files.attachDocument(&doc);
        files.setHistoryEnabled(true);
        files.setOnSnapshotApplied([this](const std::string& xml) { return doc.setXmlSourceString(xml); });
        findings.follow(&files, [] { return &schema(); });
    }
    void TearDown() override {
        findings.follow(nullptr, nullptr);
        files.attachDocument(nullptr);
    }
    int idOf(const char* element) const {
        return doc.root().find_node([&](pugi::xml_node n) { return std::string(element) == n.name(); })
            .attribute("id")
            .as_int();
    }
    // The attributes of the one finding on `element`.
    Strings attributesOf(const char* element) const {
        const auto* list = findings.forNode(idOf(element));
        if (!list || list->size() != 1)
            return {"<" + std::to_string(list ? list->size() : 0) + " findings>"};
        return list->front()->attributes;
    }

    LmdGameDocument doc;
    LmdSourceFiles files;
    LmdDocumentFindings findings;
};

TEST_F(DocumentFindingsTest, EachFindingNamesItsElementAndTheAttributesAtFault) {
    EXPECT_TRUE(findings.isPending());
    findings.update(Clock::now());
    EXPECT_FALSE(findings.isPending());
    EXPECT_EQ(findings.all().size(), 4u);
    EXPECT_EQ(attributesOf("Set"), Strings{"value"});
    EXPECT_EQ(attributesOf("If"), (Strings{"left", "right"}));
    EXPECT_EQ(attributesOf("Move"), Strings{"duration"});
    EXPECT_EQ(attributesOf("Break"), Strings{}) << "its place is at fault, not a value";
    EXPECT_EQ(findings.forNode(idOf("Print")), nullptr);
    ASSERT_EQ(findings.forAttribute(idOf("Set"), "value").size(), 1u);
    EXPECT_NE(findings.forAttribute(idOf("Set"), "value")[0]->text.find("unknown variable 'spede'"),
              std::string::npos);
    EXPECT_TRUE(findings.forAttribute(idOf("Set"), "var").empty());
}

TEST_F(DocumentFindingsTest, EditsAreCheckedOnceTheDocumentIsQuietAndAReloadDropsTheOldAtOnce) {
    findings.checkNow();
    const int setId = idOf("Set");
    const int generation = findings.generation();

    // Typing the fix: nothing is checked while the edits go on.
    files.setAttribute(doc.root().find_node([](pugi::xml_node n) { return std::string("Set") == n.name(); }),
                       "value", "score * 2");
    findings.update(Clock::now());
    EXPECT_TRUE(findings.isPending());
    ASSERT_NE(findings.forNode(setId), nullptr) << "still the finding of before the pause";
    findings.update(Clock::now() + LmdDocumentFindings::kQuiet + std::chrono::milliseconds(1));
    EXPECT_EQ(findings.forNode(setId), nullptr);
    EXPECT_EQ(findings.all().size(), 3u);
    EXPECT_GT(findings.generation(), generation);

    // An undo reloads the document: every id is new, the old findings go before any check.
    files.undo();
    EXPECT_TRUE(findings.all().empty());
    EXPECT_EQ(findings.forNode(setId), nullptr);
    findings.update(Clock::now());
    EXPECT_EQ(findings.all().size(), 4u);
    EXPECT_EQ(attributesOf("Set"), Strings{"value"}) << "found again under the element's new id";

    // A check that finds the same keeps the generation.
    const int settled = findings.generation();
    findings.checkNow();
    EXPECT_EQ(findings.generation(), settled);
}

TEST_F(DocumentFindingsTest, NothingIsCheckedWithoutASchemaOrADocument) {
    const CodeSchema* available = nullptr;
    findings.follow(&files, [&] { return available; });
    findings.update(Clock::now());
    EXPECT_TRUE(findings.isPending()) << "waits for the schema";
    EXPECT_TRUE(findings.all().empty());
    available = &schema();
    findings.update(Clock::now());
    EXPECT_EQ(findings.all().size(), 4u);

    findings.follow(nullptr, nullptr);
    EXPECT_TRUE(findings.all().empty());
    EXPECT_FALSE(findings.isPending());
    files.setAttribute(doc.root().child("Level"), "name", "Two");
    findings.update(Clock::now() + std::chrono::seconds(1));
    EXPECT_TRUE(findings.all().empty()) << "no longer following";
}

} // namespace
