// The chat panel with the real AIChatService, a real HTTP client and loopback provider stand-ins:
// replies applied, repaired, refused, retried, merged with the user's concurrent edits.
#include "AiTestSupport.h"
#include "PanelTestSupport.h"
#include "ai/AIChatPanel.h"
#include "ai/AISettingsDialog.h"
#include "ai/AiPanels.h"
#include "ai/MergeConflictDialog.h"
#include "engine/document/LmdGameDocument.h"
#include "ui/AllUI.h"

namespace Lumenda3D::test {
namespace {

using json = nlohmann::json;

const char* const kGame = R"(<KiteBench3D>
  <Var name="score" value="0"/>
  <Level name="Main">
    <Camera name="Cam"/>
    <Box name="Player" y="1"/>
    <Sphere name="Ball" x="2"/>
  </Level>
</KiteBench3D>)";

class ChatPanelTest : public AiServiceTest {
protected:
    ChatPanelTest() {
        BaseUI::setDpiScale(1.0f);
        BaseUI::setMobileMode(false);
        ImGui::GetIO().KeyMap[ImGuiKey_Enter] = kKeyEnter;
        EXPECT_TRUE(host.document.setXmlSourceString(kGame));
        panel = registerAiPanels(*all, &host);
        AIChatService::getInstance().setSystemPrompt([] { return std::string("KNOWLEDGE"); });
        all->initPanels();
        configure("openai", provider);
        panel->setClock([this] { return clock; });
    }

    // Types `text` into the box and sends it, as Enter would.
    void say(const std::string& text) {
        panel->setInputText(text);
        panel->sendCurrentMessage();
    }
    bool settled() {
        return pumpUntil([this] { return !panel->waiting(); });
    }
    std::string attr(const std::string& name, const char* attribute) {
        return host.byName(name).attribute(attribute).value();
    }
    std::vector<std::string> roles() const {
        std::vector<std::string> r;
        for (const ChatMsg& m : panel->messages())
            r.push_back(m.role);
        return r;
    }

