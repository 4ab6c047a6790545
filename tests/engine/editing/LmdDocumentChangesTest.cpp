// The document service's change notifications and its one way of making a new element: every
// listener hears of each change once, failed or idle operations are not changes, edit groups and
// undo are one change each, and a new element reaches the listeners (the block tree) before the
// scene is built.
#include "engine/editing/LmdSourceFiles.h"

#include "engine/document/LmdGameDocument.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Lumenda3D;
using Kind = LmdDocumentChange::Kind;

namespace {

const char* kGame = R"(<KiteBench3D>
  <Level name="Main">
    <Box name="Crate" x="1" />
    <Sphere name="Ball" />
  </Level>
</KiteBench3D>)";

// Records what one listener heard.
struct Heard {
    std::vector<LmdDocumentChange> changes;
    LmdSubscription subscription;
    explicit Heard(LmdSourceFiles& files)
        : subscription(files.subscribeChanges([this](const LmdDocumentChange& change) { changes.push_back(change); })) {}
};

class DocumentChangesTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(doc.setXmlSourceString(kGame));
        files.attachDocument(&doc);
        files.setHistoryEnabled(true);
        // As the editor answers undo and redo: the whole text loaded again.
        files.setOnSnapshotApplied([this](const std::string& xml) { return doc.setXmlSourceString(xml); });
    }
    pugi::xml_node level() const { return doc.root().child("Level"); }

    LmdGameDocument doc;
    LmdSourceFiles files;
};

TEST_F(DocumentChangesTest, EveryListenerHearsEachChangeOnceAndNothingForNoChange) {
    Heard first(files), second(files);
    pugi::xml_node crate = level().child("Box");

    files.setAttribute(crate, "x", 5);
    files.setAttribute(crate, "x", 5);            // the same value: no change
    files.setAttribute(crate, "id", 999);         // the ephemeral id: not a change of the game
    files.removeAttribute(crate, "nothing");      // nothing to remove
    files.removeChild(doc.root(), crate);         // not a child of the root: refused
    for (const Heard* heard : {&first, &second}) {
        ASSERT_EQ(heard->changes.size(), 1u);
        EXPECT_EQ(heard->changes[0].kind, Kind::Attribute);
        EXPECT_EQ(heard->changes[0].node, crate);
    }

    files.removeChild(level(), level().child("Sphere"));
    ASSERT_EQ(first.changes.size(), 2u);
    EXPECT_EQ(first.changes[1].kind, Kind::Structure);
    EXPECT_EQ(first.changes[1].node, level());
    EXPECT_EQ(second.changes.size(), 2u);

    // A listener that has gone hears nothing more.
    second.subscription.cancel();
    files.setAttribute(level(), "name", "First");
    EXPECT_EQ(first.changes.size(), 3u);
    EXPECT_EQ(second.changes.size(), 2u);
}

TEST_F(DocumentChangesTest, LoadsUndoAndGroupsAreOneChangeEachAndAFailedLoadIsNone) {
    Heard heard(files);
    EXPECT_FALSE(doc.setXmlSourceString("<KiteBench3D><Level></KiteBench3D>"));
    EXPECT_TRUE(heard.changes.empty());

    ASSERT_TRUE(doc.setXmlSourceString("<KiteBench3D><Level name=\"Other\"/></KiteBench3D>"));
    ASSERT_EQ(heard.changes.size(), 1u);
    EXPECT_EQ(heard.changes[0].kind, Kind::Replaced);
    EXPECT_FALSE(heard.changes[0].node);

    heard.changes.clear();
    {
        LmdSourceFiles::EditGroupScope group(files);
        pugi::xml_node box = files.appendChild(level(), "Box");
        files.setAttribute(box, "name", "A");
        files.setAttribute(level(), "name", "Renamed");
        EXPECT_TRUE(heard.changes.empty()) << "told before the group ended";
    }
    ASSERT_EQ(heard.changes.size(), 1u);
    EXPECT_EQ(heard.changes[0].kind, Kind::Structure);
    EXPECT_EQ(heard.changes[0].node, doc.root()) << "several elements: the document as a whole";

    heard.changes.clear();
    files.undo();
    ASSERT_EQ(heard.changes.size(), 1u) << "undo reloads the text but is one change";
    EXPECT_EQ(heard.changes[0].kind, Kind::Replaced);
    EXPECT_EQ(std::string(level().attribute("name").value()), "Other");
    files.redo();
    EXPECT_EQ(heard.changes.size(), 2u);
}

TEST_F(DocumentChangesTest, ANewElementIsRecordedRegisteredAnnouncedAndThenBuilt) {
    std::vector<std::string> order;
    LmdSubscription tree = files.subscribeChanges([&](const LmdDocumentChange& change) {
        // The block tree finds the element, registered and complete, when it hears of it.
        ASSERT_EQ(change.kind, Kind::Structure);
        EXPECT_EQ(doc.getXmlNodeById(change.node.attribute("id").as_int()), change.node);
        EXPECT_STREQ(change.node.attribute("name").value(), "Light1");
        order.push_back("tree");
    });
    files.setSceneBuilder([&](pugi::xml_node node, pugi::xml_node parent) {
        EXPECT_STREQ(node.name(), "PointLight");
        EXPECT_EQ(parent, level());
        order.push_back("scene");
    });

    pugi::xml_node light = files.createElement(level(), "PointLight", {{"name", "Light1"}, {"color", "0xFFFFFF"}});
    ASSERT_TRUE(light);
    EXPECT_EQ(order, (std::vector<std::string>{"tree", "scene"}));
    EXPECT_EQ(light.parent(), level());
    EXPECT_EQ(std::string(light.first_attribute().name()), "color") << "attributes in map order";
    EXPECT_GT(light.attribute("id").as_int(), 0);

    // One undo step takes it away again.
    tree.cancel();
    files.undo();
    EXPECT_FALSE(level().child("PointLight"));

    // For a batch the caller builds once; a parent outside the document is refused.
    order.clear();
    Heard heard(files);
    EXPECT_TRUE(files.createElement(level(), "Box", {}, LmdSourceFiles::Build::Later));
    pugi::xml_document other;
    EXPECT_FALSE(files.createElement(other.append_child("Level"), "Box", {}));
    EXPECT_TRUE(order.empty()) << "built though the caller builds later";
    EXPECT_EQ(heard.changes.size(), 1u);
}

} // namespace
