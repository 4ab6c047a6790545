#include "engine/app/LmdKeyNames.h"

#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>

using namespace Lumenda3D;

namespace {

OgreBites::Keycode resolved(const std::string& name) {
    OgreBites::Keycode code = -1;
    std::string error;
    EXPECT_TRUE(LmdKeyNames::resolve(name, code, error)) << name << ": " << error;
    return code;
}

} // namespace

TEST(LmdKeyNamesTest, LettersDigitsAndPunctuationNameTheirOwnKeyInAnyCase) {
    EXPECT_EQ(resolved("w"), OgreBites::Keycode('w'));
    EXPECT_EQ(resolved("W"), OgreBites::Keycode('w'));
    EXPECT_EQ(resolved("  a "), OgreBites::Keycode('a'));
    EXPECT_EQ(resolved("7"), OgreBites::Keycode('7'));
    EXPECT_EQ(resolved("/"), OgreBites::Keycode('/'));
    EXPECT_EQ(resolved(" "), OgreBites::SDLK_SPACE);
}

TEST(LmdKeyNamesTest, NamedKeysAndAliasesMatchTheKeyCodesOfOgreInput) {
    EXPECT_EQ(resolved("Space"), OgreBites::SDLK_SPACE);
    EXPECT_EQ(resolved("ENTER"), OgreBites::SDLK_RETURN);
    EXPECT_EQ(resolved("return"), OgreBites::SDLK_RETURN);
    EXPECT_EQ(resolved("Escape"), OgreBites::SDLK_ESCAPE);
    EXPECT_EQ(resolved("esc"), OgreBites::SDLK_ESCAPE);
    EXPECT_EQ(resolved("tab"), OgreBites::Keycode('\t'));
    EXPECT_EQ(resolved("backspace"), OgreBites::Keycode('\b'));
    EXPECT_EQ(resolved("delete"), OgreBites::SDLK_DELETE);
    EXPECT_EQ(resolved("del"), OgreBites::SDLK_DELETE);
    EXPECT_EQ(resolved("left"), OgreBites::SDLK_LEFT);
    EXPECT_EQ(resolved("ArrowLeft"), OgreBites::SDLK_LEFT);
    EXPECT_EQ(resolved("right"), OgreBites::SDLK_RIGHT);
    EXPECT_EQ(resolved("up"), OgreBites::SDLK_UP);
    EXPECT_EQ(resolved("down"), OgreBites::SDLK_DOWN);
    EXPECT_EQ(resolved("home"), OgreBites::SDLK_HOME);
    EXPECT_EQ(resolved("end"), OgreBites::SDLK_END);
    EXPECT_EQ(resolved("pageup"), OgreBites::SDLK_PAGEUP);
    EXPECT_EQ(resolved("PgDn"), OgreBites::SDLK_PAGEDOWN);
    EXPECT_EQ(resolved("shift"), OgreBites::SDLK_LSHIFT);
    EXPECT_EQ(resolved("F1"), OgreBites::SDLK_F1);
    EXPECT_EQ(resolved("f12"), OgreBites::SDLK_F12);
    EXPECT_EQ(resolved("control"), resolved("ctrl"));
}

TEST(LmdKeyNamesTest, EveryCanonicalNameIsUniqueAndRoundTrips) {
    std::set<OgreBites::Keycode> codes;
    for (const auto& entry : LmdKeyNames::namedKeys()) {
        EXPECT_TRUE(codes.insert(entry.second).second) << entry.first << " shares its code";
        EXPECT_EQ(resolved(entry.first), entry.second);
        EXPECT_EQ(LmdKeyNames::nameOf(entry.second), entry.first);
    }
    for (const auto& alias : LmdKeyNames::aliases())
        EXPECT_EQ(resolved(alias.first), resolved(alias.second)) << alias.first;
    EXPECT_EQ(LmdKeyNames::nameOf('q'), "q");
}

TEST(LmdKeyNamesTest, UnknownNamesAreRefusedWithAListOfWhatWorks) {
    for (const char* name : {"hyperspace", "", "f13", "ctrl+z", "ab", "é"}) {
        OgreBites::Keycode code = 0;
        std::string error;
        EXPECT_FALSE(LmdKeyNames::resolve(name, code, error)) << name;
        EXPECT_NE(error.find("'" + std::string(name) + "'"), std::string::npos) << error;
        EXPECT_NE(error.find("pagedown"), std::string::npos) << error;
    }
}

TEST(LmdKeyNamesTest, ModifiersAndTypedText) {
    OgreBites::Keycode shift = resolved("shift"), ctrl = resolved("ctrl"), alt = resolved("alt");
    EXPECT_EQ(LmdKeyNames::modifierBits(shift) & OgreBites::KMOD_SHIFT, LmdKeyNames::modifierBits(shift));
    EXPECT_NE(LmdKeyNames::modifierBits(shift), 0);
    EXPECT_NE(LmdKeyNames::modifierBits(ctrl) & OgreBites::KMOD_CTRL, 0);
    EXPECT_NE(LmdKeyNames::modifierBits(alt) & OgreBites::KMOD_ALT, 0);
    EXPECT_EQ(LmdKeyNames::modifierBits('a'), 0);

    EXPECT_EQ(LmdKeyNames::typedCharacter('a', 0), 'a');
    EXPECT_EQ(LmdKeyNames::typedCharacter('a', LmdKeyNames::modifierBits(shift)), 'A');
    EXPECT_EQ(LmdKeyNames::typedCharacter('a', LmdKeyNames::modifierBits(ctrl)), 0) << "ctrl+a is a shortcut";
    EXPECT_EQ(LmdKeyNames::typedCharacter(OgreBites::SDLK_SPACE, 0), ' ');
    EXPECT_EQ(LmdKeyNames::typedCharacter(OgreBites::SDLK_RETURN, 0), 0);
    EXPECT_EQ(LmdKeyNames::typedCharacter(OgreBites::SDLK_F1, 0), 0);
}

TEST(LmdKeyNamesTest, TheKeyNameDocumentListsEveryNameAndAlias) {
    std::ifstream in(std::string(LMD_SOURCE_MEDIA_DIR) + "/../docs/input-keys.md");
    ASSERT_TRUE(in) << "docs/input-keys.md";
    std::stringstream text;
    text << in.rdbuf();
    const std::string doc = text.str();
    for (const auto& entry : LmdKeyNames::namedKeys())
        EXPECT_NE(doc.find("`" + entry.first + "`"), std::string::npos) << entry.first;
    for (const auto& alias : LmdKeyNames::aliases())
        EXPECT_NE(doc.find("`" + alias.first + "`"), std::string::npos) << alias.first;
}
