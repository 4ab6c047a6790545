#pragma once
// What an asset file really holds, read from its first bytes before it is stored anywhere: the
// picture formats (PNG, JPEG, GIF, BMP, TGA, with their size), the sound formats (WAV, Ogg, FLAC,
// MP3) and the signatures of the model formats that have one. A file whose contents do not match
// its extension, an empty file and a picture too large for a texture are refused with a sentence
// for the person; the check never trusts a length the file states beyond the bytes it has.
#include <cstddef>
#include <string>

namespace Lumenda3D {

class LmdAssetFormats {
public:
    // The largest side of a picture that may become a texture (what graphics hardware of the
    // last decade takes without a fuss; a 20,000-pixel picture would need 1.6 GB).
    static constexpr unsigned kMaxImageSide = 8192;

    struct ImageInfo {
        std::string format;  // "png", "jpg", "gif", "bmp", "tga"; empty when not a picture
        unsigned width = 0;
        unsigned height = 0;
    };

    // The picture's format by its first bytes: FF D8 FF "jpg", 89 50 4E 47 "png", "GIF" "gif";
    // fewer than 3 bytes or anything else gives `fallback`.
    static std::string detectImageFormat(const std::string& bytes, const std::string& fallback);
    // Format and size of a PNG, JPEG, GIF, BMP or TGA picture; `format` empty when the bytes are
    // none of them or are cut short before the size. `extensionHint` ("tga") lets the TGA header,
    // which has no signature, be read.
    static ImageInfo readImageInfo(const std::string& bytes, const std::string& extensionHint = "");
    // "" when the bytes are what a file of `fileName` of asset type `type` ("textures", "models",
    // "sounds") must hold; otherwise one sentence that names the file and the fault.
    static std::string check(const std::string& type, const std::string& fileName, const std::string& bytes);
    // The lower-case extension without the dot ("png"); "" when there is none.
    static std::string extensionOf(const std::string& fileName);
};

} // namespace Lumenda3D
