#include "engine/scene/LmdSceneFaults.h"

#include "base/LmdLog.h"

namespace Lumenda3D {

std::string LmdSceneFaults::label(const pugi::xml_node& node) {
    std::string text = node.name();
    const char* id = node.attribute("id").value();
    const char* name = node.attribute("name").value();
    if (*id && *name)
        text += std::string(" (id ") + id + ", \"" + name + "\")";
    else if (*id)
        text += std::string(" (id ") + id + ")";
    else if (*name)
        text += std::string(" (\"") + name + "\")";
    return text;
}

std::string LmdSceneFaults::describe(const pugi::xml_node& node, const std::string& text) {
    return "Scene error in " + label(node) + ": " + text;
}

bool LmdSceneFaults::report(const pugi::xml_node& node, const std::string& text) {
    std::string line = describe(node, text);
    if (!mSeen.insert(line).second)
        return false;
    if (mLogging)
        LmdLog::critical(line);
    mLines.push_back(std::move(line));
    return true;
}

void LmdSceneFaults::reset() {
    mSeen.clear();
    mLines.clear();
}

} // namespace Lumenda3D
