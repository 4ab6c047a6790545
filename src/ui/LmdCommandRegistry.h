#pragma once
// The editor's commands, registered once and shared by everything that starts them: the menu, the
// keyboard and the toolbar. A command has an id ("edit.undo"), a label as menus show it, keyboard
// shortcuts, an enabled rule, a check state for switches, and, for what only a person may start, the action word of the agent
// guard: such a command refuses to run while an agent's synthetic input is being delivered (the
// guard, the editor's isAgentDrivenAction, logs it for the agents and shows a toast).
//
// Shortcuts are written "Ctrl+Z", "Ctrl+Shift+Y", "Alt+F4", "F5": modifiers (Ctrl, Shift, Alt)
// then one key, a letter, a digit or a named key. Ctrl and Shift must be held exactly as written;
// Alt only when the shortcut names it. A key that matches a shortcut is consumed, whether the
// command could run then or not (Ctrl+Z while the game runs undoes nothing and does not reach the
// game).
//
// Main thread only.
#include <functional>
#include <string>
#include <vector>

namespace Lumenda3D {

struct LmdShortcut {
    // The key: an upper-case ASCII letter or digit, or one of the named keys below.
    int key = 0;
    bool ctrl = false;
    bool shift = false;
    bool alt = false;

    static constexpr int kEscape = 27;
    static constexpr int kDelete = 127;
    static constexpr int kF1 = 0x4000003A;  // F1..F12 follow each other, as SDL numbers them

    // Parses "Ctrl+Shift+Z"; an empty shortcut (key 0) for text it does not understand.
    static LmdShortcut parse(const std::string& text);
    bool empty() const { return key == 0; }
    // Whether a key press with these modifiers is this shortcut (letters in either case).
    bool matches(int pressedKey, bool ctrlHeld, bool shiftHeld, bool altHeld) const;
};

struct LmdCommand {
    std::string id;
    std::string label;
    // The first one is what menus show.
    std::vector<std::string> shortcuts;
    // Whether the command can run now; empty: always.
    std::function<bool()> enabled;
    // The agent guard's action word ("run the game") for a command only a person may start; empty:
    // agents' input may start it too.
    std::string personOnlyAction;
    std::function<void()> run;
    // For a command that switches something on and off: whether it is on now (a menu ticks it);
    // empty: not a switch.
    std::function<bool()> checked = nullptr;
};

class LmdCommandRegistry {
public:
    // Asked with the action word before a person-only command runs; true refuses it. Without a
    // guard every command counts as started by a person.
    void setAgentGuard(std::function<bool(const char* action)> guard) { guard_ = std::move(guard); }

    // False (and nothing registered) for an empty id, an id taken already, no run function, or a
    // shortcut that cannot be parsed or belongs to another command.
    bool add(LmdCommand command);
    const LmdCommand* find(const std::string& id) const;
    // Every command in the order it was added (how a menu lists them).
    std::vector<const LmdCommand*> all() const;

    bool isEnabled(const std::string& id) const;
    // Whether a switch command is on; false for an unknown command or one that is no switch.
    bool isChecked(const std::string& id) const;
    // Runs the command if it exists, is enabled and is not refused by the agent guard; true when
    // it ran.
    bool execute(const std::string& id);
    // The key press of a person or an agent: runs the command whose shortcut it is (see execute).
    // True when a shortcut matched: the key is consumed then.
    bool handleKey(int key, bool ctrl, bool shift, bool alt);

private:
    struct Entry {
        LmdCommand command;
        std::vector<LmdShortcut> shortcuts;
    };
    std::vector<Entry> entries_;
    std::function<bool(const char*)> guard_;
};

} // namespace Lumenda3D
