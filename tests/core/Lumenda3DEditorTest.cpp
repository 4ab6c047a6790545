// The editor object's own commands, without a window: loading documents, the Scene/Source tabs,
// copy and paste of scene objects and of the source text, undo and redo through the document
// service's snapshot callback, the undo keys, and the guard against an agent's synthetic input.
#include "HeadlessEditor.h"

#include "engine/scene/LmdBase3D.h"
#include "engine/scene/LmdSceneDescription.h"
#include "ui/ClipboardUtils.h"

#include <gtest/gtest.h>

#include <set>

using namespace Lumenda3D;
using Lumenda3D::test::EditorTest;
using Lumenda3D::test::HeadlessEditor;
using Lumenda3D::test::LogCapture;

namespace {

OgreBites::KeyboardEvent keyDown(int sym, unsigned short mod) {
    OgreBites::KeyboardEvent evt{};
    evt.type = OgreBites::KEYDOWN;
    evt.keysym.sym = sym;
    evt.keysym.mod = mod;
    return evt;
}

constexpr unsigned short kLeftCtrl = 0x0040;
constexpr unsigned short kRightCtrl = 0x0080;
constexpr unsigned short kLeftShift = 0x0001;

// A scene object for the element with that id (no OGRE nodes without a window).
std::unique_ptr<LmdBase3D> objectFor(const pugi::xml_node& node) {
    LmdObjectDesc desc;
    desc.xmlId = node.attribute("id").as_int();
    desc.name = node.attribute("name").value();
    return std::make_unique<LmdBase3D>(desc, nullptr, nullptr);
}

// Every id of the subtree, parents first.
void collectIds(const pugi::xml_node& node, std::vector<int>& ids) {
    ids.push_back(node.attribute("id").as_int());
    for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling())
        if (child.type() == pugi::node_element)
            collectIds(child, ids);
}

TEST(Lumenda3DEditorInstance, ASecondEditorIsRefusedAndLeavesTheFirstAlone) {
    Lumenda3D::test::TestDataRoot root;
    HeadlessEditor first;
    EXPECT_EQ(Lumenda3DEditor::editorInstance, &first);
    try {
        HeadlessEditor second;
        FAIL() << "a second editor was made";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "Only one instance of Lumenda3DEditor is allowed");
    }
    EXPECT_EQ(Lumenda3DEditor::editorInstance, &first);
    EXPECT_EQ(first.sourceFiles->getDocument(), &first.getDocument());
}

// --- Loading -----------------------------------------------------------------------------------

TEST_F(EditorTest, BadTextChangesNothingAndKeepsTheHistory) {
    ASSERT_TRUE(editor->loadScript(kGame, false));
    files().setAttribute(named("Crate"), "x", "9");
    files().update();
    const std::string before = editor->getSourceXmlString(true, false);  // ids show a reload
    const size_t steps = files().undoStepCount();
    ASSERT_EQ(steps, 1u);

    EXPECT_FALSE(editor->loadScript("<KiteBench3D><Level name=\"Main\">", false));
    EXPECT_EQ(errorText(), "Invalid XML");
    EXPECT_EQ(editor->getSourceXmlString(true, false), before);
    EXPECT_EQ(files().undoStepCount(), steps);
    EXPECT_TRUE(files().canUndo());
}

TEST_F(EditorTest, OnlyALoadedProjectStartsTheHistoryAfresh) {
    ASSERT_TRUE(editor->loadScript(kGame, false));
    files().setAttribute(named("Crate"), "x", "9");
    files().update();
    // An edit of the open game (preserveView) keeps what can be undone, and is undoable itself.
    std::string edited = editor->getSourceXmlString(false, true);
    edited.replace(edited.find("Ball"), 4, "Bowl");
    ASSERT_TRUE(editor->applyAiEditedXml(edited));
    files().update();
    EXPECT_EQ(files().undoStepCount(), 2u);
    editor->doUndo();
    EXPECT_TRUE(named("Ball"));
    EXPECT_STREQ(named("Crate").attribute("x").value(), "9");

    EXPECT_FALSE(editor->applyAiEditedXml(""));
    ASSERT_TRUE(editor->loadScript(kGame, false));
    EXPECT_FALSE(files().canUndo());
    EXPECT_FALSE(files().canRedo());
}

// --- Undo and redo -----------------------------------------------------------------------------

