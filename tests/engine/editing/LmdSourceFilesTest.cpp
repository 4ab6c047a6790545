#include "engine/editing/LmdSourceFiles.h"

#include "TestDataRoot.h"

#include "base/LmdLog.h"
#include "engine/document/LmdGameDocument.h"

#include <gtest/gtest.h>

#include <chrono>
#include <random>
#include <stdexcept>
#include <set>

using namespace Lumenda3D;

namespace {

const char* kGame = R"(<KiteBench3D>
  <Level name="Main">
    <Box name="Crate" x="1" y="0" z="0" />
    <Sphere name="Ball" color="#00ff00" />
    <OnStart name="Start"><Set var="score" value="0" /></OnStart>
  </Level>
  <Level name="Second" />
</KiteBench3D>)";

class SourceFilesTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(doc.setXmlSourceString(kGame));
        files.attachDocument(&doc);
        files.setHistoryEnabled(true);
    }
    std::string text() const { return doc.getSourceXmlString(false, false); }
    pugi::xml_node level() const { return doc.root().child("Level"); }

    LmdGameDocument doc;
    LmdSourceFiles files;
};

// Collects the log's critical lines for the test's duration.
struct CriticalLines {
    std::vector<std::string> lines;
    int handle;
    CriticalLines() {
        LmdLog::setEchoToStderr(false);
        handle = LmdLog::addSink([this](const std::string& m, LogLevel l) {
            if (l == LogLevel::Critical)
                lines.push_back(m);
        });
    }
    ~CriticalLines() {
        LmdLog::removeSink(handle);
        LmdLog::setEchoToStderr(true);
    }
};

} // namespace

TEST_F(SourceFilesTest, EachStructuralEditIsOneStepThatUndoesAndRedoesExactly) {
    std::vector<std::string> texts{text()};
    pugi::xml_node crate = level().child("Box");
    pugi::xml_node ball = level().child("Sphere");
    pugi::xml_node second = doc.root().child("Level").next_sibling("Level");

    files.appendChild(second, "Cone");
    texts.push_back(text());
    files.appendMove(second, crate);
    texts.push_back(text());
    files.prependMove(level(), level().child("OnStart"));
    texts.push_back(text());
    files.insertCopyAfter(level(), ball, level().first_child());
    texts.push_back(text());
    files.insertMoveAfter(level(), ball, level().first_child());
    texts.push_back(text());
    files.removeChild(level(), level().child("OnStart"));
    texts.push_back(text());
    files.appendCopy(second, doc.root().child("Level"));  // a deep copy of a whole level
    texts.push_back(text());
    files.removeAttribute(second.child("Box"), "x");
    texts.push_back(text());

    ASSERT_EQ(files.undoStepCount(), texts.size() - 1);
    for (size_t i = texts.size() - 1; i > 0; --i) {
        ASSERT_TRUE(files.canUndo());
        files.undo();
        EXPECT_EQ(text(), texts[i - 1]) << "undo to state " << i - 1;
    }
    EXPECT_FALSE(files.canUndo());
    for (size_t i = 1; i < texts.size(); ++i) {
        ASSERT_TRUE(files.canRedo());
        files.redo();
        EXPECT_EQ(text(), texts[i]) << "redo to state " << i;
    }
    EXPECT_FALSE(files.canRedo());
}