    ImGuiHarness ui;
    DocumentHost host;
    std::shared_ptr<AllUI> all = std::make_shared<AllUI>();
    std::shared_ptr<AIChatPanel> panel;
    ProviderStandIn provider{"openai"};
    double clock = 100.0;
};

TEST_F(ChatPanelTest, AGoodReplyIsShownAppliedMarkedAndRecorded) {
    const std::string player = host.idOf("Player");
    provider.script({provider.answer(replyText("Moved the player up.", {{{"op", "update"}, {"id", player}, {"attrs", {{"y", "3"}}}}}))});
    say("  Move the player up\n");
    EXPECT_TRUE(panel->waiting());
    EXPECT_STREQ(panel->inputBoxText().c_str(), "");
    ASSERT_TRUE(settled());
    EXPECT_EQ(panel->errorText(), "");
    EXPECT_EQ(roles(), (std::vector<std::string>{"user", "assistant"}));
    EXPECT_EQ(panel->messages()[0].text, "Move the player up");
    EXPECT_EQ(panel->messages()[1].text, "Moved the player up.");
    EXPECT_GT(panel->messages()[1].elapsedSeconds, 0.0);
    EXPECT_EQ(host.applied, 1);
    EXPECT_EQ(attr("Player", "y"), "3");
    EXPECT_EQ(attr("Player", "_aiChange"), "updated");
    EXPECT_EQ(attr("Ball", "_aiChange"), "");
    ASSERT_EQ(panel->history().size(), 2u);
    EXPECT_EQ(panel->history()[1]["changes"].size(), 1u);
    EXPECT_FALSE(panel->conversationId().empty());

    // The next request carries that exchange; a reply without changes changes nothing.
    provider.script({provider.answer(replyText("It is at y=3."))});
    say("Where is it?");
    ASSERT_TRUE(settled());
    EXPECT_EQ(host.applied, 1);
    const json sent = json::parse(provider.received().back().body);
    ASSERT_EQ(sent["messages"].size(), 4u);
    EXPECT_EQ(json::parse(sent["messages"][2]["content"].get<std::string>())["changes"][0]["attrs"]["y"], "3");
    EXPECT_EQ(panel->history().size(), 4u);
}

TEST_F(ChatPanelTest, AQueuedReplyIsPolledEveryTenSecondsThenEveryFiveAndAppliedOnce) {
    const std::string player = host.idOf("Player");
    provider.script({ProviderStandIn::job("job-1", "queued", 202)});
    provider.scriptPolls({ProviderStandIn::job("job-1", "in_progress")});
    auto draw = [this] { all->draw(); };
    panel->setCollapsed(false);
    say("Move the player up");
    ASSERT_TRUE(pumpUntil([this] { return !panel->jobId().empty(); }));
    EXPECT_TRUE(panel->waiting());
    EXPECT_DOUBLE_EQ(panel->nextPollTime(), 110.0);
    ui.frame(draw);  // the waiting display starts its clock at 100

    // A frame at each second; when one sends a poll, its answer is awaited and the time noted.
    std::vector<double> polledAt;
    auto frameAt = [&](double t) {
        clock = t;
        ui.frame(draw);
        if (panel->nextPollTime() <= t && panel->waiting()) {
            EXPECT_TRUE(pumpUntil([&] { return panel->nextPollTime() > t || !panel->waiting(); }));
            polledAt.push_back(t);
        }
    };
    for (double t = 101.0; t <= 180.0; t += 1.0)
        frameAt(t);
    // Ten seconds apart in the first minute of waiting, five after it.
    EXPECT_EQ(polledAt, (std::vector<double>{110, 120, 130, 140, 150, 160, 165, 170, 175, 180}));
    EXPECT_TRUE(panel->waiting());
    EXPECT_EQ(host.applied, 0);

    provider.scriptPolls({provider.answer(replyText("Moved it.", {{{"op", "update"}, {"id", player}, {"attrs", {{"y", "4"}}}}}))});
    frameAt(185.0);
    ASSERT_FALSE(panel->waiting());
    EXPECT_TRUE(panel->jobId().empty());
    EXPECT_EQ(panel->messages().back().text, "Moved it.");
    EXPECT_EQ(attr("Player", "y"), "4");
    EXPECT_EQ(host.applied, 1);
    EXPECT_EQ(panel->history().size(), 2u);
    frameAt(200.0);
    EXPECT_EQ(provider.paths("GET").size(), 11u);
}

TEST_F(ChatPanelTest, CancellingAQueuedReplyCancelsTheJobAndAProviderCancelEndsTheWait) {
    provider.script({ProviderStandIn::job("job-2", "queued", 202)});
    provider.scriptPolls({provider.answer(replyText("too late"))});
    say("Make a maze");
    ASSERT_TRUE(pumpUntil([this] { return !panel->jobId().empty(); }));
    panel->cancel();
    EXPECT_FALSE(panel->waiting());
    EXPECT_TRUE(panel->jobId().empty());
    EXPECT_EQ(panel->messages().back().text, "Cancelled.");
    ASSERT_TRUE(pumpUntil([this] { return !provider.paths("DELETE").empty(); }));
    EXPECT_EQ(provider.paths("DELETE")[0], "/v1/chat/completions/job-2");
    clock = 200.0;
    ui.frame([this] { all->draw(); });
    pumpFor(100);
    EXPECT_TRUE(provider.paths("GET").empty());
    EXPECT_EQ(host.applied, 0);

    // The provider may cancel the job itself: the wait ends and nothing is recorded.
    provider.script({ProviderStandIn::job("job-3", "queued", 202)});
    provider.scriptPolls({ProviderStandIn::job("job-3", "cancelled")});
    say("Make a tower");
    ASSERT_TRUE(pumpUntil([this] { return !panel->jobId().empty(); }));
    clock = 215.0;
    ui.frame([this] { all->draw(); });
    ASSERT_TRUE(pumpUntil([this] { return !panel->waiting(); }));
    EXPECT_TRUE(panel->history().empty());
    EXPECT_EQ(panel->errorText(), "");
    EXPECT_EQ(host.applied, 0);
}

TEST_F(ChatPanelTest, ChangesThatBreakTheSchemaAreRepairedInOneRound) {
    const std::string level = host.idOf("Main");
    provider.script({provider.answer(replyText("Added it.", {{{"op", "insert"}, {"parentId", level}, {"xml", "<Gizmo/>"}}})),
                     provider.answer(replyText("Added a box.", {{{"op", "insert"}, {"parentId", level}, {"xml", "<Box name=\"B2\"/>"}}}))});
    say("Add a box");
    ASSERT_TRUE(settled());
    const auto received = provider.received();
    ASSERT_EQ(received.size(), 2u);
    const std::string repair = json::parse(received[1].body)["messages"].back()["content"];
    EXPECT_NE(repair.find("Your previous answer to this request could not be used:\n- "), std::string::npos) << repair;
    EXPECT_NE(repair.find("Gizmo"), std::string::npos) << repair;
    EXPECT_EQ(roles(), (std::vector<std::string>{"user", "system", "assistant"}));
    EXPECT_EQ(panel->messages()[1].text, "Tidying up the assistant's response and retrying (1/2)...");
    EXPECT_EQ(panel->repairAttempts(), 0);
    EXPECT_EQ(attr("B2", "_aiChange"), "added");
    // The rejected answer never enters the history.
    ASSERT_EQ(panel->history().size(), 2u);
    EXPECT_EQ(panel->history()[1]["text"], "Added a box.");
}

TEST_F(ChatPanelTest, SchemaFaultsThreeTimesAreListedAndNothingIsApplied) {
    const std::string before = host.documentXml(true);
    provider.script({provider.answer(replyText("Here.", {{{"op", "insert"}, {"parentId", host.idOf("Main")}, {"xml", "<Gizmo/>"}}}))});
    say("Add a gizmo");
    ASSERT_TRUE(settled());
    EXPECT_EQ(provider.received().size(), 3u);
    EXPECT_EQ(panel->errorText().rfind("Could not produce schema-valid changes after retries:\n• ", 0), 0u) << panel->errorText();
    EXPECT_EQ(roles(), (std::vector<std::string>{"user", "system", "system", "assistant", "system"}));
    EXPECT_EQ(host.documentXml(true), before);
    ASSERT_EQ(panel->history().size(), 2u);
    EXPECT_TRUE(panel->history()[1]["changes"].empty());
}

TEST_F(ChatPanelTest, BadRepliesEndInThePanelsWordsAndLeaveTheDocument) {
    const std::string before = host.documentXml(true);
    // Not JSON, three times: two repairs, then the message.
    provider.script({provider.answer("I'd be glad to help!")});
    say("Make a game");
    ASSERT_TRUE(settled());
    EXPECT_EQ(provider.received().size(), 3u);
    const std::string secondAsk = json::parse(provider.received()[1].body)["messages"].back()["content"];
    EXPECT_NE(secondAsk.find(AIChatPanel::kMalformedFinding), std::string::npos);
    EXPECT_EQ(panel->errorText(), "The assistant's response couldn't be read this time. Please try again — if it keeps "
                                  "happening, try rephrasing or building in smaller steps.");
    EXPECT_FALSE(panel->autoRetryPending());
    EXPECT_TRUE(panel->history().empty());

    // Unknown ids: the operations' fault, told at once without a repair.
    provider.script({provider.answer(replyText("Deleted.", {{{"op", "delete"}, {"id", "999999"}}}))});
    say("Delete the tree");
    ASSERT_TRUE(settled());
    EXPECT_EQ(provider.received().size(), 4u);
    EXPECT_EQ(panel->errorText().rfind("The assistant's changes could not be applied: ", 0), 0u) << panel->errorText();
    // A reply that deletes the whole game is checked like any other: the top element can't go.
    provider.script({provider.answer(replyText("Cleared.", {{{"op", "delete"}, {"id", host.idOf("Main")}}, {{"op", "delete"}, {"id", host.document.root().attribute("id").value()}}}))});
    say("Delete everything");
    ASSERT_TRUE(settled());
    EXPECT_NE(panel->errorText().find("could not be applied"), std::string::npos);
    // 5 MB of text and bytes that are not UTF-8 are unreadable replies.
    provider.script({provider.answer(replyText(std::string(5 * 1024 * 1024, 'a')))});
    say("Write a novel");
    ASSERT_TRUE(settled());
    EXPECT_NE(panel->errorText().find("couldn't be read"), std::string::npos);
    provider.script({{200, std::string("{\"choices\":[{\"message\":{\"content\":\"\xff\xfe\"}}]}"), 0}});
    say("Say something odd");
    ASSERT_TRUE(settled());
    EXPECT_EQ(panel->errorText(), "Couldn't reach the AI service. Check your connection and try again.");
    EXPECT_EQ(host.documentXml(true), before);
    EXPECT_EQ(host.applied, 0);
}

TEST_F(ChatPanelTest, RateLimitsRetryAutomaticallyTenTimesAtMost) {
    provider.script({provider.error(429, "Rate limit reached")});
    say("Build a racing game");
    ASSERT_TRUE(settled());
    EXPECT_EQ(panel->errorText().rfind("You've hit your AI provider's rate limit / quota.", 0), 0u);
    EXPECT_TRUE(panel->autoRetryPending());
    EXPECT_EQ(panel->lastPrompt(), "Build a racing game");
    const std::string history = panel->lastHistoryJson();
    for (int retry = 1; retry <= 10; ++retry) {
        panel->tickAutoRetry(clock);   // the countdown starts: 30 seconds
        if (retry == 10) {
            EXPECT_EQ(panel->retryCountdownText(clock + 0.5), "Retry in 30 seconds...  (1 retry left)");
        } else if (retry == 1) {
            EXPECT_EQ(panel->retryCountdownText(clock + 29.2), "Retry in 1 seconds...  (10 retries left)");
        }
        clock += 30.0;
        panel->tickAutoRetry(clock);
        ASSERT_TRUE(settled());
        EXPECT_EQ(panel->autoRetryCount(), retry);
    }
    EXPECT_FALSE(panel->autoRetryPending());
    EXPECT_EQ(provider.received().size(), 11u);
    // A retry sends the very history first sent and no second "user" entry.
    EXPECT_EQ(panel->lastHistoryJson(), history);
    EXPECT_EQ(roles(), std::vector<std::string>{"user"});

    provider.script({provider.error(503, "The model is overloaded")});
    say("Again");
    ASSERT_TRUE(settled());
    EXPECT_EQ(panel->errorText(), "The AI is busy right now (high demand on Google's side). Please try again in a few minutes.");
    EXPECT_TRUE(panel->autoRetryPending());
}

TEST_F(ChatPanelTest, KeyProblemsOpenTheSettingsAndNoKeyKeepsTheText) {
    auto settings = all->getPanel<AISettingsDialog>();
    provider.script({provider.error(401, "Incorrect API key provided")});
    say("Hello");
    ASSERT_TRUE(settled());
    EXPECT_EQ(panel->errorText(), "Your AI API key needs to be set up. Opening AI Settings…");
    EXPECT_TRUE(settings->isVisible());
    EXPECT_FALSE(panel->autoRetryPending());

    AiProviderSettings::clearKey("openai");
    say("Hello again");
    EXPECT_EQ(panel->errorText(), "Set up your AI API key first (Settings → AI Settings).");
    EXPECT_EQ(panel->inputBoxText(), "Hello again");
    EXPECT_EQ(provider.received().size(), 1u);

    say(" \n\t ");
    EXPECT_EQ(panel->inputBoxText(), " \n\t ");
    EXPECT_FALSE(panel->waiting());
}

TEST_F(ChatPanelTest, AllProvidersDownListsEachOne) {
    ProviderStandIn gemini("gemini");
    configure("gemini", gemini);
    provider.script({provider.error(500, "internal")});
    gemini.script({gemini.error(503, "busy")});
    say("Hi");
    ASSERT_TRUE(settled());
    EXPECT_EQ(panel->errorText(), "None of your AI providers could handle the request right now:");
    ASSERT_EQ(panel->providerFailures().size(), 2u);
    EXPECT_EQ(panel->providerFailures()[1]["provider"], "Google Gemini");
    EXPECT_TRUE(panel->autoRetryPending());
}

TEST_F(ChatPanelTest, EditsDuringASlowReplyMergeOrAskOnce) {
    const std::string player = host.idOf("Player");
    const std::string ball = host.idOf("Ball");
    // The user edits another node while the assistant thinks: both stand, no question.
    provider.script({provider.answer(replyText("Raised.", {{{"op", "update"}, {"id", player}, {"attrs", {{"y", "5"}}}}}), 300)});
    say("Raise the player");
    pumpFor(50);
    host.byName("Ball").attribute("x").set_value("9");
    ASSERT_TRUE(settled());
    auto dialog = all->getPanel<MergeConflictDialog>();
    EXPECT_FALSE(dialog->isVisible());
    EXPECT_EQ(attr("Player", "y"), "5");
    EXPECT_EQ(attr("Ball", "x"), "9");

    // The same attribute: the dialog asks once; "Send" is refused meanwhile.
    const std::string playerNow = host.idOf("Player");
    provider.script({provider.answer(replyText("Lowered.", {{{"op", "update"}, {"id", playerNow}, {"attrs", {{"y", "0"}}}}}), 300)});
    say("Lower the player");
    pumpFor(50);
    host.byName("Player").attribute("y").set_value("7");
    ASSERT_TRUE(settled());
    ASSERT_TRUE(dialog->isVisible());
    EXPECT_EQ(dialog->labels(), std::vector<std::string>{"Box \"Player\": you set \"y\" to \"7\", the assistant sets it to \"0\"."});
    EXPECT_TRUE(panel->mergePending());
    const size_t asked = provider.received().size();
    say("Something else");
    EXPECT_EQ(provider.received().size(), asked);
    EXPECT_FALSE(panel->waiting());

    dialog->choose(XmlMerge::UserWins);
    EXPECT_FALSE(panel->mergePending());
    EXPECT_EQ(attr("Player", "y"), "7");
    EXPECT_EQ(panel->history().size(), 4u);

    // "Cancel" keeps the user's edit and records the exchange without changes.
    provider.script({provider.answer(replyText("Lowered.", {{{"op", "update"}, {"id", host.idOf("Player")}, {"attrs", {{"y", "0"}}}}}), 300)});
    panel->setInputText("Lower it again");
    panel->sendCurrentMessage();
    pumpFor(50);
    host.byName("Player").attribute("y").set_value("8");
    ASSERT_TRUE(settled());
    ASSERT_TRUE(dialog->isVisible());
    dialog->choose(XmlMerge::DiscardAssistant);
    EXPECT_EQ(attr("Player", "y"), "8");
    EXPECT_EQ(panel->messages().back().text, "Discarded the assistant's changes — your edits were kept.");
    EXPECT_TRUE(panel->history().back()["changes"].empty());
}

TEST_F(ChatPanelTest, TheCollapseArrowFoldsThePanelAndTheSettingRemembersIt) {
    auto draw = [this] { all->draw(); };
    EXPECT_TRUE(panel->collapsed());   // a first run starts folded
    panel->setCollapsed(false);
    EXPECT_TRUE(EditorSettings::getInstance().getBool("aiChatPanel.open", false));
    ui.frame(draw);
    ui.frame(draw);
    const ImVec2 top = panel->getPosition();
    ASSERT_GT(panel->getSize().y, 200.0f);
    const float frame = ImGui::GetFontSize() + ImGui::GetStyle().FramePadding.y * 2;
    ui.click(top.x + ImGui::GetStyle().FramePadding.x + ImGui::GetFontSize() * 0.5f, top.y + frame * 0.5f, draw);
    ui.frame(draw);
    EXPECT_TRUE(panel->collapsed());
    EXPECT_FALSE(EditorSettings::getInstance().getBool("aiChatPanel.open", true));
    EXPECT_LT(panel->getSize().y, 40.0f);
    // A reply still lands while the panel is folded.
    provider.script({provider.answer(replyText("Folded but here."))});
    say("Hello");
    ASSERT_TRUE(settled());
    EXPECT_EQ(panel->messages().back().text, "Folded but here.");
}

TEST_F(ChatPanelTest, TypedRequestSendsAndCancelAbandonsIt) {
    provider.script({provider.answer(replyText("late"), 5000)});
    auto draw = [this] { all->draw(); };
    panel->setCollapsed(false);
    ui.frame(draw);
    ui.frame(draw);
    const ImVec2 box = panel->getItemCenter("##aiInput");
    ASSERT_GE(box.x, 0.0f);
    ui.click(box.x, box.y, draw);
    ui.type("Make a maze");
    ui.frame(draw);
    ui.setKey(kKeyEnter, true);
    ui.frame(draw);
    ui.setKey(kKeyEnter, false);
    ui.frame(draw);
    ASSERT_TRUE(panel->waiting());
    EXPECT_EQ(panel->messages().back().text, "Make a maze");
    ui.frame(draw);
    const ImVec2 cancel = panel->getItemCenter("Cancel##aiCancel");
    ASSERT_GE(cancel.x, 0.0f);
    ui.click(cancel.x, cancel.y, draw);
    EXPECT_FALSE(panel->waiting());
    EXPECT_EQ(panel->messages().back().text, "Cancelled.");
    provider.release();
    pumpFor(200);
    EXPECT_EQ(panel->messages().back().text, "Cancelled.");
    EXPECT_TRUE(panel->history().empty());
    EXPECT_EQ(host.applied, 0);
}

} // namespace
} // namespace Lumenda3D::test

namespace Lumenda3D::test {
namespace {

TEST(AIChatPanelText, LongLinesBreakAtSpacesToFitTheWidth) {
    ImGuiHarness ui;
    ui.frame([] {
        const float seven = ImGui::CalcTextSize("aaaaaaa").x;
        EXPECT_EQ(AIChatPanel::wrappedText("aaa bbb ccc ddd", seven + 1.0f), "aaa bbb\nccc ddd");
        EXPECT_EQ(AIChatPanel::wrappedText("aaa\nbbb ccc", 1000.0f), "aaa\nbbb ccc");
        // A word wider than the line stands alone on it; nothing is lost.
        EXPECT_EQ(AIChatPanel::wrappedText("a verylongwordhere b", seven), "a\nverylongwordhere\nb");
        EXPECT_EQ(AIChatPanel::wrappedText("", seven), "");
    });
}

} // namespace
} // namespace Lumenda3D::test
