#include "engine/scene/LmdBase3D.h"

#include "engine/scene/LmdEulerHelper.h"

#include <OgreAnimationState.h>
#include <OgreEntity.h>
#include <OgreLight.h>
#include <OgreSceneManager.h>
#include <OgreSceneNode.h>
#include <OgreSkeletonInstance.h>
#include <OgreSubEntity.h>
#include <OgreSubMesh.h>

#include <algorithm>

namespace Lumenda3D {

LmdBase3D::LmdBase3D(LmdObjectDesc desc, Ogre::SceneManager* sceneManager, Ogre::SceneNode* parentNode)
    : mDesc(std::move(desc)), mSceneManager(sceneManager) {
    if (mSceneManager && parentNode) {
        mNode = parentNode->createChildSceneNode();
        mShapeNode = mNode->createChildSceneNode();
        applyTransform();
        applyPivot();
    }
}

LmdBase3D::~LmdBase3D() {
    if (!mSceneManager)
        return;
    // Child objects destroy their own parts first (the scene destroys children before parents);
    // what is left under this node belongs to this object.
    if (mEntity)
        mSceneManager->destroyEntity(mEntity);
    if (mMarker)
        mSceneManager->destroyEntity(mMarker);
    if (mLight)
        mSceneManager->destroyLight(mLight);
    if (mLightNode)
        mSceneManager->destroySceneNode(mLightNode);
    if (mShapeNode)
        mSceneManager->destroySceneNode(mShapeNode);
    if (mNode)
        mSceneManager->destroySceneNode(mNode);
}

void LmdBase3D::removeChild(LmdBase3D* child) {
    mChildren.erase(std::remove(mChildren.begin(), mChildren.end(), child), mChildren.end());
}

std::string LmdBase3D::getEntityName() const {
    return mEntity ? mEntity->getName() : std::string();
}

std::uint32_t LmdBase3D::getMask() const {
    if (!mEntity && !mMarker)
        return 0;
    return mParent ? kMaskSubObject : kMaskObject;
}

void LmdBase3D::setMesh(const std::string& meshName, const std::vector<std::string>& materials) {
    if (!mSceneManager || !mShapeNode)
        return;
    if (mEntity) {
        mAnimation = nullptr;
        mSceneManager->destroyEntity(mEntity);
        mEntity = nullptr;
    }
    if (meshName.empty())
        return;
    mEntity = mSceneManager->createEntity(meshName);
    mEntity->setQueryFlags(getMask() ? getMask() : kMaskObject);
    mEntity->setCastShadows(mDesc.castShadows);
    // A moving skeleton may carry the shape outside the mesh's rest bounds: follow the bones, so
    // that the model is not culled and its shadow not cut off.
    if (mEntity->hasSkeleton())
        mEntity->setUpdateBoundingBoxFromSkeleton(true);
    for (size_t i = 0; i < mEntity->getNumSubEntities() && !materials.empty(); ++i) {
        const std::string& material = materials[std::min(i, materials.size() - 1)];
        if (!material.empty())
            mEntity->getSubEntity(i)->setMaterialName(material);
    }
    mShapeNode->attachObject(mEntity);
    mEntity->setQueryFlags(mParent ? kMaskSubObject : kMaskObject);
    updateVisibility();
}

void LmdBase3D::setMaterial(const std::string& materialName) {
    mAppliedMaterial = materialName;
    if (!mEntity || materialName.empty())
        return;
    mEntity->setMaterialName(materialName);
}

void LmdBase3D::restoreModelMaterials() {
    mAppliedMaterial.clear();
    if (!mEntity)
        return;
    for (size_t i = 0; i < mEntity->getNumSubEntities(); ++i) {
        const std::string own = mEntity->getSubEntity(i)->getSubMesh()->getMaterialName();
        const std::string& chosen = mModelMaterials.empty() ? own : mModelMaterials[std::min(i, mModelMaterials.size() - 1)];
        const std::string& name = chosen.empty() ? own : chosen;
        if (!name.empty())
            mEntity->getSubEntity(i)->setMaterialName(name);
    }
}

void LmdBase3D::setLight(Ogre::Light* light, Ogre::SceneNode* lightNode) {
    mLight = light;
    mLightNode = lightNode;
    updateVisibility();
}

void LmdBase3D::setMarker(Ogre::Entity* marker) {
    mMarker = marker;
    if (mMarker) {
        mMarker->setQueryFlags(kMaskMarker);
        mMarker->setCastShadows(false);
    }
    updateVisibility();
}

void LmdBase3D::setShapeScale(float factor) {
    mShapeScale = factor > 0.0f ? factor : 1.0f;
    applyPivot();
}

Ogre::AxisAlignedBox LmdBase3D::getLocalBounds() const {
    Ogre::Entity* shown = mEntity ? mEntity : mMarker;
    if (!shown)
        return Ogre::AxisAlignedBox();
    Ogre::AxisAlignedBox box = shown->getBoundingBox();
    if (box.isNull() || box.isInfinite())
        return box;
    const Ogre::Vector3 scale(mShapeScale);
    return Ogre::AxisAlignedBox(box.getMinimum() * scale + mDesc.pivot, box.getMaximum() * scale + mDesc.pivot);
}

Ogre::AxisAlignedBox LmdBase3D::getWorldBounds() const {
    Ogre::Entity* shown = mEntity ? mEntity : mMarker;
    return shown ? shown->getWorldBoundingBox(true) : Ogre::AxisAlignedBox();
}

void LmdBase3D::applyTransform() {
    if (!mNode)
        return;
    mNode->setPosition(mDesc.position);
    mNode->setOrientation(mDesc.orientation);
    // A zero scale would make the node's matrix singular (and picking divide by zero).
    Ogre::Vector3 scale = mDesc.scale;
    for (int axis = 0; axis < 3; ++axis)
        if (std::abs(scale[axis]) < 1e-4f)
            scale[axis] = scale[axis] < 0 ? -1e-4f : 1e-4f;
    mNode->setScale(scale);
}

void LmdBase3D::applyPivot() {
    if (!mShapeNode)
        return;
    mShapeNode->setPosition(mDesc.pivot);
    mShapeNode->setScale(Ogre::Vector3(mShapeScale));
}

void LmdBase3D::setPosition(const Ogre::Vector3& position) {
    mDesc.position = position;
    if (mNode)
        mNode->setPosition(position);
}

void LmdBase3D::setX(float v) { setPosition(Ogre::Vector3(v, mDesc.position.y, mDesc.position.z)); }
void LmdBase3D::setY(float v) { setPosition(Ogre::Vector3(mDesc.position.x, v, mDesc.position.z)); }
void LmdBase3D::setZ(float v) { setPosition(Ogre::Vector3(mDesc.position.x, mDesc.position.y, v)); }

void LmdBase3D::setRotation(const Ogre::Vector3& degrees) {
    mDesc.rotation = degrees;
    mDesc.orientation = LmdEulerHelper::composeYXZ(degrees.x, degrees.y, degrees.z);
    if (mNode)
        mNode->setOrientation(mDesc.orientation);
}

void LmdBase3D::setRotationX(float v) { setRotation(Ogre::Vector3(v, mDesc.rotation.y, mDesc.rotation.z)); }
void LmdBase3D::setRotationY(float v) { setRotation(Ogre::Vector3(mDesc.rotation.x, v, mDesc.rotation.z)); }
void LmdBase3D::setRotationZ(float v) { setRotation(Ogre::Vector3(mDesc.rotation.x, mDesc.rotation.y, v)); }

void LmdBase3D::setOrientation(const Ogre::Quaternion& orientation) {
    Ogre::Quaternion q = orientation;
    q.normalise();
    mDesc.orientation = q;
    LmdEulerHelper::decomposeYXZ(q, mDesc.rotation.x, mDesc.rotation.y, mDesc.rotation.z);
    if (mNode)
        mNode->setOrientation(q);
}

void LmdBase3D::setScale(const Ogre::Vector3& scale) {
    mDesc.scale = scale;
    applyTransform();
}

void LmdBase3D::setAxisX(float v) {
    mDesc.pivot.x = v;
    applyPivot();
}
void LmdBase3D::setAxisY(float v) {
    mDesc.pivot.y = v;
    applyPivot();
}
void LmdBase3D::setAxisZ(float v) {
    mDesc.pivot.z = v;
    applyPivot();
}

Ogre::Vector3 LmdBase3D::getWorldPosition() const {
    return mNode ? mNode->_getDerivedPosition() : mDesc.position;
}

Ogre::Quaternion LmdBase3D::getWorldOrientation() const {
    return mNode ? mNode->_getDerivedOrientation() : mDesc.orientation;
}

void LmdBase3D::setWorldTransform(const Ogre::Vector3& position, const Ogre::Quaternion& orientation) {
    if (!mNode)
        return;
    mNode->_setDerivedPosition(position);
    mNode->_setDerivedOrientation(orientation);
    mDesc.position = mNode->getPosition();
    mDesc.orientation = mNode->getOrientation();
    LmdEulerHelper::decomposeYXZ(mDesc.orientation, mDesc.rotation.x, mDesc.rotation.y, mDesc.rotation.z);
}

bool LmdBase3D::isShown() const {
    for (const LmdBase3D* o = this; o; o = o->mParent)
        if (!o->mDesc.visible)
            return false;
    return true;
}

void LmdBase3D::setVisible(bool visible) {
    mDesc.visible = visible;
    updateVisibility();
}

void LmdBase3D::updateVisibility() {
    const bool shown = isShown();
    if (mEntity)
        mEntity->setVisible(shown);
    if (mMarker)
        mMarker->setVisible(shown);
    if (mLight)
        mLight->setVisible(shown && mLightOn && mInView);
    for (LmdBase3D* child : mChildren)
        child->updateVisibility();
}

void LmdBase3D::setCastShadows(bool cast) {
    mDesc.castShadows = cast;
    if (mEntity)
        mEntity->setCastShadows(cast);
    if (mLight)
        mLight->setCastShadows(cast);
}

void LmdBase3D::setInView(bool inView) {
    mInView = inView;
    if (mLight)
        updateVisibility();
}

void LmdBase3D::setLightOn(bool on) {
    mLightOn = on;
    updateVisibility();
}

bool LmdBase3D::hasAnimation(const std::string& clip) const {
    return mEntity && mEntity->getAllAnimationStates() && mEntity->getAllAnimationStates()->hasAnimationState(clip);
}

std::vector<std::string> LmdBase3D::getAnimationNames() const {
    std::vector<std::string> names;
    if (!mEntity || !mEntity->hasSkeleton())
        return names;
    Ogre::Skeleton* skeleton = mEntity->getSkeleton();
    for (unsigned short i = 0; i < skeleton->getNumAnimations(); ++i)
        names.push_back(skeleton->getAnimation(i)->getName());
    return names;
}

std::string LmdBase3D::getPlayingAnimation() const {
    return mAnimation ? mAnimation->getAnimationName() : std::string();
}

float LmdBase3D::getAnimationTime() const {
    return mAnimation ? mAnimation->getTimePosition() : 0.0f;
}

bool LmdBase3D::playAnimation(const std::string& name, bool loop, float speed) {
    std::string clip = name;
    for (const LmdAnimationDesc& declared : mDesc.animations)
        if (declared.name == name) {
            clip = declared.clip;
            speed *= declared.speed;
            loop = loop && declared.loop;
            break;
        }
    if (!hasAnimation(clip))
        return false;
    mAnimationSpeed = speed;
    const bool playing = mAnimation && mAnimation->getAnimationName() == clip && !mAnimation->hasEnded();
    if (!playing) {
        stopAnimation();
        mAnimation = mEntity->getAnimationState(clip);
        // Played backwards, a clip starts from its end.
        mAnimation->setTimePosition(speed < 0.0f ? mAnimation->getLength() : 0.0f);
        mAnimation->setEnabled(true);
    }
    mAnimation->setLoop(loop);
    return true;
}

void LmdBase3D::stopAnimation() {
    if (mAnimation)
        mAnimation->setEnabled(false);
    mAnimation = nullptr;
}

void LmdBase3D::advanceAnimation(float seconds) {
    if (mAnimation)
        mAnimation->addTime(seconds * mAnimationSpeed);
}

} // namespace Lumenda3D
