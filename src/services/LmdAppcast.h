#pragma once
// Reading the update feed (an "appcast": RSS 2.0 with one item per release) and comparing
// version strings.
//
//   <rss version="2.0" xmlns:sparkle="http://www.andymatuschak.org/xml-namespaces/sparkle">
//     <channel>
//       <item>
//         <title>Lumenda3D 2.2.0</title>
//         <pubDate>Mon, 02 Jun 2025 10:00:00 +0000</pubDate>
//         <sparkle:releaseNotesLink>https://example.com/notes/2.2.0.html</sparkle:releaseNotesLink>
//         <enclosure url="https://example.com/Lumenda3D-2.2.0-setup.exe" length="84213760"
//                    type="application/octet-stream" sparkle:version="2.2.0"
//                    sparkle:shortVersionString="2.2"/>
//       </item>
//     </channel>
//   </rss>
//
// An item's version is its enclosure's "version" attribute, else its own "version" element
// (any namespace prefix, "sparkle:" by custom). "shortVersionString" is only shown to the user.
// Items without a readable version are skipped. Which platform an item is for is not looked at:
// each platform has a feed of its own.
#include <cstdint>
#include <string>
#include <vector>

namespace Lumenda3D {

class LmdAppcast {
public:
    struct Item {
        std::string version;          // compared with compareVersions
        std::string displayVersion;   // shortVersionString, else version
        std::string title;
        std::string downloadUrl;      // the enclosure's url; may be empty
        std::string releaseNotesUrl;
        std::string pubDate;
        std::uint64_t length = 0;     // the enclosure's length in bytes; 0 when not given
    };

    // False with error set when the text is not XML, holds no rss/channel, or lists items of
    // which none has a readable version. An empty channel is a valid feed with no items.
    static bool parse(const std::string& xml, std::vector<Item>& items, std::string& error);

    // The item with the highest version; null for an empty list.
    static const Item* newest(const std::vector<Item>& items);

    // Versions are dot-separated numbers ("2.1.3", "v2.10"), optionally followed by "-" and a
    // pre-release tag ("2.2.0-beta.1") and "+" build data (ignored). Parts compare as numbers,
    // missing parts count as 0 (2.1 == 2.1.0), and a pre-release comes before its release.
    static bool isValidVersion(const std::string& version);
    // <0, 0 or >0 as a is older than, equal to or newer than b. An invalid version is older than
    // any valid one; two invalid versions compare equal.
    static int compareVersions(const std::string& a, const std::string& b);
};

} // namespace Lumenda3D
