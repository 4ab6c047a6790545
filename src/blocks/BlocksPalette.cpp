#include "blocks/BlocksPalette.h"

#include <algorithm>
#include <cstdlib>

#include "base/LmdValueParser.h"
#include "blocks/Block.h"
#include "blocks/BlockLayout.h"
#include "blocks/BlockTemplate.h"
#include "blocks/Workflow.h"
#include "engine/schema/CodeSchema.h"

namespace Lumenda3D {
namespace {

const ImVec4 kGrey(0.5f, 0.5f, 0.5f, 1.0f);

ImVec4 times(ImVec4 c, float f) {
    return ImVec4(std::min(1.0f, c.x * f), std::min(1.0f, c.y * f), std::min(1.0f, c.z * f), c.w);
}

} // namespace

BlocksPalette::BlocksPalette(const std::string& name) : BaseUI(name) {}

BlocksPalette::~BlocksPalette() {
    BlockTemplate::draggedTemplate = nullptr;
}

void BlocksPalette::init() {
    loadCategoriesAndBlocks();
}

ImVec4 BlocksPalette::hexToImVec4(int hex) {
    return ImVec4(((hex >> 16) & 0xFF) / 255.0f, ((hex >> 8) & 0xFF) / 255.0f, (hex & 0xFF) / 255.0f, 1.0f);
}

ImVec4 BlocksPalette::getCategoryColor(const pugi::xml_node& category) {
    std::string text = category.attribute("fillColor2").value();
    if (text.empty())
        text = category.attribute("contextMenuColor").value();
    if (text.empty())
        return kGrey;
    char* end = nullptr;
    const long value = std::strtol(text.c_str(), &end, 16);
    if (end == text.c_str() || *end != '\0' || value < 0)
        return kGrey;
    return hexToImVec4(static_cast<int>(value));
}

void BlocksPalette::loadCategoriesAndBlocks() {
    categories_.clear();
    blocksByCategory_.clear();
    if (!schema_ || !schema_->isLoaded()) {
        filterBlocksByCategory();
        return;
    }
    categories_ = schema_->getCategories();
    for (const pugi::xml_node& command : schema_->getCommands()) {
        const std::string category = command.attribute("category").value();
        const std::string name = command.attribute("name").value();
        // A command without a category is made by tools only, never offered here.
        if (category.empty() || name.empty())
            continue;
        ImVec4 color = kGrey;
        for (const pugi::xml_node& each : categories_)
            if (category == each.attribute("name").value()) {
                color = getCategoryColor(each);
                break;
            }
        auto entry = std::make_shared<BlockTemplate>(name, command, color);
        entry->init();
        blocksByCategory_[category].push_back(entry);
    }
    filterBlocksByCategory();
}

std::unordered_map<std::string, ImVec4> BlocksPalette::commandColors() const {
    std::unordered_map<std::string, ImVec4> colors;
    for (const auto& category : blocksByCategory_)
        for (const auto& entry : category.second)
            colors.emplace(entry->getBlockName(), entry->getColor());
    return colors;
}

void BlocksPalette::filterBlocksByCategory() {
    filteredBlocks_.clear();
    if (selectedCategory_ == "All") {
        for (const pugi::xml_node& category : categories_) {
            auto it = blocksByCategory_.find(category.attribute("name").value());
            if (it != blocksByCategory_.end())
                filteredBlocks_.insert(filteredBlocks_.end(), it->second.begin(), it->second.end());
        }
        return;
    }
    auto it = blocksByCategory_.find(selectedCategory_);
    if (it != blocksByCategory_.end())
        filteredBlocks_ = it->second;
}

void BlocksPalette::setSelectedCategory(const std::string& name) {
    if (name == selectedCategory_)
        return;
    selectedCategory_ = name;
    filterBlocksByCategory();
}

float BlocksPalette::getWidth() const {
    if (isShown_ && !isShown_())
        return 0.0f;
    return scaled(collapsed_ ? 10.0f : 150.0f);
}

bool BlocksPalette::matchesSearch(const BlockTemplate& entry) const {
    return search_.empty() || LmdValueParser::toLower(entry.getDisplayName()).find(LmdValueParser::toLower(search_)) != std::string::npos;
}

std::vector<BlockTemplate*> BlocksPalette::getVisibleBlocks() const {
    std::vector<BlockTemplate*> shown;
    for (const auto& entry : filteredBlocks_)
        if (matchesSearch(*entry))
            shown.push_back(entry.get());
    return shown;
}

BlockTemplate* BlocksPalette::findTemplate(const std::string& blockName) const {
    for (const auto& category : blocksByCategory_)
        for (const auto& entry : category.second)
            if (entry->getBlockName() == blockName)
                return entry.get();
    return nullptr;
}

bool BlocksPalette::containsScreenPoint(ImVec2 p) const {
    return drawn_ && p.x >= windowMin_.x && p.x <= windowMax_.x && p.y >= windowMin_.y && p.y <= windowMax_.y;
}

void BlocksPalette::draw() {
    drawn_ = false;
    if (isShown_ && !isShown_())
        return;
    const bool running = isRunning_ && isRunning_();
    if (!running) {
        const ImVec2 display = ImGui::GetIO().DisplaySize;
        const float top = Workflow::topBelowBars(*this);
        ImGui::SetNextWindowPos(ImVec2(0.0f, top), ImGuiCond_Always);
        ImGui::SetNextWindowSize(ImVec2(getWidth(), std::max(0.0f, display.y - top)), ImGuiCond_Always);
        const ImGuiWindowFlags flags = ImGuiWindowFlags_NoTitleBar | ImGuiWindowFlags_NoMove |
                                       ImGuiWindowFlags_NoResize | ImGuiWindowFlags_NoCollapse |
                                       ImGuiWindowFlags_NoSavedSettings | ImGuiWindowFlags_NoBringToFrontOnFocus |
                                       ImGuiWindowFlags_NoScrollbar;
        ImGui::PushStyleVar(ImGuiStyleVar_WindowPadding, ImVec2(scaled(4.0f), scaled(4.0f)));
        if (ImGui::Begin(kWindow, nullptr, flags)) {
            windowMin_ = ImGui::GetWindowPos();
            windowMax_ = ImVec2(windowMin_.x + ImGui::GetWindowWidth(), windowMin_.y + ImGui::GetWindowHeight());
            drawn_ = true;
            if (button(collapsed_ ? ">##paletteToggle" : "<##paletteToggle", ImVec2(-1.0f, 0.0f)))
                toggleCollapsed();
            if (!collapsed_) {
                drawCategoryTabs();
                ImGui::Separator();
                drawBlocksList();
            }
            calculateSize();
        }
        ImGui::End();
        ImGui::PopStyleVar();
    }
    if (workflow_)
        workflow_->draw();
}

void BlocksPalette::drawCategoryTabs() {
    char buffer[256];
    const size_t length = std::min(search_.size(), sizeof(buffer) - 1);
    search_.copy(buffer, length);
    buffer[length] = '\0';
    const float clearWidth = ImGui::CalcTextSize("X").x + ImGui::GetStyle().FramePadding.x * 2.0f;
    ImGui::SetNextItemWidth(ImGui::GetContentRegionAvail().x - clearWidth - ImGui::GetStyle().ItemSpacing.x);
    if (ImGui::InputTextWithHint("##BlockSearch", "Search...", buffer, sizeof(buffer)))
        search_ = buffer;
    recordItem("##BlockSearch");
    ImGui::SameLine();
    if (button("X##ClearSearch"))
        search_.clear();

    ImVec4 colour = kGrey;
    for (const pugi::xml_node& category : categories_)
        if (selectedCategory_ == category.attribute("name").value())
            colour = getCategoryColor(category);
    ImGui::PushStyleColor(ImGuiCol_FrameBg, colour);
    ImGui::PushStyleColor(ImGuiCol_FrameBgHovered, times(colour, 1.2f));
    ImGui::PushStyleColor(ImGuiCol_FrameBgActive, times(colour, 0.8f));
    ImGui::PushStyleColor(ImGuiCol_Text, ImVec4(0.05f, 0.05f, 0.05f, 1.0f));
    ImGui::SetNextItemWidth(-1.0f);
    const float popupHeight = (categories_.size() + 1) * ImGui::GetTextLineHeightWithSpacing() + 30.0f;
    ImGui::SetNextWindowSizeConstraints(ImVec2(0, 0), ImVec2(FLT_MAX, popupHeight));
    const bool open = ImGui::BeginCombo("##CategoryDropdown", selectedCategory_.c_str());
    ImGui::PopStyleColor(4);
    recordItem("##CategoryDropdown");
    if (!open)
        return;
    auto entry = [this](const std::string& name, ImVec4 marker) {
        ImGui::ColorButton(("##marker" + name).c_str(), marker, ImGuiColorEditFlags_NoTooltip, ImVec2(10, 10));
        ImGui::SameLine();
        const bool selected = selectedCategory_ == name;
        if (ImGui::Selectable(name.c_str(), selected)) {
            selectedCategory_ = name;
            filterBlocksByCategory();
        }
        if (selected)
            ImGui::SetItemDefaultFocus();
    };
    entry("All", kGrey);
    for (const pugi::xml_node& category : categories_)
        entry(category.attribute("name").value(), getCategoryColor(category));
    ImGui::EndCombo();
}

void BlocksPalette::drawBlocksList() {
    ImGui::BeginChild("BlocksList", ImVec2(0, 0), false);
    const BlockLayout::Metrics metrics = BlockLayout::Metrics::forScale(getDpiScale());
    for (BlockTemplate* entry : getVisibleBlocks()) {
        std::shared_ptr<Block> preview = entry->getPreviewBlock();
        if (!preview)
            continue;
        if (preview->layout.size.x <= 0.0f || preview->layout.own.x <= 0.0f) {
            BlockLayout::measure(*preview, metrics, iconSize_);
            preview->layout.size = preview->layout.own;
            preview->layout.size.y = std::max(preview->layout.header, metrics.defaultSize.y * 0.5f);
        }
        const float indent = std::max(0.0f, (ImGui::GetContentRegionAvail().x - preview->layout.size.x) * 0.5f);
        ImGui::SetCursorPosX(ImGui::GetCursorPosX() + indent);
        entry->draw();
    }
    ImGui::EndChild();
}

} // namespace Lumenda3D
