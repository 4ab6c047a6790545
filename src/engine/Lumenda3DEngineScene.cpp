// The engine's levels, selection and picking: what lies under a point of the screen.
#include "engine/Lumenda3DEngine.h"

#include "base/LmdLog.h"
#include "engine/app/LmdScreenProjector.h"
#include "engine/document/Lumenda3DUtils.h"
#include "engine/LmdEditLayer.h"
#include "engine/scene/LmdBase2D.h"
#include "engine/scene/LmdBase3D.h"
#include "engine/scene/LmdLayer2D.h"
#include "engine/scene/LmdScene.h"
#include "engine/scene/LmdSceneReader.h"

#include <OgreCamera.h>
#include <OgreEntity.h>
#include <OgreSceneManager.h>
#include <OgreSceneNode.h>
#include <OgreViewport.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Lumenda3D {
namespace {

// The distance along `direction` (not normalised) at which the ray enters the box; false if it misses.
bool rayBox(const Ogre::Vector3& origin, const Ogre::Vector3& direction, const Ogre::AxisAlignedBox& box, float& t) {
    float tMin = 0.0f, tMax = std::numeric_limits<float>::max();
    for (int axis = 0; axis < 3; ++axis) {
        const float o = origin[axis], d = direction[axis];
        const float lo = box.getMinimum()[axis], hi = box.getMaximum()[axis];
        if (std::abs(d) < 1e-12f) {
            if (o < lo || o > hi)
                return false;
            continue;
        }
        float t1 = (lo - o) / d, t2 = (hi - o) / d;
        if (t1 > t2)
            std::swap(t1, t2);
        tMin = std::max(tMin, t1);
        tMax = std::min(tMax, t2);
        if (tMin > tMax)
            return false;
    }
    t = tMin;
    return true;
}

} // namespace

// --- Scene and selection ---------------------------------------------------------------------

void Lumenda3DEngine::setLevel(const std::string& name) {
    runGuarded("setLevel", [&] {
        const std::vector<std::string> levels = getLevelNames();
        if (!name.empty() && std::find(levels.begin(), levels.end(), name) == levels.end()) {
            LmdLog::message("setLevel: the game has no level named '" + name + "'");
            return;
        }
        mCurrentLevel = name;
        LmdBase3D* selected = getSelectedObject();
        if (selected && !selected->getLevel().empty() && selected->getLevel() != name)
            clearSelectedObjects();
        if (mEditScene && getActiveScene() == mEditScene.get())
            mEditScene->showLevel(name, getViewport());
        fireEvents(LmdEventLevelChanged, std::make_shared<LmdLevelChangedEvent>(name, false));
    });
}

std::vector<std::string> Lumenda3DEngine::getLevelNames() const {
    return LmdSceneReader::levelNames(mDocument.root());
}

void Lumenda3DEngine::addEditorLevel(const std::string& name) {
    runGuarded("addEditorLevel", [&] {
        pugi::xml_node root = mDocument.root();
        if (!root || name.empty())
            return;
        if (mEditLayer) {
            // Through the document service: recorded for undo, registered and built.
            if (!mEditLayer->createElement(root, "Level", {{"name", name}}))
                return;
        } else {
            pugi::xml_node level = root.append_child("Level");
            level.append_attribute("name") = name.c_str();
            level.append_attribute("id").set_value(Lumenda3DUtils::getNextId());
            registerXmlNode(level);
            runPartialSource(level, root);
        }
        setLevel(name);
    });
}

LmdBase3D* Lumenda3DEngine::getSelectedObject() const {
    return mEditLayer ? mEditLayer->selectedObject() : nullptr;
}

void Lumenda3DEngine::setSelectedObject(LmdBase3D* object) {
    if (mEditLayer)
        mEditLayer->selectObject(object);
}

void Lumenda3DEngine::clearSelectedObjects() {
    if (mEditLayer)
        mEditLayer->clearSelection();
}

LmdSelection* Lumenda3DEngine::getSelection() const {
    return mEditLayer ? &mEditLayer->selection() : nullptr;
}

std::shared_ptr<LmdGizmo> Lumenda3DEngine::getGizmo() const {
    return mEditLayer ? mEditLayer->gizmo() : nullptr;
}

std::shared_ptr<LmdGizmo2D> Lumenda3DEngine::getGizmo2D() const {
    return mEditLayer ? mEditLayer->gizmo2D() : nullptr;
}

LmdBase3D* Lumenda3DEngine::getObjByXmlId(int xmlId) const {
    LmdScene* scene = getActiveScene();
    return scene ? scene->objectByXmlId(xmlId) : nullptr;
}

LmdBase2D* Lumenda3DEngine::get2DObjectByXmlId(int xmlId) const {
    LmdScene* scene = getActiveScene();
    return scene ? scene->elementByXmlId(xmlId) : nullptr;
}

std::vector<LmdBase3D*> Lumenda3DEngine::getObjectList() const {
    LmdScene* scene = getActiveScene();
    return scene ? scene->objects() : std::vector<LmdBase3D*>();
}

std::vector<LmdBase2D*> Lumenda3DEngine::get2DObjectList() const {
    LmdScene* scene = getActiveScene();
    return scene ? scene->elements() : std::vector<LmdBase2D*>();
}

