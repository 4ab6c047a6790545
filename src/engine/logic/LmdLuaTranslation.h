#pragma once
// What LmdLuaTranslator makes of a game document: one Lua chunk and the problems found on the way.
// Each problem is one block that was left out of the chunk, with what was wrong with it.
#include <string>
#include <vector>

namespace Lumenda3D {

struct LmdLuaTranslation {
    struct Problem {
        int nodeId = 0;      // the element's `id`; 0 when it has none
        std::string element; // the element's name, e.g. "Move"
        std::string where;   // "id 42", or the element's name or path when it has no id
        std::string text;    // what is wrong and what happened to the block
        std::vector<std::string> attributes; // the attributes at fault, when the fault is theirs

        // The log line: "Script error in Move (id 42): moveX=\"fast\": unknown variable 'fast'; ...".
        std::string message() const { return "Script error in " + element + " (" + where + "): " + text; }
    };

    std::string chunk;             // Lua 5.4 source; always loads (blocks that would not are left out)
    std::vector<Problem> problems; // in document order
    // Findings that leave the block in: names of objects that neither the document has nor a
    // Clone makes under that name (the block then finds nothing when it runs).
    std::vector<Problem> notes;
    std::vector<std::string> levels; // level names in document order
    // Whether an expression reads the 3D point or object under the pointer (pointerX, ...).
    bool readsPointer = false;
};

} // namespace Lumenda3D
