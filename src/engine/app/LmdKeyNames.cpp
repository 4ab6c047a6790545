#include "engine/app/LmdKeyNames.h"

#include "base/LmdValueParser.h"

#include <algorithm>
#include <cctype>

namespace Lumenda3D {
namespace {

// SDL2 key codes that OgreInput.h does not name: modifiers and insert.
constexpr OgreBites::Keycode scancodeKey(int scancode) { return (1 << 30) | scancode; }
constexpr OgreBites::Keycode kLeftCtrl = scancodeKey(0xE0);
constexpr OgreBites::Keycode kLeftShift = scancodeKey(0xE1);
constexpr OgreBites::Keycode kLeftAlt = scancodeKey(0xE2);
constexpr OgreBites::Keycode kRightCtrl = scancodeKey(0xE4);
constexpr OgreBites::Keycode kRightShift = scancodeKey(0xE5);
constexpr OgreBites::Keycode kRightAlt = scancodeKey(0xE6);

// SDL's modifier bits (left, right).
constexpr unsigned short kModLeftShift = 0x0001, kModRightShift = 0x0002;
constexpr unsigned short kModLeftCtrl = 0x0040, kModRightCtrl = 0x0080;
constexpr unsigned short kModLeftAlt = 0x0100, kModRightAlt = 0x0200;

std::string normalise(const std::string& name) {
    const std::string_view out = LmdValueParser::trim(name);
    // A lone space character is the space key; anything longer is lower-cased.
    if (out.empty() && !name.empty() && name.find(' ') != std::string::npos)
        return "space";
    return LmdValueParser::toLower(out);
}

bool isKeyCharacter(char c) {
    // Printable ASCII without upper-case letters (they fold to lower case before this test).
    return c > ' ' && c < 127 && !(c >= 'A' && c <= 'Z');
}

} // namespace

const std::vector<std::pair<std::string, OgreBites::Keycode>>& LmdKeyNames::namedKeys() {
    using namespace OgreBites;
    static const std::vector<std::pair<std::string, Keycode>> table = [] {
        std::vector<std::pair<std::string, Keycode>> t = {
            {"space", SDLK_SPACE},
            {"enter", SDLK_RETURN},
            {"escape", SDLK_ESCAPE},
            {"tab", '\t'},
            {"backspace", '\b'},
            {"delete", SDLK_DELETE},
            {"insert", SDLK_INSERT},
            {"left", SDLK_LEFT},
            {"right", SDLK_RIGHT},
            {"up", SDLK_UP},
            {"down", SDLK_DOWN},
            {"home", SDLK_HOME},
            {"end", SDLK_END},
            {"pageup", SDLK_PAGEUP},
            {"pagedown", SDLK_PAGEDOWN},
            {"shift", kLeftShift},
            {"ctrl", kLeftCtrl},
            {"alt", kLeftAlt},
            {"rshift", kRightShift},
            {"rctrl", kRightCtrl},
            {"ralt", kRightAlt},
        };
        for (int i = 0; i < 12; ++i)
            t.emplace_back("f" + std::to_string(i + 1), Keycode(SDLK_F1 + i));
        return t;
    }();
    return table;
}

const std::vector<std::pair<std::string, std::string>>& LmdKeyNames::aliases() {
    static const std::vector<std::pair<std::string, std::string>> table = {
        {"return", "enter"},     {"esc", "escape"},       {"del", "delete"},
        {"ins", "insert"},       {"arrowleft", "left"},   {"arrowright", "right"},
        {"arrowup", "up"},       {"arrowdown", "down"},   {"pgup", "pageup"},
        {"pgdn", "pagedown"},    {"page_up", "pageup"},   {"page_down", "pagedown"},
        {"control", "ctrl"},     {"lctrl", "ctrl"},       {"lshift", "shift"},
        {"lalt", "alt"},         {"spacebar", "space"},
    };
    return table;
}

bool LmdKeyNames::resolve(const std::string& name, OgreBites::Keycode& code, std::string& error) {
    const std::string key = normalise(name);
    if (key.size() == 1 && isKeyCharacter(key[0])) {
        code = OgreBites::Keycode(static_cast<unsigned char>(key[0]));
        return true;
    }
    std::string canonical = key;
    for (const auto& alias : aliases())
        if (alias.first == key)
            canonical = alias.second;
    for (const auto& entry : namedKeys()) {
        if (entry.first == canonical) {
            code = entry.second;
            return true;
        }
    }
    error = "Unknown key name '" + name +
            "' — use a letter, a digit, a punctuation character, or one of: space, enter, escape, "
            "tab, backspace, delete, insert, left, right, up, down, home, end, pageup, pagedown, "
            "shift, ctrl, alt, rshift, rctrl, ralt, f1 to f12.";
    return false;
}

std::string LmdKeyNames::nameOf(OgreBites::Keycode code) {
    for (const auto& entry : namedKeys())
        if (entry.second == code)
            return entry.first;
    if (code > ' ' && code < 127 && isKeyCharacter(char(code)))
        return std::string(1, char(code));
    return {};
}

unsigned short LmdKeyNames::modifierBits(OgreBites::Keycode code) {
    switch (code) {
    case kLeftShift: return kModLeftShift;
    case kRightShift: return kModRightShift;
    case kLeftCtrl: return kModLeftCtrl;
    case kRightCtrl: return kModRightCtrl;
    case kLeftAlt: return kModLeftAlt;
    case kRightAlt: return kModRightAlt;
    default: return 0;
    }
}

char LmdKeyNames::typedCharacter(OgreBites::Keycode code, unsigned short modifiers) {
    if (modifiers & (OgreBites::KMOD_CTRL | OgreBites::KMOD_ALT))
        return 0;
    if (code == OgreBites::SDLK_SPACE)
        return ' ';
    if (code <= ' ' || code >= 127)
        return 0;
    char c = char(code);
    if ((modifiers & OgreBites::KMOD_SHIFT) && c >= 'a' && c <= 'z')
        c = char(c - 'a' + 'A');
    return c;
}

} // namespace Lumenda3D
