// The source editor: typing edits the text the editor reads back, the changed mark, the XML
// check and Revert, and text set while the user is typing.
#include "PanelTestSupport.h"

#include "chrome/SourceEditor.h"

#include <gtest/gtest.h>

using namespace Lumenda3D;
using Lumenda3D::test::PanelTest;

namespace {

class SourceEditorTest : public PanelTest {
protected:
    SourceEditor editor;
    std::function<void()> draw = [this] { editor.draw(); };
    const std::string game = "<KiteBench3D>\n  <Level name=\"one\"/>\n</KiteBench3D>";
};

TEST_F(SourceEditorTest, TypingChangesTheTextAndTheMarkUntilReverted) {
    editor.setText(game);
    EXPECT_FALSE(editor.isModified());
    EXPECT_EQ(editor.getLineCount(), 3);
    EXPECT_TRUE(editor.getXmlError().empty());

    clickItem(editor, SourceEditor::kTextLabel, draw);  // below the text: the cursor goes to its end
    ui.type("\n<!-- x -->");
    ui.frame(draw);
    EXPECT_EQ(editor.getText(), game + "\n<!-- x -->");
    EXPECT_TRUE(editor.isModified());
    EXPECT_EQ(editor.getLineCount(), 4);
    ui.type("\n<Level>");
    ui.frame(draw);
    EXPECT_EQ(editor.getXmlError().rfind("Line 5: ", 0), 0u) << editor.getXmlError();

    clickItem(editor, SourceEditor::kRevertLabel, draw);
    EXPECT_EQ(editor.getText(), game);
    EXPECT_FALSE(editor.isModified());
    EXPECT_TRUE(editor.getXmlError().empty());
    // Typing after the revert goes into the reverted text, not into the field's old copy.
    clickItem(editor, SourceEditor::kTextLabel, draw);
    ui.type(" ");
    ui.frame(draw);
    EXPECT_EQ(editor.getText(), game + " ");
}

TEST_F(SourceEditorTest, TextSetWhileTheUserTypesReplacesTheFieldsCopy) {
    editor.setText("<A/>");
    clickItem(editor, SourceEditor::kTextLabel, draw);
    ui.type("x");
    ui.frame(draw);
    ASSERT_EQ(editor.getText(), "<A/>x");

    editor.setText(game);  // e.g. Paste from the Edit menu
    ui.frame(draw);
    ui.frame(draw);
    EXPECT_EQ(editor.getText(), game);
    EXPECT_FALSE(editor.isModified());
    // The field keeps the focus: what is typed next goes into the new text.
    ui.type("y");
    ui.frame(draw);
    std::string text = editor.getText();
    ASSERT_EQ(text.size(), game.size() + 1);
    text.erase(text.find('y'), 1);
    EXPECT_EQ(text, game);
}

} // namespace
