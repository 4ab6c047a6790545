#include "engine/gizmo/LmdGizmoVisual.h"

#include <OgreManualObject.h>
#include <OgreMath.h>
#include <OgreMaterialManager.h>
#include <OgrePass.h>
#include <OgreRenderQueue.h>
#include <OgreSceneManager.h>
#include <OgreSceneNode.h>
#include <OgreTechnique.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace Lumenda3D {
namespace {

const char* const kGroup = Ogre::RGN_DEFAULT;
const char* const kAxisMaterials[3] = {"Lmd/Gizmo/X", "Lmd/Gizmo/Y", "Lmd/Gizmo/Z"};
const char* const kCentreMaterial = "Lmd/Gizmo/Centre";
const char* const kHotMaterial = "Lmd/Gizmo/Hot";

// Sizes in units of the gizmo frame (the owner scales one unit to a fixed number of pixels).
constexpr float kStemRadius = 0.018f;
constexpr float kStemStart = 0.14f;
constexpr float kArrowBase = 0.78f;
constexpr float kConeRadius = 0.065f;
constexpr float kRingRadius = 0.9f;
constexpr float kRingThickness = 0.016f;
constexpr float kBoxHalf = 0.055f;
constexpr float kScaleBoxAt = 0.86f;
constexpr float kCentreHalf = 0.075f;
constexpr int kSegments = 12;
constexpr int kRingSegments = 64;

// Triangles of one section, collected before they go into the manual object.
struct Mesh {
    std::vector<Ogre::Vector3> positions;
    std::vector<Ogre::Vector3> normals;
    std::vector<Ogre::uint32> indices;

