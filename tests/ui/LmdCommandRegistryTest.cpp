// The command registry that the menu, the keyboard and the toolbar share: shortcuts as written,
// enabled rules, the person-only guard, and registrations that would make two commands one key.
#include "ui/LmdCommandRegistry.h"

#include "base/LmdLog.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Lumenda3D;

namespace {

class CommandRegistryTest : public ::testing::Test {
protected:
    CommandRegistryTest() {
        LmdLog::setEchoToStderr(false);
        registry.setAgentGuard([this](const char* action) {
            asked.emplace_back(action);
            return agent;
        });
        EXPECT_TRUE(registry.add({"edit.undo", "Undo", {"Ctrl+Z"}, [this] { return canUndo; }, "",
                                  [this] { ran.push_back("undo"); }}));
        EXPECT_TRUE(registry.add({"edit.redo", "Redo", {"Ctrl+Y", "Ctrl+Shift+Y", "Ctrl+Shift+Z"}, {}, "",
                                  [this] { ran.push_back("redo"); }}));
        EXPECT_TRUE(registry.add({"game.play", "Play", {"F5"}, {}, "run the game", [this] { ran.push_back("play"); }}));
        EXPECT_TRUE(registry.add({"file.quit", "Quit", {"Alt+F4"}, {}, "", [this] { ran.push_back("quit"); }}));
    }
    ~CommandRegistryTest() override { LmdLog::setEchoToStderr(true); }

    LmdCommandRegistry registry;
    std::vector<std::string> ran, asked;
    bool canUndo = true;
    bool agent = false;
};

TEST_F(CommandRegistryTest, ShortcutsPickTheirCommandWithExactlyTheModifiersWritten) {
    EXPECT_TRUE(registry.handleKey('z', true, false, false));   // letters in either case
    EXPECT_TRUE(registry.handleKey('Y', true, true, false));    // Ctrl+Shift+Y is redo too
    EXPECT_TRUE(registry.handleKey('z', true, true, false));    // and Ctrl+Shift+Z
    EXPECT_TRUE(registry.handleKey('z', true, false, true));    // Alt does not matter unless written
    EXPECT_FALSE(registry.handleKey('z', false, false, false)); // a plain z is the game's
    EXPECT_FALSE(registry.handleKey(LmdShortcut::kF1 + 3, false, false, false));  // F4 without Alt
    EXPECT_TRUE(registry.handleKey(LmdShortcut::kF1 + 3, false, false, true));
    EXPECT_TRUE(registry.handleKey(LmdShortcut::kF1 + 4, false, false, false));
    EXPECT_EQ(ran, (std::vector<std::string>{"undo", "redo", "redo", "undo", "quit", "play"}));
}

TEST_F(CommandRegistryTest, ADisabledCommandDoesNotRunButItsKeyIsStillConsumed) {
    canUndo = false;
    EXPECT_FALSE(registry.isEnabled("edit.undo"));
    EXPECT_FALSE(registry.execute("edit.undo"));
    EXPECT_TRUE(registry.handleKey('z', true, false, false));
    EXPECT_TRUE(ran.empty());
    EXPECT_FALSE(registry.execute("no.such.command"));
    EXPECT_FALSE(registry.isEnabled("no.such.command"));
}

TEST_F(CommandRegistryTest, APersonOnlyCommandRefusesAnAgentsInputAndTakesAPersons) {
    agent = true;
    EXPECT_FALSE(registry.execute("game.play"));
    EXPECT_TRUE(registry.handleKey(LmdShortcut::kF1 + 4, false, false, false));
    EXPECT_TRUE(registry.execute("edit.redo"));  // not person-only: no question asked
    EXPECT_EQ(asked, (std::vector<std::string>{"run the game", "run the game"}));
    EXPECT_EQ(ran, std::vector<std::string>{"redo"});
    agent = false;
    EXPECT_TRUE(registry.execute("game.play"));
    EXPECT_EQ(ran, (std::vector<std::string>{"redo", "play"}));
}

TEST_F(CommandRegistryTest, RegistrationsThatWouldConfuseTheRegistryAreRefused) {
    auto noop = [] {};
    EXPECT_FALSE(registry.add({"edit.undo", "Again", {}, {}, "", noop}));            // the id is taken
    EXPECT_FALSE(registry.add({"edit.other", "Other", {"Ctrl+Z"}, {}, "", noop}));   // so is the key
    EXPECT_FALSE(registry.add({"edit.bad", "Bad", {"Ctrl+Hyper+Q"}, {}, "", noop})); // not understood
    EXPECT_FALSE(registry.add({"edit.none", "None", {}, {}, "", nullptr}));          // nothing to run
    EXPECT_FALSE(registry.add({"", "Empty", {}, {}, "", noop}));
    EXPECT_TRUE(registry.add({"edit.copy", "Copy", {"ctrl + c"}, {}, "", noop}));   // spaces and case
    std::vector<std::string> ids;
    for (const LmdCommand* command : registry.all())
        ids.push_back(command->id);
    EXPECT_EQ(ids, (std::vector<std::string>{"edit.undo", "edit.redo", "game.play", "file.quit", "edit.copy"}));
    EXPECT_EQ(registry.find("edit.copy")->shortcuts.front(), "ctrl + c");
}

} // namespace
