// The AI settings dialog: keys saved, tested and removed, base URLs, the model, the order.
#include "AiTestSupport.h"
#include "PanelTestSupport.h"
#include "ai/AISettingsDialog.h"
#include "ui/AllUI.h"

namespace Lumenda3D::test {
namespace {

class SettingsDialogTest : public AiServiceTest {
protected:
    SettingsDialogTest() {
        BaseUI::setDpiScale(1.0f);
        BaseUI::setMobileMode(false);
        all->setElement(AISettingsDialog::kName, dialog);
        all->initPanels();
        dialog->show();
    }
    ImGuiHarness ui;
    std::shared_ptr<AllUI> all = std::make_shared<AllUI>();
    std::shared_ptr<AISettingsDialog> dialog = std::make_shared<AISettingsDialog>();
    std::function<void()> draw = [this] { all->draw(); };
};

TEST_F(SettingsDialogTest, KeysUrlsModelsAndOrderAreKeptAcrossARestart) {
    EXPECT_EQ(dialog->draft("openai").baseUrl, "https://api.openai.com/v1");
    dialog->draft("openai").key = "  sk-abc 123\n";
    dialog->draft("openai").model = "gpt-4.1-mini";
    dialog->saveProvider("openai");
    EXPECT_EQ(dialog->draft("openai").status, "Saved.");
    EXPECT_EQ(dialog->draft("openai").key, "");
    dialog->draft("compatible").baseUrl = "http://localhost:11434/v1/";
    dialog->saveProvider("compatible");
    dialog->moveProvider("compatible", -1);
    dialog->moveProvider("openai", -1);   // already first: nothing moves
    EditorSettings::reloadForTesting();
    EXPECT_EQ(AiProviderSettings::key("openai"), "sk-abc123");
    EXPECT_EQ(AiProviderSettings::model("openai"), "gpt-4.1-mini");
    EXPECT_EQ(AiProviderSettings::baseUrl("openai"), "https://api.openai.com/v1");
    EXPECT_EQ(AiProviderSettings::baseUrl("compatible"), "http://localhost:11434/v1");
    EXPECT_EQ(AiProviderSettings::order(), (std::vector<std::string>{"openai", "anthropic", "compatible", "gemini"}));
    EXPECT_EQ(AIChatService::getInstance().configuredProviders(), (std::vector<std::string>{"openai", "compatible"}));

    dialog->removeKey("openai");
    EXPECT_FALSE(AiProviderSettings::hasKey("openai"));
    EXPECT_EQ(dialog->draft("openai").status, "Key removed.");
}

TEST_F(SettingsDialogTest, TestConnectionMakesOneRequestWithWhatIsTyped) {
    ProviderStandIn anthropic("anthropic");
    anthropic.script({anthropic.answer("OK")});
    dialog->draft("anthropic").key = "typed-key";
    dialog->draft("anthropic").baseUrl = anthropic.baseUrl();
    ui.frame(draw);
    ui.frame(draw);
    const ImVec2 test = dialog->getItemCenter("Test connection##anthropic");
    ASSERT_GE(test.x, 0.0f);
    ui.click(test.x, test.y, draw);
    EXPECT_EQ(dialog->draft("anthropic").status, "Testing…");
    ASSERT_TRUE(pumpUntil([this] { return !dialog->draft("anthropic").testing; }));
    EXPECT_TRUE(dialog->draft("anthropic").statusOk);
    EXPECT_EQ(dialog->draft("anthropic").status, "Connected to Anthropic (claude-sonnet-4-5). The model answered: \"OK\"");
    ASSERT_EQ(anthropic.received().size(), 1u);
    EXPECT_EQ(anthropic.received()[0].headers.find("x-api-key")->second, "typed-key");
    // Testing stores nothing.
    EXPECT_FALSE(AiProviderSettings::hasKey("anthropic"));
}

} // namespace
} // namespace Lumenda3D::test
