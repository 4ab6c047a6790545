#pragma once
// Key names for synthetic keyboard input, resolved to the key codes of OGRE's input events
// (SDL2 key codes). The table is documented in docs/input-keys.md.
#include <OgreInput.h>

#include <string>
#include <utility>
#include <vector>

namespace Lumenda3D {

class LmdKeyNames {
public:
    // Resolves a key name. Case does not matter and surrounding spaces are ignored. A single
    // printable character (letter, digit, punctuation) names its own key; "W" and "w" are the
    // same key. Fills error with a sentence listing the accepted names when the name is unknown.
    static bool resolve(const std::string& name, OgreBites::Keycode& code, std::string& error);

    // The canonical name of a key code ("f5", "a", "pageup"); empty for codes outside the table.
    static std::string nameOf(OgreBites::Keycode code);

    // Canonical names with their codes, in documentation order (single characters excluded).
    static const std::vector<std::pair<std::string, OgreBites::Keycode>>& namedKeys();

    // Aliases and the canonical name they stand for.
    static const std::vector<std::pair<std::string, std::string>>& aliases();

    // Modifier bits (OgreBites KMOD_*) that a held key adds to events; 0 for other keys.
    static unsigned short modifierBits(OgreBites::Keycode code);

    // The text a key types, as a person's keyboard would send it with a text event; 0 when the key
    // types nothing (named keys, or while Ctrl or Alt is held). Shift gives upper-case letters.
    static char typedCharacter(OgreBites::Keycode code, unsigned short modifiers);
};

} // namespace Lumenda3D