TEST_F(EditorTest, UndoAndRedoReachTheEditorThroughTheSnapshotCallback) {
    ASSERT_TRUE(editor->loadScript(kGame, false));
    files().setAttribute(named("Crate"), "x", "5");
    files().update();
    const int idBefore = named("Crate").attribute("id").as_int();

    editor->doUndo();
    // The service handed the text back and the editor loaded it: fresh ids, the old value, and
    // the redo step still there (the reload kept the history).
    EXPECT_STREQ(named("Crate").attribute("x").value(), "1");
    EXPECT_NE(named("Crate").attribute("id").as_int(), idBefore);
    EXPECT_TRUE(files().canRedo());

    editor->doRedo();
    EXPECT_STREQ(named("Crate").attribute("x").value(), "5");
    EXPECT_TRUE(files().canUndo());
    EXPECT_FALSE(files().canRedo());
}

TEST_F(EditorTest, UndoKeysAreRoutedAndOtherKeysAreNot) {
    ASSERT_TRUE(editor->loadScript(kGame, false));
    auto edit = [&](const char* value) {
        files().setAttribute(named("Ball"), "x", value);
        files().update();
    };
    auto x = [&] { return std::string(named("Ball").attribute("x").value()); };
    edit("5");
    edit("6");  // a run on the same attribute folds into one step; the next frame ends it
    files().update();
    files().setAttribute(named("Ball"), "y", "1");
    files().update();

    EXPECT_TRUE(editor->keyPressed(keyDown('z', kLeftCtrl)));   // undo y
    EXPECT_STREQ(named("Ball").attribute("y").value(), "");
    EXPECT_TRUE(editor->keyPressed(keyDown('z', kRightCtrl)));  // undo x, either Ctrl key
    EXPECT_EQ(x(), "4");
    EXPECT_TRUE(editor->keyPressed(keyDown('y', kLeftCtrl)));   // redo
    EXPECT_EQ(x(), "6");
    EXPECT_TRUE(editor->keyPressed(keyDown('z', kLeftCtrl)));
    EXPECT_TRUE(editor->keyPressed(keyDown('z', kLeftCtrl | kLeftShift)));  // Ctrl+Shift+Z redoes
    EXPECT_EQ(x(), "6");
    EXPECT_TRUE(editor->keyPressed(keyDown('Y', kLeftCtrl | kLeftShift)));  // Shift ignored for Y
    EXPECT_STREQ(named("Ball").attribute("y").value(), "1");

    // Not undo keys: the shortcut leaves them to the engine.
    EXPECT_FALSE(editor->handleUndoRedoShortcut(keyDown('z', 0)));
    EXPECT_FALSE(editor->handleUndoRedoShortcut(keyDown('a', kLeftCtrl)));
    EXPECT_FALSE(editor->handleCtrlVPaste(keyDown('v', kLeftCtrl)));
    editor->keyPressed(keyDown('z', 0));
    EXPECT_STREQ(named("Ball").attribute("y").value(), "1");
}

// --- Tabs ----------------------------------------------------------------------------------------

TEST_F(EditorTest, SourceTabShowsTheStoredTextAndBadTextKeepsItInFront) {
    ASSERT_TRUE(editor->loadScript(kGame, false));
    auto tabs = editor->allUI->getPanel<Tabs>();
    tabs->setTabOnChangeCallback([this](const std::string& tab) { return editor->onTabChange(tab); });

    ASSERT_TRUE(tabs->selectTab(Tabs::kSource));
    EXPECT_FALSE(editor->isEditMode);
    const std::string shown = editor->allUI->getPanel<SourceEditor>()->getText();
    EXPECT_EQ(shown, editor->getSourceXmlString(false, true));

    editor->allUI->getPanel<SourceEditor>()->setText("<KiteBench3D><Level name=\"Main\">");
    EXPECT_FALSE(tabs->selectTab(Tabs::kScene));
    EXPECT_EQ(tabs->getCurrentTab(), Tabs::kSource);
    EXPECT_EQ(errorText(), "Invalid XML");
    EXPECT_TRUE(editor->isEditMode);  // set before the text was tried, and left so
    EXPECT_TRUE(named("Crate"));

    std::string fixed = shown;
    fixed.replace(fixed.find("Crate"), 5, "Chest");
    editor->allUI->getPanel<SourceEditor>()->setText(fixed);
    EXPECT_TRUE(tabs->selectTab(Tabs::kScene));
    EXPECT_TRUE(named("Chest"));
    EXPECT_FALSE(named("Crate"));

    EXPECT_TRUE(editor->onTabChange("Assets"));  // a tab the editor does not know: allowed, no change
    EXPECT_TRUE(editor->isEditMode);
}

// --- Copy and paste ------------------------------------------------------------------------------

TEST_F(EditorTest, CopyAndPasteTellWhatIsMissing) {
    ASSERT_TRUE(editor->loadScript(kGame, false));
    editor->editorPaste(true, false, ImVec2(0, 0));
    EXPECT_EQ(takeError(), "No copied node");

    editor->editorCopy(true);
    EXPECT_EQ(takeError(), "No object selected");

    // An object whose element is gone.
    pugi::xml_node ball = named("Ball");
    auto orphan = objectFor(ball);
    files().removeChild(ball.parent(), ball);
    editor->setSelectedObject(orphan.get());
    editor->editorCopy(true);
    EXPECT_EQ(errorText(), "No node found for the selected object");
    EXPECT_FALSE(editor->copiedNode);
    editor->clearSelectedObjects();
}