    Ogre::uint32 add(const Ogre::Vector3& p, const Ogre::Vector3& n) {
        positions.push_back(p);
        normals.push_back(n);
        return Ogre::uint32(positions.size() - 1);
    }
    void quad(Ogre::uint32 a, Ogre::uint32 b, Ogre::uint32 c, Ogre::uint32 d) {
        indices.insert(indices.end(), {a, b, c, a, c, d});
    }
};

// Two unit vectors perpendicular to `axis` and to each other.
void basis(const Ogre::Vector3& axis, Ogre::Vector3& u, Ogre::Vector3& v) {
    u = axis.perpendicular().normalisedCopy();
    v = axis.crossProduct(u).normalisedCopy();
}

void cylinder(Mesh& mesh, const Ogre::Vector3& from, const Ogre::Vector3& to, float radius) {
    const Ogre::Vector3 axis = (to - from).normalisedCopy();
    Ogre::Vector3 u, v;
    basis(axis, u, v);
    const Ogre::uint32 first = Ogre::uint32(mesh.positions.size());
    for (int i = 0; i <= kSegments; ++i) {
        const float a = Ogre::Math::TWO_PI * float(i) / float(kSegments);
        const Ogre::Vector3 n = u * std::cos(a) + v * std::sin(a);
        mesh.add(from + n * radius, n);
        mesh.add(to + n * radius, n);
    }
    for (int i = 0; i < kSegments; ++i) {
        const Ogre::uint32 a = first + Ogre::uint32(2 * i);
        mesh.quad(a, a + 2, a + 3, a + 1);
    }
}

void cone(Mesh& mesh, const Ogre::Vector3& base, const Ogre::Vector3& tip, float radius) {
    const Ogre::Vector3 axis = (tip - base).normalisedCopy();
    Ogre::Vector3 u, v;
    basis(axis, u, v);
    const Ogre::uint32 apex = mesh.add(tip, axis);
    const Ogre::uint32 centre = mesh.add(base, -axis);
    const Ogre::uint32 first = Ogre::uint32(mesh.positions.size());
    for (int i = 0; i <= kSegments; ++i) {
        const float a = Ogre::Math::TWO_PI * float(i) / float(kSegments);
        const Ogre::Vector3 n = u * std::cos(a) + v * std::sin(a);
        mesh.add(base + n * radius, (n + axis * 0.5f).normalisedCopy());
    }
    for (int i = 0; i < kSegments; ++i) {
        const Ogre::uint32 a = first + Ogre::uint32(i);
        mesh.indices.insert(mesh.indices.end(), {a, a + 1, apex, a + 1, a, centre});
    }
}

void box(Mesh& mesh, const Ogre::Vector3& centre, float half) {
    for (int axis = 0; axis < 3; ++axis) {
        for (float side : {-1.0f, 1.0f}) {
            Ogre::Vector3 n = Ogre::Vector3::ZERO;
            n[axis] = side;
            Ogre::Vector3 u = Ogre::Vector3::ZERO, v = Ogre::Vector3::ZERO;
            u[(axis + 1) % 3] = 1.0f;
            v[(axis + 2) % 3] = 1.0f;
            const Ogre::Vector3 c = centre + n * half;
            const Ogre::uint32 a = mesh.add(c + (-u - v) * half, n);
            const Ogre::uint32 b = mesh.add(c + (u - v) * half, n);
            const Ogre::uint32 d = mesh.add(c + (u + v) * half, n);
            const Ogre::uint32 e = mesh.add(c + (-u + v) * half, n);
            mesh.quad(a, b, d, e);
        }
    }
}

void ring(Mesh& mesh, const Ogre::Vector3& axis, float radius, float thickness) {
    Ogre::Vector3 u, v;
    basis(axis, u, v);
    const int tube = 6;
    const Ogre::uint32 first = Ogre::uint32(mesh.positions.size());
    for (int i = 0; i <= kRingSegments; ++i) {
        const float a = Ogre::Math::TWO_PI * float(i) / float(kRingSegments);
        const Ogre::Vector3 out = u * std::cos(a) + v * std::sin(a);
        for (int j = 0; j <= tube; ++j) {
            const float b = Ogre::Math::TWO_PI * float(j) / float(tube);
            const Ogre::Vector3 n = out * std::cos(b) + axis * std::sin(b);
            mesh.add(out * radius + n * thickness, n);
        }
    }
    const Ogre::uint32 row = tube + 1;
    for (int i = 0; i < kRingSegments; ++i)
        for (int j = 0; j < tube; ++j) {
            const Ogre::uint32 a = first + Ogre::uint32(i) * row + Ogre::uint32(j);
            mesh.quad(a, a + row, a + row + 1, a + 1);
        }
}

Ogre::Vector3 unit(int axis) {
    Ogre::Vector3 e = Ogre::Vector3::ZERO;
    e[axis] = 1.0f;
    return e;
}

Mesh handleMesh(int type, int axis) {
    Mesh mesh;
    const Ogre::Vector3 e = unit(axis);
    switch (type) {
    case 0: // arrow
        cylinder(mesh, e * kStemStart, e * kArrowBase, kStemRadius);
        cone(mesh, e * kArrowBase, e, kConeRadius);
        break;
    case 1:
        ring(mesh, e, kRingRadius, kRingThickness);
        break;
    case 2:
        cylinder(mesh, e * kStemStart, e * (kScaleBoxAt - kBoxHalf), kStemRadius);
        box(mesh, e * kScaleBoxAt, kBoxHalf);
        break;
    case 3: // double arrow
        cylinder(mesh, -e * kArrowBase, e * kArrowBase, kStemRadius);
        cone(mesh, e * kArrowBase, e, kConeRadius);
        cone(mesh, -e * kArrowBase, -e, kConeRadius);
        break;
    case 4: // double stem with boxes
        cylinder(mesh, -e * (kScaleBoxAt - kBoxHalf), e * (kScaleBoxAt - kBoxHalf), kStemRadius);
        box(mesh, e * kScaleBoxAt, kBoxHalf);
        box(mesh, -e * kScaleBoxAt, kBoxHalf);
        break;
    default:
        break;
    }
    return mesh;
}

void emit(Ogre::ManualObject& object, const std::string& material, const Mesh& mesh) {
    object.begin(material, Ogre::RenderOperation::OT_TRIANGLE_LIST, kGroup);
    object.estimateVertexCount(mesh.positions.size());
    object.estimateIndexCount(mesh.indices.size());
    for (size_t i = 0; i < mesh.positions.size(); ++i) {
        object.position(mesh.positions[i]);
        object.normal(mesh.normals[i]);
    }
    for (Ogre::uint32 index : mesh.indices)
        object.index(index);
    object.end();
}

} // namespace

