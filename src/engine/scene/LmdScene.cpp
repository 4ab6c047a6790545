#include "engine/scene/LmdScene.h"

#include "engine/assets/LmdMaterialFactory.h"
#include "engine/scene/LmdBase2D.h"
#include "engine/scene/LmdBase3D.h"
#include "engine/scene/LmdSceneFaults.h"

#include <OgreLight.h>
#include <OgreSceneManager.h>
#include <OgreSceneNode.h>

#include <algorithm>

namespace Lumenda3D {

LmdScene::LmdScene(const LmdSceneBuilder::Services& services, bool editMode)
    : mServices(services), mBuilder(services, editMode) {
    Ogre::SceneManager* sm = mServices.sceneManager;
    mRoot = sm->getRootSceneNode()->createChildSceneNode();
    // A level without a light of its own is lit by a sun from above and behind the view, so
    // that a new game never shows black shapes.
    mFallbackSun = sm->createLight();
    mFallbackSun->setType(Ogre::Light::LT_DIRECTIONAL);
    mFallbackSun->setDiffuseColour(0.7f, 0.7f, 0.66f);
    mFallbackSun->setSpecularColour(0.2f, 0.2f, 0.2f);
    mFallbackSunNode = mRoot->createChildSceneNode();
    mFallbackSunNode->setDirection(Ogre::Vector3(-0.4f, -1.0f, -0.6f).normalisedCopy(), Ogre::Node::TS_PARENT);
    mFallbackSunNode->attachObject(mFallbackSun);
    mFallbackSun->setVisible(false);
}

LmdScene::~LmdScene() {
    clear();
    Ogre::SceneManager* sm = mServices.sceneManager;
    sm->destroyLight(mFallbackSun);
    sm->destroySceneNode(mFallbackSunNode);
    for (auto& [name, node] : mLevelNodes)
        sm->destroySceneNode(node);
    sm->destroySceneNode(mRoot);
}

void LmdScene::clear() {
    // Children were built after their parents: destroying from the back removes children first.
    while (!mObjects.empty()) {
        LmdBase3D* object = mObjects.back().get();
        if (mOnRemoved)
            mOnRemoved(object);
        if (LmdBase3D* parent = object->getParent())
            parent->removeChild(object);
        mObjects.pop_back();
    }
    mObjectList.clear();
    mObjectById.clear();
    mObjectByName.clear();
    mElements.clear();
    mElementList.clear();
    mElementById.clear();
    mNameHint = mNameHint2 = nullptr;
    mDescription = LmdSceneDescription();
}

Ogre::SceneNode* LmdScene::levelNode(const std::string& level) {
    auto found = mLevelNodes.find(level);
    if (found != mLevelNodes.end())
        return found->second;
    Ogre::SceneNode* node = mServices.sceneManager->createSceneNode();
    mLevelNodes[level] = node;
    // Objects outside levels are always shown; a level's node hangs in the scene while shown.
    if (level.empty() || level == mShownLevel)
        mRoot->addChild(node);
    return node;
}

void LmdScene::build(LmdSceneDescription description) {
    clear();
    mDescription = std::move(description);
    addDeclarations(mDescription);
    addObjects(mDescription, false);
}

void LmdScene::addPart(const LmdSceneDescription& part) {
    // Keep the declarations and levels so that later lookups by name find them.
    for (const LmdLevelDesc& level : part.levels)
        if (!mDescription.findLevel(level.name))
            mDescription.levels.push_back(level);
    auto merge = [](auto& into, const auto& from) {
        for (const auto& item : from) {
            auto same = std::find_if(into.begin(), into.end(),
                                     [&](const auto& other) { return other.name == item.name && other.level == item.level; });
            if (same != into.end())
                *same = item;
            else
                into.push_back(item);
        }
    };
    merge(mDescription.materials, part.materials);
    merge(mDescription.skies, part.skies);
    merge(mDescription.fogs, part.fogs);
    merge(mDescription.sounds, part.sounds);
    addDeclarations(part);
    addObjects(part, true);
}

void LmdScene::addDeclarations(const LmdSceneDescription& part) {
    for (const LmdMaterialDesc& material : part.materials)
        mServices.materials->declared(material, *mServices.faults);
}

void LmdScene::addObjects(const LmdSceneDescription& part, bool partial) {
    std::vector<LmdBase3D*> built(part.objects.size(), nullptr);
    for (size_t i = 0; i < part.objects.size(); ++i) {
        const LmdObjectDesc& desc = part.objects[i];
        LmdBase3D* parent = nullptr;
        if (desc.parent >= 0 && size_t(desc.parent) < i)
            parent = built[size_t(desc.parent)];
        else if (partial && desc.parentXmlId != 0)
            parent = objectByXmlId(desc.parentXmlId);
        built[i] = addObject(desc, parent);
    }
    std::vector<LmdBase2D*> elements(part.elements.size(), nullptr);
    for (size_t i = 0; i < part.elements.size(); ++i) {
        const LmdElementDesc& desc = part.elements[i];
        LmdBase2D* parent = nullptr;
        if (desc.parent >= 0 && size_t(desc.parent) < i)
            parent = elements[size_t(desc.parent)];
        else if (partial && desc.parentXmlId != 0)
            parent = elementByXmlId(desc.parentXmlId);
        elements[i] = addElement(desc, parent);
    }
}

LmdBase3D* LmdScene::addObject(const LmdObjectDesc& desc, LmdBase3D* parent) {
    Ogre::SceneNode* parentNode = parent ? parent->getNode() : levelNode(desc.level);
    auto object = std::make_unique<LmdBase3D>(desc, mServices.sceneManager, parentNode);
    LmdBase3D* raw = object.get();
    if (parent) {
        raw->setParent(parent);
        parent->addChild(raw);
    }
    mObjects.push_back(std::move(object));
    mObjectList.push_back(raw);
    if (desc.xmlId != 0)
        mObjectById.emplace(desc.xmlId, raw);
    if (!desc.name.empty())
        mObjectByName.emplace(desc.name, raw);
    mBuilder.build(*raw, mDescription);
    if (raw->getLight())
        raw->setInView(isAttached() && isShownNow(*raw));
    if (mOnBuilt)
        mOnBuilt(raw);
    return raw;
}

LmdBase2D* LmdScene::addElement(const LmdElementDesc& desc, LmdBase2D* parent) {
    auto element = std::make_unique<LmdBase2D>(desc);
    LmdBase2D* raw = element.get();
    raw->setParent(parent);
    mBuilder.loadPicture(*raw);
    mElements.push_back(std::move(element));
    mElementList.push_back(raw);
    if (desc.xmlId != 0)
        mElementById.emplace(desc.xmlId, raw);
    return raw;
}

void LmdScene::setLevelDesc(const LmdLevelDesc& level) {
    for (LmdLevelDesc& existing : mDescription.levels)
        if (existing.name == level.name || existing.xmlId == level.xmlId) {
            existing = level;
            return;
        }
    mDescription.levels.push_back(level);
}

void LmdScene::forgetNodes() {
    for (LmdBase3D* object : mObjectList)
        object->desc().node = pugi::xml_node();
    for (LmdBase2D* element : mElementList)
        element->desc().node = pugi::xml_node();
    auto forget = [](auto& items) {
        for (auto& item : items)
            item.node = pugi::xml_node();
    };
    forget(mDescription.levels);
    forget(mDescription.objects);
    forget(mDescription.elements);
    forget(mDescription.materials);
    forget(mDescription.skies);
    forget(mDescription.fogs);
    forget(mDescription.sounds);
}

void LmdScene::renameObject(LmdBase3D* object, const std::string& name) {
    if (!object)
        return;
    auto range = mObjectByName.equal_range(object->getName());
    for (auto it = range.first; it != range.second; ++it)
        if (it->second == object) {
            mObjectByName.erase(it);
            break;
        }
    object->setName(name);
    if (!name.empty())
        mObjectByName.emplace(name, object);
}

void LmdScene::showLevel(const std::string& level, Ogre::Viewport* viewport) {
    mShownLevel = level;
    for (auto& [name, node] : mLevelNodes) {
        const bool shown = name.empty() || name == level;
        if (shown && !node->getParent())
            mRoot->addChild(node);
        else if (!shown && node->getParent())
            node->getParent()->removeChild(node);
    }
    refreshEnvironment(viewport);
}

void LmdScene::setAttached(bool attached) {
    Ogre::SceneNode* top = mServices.sceneManager->getRootSceneNode();
    if (attached && !mRoot->getParent())
        top->addChild(mRoot);
    else if (!attached && mRoot->getParent())
        mRoot->getParent()->removeChild(mRoot);
    updateLights();
}

void LmdScene::updateLights() {
    // A light out of the scene graph still lights everything while it is visible: only the
    // lights of what is in view may shine.
    const bool attached = isAttached();
    for (LmdBase3D* object : mObjectList)
        if (object->getLight())
            object->setInView(attached && isShownNow(*object));
    mFallbackSun->setVisible(attached && !hasLights(mShownLevel));
}

bool LmdScene::isAttached() const {
    return mRoot->getParent() != nullptr;
}

void LmdScene::refreshEnvironment(Ogre::Viewport* viewport) {
    updateLights();
    mBuilder.applyEnvironment(mDescription, mShownLevel, viewport, ambientOf(mShownLevel));
}

Ogre::ColourValue LmdScene::ambientOf(const std::string& level) const {
    Ogre::ColourValue sum(0, 0, 0, 1);
    bool any = false;
    for (const LmdBase3D* object : mObjectList) {
        const LmdObjectDesc& d = object->getDesc();
        if (d.kind != LmdObjectKind::AmbientLight || !(d.level.empty() || d.level == level) || !object->isShown())
            continue;
        any = true;
        sum += Ogre::ColourValue(float((d.color >> 16) & 0xFF) / 255.0f, float((d.color >> 8) & 0xFF) / 255.0f,
                                 float(d.color & 0xFF) / 255.0f, 0.0f) *
               std::max(d.intensity, 0.0f);
    }
    if (!any)
        return Ogre::ColourValue(-1, -1, -1, 1);
    sum.saturate();
    return sum;
}

bool LmdScene::hasLights(const std::string& level) const {
    for (const LmdBase3D* object : mObjectList)
        if (object->getLight() && (object->getLevel().empty() || object->getLevel() == level))
            return true;
    return false;
}

LmdBase3D* LmdScene::objectByXmlId(int xmlId) const {
    auto found = mObjectById.find(xmlId);
    return found == mObjectById.end() ? nullptr : found->second;
}

LmdBase2D* LmdScene::elementByXmlId(int xmlId) const {
    auto found = mElementById.find(xmlId);
    return found == mElementById.end() ? nullptr : found->second;
}

std::vector<LmdBase3D*> LmdScene::objectsOfXmlId(int xmlId) const {
    std::vector<LmdBase3D*> result;
    for (LmdBase3D* object : mObjectList)
        if (object->getXmlId() == xmlId)
            result.push_back(object);
    return result;
}

bool LmdScene::isShownNow(const LmdBase3D& object) const {
    return object.getLevel().empty() || object.getLevel() == mShownLevel;
}

bool LmdScene::isShownNow(const LmdBase2D& element) const {
    return element.getLevel().empty() || element.getLevel() == mShownLevel;
}

LmdBase3D* LmdScene::objectByName(const std::string& name) const {
    if (name.empty())
        return nullptr;
    if (mNameHint && mNameHint->getName() == name)
        return mNameHint;
    if (mNameHint2 && mNameHint2->getName() == name)
        return mNameHint2;
    auto range = mObjectByName.equal_range(name);
    LmdBase3D* best = nullptr;
    int bestRank = 3;
    for (auto it = range.first; it != range.second; ++it) {
        LmdBase3D* object = it->second;
        const int rank = object->getLevel() == mShownLevel ? 0 : object->getLevel().empty() ? 1 : 2;
        // Among equals, the one built first (multimap order is not creation order: compare).
        if (rank < bestRank || (rank == bestRank && best &&
                                std::find(mObjectList.begin(), mObjectList.end(), object) <
                                    std::find(mObjectList.begin(), mObjectList.end(), best))) {
            best = object;
            bestRank = rank;
        }
    }
    return best;
}

LmdBase2D* LmdScene::elementByName(const std::string& name) const {
    if (name.empty())
        return nullptr;
    LmdBase2D* fallback = nullptr;
    for (LmdBase2D* element : mElementList) {
        if (element->getName() != name)
            continue;
        if (isShownNow(*element))
            return element;
        if (!fallback)
            fallback = element;
    }
    return fallback;
}

void LmdScene::unregister(LmdBase3D* object) {
    if (mNameHint == object)
        mNameHint = nullptr;
    if (mNameHint2 == object)
        mNameHint2 = nullptr;
    mObjectList.erase(std::remove(mObjectList.begin(), mObjectList.end(), object), mObjectList.end());
    auto byId = mObjectById.find(object->getXmlId());
    if (byId != mObjectById.end() && byId->second == object) {
        mObjectById.erase(byId);
        // Another object of the same element (a clone) takes its place for lookups.
        for (LmdBase3D* other : mObjectList)
            if (other->getXmlId() == object->getXmlId() && object->getXmlId() != 0) {
                mObjectById.emplace(other->getXmlId(), other);
                break;
            }
    }
    auto range = mObjectByName.equal_range(object->getName());
    for (auto it = range.first; it != range.second; ++it)
        if (it->second == object) {
            mObjectByName.erase(it);
            break;
        }
}

void LmdScene::removeObject(LmdBase3D* object) {
    if (!object)
        return;
    const std::vector<LmdBase3D*> children = object->getChildren();
    for (LmdBase3D* child : children)
        removeObject(child);
    if (mOnRemoved)
        mOnRemoved(object);
    if (LmdBase3D* parent = object->getParent())
        parent->removeChild(object);
    unregister(object);
    auto owned = std::find_if(mObjects.begin(), mObjects.end(),
                              [object](const std::unique_ptr<LmdBase3D>& p) { return p.get() == object; });
    if (owned != mObjects.end())
        mObjects.erase(owned);
}

void LmdScene::removeElement(LmdBase2D* element) {
    if (!element)
        return;
    for (LmdBase2D* other : std::vector<LmdBase2D*>(mElementList))
        if (other->getParent() == element)
            removeElement(other);
    mElementList.erase(std::remove(mElementList.begin(), mElementList.end(), element), mElementList.end());
    auto byId = mElementById.find(element->getXmlId());
    if (byId != mElementById.end() && byId->second == element)
        mElementById.erase(byId);
    auto owned = std::find_if(mElements.begin(), mElements.end(),
                              [element](const std::unique_ptr<LmdBase2D>& p) { return p.get() == element; });
    if (owned != mElements.end())
        mElements.erase(owned);
}

void LmdScene::removeNode(int xmlId) {
    if (xmlId == 0)
        return;
    for (LmdBase3D* object : objectsOfXmlId(xmlId))
        if (std::find(mObjectList.begin(), mObjectList.end(), object) != mObjectList.end())
            removeObject(object);
    while (LmdBase2D* element = elementByXmlId(xmlId))
        removeElement(element);
}

void LmdScene::advanceAnimations(float seconds) {
    for (LmdBase3D* object : mObjectList)
        object->advanceAnimation(seconds);
}

LmdBase3D* LmdScene::cloneObject(LmdBase3D* source, const std::string& name, const Ogre::Vector3& offset) {
    return source ? cloneUnder(source, name, offset, source->getParent()) : nullptr;
}

LmdBase3D* LmdScene::cloneUnder(LmdBase3D* source, const std::string& name, const Ogre::Vector3& offset,
                                LmdBase3D* parent) {
    LmdObjectDesc desc = source->getDesc();
    desc.name = name;
    desc.position += offset;
    LmdBase3D* copy = addObject(desc, parent);
    copy->setClone(true);
    copy->setCloneSerials(++mCloneCount, source->getCloneSerial());
    if (!source->getAppliedMaterial().empty())
        copy->setMaterial(source->getAppliedMaterial());
    // Children keep their names and places relative to the copy.
    for (LmdBase3D* child : std::vector<LmdBase3D*>(source->getChildren()))
        cloneUnder(child, child->getName(), Ogre::Vector3::ZERO, copy);
    return copy;
}

} // namespace Lumenda3D
