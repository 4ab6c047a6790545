#pragma once
// The palette: every block type of the schema as a template to drag into the tree or onto the
// scene, grouped by the schema's categories (with their colours), with a text search over the
// captions. It stands at the left edge below the tabs; the block tree (Workflow) is drawn right
// of it, by the palette, while the scene tab is in front.
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include <pugixml.hpp>

#include "ui/BaseUI.h"

namespace Lumenda3D {

class BlockTemplate;
class CodeSchema;
class Workflow;

class BlocksPalette : public BaseUI {
public:
    static constexpr const char* kName = "blocksPalette";
    static constexpr const char* kWindow = "BlocksPalette";

    explicit BlocksPalette(const std::string& name = kName);
    ~BlocksPalette() override;

    void init() override;
    void draw() override;

    // The schema the templates come from; loadCategoriesAndBlocks reads it.
    void setSchema(const CodeSchema* schema) { schema_ = schema; }
    void setWorkflow(Workflow* workflow) { workflow_ = workflow; }
    // Whether the game runs (the palette hides then). May be empty.
    void setIsRunning(std::function<bool()> running) { isRunning_ = std::move(running); }
    // Whether the block editor is shown at all (false while the source text is in front). May be
    // empty: always.
    void setIsShown(std::function<bool()> shown) { isShown_ = std::move(shown); }
    // Natural icon sizes for measuring the previews. May be empty (no icons).
    void setIconSize(std::function<ImVec2(const std::string&)> size) { iconSize_ = std::move(size); }

    void loadCategoriesAndBlocks();
    void filterBlocksByCategory();
    void setSelectedCategory(const std::string& name);
    const std::string& getSelectedCategory() const { return selectedCategory_; }
    void setSearchText(const std::string& text) { search_ = text.substr(0, 255); }
    // The category colour: "fillColor2", else "contextMenuColor", as hexadecimal 0xRRGGBB; grey
    // when neither is usable.
    static ImVec4 getCategoryColor(const pugi::xml_node& category);
    static ImVec4 hexToImVec4(int hex);
    // 150 wide (10 when collapsed), by the DPI rule.
    float getWidth() const;
    void setCollapsed(bool collapsed) { collapsed_ = collapsed; }
    void toggleCollapsed() { collapsed_ = !collapsed_; }
    bool isCollapsed() const { return collapsed_; }

    const std::vector<std::shared_ptr<BlockTemplate>>& getFilteredBlocks() const { return filteredBlocks_; }
    // The templates shown now (the category and the search applied).
    std::vector<BlockTemplate*> getVisibleBlocks() const;
    BlockTemplate* findTemplate(const std::string& blockName) const;
    bool containsScreenPoint(ImVec2 point) const;
    // Element name -> category colour, for every command with a known category.
    std::unordered_map<std::string, ImVec4> commandColors() const;

private:
    void drawCategoryTabs();
    void drawBlocksList();
    bool matchesSearch(const BlockTemplate& entry) const;

    const CodeSchema* schema_ = nullptr;
    Workflow* workflow_ = nullptr;
    std::function<bool()> isRunning_;
    std::function<bool()> isShown_;
    std::function<ImVec2(const std::string&)> iconSize_;
    bool collapsed_ = false;
    std::string selectedCategory_ = "All";
    std::string search_;
    std::vector<pugi::xml_node> categories_;
    std::vector<std::shared_ptr<BlockTemplate>> filteredBlocks_;
    std::unordered_map<std::string, std::vector<std::shared_ptr<BlockTemplate>>> blocksByCategory_;
    ImVec2 windowMin_{0, 0}, windowMax_{0, 0};
    bool drawn_ = false;
};

} // namespace Lumenda3D