TEST_F(SourceFilesTest, RandomEditSequencesUndoAndRedoToEveryEarlierState) {
    std::mt19937 rng(1234);
    auto pick = [&](int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); };
    auto allElements = [&] {
        std::vector<pugi::xml_node> out;
        struct W : pugi::xml_tree_walker {
            std::vector<pugi::xml_node>* out;
            bool for_each(pugi::xml_node& n) override {
                if (n.type() == pugi::node_element)
                    out->push_back(n);
                return true;
            }
        } w;
        w.out = &out;
        doc.root().traverse(w);
        return out;
    };
    for (int round = 0; round < 20; ++round) {
        ASSERT_TRUE(doc.setXmlSourceString(kGame));
        files.resetHistory();
        std::vector<std::string> texts{text()};
        for (int op = 0; op < 25; ++op) {
            std::vector<pugi::xml_node> nodes = allElements();
            nodes.push_back(doc.root());
            pugi::xml_node a = nodes[static_cast<size_t>(pick(static_cast<int>(nodes.size())))];
            pugi::xml_node b = nodes[static_cast<size_t>(pick(static_cast<int>(nodes.size())))];
            const size_t before = files.undoStepCount();
            switch (pick(7)) {
            case 0: files.appendChild(a, "Box"); break;
            case 1: files.setAttribute(a, ("k" + std::to_string(pick(3))).c_str(), pick(100)); break;
            case 2: files.removeAttribute(a, "name"); break;
            case 3: if (b != doc.root()) files.removeChild(b.parent(), b); break;
            case 4: files.appendMove(a, b); break;
            case 5:  // copies are kept small so that the document cannot grow without bound
                if (b != doc.root() && a != doc.root() && nodes.size() < 200)
                    files.insertCopyAfter(b.parent(), a, b);
                break;
            case 6: if (b != doc.root()) files.prependMove(b.parent(), b); break;
            }
            files.update();  // each edit in its own frame, so no two of them join
            if (files.undoStepCount() != before)
                texts.push_back(text());
            else
                ASSERT_EQ(text(), texts.back()) << "an edit changed the document without a step";
        }
        for (size_t i = texts.size() - 1; i > 0; --i) {
            files.undo();
            ASSERT_EQ(text(), texts[i - 1]) << "round " << round << " undo to " << i - 1;
        }
        for (size_t i = 1; i < texts.size(); ++i) {
            files.redo();
            ASSERT_EQ(text(), texts[i]) << "round " << round << " redo to " << i;
        }
    }
}

TEST_F(SourceFilesTest, TypingIntoOneAttributeFoldsIntoOneStep) {
    const std::string original = text();
    pugi::xml_node crate = level().child("Box");
    for (const char* v : {"C", "Cr", "Cra", "Crat", "Crate2"}) {
        files.setAttribute(crate, "name", v);
        files.update();  // the user types one character per frame
    }
    EXPECT_EQ(files.undoStepCount(), 1u);
    for (float x = 1.5f; x < 10.0f; x += 0.5f)
        files.setAttribute(crate, "x", x);  // a slider drag
    EXPECT_EQ(files.undoStepCount(), 2u);
    EXPECT_STREQ(crate.attribute("x").value(), "9.5");
    files.setAttribute(crate, "name", "Again");  // another attribute came between: a new run
    EXPECT_EQ(files.undoStepCount(), 3u);

    files.undo();
    EXPECT_STREQ(level().child("Box").attribute("name").value(), "Crate2");
    files.undo();
    EXPECT_STREQ(level().child("Box").attribute("x").value(), "1");
    files.undo();
    EXPECT_EQ(text(), original);

    // Writing the value an attribute already has records nothing.
    files.setAttribute(level().child("Box"), "name", "Crate");
    EXPECT_FALSE(files.canUndo());
}

TEST_F(SourceFilesTest, CreatingAndFillingABlockInOneFrameIsOneStep) {
    const std::string original = text();
    pugi::xml_node box = files.appendChild(level(), "Box");
    files.setAttribute(box, "name", files.getNextAutoName("Box"));
    files.setAttribute(box, "x", 2.5f);
    files.setAttribute(box, "id", 424242);  // ids are not part of the history
    files.updateNodeGuid(box, true);
    EXPECT_EQ(files.undoStepCount(), 1u);
    files.update();
    files.setAttribute(level().last_child(), "name", "Renamed");  // a later frame: its own step
    EXPECT_EQ(files.undoStepCount(), 2u);
    files.undo();
    EXPECT_STREQ(level().last_child().attribute("name").value(), "Box1");
    files.undo();
    EXPECT_EQ(text(), original);
}

TEST_F(SourceFilesTest, EditGroupsMakeOneStep) {
    const std::string original = text();
    files.beginEditGroup();
    files.beginEditGroup();
    for (int i = 0; i < 5; ++i)
        files.setAttribute(files.appendChild(level(), "Box"), "x", i);
    files.endEditGroup();
    files.removeChild(level(), level().child("Sphere"));
    files.endEditGroup();
    EXPECT_EQ(files.undoStepCount(), 1u);
    files.undo();
    EXPECT_EQ(text(), original);
}

