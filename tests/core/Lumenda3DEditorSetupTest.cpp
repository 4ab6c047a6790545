// The editor's interface when its setup goes wrong: a panel that cannot be set up is left out and
// named in the error dialog; when the panels cannot be made at all, a window of its own says why
// instead of a blank editor.
#include "HeadlessEditor.h"

#include <gtest/gtest.h>

#include <imgui_internal.h>

#include <stdexcept>

namespace Lumenda3D::test {
namespace {

class BrokenPanel : public BaseUI {
public:
    BrokenPanel() : BaseUI("aboutDialog") {}
    void init() override { throw std::runtime_error("the about text is missing"); }
};

class SetupEditor : public HeadlessEditor {
public:
    std::function<void(AllUI&)> extra;
    using Lumenda3DEditor::drawSetupFailure;

protected:
    void registerPanels(AllUI& ui) override {
        Lumenda3DEditor::registerPanels(ui);
        if (extra)
            extra(ui);
    }
};

class EditorSetupTest : public PanelTest {
protected:
    TestDataRoot dataRoot;
    LogCapture log;
    SetupEditor editor;
};

TEST_F(EditorSetupTest, APanelThatCannotBeSetUpIsLeftOutAndNamedInTheErrorDialog) {
    editor.extra = [](AllUI& ui) { ui.setElement("aboutDialog", std::make_shared<BrokenPanel>()); };
    editor.setupEditorUI();
    ASSERT_TRUE(editor.allUI);
    EXPECT_EQ(editor.allUI->getElementByName("aboutDialog"), nullptr);
    EXPECT_TRUE(editor.allUI->getPanel<TopBar>());
    auto errors = editor.allUI->getPanel<ErrorDialog>();
    ASSERT_TRUE(errors);
    EXPECT_TRUE(errors->isOpen());
    EXPECT_EQ(errors->getCurrentText(),
              "Part of the editor could not be set up and is left out:\naboutDialog: the about text is missing");
    EXPECT_TRUE(log.contains("Error in setup of panel aboutDialog: the about text is missing"));
}

TEST_F(EditorSetupTest, WhenThePanelsCannotBeMadeAWindowSaysWhyInsteadOfABlankEditor) {
    editor.extra = [](AllUI&) { throw std::runtime_error("no font atlas"); };
    editor.setupEditorUI();
    EXPECT_FALSE(editor.allUI);
    EXPECT_EQ(editor.getUiSetupFailure(), "no font atlas");
    EXPECT_TRUE(log.contains("Error in setupEditorUI: no font atlas"));

    ui.frame([&] { editor.drawSetupFailure(); });
    ui.frame([&] { editor.drawSetupFailure(); });
    ImGuiWindow* window = ImGui::FindWindowByName("Lumenda3D###setupFailure");
    ASSERT_NE(window, nullptr);
    EXPECT_TRUE(window->WasActive);
    // Its Quit button ends the editor.
    const ImVec2 quit(window->Pos.x + window->Size.x * 0.5f, window->Pos.y + window->Size.y - 12.0f);
    EXPECT_FALSE(editor.isStopRequested());
    for (float x = window->Pos.x + 12.0f; x < window->Pos.x + 80.0f && !editor.isStopRequested(); x += 8.0f)
        ui.click(x, quit.y, [&] { editor.drawSetupFailure(); });
    EXPECT_TRUE(editor.isStopRequested());
}

} // namespace
} // namespace Lumenda3D::test
