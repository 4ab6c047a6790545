#include "engine/document/LmdGameDocument.h"

#include "base/LmdXmlWriter.h"
#include "base/XmlUtils.h"
#include "engine/document/Lumenda3DUtils.h"
#include "engine/schema/CodeSchema.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <set>
#include <utility>

namespace Lumenda3D {

LmdGameDocument::LmdGameDocument() = default;
LmdGameDocument::~LmdGameDocument() = default;

pugi::xml_document* LmdGameDocument::getSourceXml() { return doc_.get(); }
const pugi::xml_document* LmdGameDocument::getSourceXml() const { return doc_.get(); }

pugi::xml_node LmdGameDocument::root() const { return doc_ ? doc_->document_element() : pugi::xml_node(); }

std::string LmdGameDocument::getSourceXmlString(bool withIds, bool forStorage) const {
    if (!doc_)
        return "";
    LmdXmlWriteOptions options;
    options.withIds = withIds;
    options.withSessionMarks = !forStorage;
    options.indent = true;
    std::string out;
    // The text is about as long as last time: one allocation instead of a series of regrowths.
    out.reserve(lastTextSize_ + lastTextSize_ / 8 + 256);
    LmdXmlWriter::append(out, *doc_, options);
    lastTextSize_ = out.size();
    return out;
}

bool LmdGameDocument::parse(const std::string& xml, pugi::xml_document& out, std::string* error) {
    pugi::xml_parse_result result = out.load_buffer(xml.data(), xml.size(), kParseFlags);
    if (!result) {
        if (error)
            *error = std::string(result.description()) + " at offset " + std::to_string(result.offset);
        return false;
    }
    const pugi::xml_node root = out.document_element();
    if (!root) {
        if (error)
            *error = "the text holds no root element";
        return false;
    }
    // pugixml reads what XML forbids: an attribute given twice (only the first would be seen,
    // and an id given twice survived the numbering), and elements after the root, which
    // everything that reads a game (ids, validation, the engine) ignores.
    std::string repeated;
    if (XmlUtils::findRepeatedAttribute(out, repeated)) {
        if (error)
            *error = "the element " + repeated;
        return false;
    }
    for (pugi::xml_node next = root.next_sibling(); next; next = next.next_sibling()) {
        if (next.type() == pugi::node_element) {
            if (error)
                *error = "the text holds more than one root element (<" + std::string(next.name()) + "> after </" +
                         root.name() + ">)";
            return false;
        }
    }
    return true;
}

bool LmdGameDocument::isValidText(const std::string& xml) {
    pugi::xml_document scratch;
    return parse(xml, scratch);
}

namespace {

// Whether the text may hold `id` attributes at all: an "id=" preceded by white space. Texts in
// the stored form hold none, and then every element can take a new attribute without a lookup.
bool textMayHoldIds(const std::string& xml) {
    for (size_t at = xml.find("id="); at != std::string::npos; at = xml.find("id=", at + 3)) {
        if (at > 0 && (xml[at - 1] == ' ' || xml[at - 1] == '\t' || xml[at - 1] == '\n' || xml[at - 1] == '\r'))
            return true;
    }
    return false;
}

size_t countElements(const pugi::xml_node& node) {
    size_t n = 0;
    for (pugi::xml_node c = node.first_child(); c; c = c.next_sibling())
        if (c.type() == pugi::node_element)
            n += 1 + countElements(c);
    return n;
}

void writeId(pugi::xml_node node, int id, bool lookFirst) {
    pugi::xml_attribute a = lookFirst ? node.attribute("id") : pugi::xml_attribute();
    (a ? a : node.append_attribute("id")).set_value(id);
}

} // namespace

bool LmdGameDocument::setXmlSourceString(const std::string& xml, std::string* error) {
    auto fresh = std::make_unique<pugi::xml_document>();
    if (!parse(xml, *fresh, error))
        return false;
    std::swap(doc_, fresh);

    // Number the elements in document order, parents first, from one reserved block.
    pugi::xml_node root = doc_->document_element();
    const size_t count = 1 + countElements(root);
    denseBase_ = Lumenda3DUtils::reserveIds(static_cast<int>(count));
    dense_.assign(count, pugi::xml_node());
    extra_.clear();
    const bool lookFirst = textMayHoldIds(xml);
    size_t k = 0;
    pugi::xml_node n = root;
    while (n) {
        writeId(n, denseBase_ + static_cast<int>(k), lookFirst);
        dense_[k++] = n;
        // Next element in document order.
        pugi::xml_node next = n.first_child();
        while (next && next.type() != pugi::node_element)
            next = next.next_sibling();
        if (!next) {
            for (pugi::xml_node up = n; up && up != root.parent(); up = up.parent()) {
                if (up == root) {
                    next = pugi::xml_node();
                    break;
                }
                next = up.next_sibling();
                while (next && next.type() != pugi::node_element)
                    next = next.next_sibling();
                if (next)
                    break;
            }
        }
        n = next;
    }
    registered_ = k;

    ++version_;
    if (onReplaced_)
        onReplaced_(std::move(fresh));
    return true;
}

void LmdGameDocument::setSlot(int id, const pugi::xml_node& node) {
    const long index = static_cast<long>(id) - denseBase_;
    if (index >= 0 && index < static_cast<long>(dense_.size())) {
        pugi::xml_node& slot = dense_[static_cast<size_t>(index)];
        if (!slot)
            ++registered_;
        slot = node;
        return;
    }
    auto result = extra_.insert_or_assign(id, node);
    if (result.second)
        ++registered_;
}

void LmdGameDocument::clearSlot(int id, const pugi::xml_node& node) {
    const long index = static_cast<long>(id) - denseBase_;
    if (index >= 0 && index < static_cast<long>(dense_.size())) {
        pugi::xml_node& slot = dense_[static_cast<size_t>(index)];
        if (slot && slot == node) {
            slot = pugi::xml_node();
            --registered_;
        }
        return;
    }
    auto it = extra_.find(id);
    if (it != extra_.end() && it->second == node) {
        extra_.erase(it);
        --registered_;
    }
}

pugi::xml_node LmdGameDocument::getXmlNodeById(int id) const {
    const long index = static_cast<long>(id) - denseBase_;
    if (index >= 0 && index < static_cast<long>(dense_.size()))
        return dense_[static_cast<size_t>(index)];
    auto it = extra_.find(id);
    return it == extra_.end() ? pugi::xml_node() : it->second;
}

void LmdGameDocument::registerXmlNode(const pugi::xml_node& node) {
    if (!node || node.type() != pugi::node_element)
        return;
    pugi::xml_attribute idAttr = node.attribute("id");
    if (!idAttr)
        return;
    char* end = nullptr;
    long id = std::strtol(idAttr.value(), &end, 10);
    if (end == idAttr.value() || *end != 0)
        return;
    setSlot(static_cast<int>(id), node);
}

void LmdGameDocument::unregisterSubtree(const pugi::xml_node& node) {
    if (!node)
        return;
    if (node.type() == pugi::node_element) {
        pugi::xml_attribute idAttr = node.attribute("id");
        if (idAttr)
            clearSlot(idAttr.as_int(), node);
    }
    for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling())
        unregisterSubtree(child);
}