TEST_F(EditorTest, PastedCopiesGetNewIdsAtEveryDepthAndSurviveTheOriginal) {
    ASSERT_TRUE(editor->loadScript(kGame, false));
    pugi::xml_node crate = named("Crate");
    auto object = objectFor(crate);
    editor->setSelectedObject(object.get());
    editor->editorCopy(true);
    ASSERT_TRUE(editor->copiedNode);
    EXPECT_EQ(editor->getSelectedObject(), nullptr);  // the gizmo lets go of the copied object

    // The original goes; the copy lives in its own document.
    files().removeChild(crate.parent(), crate);
    files().update();
    editor->editorPaste(true, false, ImVec2(640, 400));
    files().update();
    editor->editorPaste(true, false, ImVec2(640, 400));
    files().update();
    ASSERT_EQ(countNamed("Crate"), 2);

    std::vector<int> ids;
    std::set<std::string> guids;
    for (const pugi::xpath_node& hit : editor->getSourceXml()->select_nodes("//Box[@name='Crate']")) {
        const pugi::xml_node copy = hit.node();
        collectIds(copy, ids);
        guids.insert(copy.attribute("guidId").value());
        EXPECT_STREQ(copy.attribute("x").value(), "0");  // no window: the screen maps to the origin
        EXPECT_TRUE(copy.child("OnUpdate").child("Rotate"));
    }
    ASSERT_EQ(ids.size(), 6u);
    EXPECT_EQ(std::set<int>(ids.begin(), ids.end()).size(), ids.size());
    EXPECT_EQ(guids.size(), 2u);
    EXPECT_FALSE(guids.count(""));
    for (int id : ids)
        EXPECT_TRUE(editor->getXmlNodeById(id)) << "id " << id << " is not registered";

    // One paste is one undo step.
    editor->doUndo();
    EXPECT_EQ(countNamed("Crate"), 1);
}

TEST_F(EditorTest, CtrlCAndCtrlVCopyAndPasteTheSelectedObjectInTheEditScene) {
    ASSERT_TRUE(editor->loadScript(kGame, false));
    // Nothing selected, nothing copied: the keys are taken (they are the commands' shortcuts) and
    // do nothing, without an error dialog for a stray key.
    EXPECT_TRUE(editor->keyPressed(keyDown('c', kLeftCtrl)));
    EXPECT_TRUE(editor->keyPressed(keyDown('v', kLeftCtrl)));
    EXPECT_FALSE(editor->allUI->getPanel<ErrorDialog>()->isOpen());
    EXPECT_EQ(countNamed("Crate"), 1);

    auto crate = objectFor(named("Crate"));
    editor->setSelectedObject(crate.get());
    EXPECT_TRUE(editor->commands.isEnabled(Lumenda3DEditor::kCopyObjectCommand));
    EXPECT_TRUE(editor->keyPressed(keyDown('c', kLeftCtrl)));
    ASSERT_TRUE(editor->copiedNode);
    EXPECT_EQ(editor->getSelectedObject(), nullptr);
    EXPECT_TRUE(editor->keyPressed(keyDown('V', kRightCtrl)));
    files().update();
    EXPECT_EQ(countNamed("Crate"), 2);

    // The Source tab owns the keys for its text: no object is pasted behind it.
    ASSERT_TRUE(editor->onTabChange(Tabs::kSource));
    EXPECT_FALSE(editor->commands.isEnabled(Lumenda3DEditor::kPasteObjectCommand));
    editor->keyPressed(keyDown('v', kLeftCtrl));
    ASSERT_TRUE(editor->onTabChange(Tabs::kScene));
    EXPECT_EQ(countNamed("Crate"), 2);
    // Back in the scene the copy is still there to paste, and an undo takes one paste back.
    EXPECT_TRUE(editor->keyPressed(keyDown('v', kLeftCtrl)));
    files().update();
    EXPECT_EQ(countNamed("Crate"), 3);
    editor->doUndo();
    EXPECT_EQ(countNamed("Crate"), 2);
}

TEST_F(EditorTest, PasteAsChildGoesUnderTheSelectionAtItsOrigin) {
    ASSERT_TRUE(editor->loadScript(kGame, false));
    auto crate = objectFor(named("Crate"));
    editor->setSelectedObject(crate.get());
    editor->editorCopy(true);
    auto ball = objectFor(named("Ball"));
    editor->setSelectedObject(ball.get());
    editor->editorPaste(true, true, ImVec2(100, 100));
    const pugi::xml_node pasted = named("Ball").child("Box");
    ASSERT_TRUE(pasted);
    EXPECT_STREQ(pasted.attribute("name").value(), "Crate");
    EXPECT_STREQ(pasted.attribute("y").value(), "0");
    editor->clearSelectedObjects();
}