TEST_F(SourceFilesTest, ReplacingTheDocumentIsUndoableAndCostsOnlyTheDifference) {
    const std::string original = text();
    std::string edited = original;
    edited.replace(edited.find("Ball"), 4, "Bowl");
    ASSERT_TRUE(doc.setXmlSourceString(edited));  // what an agent's edit does
    EXPECT_TRUE(files.canUndo());
    files.update();
    EXPECT_LT(files.historyMemoryBytes(), 1024u);

    // The editor answers a snapshot by reloading it, which must not become a new step.
    int applied = 0;
    files.setOnSnapshotApplied([&](const std::string& xml) {
        ++applied;
        return doc.setXmlSourceString(xml);
    });
    files.undo();
    EXPECT_EQ(applied, 1);
    EXPECT_EQ(text(), original);
    EXPECT_TRUE(files.canRedo());
    files.redo();
    EXPECT_EQ(applied, 2);
    EXPECT_NE(text().find("Bowl"), std::string::npos);
    EXPECT_FALSE(files.canRedo());

    // Two replacements in a row are two steps.
    ASSERT_TRUE(doc.setXmlSourceString("<KiteBench3D><Level name=\"X\"/></KiteBench3D>"));
    ASSERT_TRUE(doc.setXmlSourceString("<Other/>"));
    files.undo();
    EXPECT_NE(text().find("Level name=\"X\""), std::string::npos);
    files.undo();
    EXPECT_NE(text().find("Bowl"), std::string::npos);
}

TEST_F(SourceFilesTest, UndoAndRedoThatTheEditorRefusesChangeNothing) {
    test::TestDataRoot dataRoot;
    files.setAttribute(level().child("Box"), "x", "5");
    files.removeChild(level(), level().child("Sphere"));
    files.update();
    files.setAutoSaveEnabled(true);
    files.autoSaver().setDelays(std::chrono::seconds(0), std::chrono::seconds(0));
    int heard = 0;
    LmdSubscription listening = files.subscribeChanges([&](const LmdDocumentChange&) { ++heard; });
    const std::string edited = text();
    const int version = doc.getSourceVersion();

    // The load is refused (an agent's key), or fails with an exception: each time the document,
    // its version, the history and the backup stay as they were, and nobody hears of a change.
    bool refuse = true;
    files.setOnSnapshotApplied([&](const std::string& xml) {
        if (refuse)
            return false;
        throw std::runtime_error("the scene could not be rebuilt from " + std::to_string(xml.size()) + " bytes");
    });
    for (int attempt = 0; attempt < 2; ++attempt) {
        files.undo();
        EXPECT_EQ(text(), edited);
        EXPECT_EQ(doc.getSourceVersion(), version);
        EXPECT_EQ(files.undoStepCount(), 2u);
        EXPECT_FALSE(files.canRedo());
        refuse = false;
        EXPECT_THROW(files.undo(), std::runtime_error);
        EXPECT_EQ(text(), edited);
        EXPECT_EQ(files.undoStepCount(), 2u);
        refuse = true;
    }
    EXPECT_EQ(heard, 0);
    files.update();
    files.flushAutoSave();
    EXPECT_FALSE(files.autoBackupExists());

    // Taken: the removal is undone; a refused redo then keeps it undone and redoable.
    files.setOnSnapshotApplied([&](const std::string& xml) { return doc.setXmlSourceString(xml); });
    files.undo();
    ASSERT_TRUE(level().child("Sphere"));
    const std::string undone = text();
    files.setOnSnapshotApplied([](const std::string&) { return false; });
    files.redo();
    EXPECT_EQ(text(), undone);
    EXPECT_TRUE(files.canRedo());
    EXPECT_EQ(files.undoStepCount(), 1u);
    files.setOnSnapshotApplied([&](const std::string& xml) { return doc.setXmlSourceString(xml); });
    files.redo();
    EXPECT_EQ(text(), edited);
    files.clearAutoBackup();
}

TEST_F(SourceFilesTest, TheSameGameLoadedAgainIsNoChangeButANewTree) {
    test::TestDataRoot dataRoot;
    files.setAutoSaveEnabled(true);
    files.autoSaver().setDelays(std::chrono::seconds(0), std::chrono::seconds(0));
    int replaced = 0;
    LmdSubscription listening = files.subscribeChanges([&](const LmdDocumentChange& change) {
        replaced += change.kind == LmdDocumentChange::Kind::Replaced ? 1 : 0;
    });
    // The stored form again, with other white space and with ids: the same game.
    ASSERT_TRUE(doc.setXmlSourceString(doc.getSourceXmlString(false, true)));
    ASSERT_TRUE(doc.setXmlSourceString(doc.getSourceXmlString(true, false)));
    EXPECT_EQ(replaced, 2);  // the node handles died all the same
    EXPECT_FALSE(files.canUndo());
    files.update();
    files.flushAutoSave();
    EXPECT_FALSE(files.autoBackupExists());

    // An agent's real edit followed by the same text again is one step, and backed up.
    std::string edited = text();
    edited.replace(edited.find("Ball"), 4, "Bowl");
    ASSERT_TRUE(doc.setXmlSourceString(edited));
    ASSERT_TRUE(doc.setXmlSourceString(edited));
    files.update();
    files.flushAutoSave();
    EXPECT_EQ(files.undoStepCount(), 1u);
    EXPECT_TRUE(files.autoBackupExists());
    files.clearAutoBackup();
}

