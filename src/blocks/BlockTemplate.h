#pragma once
// One entry of the palette: a block type of the schema shown as a preview block, which the user
// drags into the tree or onto the scene. The drop itself is the tree's (Workflow); a template
// only starts its drag, shows the preview under the pointer and ends its own drag state.
#include <memory>
#include <string>

#include <pugixml.hpp>

#include "ui/BaseUI.h"

namespace Lumenda3D {

class Block;

class BlockTemplate : public BaseUI {
public:
    BlockTemplate(const std::string& windowName, pugi::xml_node commandNode, ImVec4 color);
    ~BlockTemplate() override;

    void init() override;
    void draw() override;

    const std::string& getBlockName() const { return blockName_; }
    const std::string& getDisplayName() const { return displayName_; }
    const std::string& getCategory() const { return category_; }
    ImVec4 getColor() const { return color_; }
    bool isDragging() const { return isDragging_; }
    std::shared_ptr<Block> getPreviewBlock() const { return previewBlock_; }
    ImVec2 getScreenMin() const { return screenMin_; }
    ImVec2 getScreenMax() const { return screenMax_; }

    // The template being dragged, null when none is.
    static BlockTemplate* draggedTemplate;
    static ImVec2 dragOffset;
    static ImVec2 dragStartPos;
    // Draws a preview block (its box and caption) with its top left at `origin`; set by the
    // palette so that previews look like the tree's blocks.
    static std::function<void(ImDrawList&, const Block&, ImVec2)> paintPreview;

private:
    void createPreviewBlock();
    void drawDragPreview();

    pugi::xml_node commandNode_;
    std::string blockName_;
    std::string displayName_;
    std::string category_;
    ImVec4 color_;
    bool isDragging_ = false;
    bool isHovered_ = false;
    ImVec2 screenMin_{0, 0}, screenMax_{0, 0};
    pugi::xml_document previewDocument_;
    std::shared_ptr<Block> previewBlock_;
};

} // namespace Lumenda3D
