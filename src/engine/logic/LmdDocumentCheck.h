#pragma once
// The checks a game document gets when it is validated, beyond its schema: what the game's logic
// would otherwise find only when it runs. An expression that does not parse, a variable, array or
// function never declared, a level, sound or material the game does not have, a block standing
// where it cannot run, an object name that nothing in the game has: each finding names its block
// by node id. They are warnings, never
// refusals: the document stays as written, and when the game runs faulty blocks are left out (and
// logged again). The agent tools report them after an edit; any view of the document (the block
// tree, the attribute panel) reads the same findings from here.
#include <string>
#include <vector>

#include <pugixml.hpp>

namespace Lumenda3D {

class CodeSchema;

class LmdDocumentCheck {
public:
    struct Finding {
        int nodeId = 0;      // the element's `id` (0 when it has none)
        std::string element; // e.g. "Move"
        std::string text;    // what is wrong, and what happens to the block when the game runs
        // The attributes whose values are at fault (empty when the fault is the block's place or
        // a name the game lacks as a whole), so that a view can show the finding beside them.
        std::vector<std::string> attributes;

        // "n42 Move: moveX=\"fast\": unknown variable 'fast'; the block is skipped"
        std::string line() const;
    };

    // `root` is the game's root element or the document holding it; ids are read from the
    // elements' `id` attributes (the agent form carries them).
    static std::vector<Finding> check(const pugi::xml_node& root, const CodeSchema& schema);
};

} // namespace Lumenda3D
