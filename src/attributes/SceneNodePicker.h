#pragma once
// A picker of something the game already has, listed from the document with an XPath query each
// time the pop-up opens (never kept across openings, so it cannot go stale): functions, sounds,
// arrays, levels, sky boxes, joysticks. A click on an item writes it and closes. With a
// `blockName`, "Add" creates such an element, named, and takes its name. A value that names
// nothing the document holds any more is shown marked as missing.
#include <string>
#include <vector>

#include "attributes/PickerBase.h"

namespace Lumenda3D {

class SceneNodePicker : public PickerBase {
public:
    static constexpr const char* kNoItems = "No items found in scene.";

    SceneNodePicker(std::string blockName, std::string addCaption, std::string searchHint, std::string xpath);

    void render(const std::string& name, pugi::xml_attribute attribute, pugi::xml_node& node,
                const pugi::xml_node& definition) override;

    // The names the list offers for the attribute of `node`: by default the "name" of every hit
    // of the query, without empty names or duplicates, in byte order.
    virtual std::vector<std::string> collectNames(pugi::xml_node& node, const pugi::xml_node& definition);

    const std::vector<std::string>& getItems() const { return items_; }

protected:
    // The document the lists come from; empty without an engine.
    pugi::xml_node documentRoot() const;
    void drawAddButton(const std::string& key, pugi::xml_node& node, const pugi::xml_node& definition);
    // Whether `value` is among the names the document offers now (cached per document version).
    bool isKnown(const std::string& value, pugi::xml_node& node, const pugi::xml_node& definition);

    std::string blockName_;
    std::string addCaption_;
    std::string searchHint_;
    std::string xpath_;
    std::vector<std::string> items_;
    char searchBuffer_[256] = {};

private:
    int knownVersion_ = -1;
    const void* knownNode_ = nullptr;
    std::vector<std::string> known_;
};

} // namespace Lumenda3D
