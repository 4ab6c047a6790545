#pragma once
// Checks every text that a client sends before it reaches the database or a page.
#include <cstddef>
#include <string>
#include <string_view>

namespace Lumenda3D::Cloud {

class TextRules {
public:
    // Valid UTF-8 (no overlong forms, no surrogates) without NUL bytes.
    static bool isCleanText(std::string_view text);
    // Number of code points of valid UTF-8.
    static std::size_t codePoints(std::string_view text);

    // A project or template name: clean text of 1 to 64 code points without control characters,
    // not only blanks.
    static bool isValidResourceName(const std::string& name);
    // A user name: 3 to 32 of A-Z a-z 0-9 . _ -, beginning with a letter or digit; "thumbs" is
    // taken by the asset folders.
    static bool isValidUsername(const std::string& name);
    // A password: 8 to 1024 bytes of clean text.
    static bool isValidPassword(const std::string& password);

    // An asset file name: a plain file name of 1 to 128 code points, with no control character,
    // none of / \ < > : " | ? * % #, not beginning or ending with a blank or a dot, not a name
    // that Windows keeps for devices (CON, NUL, COM1, ...), so it is safe in a URL path as it
    // stands, in a file system and in every player's download folder.
    static bool isValidAssetFileName(const std::string& name);
    // Whether the name's extension (any case) is one that the asset type accepts: "textures",
    // "models" or "sounds". False for any other type.
    static bool hasAllowedExtension(const std::string& assetType, const std::string& name);
    static bool isValidAssetType(const std::string& assetType);
    // The name without its last extension ("tree.png" -> "tree").
    static std::string stem(const std::string& name);
};

} // namespace Lumenda3D::Cloud