TEST_F(EditorTest, SourceTextCopyAndPasteGoThroughTheClipboard) {
    auto source = editor->allUI->getPanel<SourceEditor>();
    source->setText("<KiteBench3D/>");
    editor->editorCopy(false);
    EXPECT_EQ(editor->clipboard->getText(), "<KiteBench3D/>");
    source->setText("something else");
    editor->editorPaste(false, false, ImVec2(0, 0));
    EXPECT_EQ(source->getText(), "<KiteBench3D/>");  // the whole text is replaced
}

// --- Blocks ----------------------------------------------------------------------------------------

TEST_F(EditorTest, CreateBlockAddsToTheCurrentLevelAsOneStep) {
    ASSERT_TRUE(editor->loadScript(kGame, false));
    editor->setLevel("Main");
    const std::string id = editor->createBlock("Cone", {{"name", "Hat"}, {"y", "2"}});
    ASSERT_FALSE(id.empty());
    const pugi::xml_node node = editor->getXmlNodeById(std::stoi(id));
    ASSERT_TRUE(node);
    EXPECT_STREQ(node.parent().attribute("name").value(), "Main");
    EXPECT_STREQ(node.attribute("y").value(), "2");
    files().update();
    editor->doUndo();
    EXPECT_FALSE(named("Hat"));

    // No current level: the root takes it.
    editor->setLevel("");
    const std::string rootId = editor->createBlock("Var", {{"name", "lives"}});
    EXPECT_EQ(editor->getXmlNodeById(std::stoi(rootId)).parent(), root());
}

// --- The agent guard -----------------------------------------------------------------------------

TEST_F(EditorTest, AnAgentsUndoAndRedoKeysAreRefusedAndChangeNothing) {
    ASSERT_TRUE(editor->loadScript(kGame, false));
    files().setAttribute(named("Crate"), "x", "5");
    files().update();
    // A person's call is not guarded.
    EXPECT_FALSE(editor->isAgentDrivenAction("run the game"));
    EXPECT_TRUE(toasts().empty());
    const std::string edited = editor->getSourceXmlString(true, false);  // ids show a reload
    const int version = editor->getSourceVersion();

    LogCapture log;
    editor->enableInputSimulation(true);
    std::string error;
    ASSERT_TRUE(editor->queueSyntheticKeys({"ctrl", "z"}, 0.1f, error)) << error;
    editor->step();  // the keys go down while the synthetic depth is raised
    const std::string blocked = "Blocked agent-driven UI action: load project "
                                "(agents must use dedicated MCP tools; UI menus are user-only)";
    EXPECT_TRUE(log.contains(blocked));
    ASSERT_EQ(toasts().size(), 1u);
    EXPECT_EQ(toasts().front(), "Agent action blocked: load project");
    editor->cancelSyntheticInput();
    // Refused means untouched: the same document (not even reloaded), the same history.
    EXPECT_EQ(editor->getSourceXmlString(true, false), edited);
    EXPECT_EQ(editor->getSourceVersion(), version);
    EXPECT_EQ(files().undoStepCount(), 1u);
    EXPECT_FALSE(files().canRedo());

    // A person's undo then works, and an agent's redo is refused the same way.
    editor->doUndo();
    EXPECT_STREQ(named("Crate").attribute("x").value(), "1");
    const std::string undone = editor->getSourceXmlString(true, false);
    ASSERT_TRUE(editor->queueSyntheticKeys({"ctrl", "y"}, 0.1f, error)) << error;
    editor->step();
    editor->cancelSyntheticInput();
    EXPECT_EQ(editor->getSourceXmlString(true, false), undone);
    EXPECT_TRUE(files().canRedo());
}

// The pink mark of an agent's last click belongs to the scene it was made on.
TEST_F(EditorTest, TheMarkOfASyntheticClickGoesWithANewDocument) {
    ASSERT_TRUE(editor->loadScript(kGame, false));
    editor->enableInputSimulation(true);
    std::string error;
    ASSERT_TRUE(editor->queueSyntheticClick(300, 300, OgreBites::BUTTON_LEFT, 0.0f, error)) << error;
    for (int i = 0; i < 5 && editor->isSyntheticInputActive(); ++i)
        editor->step();
    ASSERT_TRUE(editor->getSyntheticInput().hasCrosshair());
    ASSERT_TRUE(editor->loadScript(kGame, false));
    EXPECT_FALSE(editor->getSyntheticInput().hasCrosshair());
}

} // namespace