LmdGizmoVisual::LmdGizmoVisual(Ogre::SceneManager* sceneManager) : mSceneManager(sceneManager) {
    if (!mSceneManager)
        return;
    ensureMaterials();
    mNode = mSceneManager->getRootSceneNode()->createChildSceneNode();
    mObject = mSceneManager->createManualObject();
    mObject->setCastShadows(false);
    mObject->setQueryFlags(0); // never found by scene queries: picking the gizmo is done on screen
    mObject->setVisibilityFlags(kVisibilityFlag);
    mObject->setRenderQueueGroup(Ogre::RENDER_QUEUE_OVERLAY - 1);
    mNode->attachObject(mObject);
    mNode->setVisible(false);
}

LmdGizmoVisual::~LmdGizmoVisual() {
    if (!mSceneManager)
        return;
    if (mObject)
        mSceneManager->destroyManualObject(mObject);
    if (mNode)
        mSceneManager->destroySceneNode(mNode);
}

std::string LmdGizmoVisual::materialOf(int handle) {
    return handle >= 0 && handle < 3 ? kAxisMaterials[handle] : kCentreMaterial;
}

void LmdGizmoVisual::ensureMaterials() {
    Ogre::MaterialManager& materials = Ogre::MaterialManager::getSingleton();
    auto make = [&materials](const char* name, const Ogre::ColourValue& colour) {
        if (materials.resourceExists(name, kGroup))
            return;
        Ogre::MaterialPtr material = materials.create(name, kGroup);
        Ogre::Pass* pass = material->getTechnique(0)->getPass(0);
        // Emissive only, so that the scene's lights do not change the handles' colours.
        pass->setLightingEnabled(true);
        pass->setAmbient(0, 0, 0);
        pass->setDiffuse(0, 0, 0, 1);
        pass->setSpecular(0, 0, 0, 1);
        pass->setSelfIllumination(colour);
        pass->setDepthCheckEnabled(false);
        pass->setDepthWriteEnabled(false);
        pass->setCullingMode(Ogre::CULL_NONE);
    };
    make(kAxisMaterials[0], Ogre::ColourValue(0.90f, 0.22f, 0.21f));
    make(kAxisMaterials[1], Ogre::ColourValue(0.26f, 0.70f, 0.28f));
    make(kAxisMaterials[2], Ogre::ColourValue(0.12f, 0.53f, 0.90f));
    make(kCentreMaterial, Ogre::ColourValue(0.92f, 0.92f, 0.92f));
    make(kHotMaterial, Ogre::ColourValue(1.0f, 0.84f, 0.0f));
}

void LmdGizmoVisual::build(int type) {
    if (!mObject || type == mType)
        return;
    mType = type;
    mHighlight = -1;
    mObject->clear();
    for (int& handle : mSectionHandles)
        handle = -1;
    if (type < 0 || type > 4)
        return;
    int section = 0;
    for (int axis = 0; axis < 3; ++axis) {
        emit(*mObject, materialOf(axis), handleMesh(type, axis));
        mSectionHandles[section++] = axis;
    }
    if (type == 2) {
        Mesh centre;
        box(centre, Ogre::Vector3::ZERO, kCentreHalf);
        emit(*mObject, kCentreMaterial, centre);
        mSectionHandles[section++] = kCentreHandle;
    }
}

void LmdGizmoVisual::place(const Ogre::Vector3& position, const Ogre::Quaternion& orientation, float size) {
    if (!mNode)
        return;
    mNode->setPosition(position);
    mNode->setOrientation(orientation);
    mNode->setScale(Ogre::Vector3(std::max(size, 1e-6f)));
}

void LmdGizmoVisual::setVisible(bool visible) {
    if (mNode)
        mNode->setVisible(visible);
}

bool LmdGizmoVisual::isVisible() const {
    return mObject && mObject->isVisible();
}

void LmdGizmoVisual::setHighlight(int handle) {
    if (!mObject || handle == mHighlight)
        return;
    mHighlight = handle;
    for (size_t section = 0; section < sectionCount() && section < 4; ++section) {
        const int owner = mSectionHandles[section];
        mObject->setMaterialName(section, owner == handle ? kHotMaterial : materialOf(owner), kGroup);
    }
}

size_t LmdGizmoVisual::sectionCount() const {
    return mObject ? mObject->getSections().size() : 0;
}

} // namespace Lumenda3D
