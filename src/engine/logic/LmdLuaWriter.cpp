#include "engine/logic/LmdLuaWriter.h"

#include "engine/logic/LmdLuaExpression.h"

namespace Lumenda3D {
namespace {

// Tabs and line breaks separate the map's fields: keep them out of names.
std::string mapField(const std::string& text) {
    std::string out = text;
    for (char& c : out)
        if (static_cast<unsigned char>(c) < 0x20)
            c = ' ';
    return out;
}

} // namespace

int LmdLuaWriter::addNode(const std::string& element, const std::string& where) {
    nodes_.push_back(Node{element, where});
    return static_cast<int>(nodes_.size() - 1);
}

void LmdLuaWriter::beginUnit(int node, bool droppable) {
    Unit unit;
    unit.node = node;
    unit.droppable = droppable;
    units_.push_back(std::move(unit));
    inUnit_ = true;
    open_.assign(1, node);
    indent_ = 0;
}

void LmdLuaWriter::endUnit() {
    inUnit_ = false;
    open_.clear();
}

void LmdLuaWriter::abandonUnit() {
    if (inUnit_)
        units_.pop_back();
    endUnit();
}

void LmdLuaWriter::open(int node) {
    open_.push_back(node);
}

void LmdLuaWriter::close() {
    if (open_.size() > 1)
        open_.pop_back();
}

void LmdLuaWriter::line(const std::string& code) {
    if (!inUnit_)
        beginUnit(0, false);
    Line l;
    l.code.assign(static_cast<size_t>(indent_ * 2), ' ');
    l.code += code;
    l.node = open_.empty() ? 0 : open_.back();
    units_.back().lines.push_back(std::move(l));
}

size_t LmdLuaWriter::mark() const {
    return units_.empty() ? 0 : units_.back().lines.size();
}

void LmdLuaWriter::rollback(size_t mark) {
    if (!units_.empty() && units_.back().lines.size() > mark)
        units_.back().lines.resize(mark);
}

std::string LmdLuaWriter::assemble(const std::vector<bool>& dropped, LineOrigin* origin) const {
    std::string body;
    std::string map;
    int lineNo = 1; // line 1 holds the map
    int lastNode = -1;
    if (origin) {
        origin->unit.assign(2, -1);
        origin->node.assign(2, 0);
    }
    for (size_t u = 0; u < units_.size(); ++u) {
        if (u < dropped.size() && dropped[u])
            continue;
        for (const Line& l : units_[u].lines) {
            ++lineNo;
            body += l.code;
            body += '\n';
            if (origin) {
                origin->unit.push_back(static_cast<int>(u));
                origin->node.push_back(l.node);
            }
            if (l.node != lastNode) {
                lastNode = l.node;
                const Node& node = nodes_[static_cast<size_t>(l.node)];
                map += std::to_string(lineNo) + " " + mapField(node.element) + "\t" + mapField(node.where) + "\n";
            }
        }
    }
    return "local R = ...; R.linemap(" + LmdLuaExpression::quote(map) + ")\n" + body;
}

} // namespace Lumenda3D