std::vector<std::pair<float, LmdBase3D*>> Lumenda3DEngine::hitsUnder(
    int x, int y, const std::function<bool(const LmdBase3D&)>& candidate) const {
    LmdScene* scene = getActiveScene();
    // The one picking ray: the live camera through the viewport, in window pixels.
    const LmdScreenProjector projector = getScreenProjector();
    if (!scene || !projector.isValid())
        return {};
    const Ogre::Ray ray = projector.ray(float(x), float(y));
    std::vector<std::pair<float, LmdBase3D*>> hits;
    for (LmdBase3D* object : scene->objects()) {
        if (!object->getNode() || !scene->isShownNow(*object) || !object->isShown() || !candidate(*object))
            continue;
        const Ogre::AxisAlignedBox local = object->getLocalBounds();
        if (local.isNull() || local.isInfinite())
            continue;
        // The ray in the object's own frame meets the box its entity spans there; an affine map
        // keeps the ray's parameter, so `t` is also the distance along the world ray.
        const Ogre::Affine3 inverse = object->getNode()->_getFullTransform().inverse();
        float t = 0.0f;
        if (rayBox(inverse * ray.getOrigin(), inverse.linear() * ray.getDirection(), local, t))
            hits.emplace_back(t, object);
    }
    std::stable_sort(hits.begin(), hits.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    return hits;
}

std::vector<LmdBase3D*> Lumenda3DEngine::objectsUnder(int x, int y,
                                                     const std::function<bool(const LmdBase3D&)>& candidate) const {
    std::vector<LmdBase3D*> objects;
    for (const auto& hit : hitsUnder(x, y, candidate))
        objects.push_back(hit.second);
    return objects;
}

LmdPointerState Lumenda3DEngine::pointAt(int x, int y) const {
    LmdPointerState state;
    const LmdRect2D view = get2DView();
    state.screenX = double(x) - view.x;
    state.screenY = double(y) - view.y;
    const LmdScreenProjector projector = getScreenProjector();
    if (!projector.isValid())
        return state;
    const Ogre::Ray ray = projector.ray(float(x), float(y));
    // An object whose bounds hold the camera (t = 0) is not what the pointer shows.
    for (const auto& [t, object] : hitsUnder(x, y, [](const LmdBase3D& o) { return o.getMask() != 0; })) {
        if (t <= 0.0f)
            continue;
        const Ogre::Vector3 point = ray.getPoint(t);
        state.hit = true;
        state.x = point.x;
        state.y = point.y;
        state.z = point.z;
        state.object = object->getName();
        return state;
    }
    const std::pair<bool, Ogre::Real> ground = ray.intersects(Ogre::Plane(Ogre::Vector3::UNIT_Y, 0.0f));
    if (ground.first && ground.second > 0.0f) {
        const Ogre::Vector3 point = ray.getPoint(ground.second);
        state.hit = true;
        state.x = point.x;
        state.y = point.y;
        state.z = point.z;
    }
    return state;
}

std::vector<LmdBase3D*> Lumenda3DEngine::pickObjects(int x, int y) const {
    return objectsUnder(x, y, [](const LmdBase3D& object) { return object.getMask() != 0; });
}

LmdBase3D* Lumenda3DEngine::pickObject(int x, int y) const {
    const std::vector<LmdBase3D*> hits = pickObjects(x, y);
    return hits.empty() ? nullptr : hits.front();
}

std::vector<Ogre::Entity*> Lumenda3DEngine::getEntitiesUnderScreenPoint(int x, int y) const {
    std::vector<Ogre::Entity*> entities;
    for (LmdBase3D* object : objectsUnder(x, y, [](const LmdBase3D& o) { return o.getEntity() != nullptr; }))
        entities.push_back(object->getEntity());
    return entities;
}

LmdBase2D* Lumenda3DEngine::pick2DObject(int x, int y) const {
    LmdScene* scene = getActiveScene();
    return scene ? LmdLayer2D::hit(scene->elements(), scene->getShownLevel(), float(x), float(y)) : nullptr;
}

Ogre::Vector3 Lumenda3DEngine::convert2DTo3D(const ImVec2& screen) const {
    const LmdScreenProjector projector = getScreenProjector();
    if (!projector.isValid())
        return Ogre::Vector3::ZERO;
    const Ogre::Ray ray = projector.ray(screen.x, screen.y);
    const Ogre::Plane placing(Ogre::Vector3::UNIT_Y, 0.0f);
    const std::pair<bool, Ogre::Real> hit = ray.intersects(placing);
    if (hit.first && hit.second > 0.0f && hit.second < 10000.0f)
        return ray.getPoint(hit.second);
    return ray.getPoint(10.0f);
}

ImVec2 Lumenda3DEngine::getSceneCenterScreenPos() const {
    const Ogre::Vector2 size = getWindowSize();
    return ImVec2(mInsetLeft + (size.x - mInsetLeft) * 0.5f, mInsetTop + (size.y - mInsetTop) * 0.5f);
}

LmdRect2D Lumenda3DEngine::get2DView() const {
    const Ogre::Vector2 size = getWindowSize();
    return LmdRect2D{mInsetLeft, mInsetTop, std::max(size.x - mInsetLeft, 0.0f), std::max(size.y - mInsetTop, 0.0f)};
}

void Lumenda3DEngine::setViewInsets(float left, float top) {
    mInsetLeft = std::max(left, 0.0f);
    mInsetTop = std::max(top, 0.0f);
}

} // namespace Lumenda3D
