#pragma once
// Faults found while the scene is built from the game document: an unknown element, a value that
// does not suit its attribute, a missing texture or model file, a model that cannot be read.
// Each is one critical log line that names the element and its node id, in the form
//   Scene error in Box (id 12, "crate"): x is 'abc', which is not a number; using 0
// and the build goes on with the default. The same fault is reported once per document: the
// edit scene and the play scene are built from the same nodes, and rebuilding after a live
// change must not repeat old lines. reset() starts over (a new document was loaded).
#include <cstddef>
#include <string>
#include <unordered_set>
#include <vector>

#include <pugixml.hpp>

namespace Lumenda3D {

class LmdSceneFaults {
public:
    // Reports a fault of `node`; returns false when the same line was reported before.
    bool report(const pugi::xml_node& node, const std::string& text);
    // The line that report() writes: "Scene error in <element> (id <n>, \"<name>\"): <text>".
    static std::string describe(const pugi::xml_node& node, const std::string& text);
    // "Box (id 12, \"crate\")".
    static std::string label(const pugi::xml_node& node);

    void reset();
    // Every line reported since the last reset, oldest first.
    const std::vector<std::string>& lines() const { return mLines; }
    size_t count() const { return mLines.size(); }
    // When off, faults are collected but not logged (for benchmarks).
    void setLogging(bool enabled) { mLogging = enabled; }

private:
    std::unordered_set<std::string> mSeen;
    std::vector<std::string> mLines;
    bool mLogging = true;
};

} // namespace Lumenda3D
