#include "engine/gizmo/LmdGizmoCommit.h"

#include "engine/document/Lumenda3DUtils.h"
#include "engine/editing/LmdSourceFiles.h"
#include "engine/schema/CodeSchema.h"

#include <algorithm>
#include <cmath>

namespace Lumenda3D {
namespace {

bool differs(float a, float b) {
    return std::abs(a - b) > 1e-5f * std::max(1.0f, std::abs(a));
}

} // namespace

bool LmdGizmoCommit::hasAttribute(const pugi::xml_node& node, const std::string& attribute, const CodeSchema* schema) {
    if (!schema || !schema->isLoaded() || !schema->getCommand(node.name()))
        return true;
    return bool(schema->getAttribute(node.name(), attribute));
}

int LmdGizmoCommit::writeTransform(LmdSourceFiles& files, const pugi::xml_node& node, const Transform& before,
                                   const Transform& after, const CodeSchema* schema) {
    if (!node)
        return 0;
    std::vector<std::pair<const char*, float>> writes;
    static const char* const kPosition[] = {"x", "y", "z"};
    static const char* const kRotation[] = {"rotationX", "rotationY", "rotationZ"};
    static const char* const kScale[] = {"scaleX", "scaleY", "scaleZ"};
    bool turned = false;
    for (int axis = 0; axis < 3; ++axis) {
        if (differs(before.position[axis], after.position[axis]))
            writes.emplace_back(kPosition[axis], after.position[axis]);
        if (differs(before.rotation[axis], after.rotation[axis])) {
            writes.emplace_back(kRotation[axis], after.rotation[axis]);
            turned = true;
        }
        if (differs(before.scale[axis], after.scale[axis]))
            writes.emplace_back(kScale[axis], after.scale[axis]);
    }
    // An element that stores its orientation as a quaternion is read from that: keep it in step.
    if (turned && (node.attribute("orientationW") || node.attribute("orientationX"))) {
        writes.emplace_back("orientationX", after.orientation.x);
        writes.emplace_back("orientationY", after.orientation.y);
        writes.emplace_back("orientationZ", after.orientation.z);
        writes.emplace_back("orientationW", after.orientation.w);
    }
    int written = 0;
    LmdSourceFiles::EditGroupScope group(files);
    for (const auto& write : writes) {
        if (!hasAttribute(node, write.first, schema))
            continue;
        files.setAttribute(node, write.first, write.second);
        ++written;
    }
    return written;
}

int LmdGizmoCommit::writeNumbers(LmdSourceFiles& files, const pugi::xml_node& node,
                                 const std::vector<std::pair<std::string, float>>& values, const CodeSchema* schema) {
    if (!node)
        return 0;
    int written = 0;
    LmdSourceFiles::EditGroupScope group(files);
    for (const auto& value : values) {
        const std::string text = Lumenda3DUtils::formatFloat(value.second);
        if (text == node.attribute(value.first.c_str()).value() || !hasAttribute(node, value.first, schema))
            continue;
        files.setAttribute(node, value.first.c_str(), text);
        ++written;
    }
    return written;
}

} // namespace Lumenda3D