void LmdGameDocument::assignIds(pugi::xml_node node) {
    if (!node || node.type() != pugi::node_element)
        return;
    int id = Lumenda3DUtils::getNextId();
    writeId(node, id, true);
    setSlot(id, node);
    for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling())
        assignIds(child);
}

namespace {
bool isLocalReference(const char* value) { return std::strncmp(value, "local:", 6) == 0; }

// The kind of asset an input type picks: what the asset catalog calls textures, models and sounds.
std::string assetKindOf(const std::string& inputType) {
    if (inputType == "picture" || inputType == "texturePicker")
        return "texture";
    if (inputType == "modelFilePicker")
        return "model";
    if (inputType == "soundFilePicker")
        return "sound";
    return inputType.empty() ? std::string("asset") : inputType;
}

template <typename Visit>
void forEachElement(const pugi::xml_node& node, Visit&& visit) {
    for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling()) {
        if (child.type() != pugi::node_element)
            continue;
        visit(child);
        forEachElement(child, visit);
    }
}
} // namespace

bool LmdGameDocument::sourceHasLocalAssets() const {
    if (!doc_)
        return false;
    bool found = false;
    forEachElement(*doc_, [&](const pugi::xml_node& element) {
        if (found)
            return;
        for (pugi::xml_attribute a = element.first_attribute(); a; a = a.next_attribute())
            if (isLocalReference(a.value())) {
                found = true;
                return;
            }
    });
    return found;
}

std::string LmdGameDocument::getAssetsXmlString(const CodeSchema* schema) const {
    pugi::xml_document out;
    pugi::xml_node assets = out.append_child("Assets");
    if (doc_) {
        std::set<std::pair<std::string, std::string>> seen;
        forEachElement(*doc_, [&](const pugi::xml_node& element) {
            for (pugi::xml_attribute a = element.first_attribute(); a; a = a.next_attribute()) {
                if (!*a.value())
                    continue;
                std::string loader;
                if (schema) {
                    pugi::xml_node def = schema->getAttribute(element.name(), a.name());
                    if (def.attribute("assetLoader").as_bool())
                        loader = assetKindOf(def.attribute("type").as_string());
                }
                const bool local = isLocalReference(a.value());
                if (loader.empty() && !local)
                    continue;
                if (loader.empty())
                    loader = a.name();
                if (!seen.emplace(loader, a.value()).second)
                    continue;
                pugi::xml_node asset = assets.append_child("Asset");
                asset.append_attribute("type").set_value(loader.c_str());
                asset.append_attribute("ref").set_value(a.value());
                asset.append_attribute("local").set_value(local);
            }
        });
    }
    LmdXmlWriteOptions options;
    return LmdXmlWriter::toString(out, options);
}

} // namespace Lumenda3D
