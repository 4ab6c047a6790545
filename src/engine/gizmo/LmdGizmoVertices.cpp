#include "engine/gizmo/LmdGizmoVertices.h"

#include "engine/app/LmdScreenProjector.h"
#include "engine/assets/LmdMeshData.h"
#include "engine/assets/LmdOgreMesh.h"
#include "engine/scene/LmdBase3D.h"

#include <OgreEntity.h>
#include <OgreMesh.h>

#include <imgui.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <tuple>

namespace Lumenda3D {
namespace {

constexpr double kSamePosition = 1e-4; // positions closer than this (node units) share a handle
constexpr float kHalfSize = 3.5f;      // half the side of a handle's square, in pixels

const ImU32 kHandleColour = IM_COL32(255, 255, 255, 230);
const ImU32 kHandleOutline = IM_COL32(20, 20, 30, 230);
const ImU32 kHotColour = IM_COL32(255, 214, 0, 255);

} // namespace

std::vector<LmdGizmoVertices::Handle> LmdGizmoVertices::collect(const LmdMeshData& data, const Ogre::Vector3& pivot,
                                                                float shapeScale, size_t limit) {
    std::vector<Handle> handles;
    std::map<std::tuple<long long, long long, long long>, size_t> byPosition;
    for (size_t submesh = 0; submesh < data.subMeshes.size(); ++submesh) {
        const LmdSubMeshData& sub = data.subMeshes[submesh];
        for (size_t index = 0; index < sub.vertexCount(); ++index) {
            const Ogre::Vector3 local(sub.positions[3 * index], sub.positions[3 * index + 1],
                                      sub.positions[3 * index + 2]);
            const Ogre::Vector3 position = pivot + local * shapeScale;
            const auto key = std::make_tuple(std::llround(double(position.x) / kSamePosition),
                                             std::llround(double(position.y) / kSamePosition),
                                             std::llround(double(position.z) / kSamePosition));
            auto found = byPosition.find(key);
            if (found == byPosition.end()) {
                if (handles.size() >= limit)
                    continue;
                found = byPosition.emplace(key, handles.size()).first;
                handles.push_back(Handle{position, {}});
            }
            handles[found->second].members.emplace_back(int(submesh), int(index));
        }
    }
    return handles;
}

std::vector<LmdGizmoVertices::Handle> LmdGizmoVertices::ofObject(const LmdBase3D& object) {
    Ogre::Entity* entity = object.getEntity();
    if (!entity || !entity->getMesh())
        return {};
    LmdMeshData data;
    if (!LmdOgreMesh::read(entity->getMesh(), data))
        return {};
    return collect(data, Ogre::Vector3(object.getAxisX(), object.getAxisY(), object.getAxisZ()),
                   object.getShapeScale());
}

std::vector<LmdGizmoVertex> LmdGizmoVertices::moved(const Handle& handle, const Ogre::Vector3& position) {
    std::vector<LmdGizmoVertex> vertices;
    vertices.reserve(handle.members.size());
    for (const auto& member : handle.members)
        vertices.push_back(LmdGizmoVertex{member.first, member.second, position.x, position.y, position.z});
    return vertices;
}

int LmdGizmoVertices::pick(const std::vector<Handle>& handles, const Ogre::Affine3& nodeToWorld,
                           const LmdScreenProjector& view, float x, float y) {
    int best = -1;
    float bestPixels = kPickRadius;
    float bestDepth = std::numeric_limits<float>::max();
    const Ogre::Vector2 pointer(x, y);
    for (size_t i = 0; i < handles.size(); ++i) {
        const Ogre::Vector3 world = nodeToWorld * handles[i].position;
        Ogre::Vector2 pixel;
        if (!view.toScreen(world, pixel))
            continue;
        const float pixels = pixel.distance(pointer);
        const float depth = (world - view.eye()).length();
        // Handles that overlap on screen: the one in front.
        if (pixels < bestPixels - 0.5f || (pixels <= bestPixels + 0.5f && depth < bestDepth)) {
            best = int(i);
            bestPixels = std::min(pixels, bestPixels);
            bestDepth = depth;
        }
    }
    return best;
}

void LmdGizmoVertices::draw(ImDrawList* list, const std::vector<Handle>& handles, const Ogre::Affine3& nodeToWorld,
                            const LmdScreenProjector& view, int hot, int dragged, const Ogre::Vector3& draggedTo) {
    if (!list)
        return;
    auto square = [list](const Ogre::Vector2& p, ImU32 fill) {
        const ImVec2 a(p.x - kHalfSize, p.y - kHalfSize), b(p.x + kHalfSize, p.y + kHalfSize);
        list->AddRectFilled(a, b, fill);
        list->AddRect(a, b, kHandleOutline);
    };
    for (size_t i = 0; i < handles.size(); ++i) {
        if (int(i) == dragged)
            continue;
        Ogre::Vector2 pixel;
        if (view.toScreen(nodeToWorld * handles[i].position, pixel))
            square(pixel, int(i) == hot ? kHotColour : kHandleColour);
    }
    if (dragged >= 0 && dragged < int(handles.size())) {
        Ogre::Vector2 from, to;
        if (view.toScreen(nodeToWorld * handles[size_t(dragged)].position, from) && view.toScreen(draggedTo, to)) {
            list->AddLine(ImVec2(from.x, from.y), ImVec2(to.x, to.y), kHotColour, 2.0f);
            square(to, kHotColour);
        }
    }
}

} // namespace Lumenda3D
