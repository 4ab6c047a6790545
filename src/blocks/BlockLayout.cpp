#include "blocks/BlockLayout.h"

#include <algorithm>
#include <cstring>
#include <sstream>

#include "base/LmdValueParser.h"
#include "blocks/Block.h"
#include "ui/BaseUI.h"

namespace Lumenda3D {
namespace {

void markFilters(Block& block, const std::string& filter, bool searching, bool changes) {
    Block::Layout& l = block.layout;
    l.matchSelf = searching && block.matchesLoweredFilter(filter);
    l.changeSelf = changes && block.aiChangeBorderType() != 0;
    l.matchBelow = false;
    l.changeBelow = false;
    for (const auto& child : block.getChilds()) {
        markFilters(*child, filter, searching, changes);
        l.matchBelow = l.matchBelow || child->layout.matchSelf || child->layout.matchBelow;
        l.changeBelow = l.changeBelow || child->layout.changeSelf || child->layout.changeBelow;
    }
}

// Sizes, bottom up. `ancestorMatches`: an ancestor matched the search, so the whole subtree shows.
void size(Block& block, const BlockLayout::Metrics& m, const BlockLayout::IconSize& icons, bool ancestorMatches,
          bool searching) {
    Block::Layout& l = block.layout;
    if (!block.isMainBlock())
        BlockLayout::measure(block, m, icons);
    else
        l.own = ImVec2(m.defaultSize.x, 0.0f);
    l.shown.clear();

    // Children shown: an open block always shows them; a closed one only while a search finds
    // something in or below it (nothing is written to the document for that).
    bool drawChildren = !block.isCollapsed() || (searching && (l.matchSelf || l.matchBelow));
    bool applySearch = false;
    bool subtreeMatches = ancestorMatches;
    if (!ancestorMatches) {
        if (l.matchSelf)
            subtreeMatches = true;
        else
            applySearch = searching;
    }
    float width = l.own.x;
    float height = l.header;
    if (drawChildren) {
        for (const auto& child : block.getChilds()) {
            Block::Layout& c = child->layout;
            if (applySearch && !(c.matchSelf || c.matchBelow))
                continue;
            if (Block::showOnlyChanges && !(c.changeSelf || c.changeBelow))
                continue;
            size(*child, m, icons, subtreeMatches, searching);
            l.shown.push_back(child.get());
            width = std::max(width, c.size.x + 2.0f * m.padding.x);
            // One pixel of slack per shown child.
            height += c.size.y + m.padding.y + 1.0f;
        }
    }
    if (block.isMainBlock()) {
        l.size = ImVec2(width, std::max(height, m.defaultSize.y));
        return;
    }
    l.size = ImVec2(width, std::max(height, m.defaultSize.y));
}

void place(Block& block, float x, float y, const BlockLayout::Metrics& m) {
    Block::Layout& l = block.layout;
    l.pos = ImVec2(x, y);
    float cy = y + l.header;
    for (Block* child : l.shown) {
        const float cx = x + (l.size.x - child->layout.size.x) * 0.5f;
        place(*child, cx, cy, m);
        cy += child->layout.size.y + m.padding.y + 1.0f;
    }
}

// The first shown child whose box reaches `top` or below.
std::vector<Block*>::const_iterator firstReaching(const std::vector<Block*>& shown, float top) {
    return std::lower_bound(shown.begin(), shown.end(), top, [](const Block* b, float value) {
        return b->layout.pos.y + b->layout.size.y < value;
    });
}

void visitIn(Block& block, float top, float bottom, const std::function<void(Block&)>& visitor) {
    const auto& shown = block.layout.shown;
    for (auto it = firstReaching(shown, top); it != shown.end(); ++it) {
        Block& child = **it;
        if (child.layout.pos.y > bottom)
            break;
        visitor(child);
        visitIn(child, top, bottom, visitor);
    }
}

bool holds(const Block& b, ImVec2 p) {
    const Block::Layout& l = b.layout;
    return p.x >= l.pos.x && p.x <= l.pos.x + l.size.x && p.y >= l.pos.y && p.y <= l.pos.y + l.size.y;
}

} // namespace

BlockLayout::Metrics BlockLayout::Metrics::forScale(float dpiScale) {
    Metrics m;
    const float s = dpiScale > 1.0f ? dpiScale : 1.0f;
    m.scale = s;
    m.defaultSize = ImVec2(120.0f * s, 120.0f * s);
    m.padding = ImVec2(15.0f * s, 15.0f * s);
    m.lineHeight = 20.0f * s;
    m.iconGap = 14.0f * s;
    m.collapseButton = 20.0f * s;
    m.collapseMargin = 6.0f * s;
    return m;
}

bool BlockLayout::isHiddenAttribute(const char* name) {
    return std::strcmp(name, "id") == 0 || std::strcmp(name, "guid") == 0 || std::strcmp(name, "guidId") == 0 ||
           std::strcmp(name, "isCollapse") == 0;
}

std::string BlockLayout::shownValue(const char* value, bool* cut) {
    const size_t length = std::strlen(value);
    if (length <= kValueCut) {
        if (cut)
            *cut = false;
        return value;
    }
    size_t end = kValueCut;
    // Never split a UTF-8 sequence: step back over continuation bytes.
    while (end > 0 && (static_cast<unsigned char>(value[end]) & 0xC0) == 0x80)
        --end;
    if (cut)
        *cut = true;
    return std::string(value, end) + "...";
}

std::vector<std::string> BlockLayout::captionLines(const Block& block, const Metrics& m) {
    const std::string& caption = block.getCaption();
    const float wrap = m.defaultSize.x - 2.0f * m.padding.x;
    // Only a display caption (a palette preview's) wraps; element names stand on one line.
    if (caption == block.getName() || ImGui::CalcTextSize(caption.c_str()).x <= wrap)
        return {caption};
    std::vector<std::string> lines;
    std::istringstream words(caption);
    std::string word, line;
    while (words >> word) {
        const std::string candidate = line.empty() ? word : line + " " + word;
        if (!line.empty() && ImGui::CalcTextSize(candidate.c_str()).x > wrap) {
            lines.push_back(line);
            line = word;
        } else {
            line = candidate;
        }
    }
    if (!line.empty())
        lines.push_back(line);
    if (lines.empty())
        lines.push_back(caption);
    return lines;
}

bool BlockLayout::measure(Block& block, const Metrics& m, const IconSize& iconSize) {
    Block::Layout& l = block.layout;
    const ImVec2 before = l.own;
    const float headerBefore = l.header;
    const float textHeight = ImGui::GetTextLineHeight();

    const std::vector<std::string> lines = captionLines(block, m);
    float width = m.defaultSize.x;
    for (const std::string& line : lines)
        width = std::max(width, ImGui::CalcTextSize(line.c_str()).x + 2.0f * m.padding.x);
    l.captionLines = static_cast<int>(lines.size());
    const float captionHeight = std::max(m.lineHeight, l.captionLines * textHeight);

    l.iconHeight = 0.0f;
    if (!block.getImage().empty() && iconSize) {
        const ImVec2 natural = iconSize(block.getImage());
        if (natural.y > 0.0f)
            l.iconHeight = natural.y * m.scale * 1.2f + m.iconGap;
    }

    int rows = 0;
    if (block.getShowAttributes()) {
        const float fixed = 10.0f + 3.0f * m.padding.x;
        for (pugi::xml_attribute a = block.getXmlNode().first_attribute(); a; a = a.next_attribute()) {
            if (isHiddenAttribute(a.name()))
                continue;
            const std::string value = shownValue(a.value());
            width = std::max(width, ImGui::CalcTextSize(a.name()).x + ImGui::CalcTextSize(value.c_str()).x + fixed);
            ++rows;
        }
    }
    l.attributeRows = rows;
    l.header = 2.0f * m.padding.y + rows * m.lineHeight + l.iconHeight + (captionHeight - m.lineHeight);
    l.own = ImVec2(width, std::max(m.defaultSize.y, l.header));
    return l.own.x != before.x || l.own.y != before.y || l.header != headerBefore;
}

void BlockLayout::compute(Block& root, const Metrics& metrics, const IconSize& iconSize) {
    const std::string filter = LmdValueParser::toLower(Block::searchFilter);
    const bool searching = !filter.empty();
    markFilters(root, filter, searching, Block::showOnlyChanges);
    size(root, metrics, iconSize, false, searching);
    root.layout.header = 2.0f * metrics.padding.y;
    // The main block's children start below its own padding; redo the height with that header.
    float height = root.layout.header;
    for (Block* child : root.layout.shown)
        height += child->layout.size.y + metrics.padding.y + 1.0f;
    root.layout.size.y = std::max(height, metrics.defaultSize.y);
    place(root, 0.0f, 0.0f, metrics);
}

void BlockLayout::visit(Block& root, float top, float bottom, const std::function<void(Block&)>& visitor) {
    visitIn(root, top, bottom, visitor);
}

Block* BlockLayout::hitTest(Block& root, ImVec2 point) {
    if (!holds(root, point))
        return nullptr;
    Block* found = &root;
    for (;;) {
        const auto& shown = found->layout.shown;
        auto it = firstReaching(shown, point.y);
        Block* deeper = nullptr;
        for (; it != shown.end() && (*it)->layout.pos.y <= point.y; ++it)
            if (holds(**it, point)) {
                deeper = *it;
                break;
            }
        if (!deeper)
            return found;
        found = deeper;
    }
}

int BlockLayout::childIndexByY(Block& target, float y) {
    const auto& shown = target.layout.shown;
    int result = 0;
    for (size_t i = 0; i < shown.size(); ++i) {
        const float t = shown[i]->layout.pos.y;
        const float h = shown[i]->layout.size.y;
        if (y > t + h * 0.5f) {
            result = static_cast<int>(i) + 1;
            continue;
        }
        // Above this child's top (in the gap before it): the place is before it.
        if (y <= t)
            break;
        // In its upper half.
        result = static_cast<int>(i);
    }
    // From an index among the shown children to one among all children.
    if (shown.empty())
        return static_cast<int>(target.getChilds().size());
    if (result < static_cast<int>(shown.size()))
        return shown[result]->indexInParent();
    return shown.back()->indexInParent() + 1;
}

float BlockLayout::insertionLineY(Block& target, int index, const Metrics& m) {
    const auto& children = target.getChilds();
    const auto& shown = target.layout.shown;
    if (index < static_cast<int>(children.size())) {
        const Block* child = children[index].get();
        if (std::find(shown.begin(), shown.end(), child) != shown.end())
            return child->layout.pos.y - m.padding.y * 0.5f;
    }
    if (shown.empty())
        return target.layout.pos.y + target.layout.size.y * 0.5f;
    const Block* last = shown.back();
    return last->layout.pos.y + last->layout.size.y + m.padding.y * 0.5f;
}

void BlockLayout::collapseButton(ImVec2 min, ImVec2 max, const Metrics& m, ImVec2& centre, float& radius) {
    (void)min;
    radius = m.collapseButton * 0.5f;
    centre = ImVec2(max.x - m.collapseMargin - radius, min.y + m.collapseMargin + radius);
}

void BlockLayout::warningMark(ImVec2 min, const Metrics& m, ImVec2& markMin, ImVec2& markMax) {
    markMin = ImVec2(min.x + m.collapseMargin, min.y + m.collapseMargin);
    markMax = ImVec2(markMin.x + m.collapseButton, markMin.y + m.collapseButton);
}

} // namespace Lumenda3D
