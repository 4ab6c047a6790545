#include "services/LmdAppcast.h"

#include "base/LmdValueParser.h"

#include <cctype>
#include <cstring>

#include <pugixml.hpp>

namespace Lumenda3D {
namespace {

struct ParsedVersion {
    std::vector<std::string> numbers;      // digits only, leading zeros removed
    std::vector<std::string> prerelease;   // identifiers after '-'
};

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::size_t start = 0;
    for (;;) {
        const std::size_t end = text.find(separator, start);
        parts.push_back(text.substr(start, end == std::string::npos ? std::string::npos : end - start));
        if (end == std::string::npos)
            return parts;
        start = end + 1;
    }
}

bool allDigits(const std::string& text) {
    if (text.empty())
        return false;
    for (unsigned char c : text)
        if (!std::isdigit(c))
            return false;
    return true;
}

std::string withoutLeadingZeros(const std::string& digits) {
    const std::size_t first = digits.find_first_not_of('0');
    return first == std::string::npos ? "0" : digits.substr(first);
}

// Compares two numbers written in decimal digits, of any length.
int compareNumbers(const std::string& a, const std::string& b) {
    if (a.size() != b.size())
        return a.size() < b.size() ? -1 : 1;
    const int c = a.compare(b);
    return c < 0 ? -1 : (c > 0 ? 1 : 0);
}

bool parseVersion(std::string text, ParsedVersion& out) {
    text = std::string(LmdValueParser::trim(text));
    if (!text.empty() && (text[0] == 'v' || text[0] == 'V'))
        text.erase(0, 1);
    const std::size_t plus = text.find('+');
    if (plus != std::string::npos)
        text.erase(plus);
    std::string pre;
    const std::size_t dash = text.find('-');
    if (dash != std::string::npos) {
        pre = text.substr(dash + 1);
        text.erase(dash);
        if (pre.empty())
            return false;
    }
    out = ParsedVersion();
    for (const std::string& part : split(text, '.')) {
        if (!allDigits(part))
            return false;
        out.numbers.push_back(withoutLeadingZeros(part));
    }
    if (!pre.empty()) {
        for (const std::string& id : split(pre, '.')) {
            if (id.empty())
                return false;
            out.prerelease.push_back(id);
        }
    }
    return true;
}

int comparePrerelease(const std::vector<std::string>& a, const std::vector<std::string>& b) {
    // A release (no tag) is newer than any of its pre-releases.
    if (a.empty() || b.empty())
        return a.empty() == b.empty() ? 0 : (a.empty() ? 1 : -1);
    for (std::size_t i = 0; i < a.size() && i < b.size(); ++i) {
        const bool aNum = allDigits(a[i]), bNum = allDigits(b[i]);
        int c;
        if (aNum && bNum)
            c = compareNumbers(withoutLeadingZeros(a[i]), withoutLeadingZeros(b[i]));
        else if (aNum != bNum)
            c = aNum ? -1 : 1;   // numeric identifiers come first
        else
            c = a[i].compare(b[i]) < 0 ? -1 : (a[i] == b[i] ? 0 : 1);
        if (c != 0)
            return c;
    }
    return a.size() == b.size() ? 0 : (a.size() < b.size() ? -1 : 1);
}

// The part of a (possibly prefixed) XML name after its last ':'.
const char* localName(const char* name) {
    const char* colon = std::strrchr(name, ':');
    return colon ? colon + 1 : name;
}

pugi::xml_node childByLocalName(pugi::xml_node parent, const char* name) {
    for (pugi::xml_node child : parent.children())
        if (child.type() == pugi::node_element && std::strcmp(localName(child.name()), name) == 0)
            return child;
    return pugi::xml_node();
}

pugi::xml_attribute attributeByLocalName(pugi::xml_node node, const char* name) {
    for (pugi::xml_attribute attribute : node.attributes())
        if (std::strcmp(localName(attribute.name()), name) == 0)
            return attribute;
    return pugi::xml_attribute();
}

std::string trimmed(const char* text) {
    return std::string(LmdValueParser::trim(text ? text : ""));
}

} // namespace

bool LmdAppcast::isValidVersion(const std::string& version) {
    ParsedVersion parsed;
    return parseVersion(version, parsed);
}

int LmdAppcast::compareVersions(const std::string& a, const std::string& b) {
    ParsedVersion va, vb;
    const bool okA = parseVersion(a, va), okB = parseVersion(b, vb);
    if (!okA || !okB)
        return okA == okB ? 0 : (okA ? 1 : -1);
    const std::size_t parts = va.numbers.size() > vb.numbers.size() ? va.numbers.size() : vb.numbers.size();
    for (std::size_t i = 0; i < parts; ++i) {
        const std::string& x = i < va.numbers.size() ? va.numbers[i] : std::string("0");
        const std::string& y = i < vb.numbers.size() ? vb.numbers[i] : std::string("0");
        const int c = compareNumbers(x, y);
        if (c != 0)
            return c;
    }
    return comparePrerelease(va.prerelease, vb.prerelease);
}

bool LmdAppcast::parse(const std::string& xml, std::vector<Item>& items, std::string& error) {
    items.clear();
    pugi::xml_document document;
    const pugi::xml_parse_result result = document.load_buffer(xml.data(), xml.size());
    if (!result) {
        error = std::string("the feed is not valid XML (") + result.description() + " at byte " +
                std::to_string(result.offset) + ")";
        return false;
    }
    const pugi::xml_node channel = childByLocalName(childByLocalName(document, "rss"), "channel");
    if (!channel) {
        error = "the feed is not an appcast (no rss/channel element)";
        return false;
    }
    int itemElements = 0;
    for (pugi::xml_node node : channel.children()) {
        if (node.type() != pugi::node_element || std::strcmp(localName(node.name()), "item") != 0)
            continue;
        ++itemElements;
        const pugi::xml_node enclosure = childByLocalName(node, "enclosure");
        Item item;
        item.version = trimmed(attributeByLocalName(enclosure, "version").value());
        if (item.version.empty())
            item.version = trimmed(childByLocalName(node, "version").text().get());
        if (!isValidVersion(item.version))
            continue;
        item.displayVersion = trimmed(attributeByLocalName(enclosure, "shortVersionString").value());
        if (item.displayVersion.empty())
            item.displayVersion = trimmed(childByLocalName(node, "shortVersionString").text().get());
        if (item.displayVersion.empty())
            item.displayVersion = item.version;
        item.title = trimmed(childByLocalName(node, "title").text().get());
        item.pubDate = trimmed(childByLocalName(node, "pubDate").text().get());
        item.releaseNotesUrl = trimmed(childByLocalName(node, "releaseNotesLink").text().get());
        item.downloadUrl = trimmed(enclosure.attribute("url").value());
        item.length = enclosure.attribute("length").as_ullong(0);
        items.push_back(std::move(item));
    }
    if (itemElements > 0 && items.empty()) {
        error = "the feed lists releases but none with a readable version";
        return false;
    }
    return true;
}

const LmdAppcast::Item* LmdAppcast::newest(const std::vector<Item>& items) {
    const Item* best = nullptr;
    for (const Item& item : items)
        if (!best || compareVersions(item.version, best->version) > 0)
            best = &item;
    return best;
}

} // namespace Lumenda3D
