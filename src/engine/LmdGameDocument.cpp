#include "engine/LmdGameDocument.h"

#include "engine/CodeSchema.h"
#include "engine/Lumenda3DUtils.h"
#include "engine/LmdXmlWriter.h"

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
    if (!out.document_element()) {
        if (error)
            *error = "the text holds no root element";
        return false;
    }
    return true;
}

bool LmdGameDocument::setXmlSourceString(const std::string& xml, std::string* error) {
    auto fresh = std::make_unique<pugi::xml_document>();
    if (!parse(xml, *fresh, error))
        return false;
    std::swap(doc_, fresh);
    byId_.clear();
    assignIds(doc_->document_element());
    ++version_;
    if (onReplaced_)
        onReplaced_(std::move(fresh));
    return true;
}

pugi::xml_node LmdGameDocument::getXmlNodeById(int id) const {
    auto it = byId_.find(id);
    return it == byId_.end() ? pugi::xml_node() : it->second;
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
    byId_[static_cast<int>(id)] = node;
}

void LmdGameDocument::unregisterSubtree(const pugi::xml_node& node) {
    if (!node)
        return;
    if (node.type() == pugi::node_element) {
        pugi::xml_attribute idAttr = node.attribute("id");
        if (idAttr) {
            auto it = byId_.find(idAttr.as_int());
            if (it != byId_.end() && it->second == node)
                byId_.erase(it);
        }
    }
    for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling())
        unregisterSubtree(child);
}

void LmdGameDocument::assignIds(pugi::xml_node node) {
    if (!node || node.type() != pugi::node_element)
        return;
    int id = Lumenda3DUtils::getNextId();
    pugi::xml_attribute idAttr = node.attribute("id");
    if (!idAttr)
        idAttr = node.append_attribute("id");
    idAttr.set_value(id);
    byId_[id] = node;
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