TEST_F(SourceFilesTest, ANewProjectIdentityIsAChangeButNoUndoStep) {
    test::TestDataRoot dataRoot;
    std::string edited = text();
    edited.replace(edited.find("Ball"), 4, "Bowl");
    ASSERT_TRUE(doc.setXmlSourceString(edited));  // an agent's edit, not folded yet
    files.setAutoSaveEnabled(true);
    files.autoSaver().setDelays(std::chrono::seconds(0), std::chrono::seconds(0));
    int heard = 0;
    LmdSubscription listening = files.subscribeChanges([&](const LmdDocumentChange&) { ++heard; });

    files.regenerateProjectGuid();
    const std::string identity = doc.root().attribute("guidId").value();
    ASSERT_EQ(identity.size(), 36u);
    EXPECT_EQ(heard, 1);
    EXPECT_EQ(files.undoStepCount(), 1u);  // the agent's edit, nothing more
    files.update();
    files.flushAutoSave();
    ASSERT_TRUE(files.autoBackupExists());
    EXPECT_NE(files.loadAutoBackup()->xml.find(identity), std::string::npos);

    // Undoing the agent's edit keeps the identity: it was not part of that step.
    files.setOnSnapshotApplied([&](const std::string& xml) { return doc.setXmlSourceString(xml); });
    files.undo();
    EXPECT_NE(text().find("Ball"), std::string::npos);
    EXPECT_EQ(doc.root().attribute("guidId").value(), identity);
    EXPECT_FALSE(files.canUndo());
    files.clearAutoBackup();
}

TEST_F(SourceFilesTest, ResetHistoryForgetsEverything) {
    files.appendChild(level(), "Box");
    ASSERT_TRUE(doc.setXmlSourceString(kGame));
    files.resetHistory();  // a different project was loaded
    EXPECT_FALSE(files.canUndo());
    const std::string loaded = text();
    files.undo();
    EXPECT_EQ(text(), loaded);
}

TEST_F(SourceFilesTest, RegistryFollowsRemovalAndUndo) {
    pugi::xml_node ball = level().child("Sphere");
    const int id = ball.attribute("id").as_int();
    ASSERT_TRUE(doc.getXmlNodeById(id));
    files.removeChild(level(), ball);
    EXPECT_FALSE(doc.getXmlNodeById(id));
    files.undo();  // without an editor attached the service restores the live document itself
    pugi::xml_node restored = level().child("Sphere");
    ASSERT_TRUE(restored);
    EXPECT_EQ(doc.getXmlNodeById(restored.attribute("id").as_int()), restored);
}

TEST_F(SourceFilesTest, NodesOfOtherDocumentsAreChangedButNotRecorded) {
    pugi::xml_document clipboard;
    pugi::xml_node copy = clipboard.append_child("Box");
    files.setAttribute(copy, "name", "Copied");
    files.appendChild(copy, "VertexList");
    EXPECT_FALSE(files.canUndo());
    EXPECT_STREQ(copy.attribute("name").value(), "Copied");
    // A copy from another document into the game is recorded.
    files.appendCopy(level(), copy);
    EXPECT_TRUE(files.canUndo());
    EXPECT_STREQ(level().last_child().attribute("name").value(), "Copied");
}

TEST_F(SourceFilesTest, RefusedEditsChangeNothing) {
    const std::string original = text();
    pugi::xml_node onStart = level().child("OnStart");
    EXPECT_FALSE(files.appendMove(onStart.first_child(), onStart));  // into its own subtree
    EXPECT_FALSE(files.insertMoveAfter(level(), onStart, doc.root().child("Level").next_sibling()));
    EXPECT_FALSE(files.appendChild(pugi::xml_node(), "Box"));
    files.removeChild(doc.root(), onStart);  // not its parent
    EXPECT_EQ(text(), original);
    EXPECT_FALSE(files.canUndo());
}

