#pragma once
// Writes the game chunk as a list of units, each a piece of Lua that stands on its own (an event
// handler, a function, a variable's initial value), and remembers for every line the block it
// came from. Assembling joins the units that are kept and puts the line map on the first line:
//
//   local R = ...; R.linemap("2 Var\tid 4\n5 OnUpdate\tid 7\n6 Move\tid 8\n...")
//
// The runtime reads that map so that a Lua error at a line can name its block; because it is part
// of the chunk, it survives compilation to bytecode. A unit that Lua refuses to load can be left
// out without touching the others.
#include <string>
#include <vector>

namespace Lumenda3D {

class LmdLuaWriter {
public:
    // Registers a block for the line map; returns its index (0 means "no block").
    int addNode(const std::string& element, const std::string& where);
    const std::string& nodeElement(int node) const { return nodes_[static_cast<size_t>(node)].element; }
    const std::string& nodeWhere(int node) const { return nodes_[static_cast<size_t>(node)].where; }

    // Units. A unit that is not droppable (the prologue, a level's opening and closing lines)
    // must always stay. `node` is the block the unit is about.
    void beginUnit(int node, bool droppable = true);
    void endUnit();
    // Discards the unit being written (a block that turned out to be faulty half way).
    void abandonUnit();
    size_t unitCount() const { return units_.size(); }
    bool isDroppable(size_t unit) const { return units_[unit].droppable; }
    int unitNode(size_t unit) const { return units_[unit].node; }

    // Lines of the current unit, tagged with the innermost open block.
    void open(int node);
    void close();
    void line(const std::string& code);
    void indent() { ++indent_; }
    void dedent() { --indent_; }
    // Marks a position in the current unit and rolls back to it (used when a nested block is
    // found faulty after its first lines were written).
    size_t mark() const;
    void rollback(size_t mark);

    // Which unit and block every line of an assembled chunk came from (index = line number;
    // -1 / 0 for line 1, the map, and for index 0, which no line has).
    struct LineOrigin {
        std::vector<int> unit;
        std::vector<int> node;
    };
    // The chunk of all units not dropped.
    std::string assemble(const std::vector<bool>& dropped, LineOrigin* origin = nullptr) const;

private:
    struct Line {
        std::string code;
        int node = 0;
    };
    struct Unit {
        std::vector<Line> lines;
        int node = 0;
        bool droppable = true;
    };
    struct Node {
        std::string element;
        std::string where;
    };

    std::vector<Node> nodes_{Node{}};
    std::vector<Unit> units_;
    bool inUnit_ = false;
    std::vector<int> open_;
    int indent_ = 0;
};

} // namespace Lumenda3D
