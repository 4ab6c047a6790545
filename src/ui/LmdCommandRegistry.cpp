#include "ui/LmdCommandRegistry.h"

#include <algorithm>
#include <cctype>

#include "base/LmdLog.h"
#include "base/LmdValueParser.h"

namespace Lumenda3D {
namespace {

int foldLetter(int key) {
    return key >= 'a' && key <= 'z' ? key - 'a' + 'A' : key;
}

int namedKey(const std::string& name) {
    if (name == "esc" || name == "escape")
        return LmdShortcut::kEscape;
    if (name == "del" || name == "delete")
        return LmdShortcut::kDelete;
    if (name.size() >= 2 && name[0] == 'f') {
        int number = 0;
        if (LmdValueParser::parseInt(name.substr(1), number) && number >= 1 && number <= 12)
            return LmdShortcut::kF1 + number - 1;
    }
    return 0;
}

} // namespace

LmdShortcut LmdShortcut::parse(const std::string& text) {
    LmdShortcut shortcut;
    size_t start = 0;
    for (;;) {
        const size_t plus = text.find('+', start + 1);  // a lone "+" may be the key itself
        const std::string part = LmdValueParser::toLower(
            LmdValueParser::trim(std::string_view(text).substr(start, plus == std::string::npos ? std::string::npos
                                                                                                  : plus - start)));
        if (plus == std::string::npos) {
            if (part.size() == 1 && std::isalnum(static_cast<unsigned char>(part[0])))
                shortcut.key = foldLetter(part[0]);
            else
                shortcut.key = namedKey(part);
            return shortcut.key ? shortcut : LmdShortcut();
        }
        if (part == "ctrl")
            shortcut.ctrl = true;
        else if (part == "shift")
            shortcut.shift = true;
        else if (part == "alt")
            shortcut.alt = true;
        else
            return LmdShortcut();
        start = plus + 1;
    }
}

bool LmdShortcut::matches(int pressedKey, bool ctrlHeld, bool shiftHeld, bool altHeld) const {
    if (empty() || foldLetter(pressedKey) != key || ctrlHeld != ctrl || shiftHeld != shift)
        return false;
    return !alt || altHeld;
}

bool LmdCommandRegistry::add(LmdCommand command) {
    if (command.id.empty() || !command.run || find(command.id))
        return false;
    Entry entry;
    for (const std::string& text : command.shortcuts) {
        const LmdShortcut shortcut = LmdShortcut::parse(text);
        if (shortcut.empty()) {
            LmdLog::message("Command " + command.id + ": the shortcut '" + text + "' is not understood");
            return false;
        }
        for (const Entry& other : entries_)
            for (const LmdShortcut& taken : other.shortcuts)
                if (taken.key == shortcut.key && taken.ctrl == shortcut.ctrl && taken.shift == shortcut.shift &&
                    taken.alt == shortcut.alt) {
                    LmdLog::message("Command " + command.id + ": the shortcut " + text + " belongs to " +
                                    other.command.id);
                    return false;
                }
        entry.shortcuts.push_back(shortcut);
    }
    entry.command = std::move(command);
    entries_.push_back(std::move(entry));
    return true;
}

const LmdCommand* LmdCommandRegistry::find(const std::string& id) const {
    for (const Entry& entry : entries_)
        if (entry.command.id == id)
            return &entry.command;
    return nullptr;
}

std::vector<const LmdCommand*> LmdCommandRegistry::all() const {
    std::vector<const LmdCommand*> commands;
    for (const Entry& entry : entries_)
        commands.push_back(&entry.command);
    return commands;
}

bool LmdCommandRegistry::isEnabled(const std::string& id) const {
    const LmdCommand* command = find(id);
    return command && (!command->enabled || command->enabled());
}

bool LmdCommandRegistry::isChecked(const std::string& id) const {
    const LmdCommand* command = find(id);
    return command && command->checked && command->checked();
}

bool LmdCommandRegistry::execute(const std::string& id) {
    const LmdCommand* command = find(id);
    if (!command || (command->enabled && !command->enabled()))
        return false;
    if (!command->personOnlyAction.empty() && guard_ && guard_(command->personOnlyAction.c_str()))
        return false;
    // A copy: the command may change the registry while it runs.
    const std::function<void()> run = command->run;
    run();
    return true;
}

bool LmdCommandRegistry::handleKey(int key, bool ctrl, bool shift, bool alt) {
    for (const Entry& entry : entries_) {
        const bool matched = std::any_of(entry.shortcuts.begin(), entry.shortcuts.end(),
                                         [&](const LmdShortcut& s) { return s.matches(key, ctrl, shift, alt); });
        if (matched) {
            const std::string id = entry.command.id;
            execute(id);
            return true;
        }
    }
    return false;
}

} // namespace Lumenda3D
