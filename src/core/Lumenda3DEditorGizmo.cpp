// The editor's side of the gizmos: what happens when an object is attached to one (event 15) and
// when the vertices of a model were dragged (event 18).
#include "core/Lumenda3DEditor.h"

#include <map>
#include <utility>

#include "attributes/AttributesEditor.h"
#include "base/LmdLog.h"
#include "blocks/Block.h"
#include "blocks/Workflow.h"
#include "engine/editing/LmdSourceFiles.h"
#include "engine/gizmo/LmdGizmo.h"
#include "engine/gizmo/LmdGizmoEvents.h"
#include "engine/gizmo/LmdGizmoMath.h"
#include "engine/scene/LmdBase2D.h"
#include "engine/scene/LmdBase3D.h"
#include "ui/BaseUI.h"

namespace Lumenda3D {
namespace {

// Vertex offsets are written to a ten-thousandth of a unit.
constexpr double kVertexStep = 1e-4;

} // namespace

void Lumenda3DEditor::onGizmoAttached(std::shared_ptr<LmdEvent> event) {
    int xmlId = 0;
    bool hasChildren = false;
    if (auto attached = std::dynamic_pointer_cast<LmdGizmoEvent>(event)) {
        if (!attached->getObject())
            return;
        xmlId = attached->getObject()->getXmlId();
        hasChildren = hasSelectableChildObjects(attached->getObject());
    } else if (auto attached2D = std::dynamic_pointer_cast<LmdGizmo2DEvent>(event)) {
        if (!attached2D->getObject())
            return;
        xmlId = attached2D->getObject()->getXmlId();
    } else {
        return;
    }
    if (xmlId == 0)
        return;
    Workflow* workflow = getWorkflow();
    std::shared_ptr<Block> block = workflow ? workflow->getBlockById(xmlId) : nullptr;
    if (!block) {
        LmdLog::message("GizmoAttached: No block found for xmlId " + std::to_string(xmlId));
        return;
    }
    block->selectBlock();
    // Picked in the scene: the tree scrolls to the block (a click in the tree needs no scrolling).
    if (!workflow->containsScreenPoint(ImGui::GetIO().MousePos)) {
        workflow->scrollToBlock(block);
        if (hasChildren && getGizmo()->getSubObjectMode() != LmdGizmo::SubObjectsByDefault && !BaseUI::isMobileMode())
            showToast("Shift+click to select a sub-object", 3.0f);
    }
    if (attributesEditor)
        attributesEditor->setBlock(block, true);
}

void Lumenda3DEditor::onGizmoVerticesMoved(std::shared_ptr<LmdEvent> event) {
    auto moved = std::dynamic_pointer_cast<LmdGizmoVertexEvent>(event);
    if (!moved || !moved->getObject())
        return;
    pugi::xml_node node = getXmlNodeById(moved->getObject()->getXmlId());
    if (!node || !writeMovedVertices(node, moved->getVertices()))
        return;
    // The model is built again with its moved vertices (the object that was dragged goes away).
    runPartialSource(node.child("VertexList"), node);
}

bool Lumenda3DEditor::writeMovedVertices(pugi::xml_node objectNode, const std::vector<LmdGizmoVertex>& vertices) {
    if (!objectNode || !sourceFiles || vertices.empty())
        return false;
    // Vertex offsets count from the object's pivot.
    const float pivotX = objectNode.attribute("xAxis").as_float(0.0f);
    const float pivotY = objectNode.attribute("yAxis").as_float(0.0f);
    const float pivotZ = objectNode.attribute("zAxis").as_float(0.0f);

    // Structural edits and the values they get form one undo step; the model is built once, by
    // the caller, when every vertex is written.
    using Build = LmdSourceFiles::Build;
    LmdSourceFiles::EditGroupScope group(*sourceFiles);
    pugi::xml_node list = objectNode.child("VertexList");
    if (!list) {
        list = sourceFiles->createElement(objectNode, "VertexList", {}, Build::Later);
        if (!list)
            return false;
    }
    std::map<std::pair<int, int>, pugi::xml_node> byKey;
    for (pugi::xml_node vertex = list.child("Vertex"); vertex; vertex = vertex.next_sibling("Vertex"))
        byKey.emplace(std::make_pair(vertex.attribute("num").as_int(), vertex.attribute("pos").as_int()), vertex);

    for (const LmdGizmoVertex& moved : vertices) {
        const std::pair<int, int> key(moved.submesh, moved.index * 3);
        pugi::xml_node vertex;
        auto found = byKey.find(key);
        if (found != byKey.end()) {
            vertex = found->second;
        } else {
            vertex = sourceFiles->createElement(
                list, "Vertex", {{"num", std::to_string(key.first)}, {"pos", std::to_string(key.second)}}, Build::Later);
            if (!vertex)
                continue;
            byKey.emplace(key, vertex);
        }
        sourceFiles->setAttribute(vertex, "x", LmdGizmoMath::roundTo(moved.x - pivotX, kVertexStep));
        sourceFiles->setAttribute(vertex, "y", LmdGizmoMath::roundTo(moved.y - pivotY, kVertexStep));
        sourceFiles->setAttribute(vertex, "z", LmdGizmoMath::roundTo(moved.z - pivotZ, kVertexStep));
    }
    return true;
}

} // namespace Lumenda3D
