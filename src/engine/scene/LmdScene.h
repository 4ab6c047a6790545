#pragma once
// A built scene: the 3D objects and 2D elements of a game document, each level under a node of
// its own of which one is shown at a time, and the declarations the objects refer to. The engine
// keeps one for editing (every level, with markers for cameras and lights) and builds another
// when the game plays (one level at a time, without markers), so that stopping the game brings
// back the edited scene exactly as it was.
//
// Objects are found by node id (the first object built from that element) and by name. Names
// need not be unique; a lookup prefers the shown level, then objects outside levels, and a
// caller may point it at one particular object for the moment (the object logic is handling a
// collision or a click with). Main thread, OGRE root.
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include <OgreColourValue.h>

#include "engine/scene/LmdSceneBuilder.h"
#include "engine/scene/LmdSceneDescription.h"

namespace Ogre {
class Light;
class SceneNode;
class Viewport;
} // namespace Ogre

namespace Lumenda3D {

class LmdBase2D;
class LmdBase3D;

class LmdScene {
public:
    LmdScene(const LmdSceneBuilder::Services& services, bool editMode);
    ~LmdScene();
    LmdScene(const LmdScene&) = delete;
    LmdScene& operator=(const LmdScene&) = delete;

    bool isEditMode() const { return mBuilder.isEditMode(); }
    LmdSceneBuilder& builder() { return mBuilder; }

    // Builds everything the description holds (declared materials first, then objects and
    // elements, parents before children). Replaces what was built before.
    void build(LmdSceneDescription description);
    // Adds what a part of the document holds (runPartialSource): its declarations, objects and
    // elements. Objects whose `parentXmlId` names a built object hang under it.
    void addPart(const LmdSceneDescription& part);
    // Destroys everything.
    void clear();
    const LmdSceneDescription& description() const { return mDescription; }
    // Replaces (or adds) a level's own values.
    void setLevelDesc(const LmdLevelDesc& level);
    // Drops every handle into the document (it is being replaced); objects stay as they are.
    void forgetNodes();

    // --- Levels ----------------------------------------------------------------------------------
    // Shows one level (and the objects outside levels) and applies its background, sky, fog and
    // ambient light to the scene manager and the viewport.
    void showLevel(const std::string& level, Ogre::Viewport* viewport);
    const std::string& getShownLevel() const { return mShownLevel; }
    // Hangs the whole scene in OGRE's scene graph or takes it out (the edit scene while the game
    // plays); nothing is destroyed.
    void setAttached(bool attached);
    bool isAttached() const;
    // Re-applies the shown level's surroundings (after a light, sky or fog changed).
    void refreshEnvironment(Ogre::Viewport* viewport);

    // --- Objects -----------------------------------------------------------------------------------
    const std::vector<LmdBase3D*>& objects() const { return mObjectList; }
    const std::vector<LmdBase2D*>& elements() const { return mElementList; }
    LmdBase3D* objectByXmlId(int xmlId) const;
    LmdBase2D* elementByXmlId(int xmlId) const;
    LmdBase3D* objectByName(const std::string& name) const;
    LmdBase2D* elementByName(const std::string& name) const;
    // Every 3D object built from that element (clones included).
    std::vector<LmdBase3D*> objectsOfXmlId(int xmlId) const;
    // Points name lookups of `object`'s name at it until cleared with null.
    void setNameHint(LmdBase3D* object, LmdBase3D* second = nullptr) {
        mNameHint = object;
        mNameHint2 = second;
    }
    bool isShownNow(const LmdBase3D& object) const;
    bool isShownNow(const LmdBase2D& element) const;

    void renameObject(LmdBase3D* object, const std::string& name);
    // Removes an object with its children; `onRemoved` runs for each first (children first).
    void removeObject(LmdBase3D* object);
    void removeElement(LmdBase2D* element);
    // Removes the objects and elements built from an element and its subtree.
    void removeNode(int xmlId);
    // A copy of an object and its children, `offset` away, under the same parent.
    LmdBase3D* cloneObject(LmdBase3D* source, const std::string& name, const Ogre::Vector3& offset);
    // Moves every model's playing animation on by `seconds` of game time (one game frame).
    void advanceAnimations(float seconds);
    // Called for every object about to be destroyed (physics lets go of its body).
    void setOnRemoved(std::function<void(LmdBase3D*)> callback) { mOnRemoved = std::move(callback); }
    // Called for every object built (physics makes its body).
    void setOnBuilt(std::function<void(LmdBase3D*)> callback) { mOnBuilt = std::move(callback); }

private:
    LmdBase3D* addObject(const LmdObjectDesc& desc, LmdBase3D* parent);
    LmdBase3D* cloneUnder(LmdBase3D* source, const std::string& name, const Ogre::Vector3& offset, LmdBase3D* parent);
    LmdBase2D* addElement(const LmdElementDesc& desc, LmdBase2D* parent);
    void addDeclarations(const LmdSceneDescription& part);
    void addObjects(const LmdSceneDescription& part, bool partial);
    Ogre::SceneNode* levelNode(const std::string& level);
    void unregister(LmdBase3D* object);
    void updateLights();
    Ogre::ColourValue ambientOf(const std::string& level) const;
    bool hasLights(const std::string& level) const;

    LmdSceneBuilder::Services mServices;
    LmdSceneBuilder mBuilder;
    LmdSceneDescription mDescription;
    Ogre::SceneNode* mRoot = nullptr;
    std::map<std::string, Ogre::SceneNode*> mLevelNodes;
    std::string mShownLevel;
    Ogre::Light* mFallbackSun = nullptr;
    Ogre::SceneNode* mFallbackSunNode = nullptr;

    std::vector<std::unique_ptr<LmdBase3D>> mObjects;
    std::vector<LmdBase3D*> mObjectList;
    std::vector<std::unique_ptr<LmdBase2D>> mElements;
    std::vector<LmdBase2D*> mElementList;
    std::unordered_map<int, LmdBase3D*> mObjectById;
    std::unordered_map<int, LmdBase2D*> mElementById;
    std::unordered_multimap<std::string, LmdBase3D*> mObjectByName;
    int mCloneCount = 0; // clones made since the scene was built: their serial numbers
    LmdBase3D* mNameHint = nullptr;
    LmdBase3D* mNameHint2 = nullptr;
    std::function<void(LmdBase3D*)> mOnRemoved;
    std::function<void(LmdBase3D*)> mOnBuilt;
};

} // namespace Lumenda3D