TEST_F(SourceFilesTest, UndoOfADocumentChangedBehindItsBackFailsSafely) {
    CriticalLines log;
    files.appendChild(doc.root().child("Level").next_sibling("Level"), "Cone");
    // Someone removes the level without the service: the recorded path no longer fits.
    doc.root().remove_child(doc.root().child("Level").next_sibling("Level"));
    const std::string now = text();
    files.undo();
    EXPECT_EQ(text(), now);
    EXPECT_FALSE(files.canUndo());
    ASSERT_EQ(log.lines.size(), 1u);
    EXPECT_NE(log.lines[0].find("Undo failed"), std::string::npos);
}

TEST_F(SourceFilesTest, NamesAndIdentities) {
    EXPECT_EQ(files.getNextAutoName("Box"), "Box1");
    files.setAttribute(files.appendChild(level(), "Box"), "name", "Box1");
    EXPECT_EQ(files.getNextAutoName("Box"), "Box2");
    EXPECT_EQ(files.getNextAutoName("Box1"), "Box2");
    EXPECT_EQ(files.getNextAutoName(""), "Object1");

    pugi::xml_node onStart = level().child("OnStart");
    files.updateNodeGuid(onStart, true);
    const std::string a = onStart.attribute("guidId").value();
    const std::string b = onStart.child("Set").attribute("guidId").value();
    EXPECT_EQ(a.size(), 36u);
    EXPECT_NE(a, b);
    files.updateNodeGuid(onStart, false);
    EXPECT_NE(onStart.attribute("guidId").value(), a);
    EXPECT_EQ(onStart.child("Set").attribute("guidId").value(), b);

    const int version = doc.getSourceVersion();
    files.regenerateProjectGuid();
    const std::string project = doc.root().attribute("guidId").value();
    files.regenerateProjectGuid();
    EXPECT_NE(doc.root().attribute("guidId").value(), project);
    EXPECT_GT(doc.getSourceVersion(), version);
}

TEST_F(SourceFilesTest, ValidityCheckChangesNothing) {
    const std::string original = text();
    EXPECT_TRUE(files.isXmlSourceStringValid("<KiteBench3D/>"));
    EXPECT_FALSE(files.isXmlSourceStringValid("<KiteBench3D>"));
    EXPECT_FALSE(files.isXmlSourceStringValid(""));
    EXPECT_EQ(text(), original);
    EXPECT_EQ(files.getMainSourceFileString(false, true), doc.getSourceXmlString(false, true));
}

TEST(LmdSourceFilesMemory, OneSmallEditOnALargeGameCostsUnderOnePercent) {
    std::string xml = "<KiteBench3D><Level name=\"Main\">";
    for (int i = 0; i < 10000; ++i)
        xml += "<Box name=\"Box" + std::to_string(i) + "\" x=\"" + std::to_string(i) +
               "\" y=\"0\" z=\"0\" color=\"#336699\" body=\"static\" mass=\"1\" />";
    xml += "</Level></KiteBench3D>";
    LmdGameDocument doc;
    ASSERT_TRUE(doc.setXmlSourceString(xml));
    LmdSourceFiles files;
    files.attachDocument(&doc);
    files.setHistoryEnabled(true);
    const size_t size = doc.getSourceXmlString(false, true).size();

    pugi::xml_node box = doc.root().child("Level").first_child();
    for (int i = 0; i < 5000; ++i)
        box = box.next_sibling();
    files.setAttribute(box, "x", 12.5f);
    EXPECT_LT(files.historyMemoryBytes(), size / 100);

    // The same holds for a whole-document replacement with one changed value.
    std::string edited = doc.getSourceXmlString(false, true);
    edited.replace(edited.find("Box7000\" x=\"7000\""), 17, "Box7000\" x=\"7001\"");
    ASSERT_TRUE(doc.setXmlSourceString(edited));
    files.update();
    EXPECT_LT(files.historyMemoryBytes(), size / 100);
}

TEST_F(SourceFilesTest, StructuralStepsHoldOnlyTheNodesTheyTouch) {
    for (int i = 0; i < 100; ++i)
        files.appendChild(level(), "Box");
    // A hundred appended boxes: each step holds one record (its paths and the text of an empty
    // element), not a writer buffer or a copy of the level.
    EXPECT_LT(files.historyMemoryBytes(), 100u * 600u);
}
