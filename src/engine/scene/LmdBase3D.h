#pragma once
// One 3D object of the scene: a primitive, model, group, camera or light built from one element
// of the game document. It owns its place in OGRE's scene graph:
//
//   parent object's node (or the level's node)
//     node          position, orientation, scale of the element (x, y, z, rotation, scale)
//       shapeNode   at the pivot (xAxis, yAxis, zAxis), with a model's automatic scale
//         entity    the mesh, or a marker that shows a camera or light in the editor
//       light       lights hang on a node of their own that points along their direction
//
// Child objects hang on `node`, so they follow their parent. The object keeps its description
// (LmdObjectDesc) as its current state: setters change both the description and the scene graph.
// Properties are named as the game language names them (x, rotationY, scaleZ, visible, color,
// texture, intensity, ...) for logic and for live edits.
#include <cstdint>
#include <string>
#include <vector>

#include <OgreAxisAlignedBox.h>
#include <OgreQuaternion.h>
#include <OgreVector.h>

#include "engine/logic/LmdScriptValue.h"
#include "engine/scene/LmdSceneDescription.h"

namespace Ogre {
class AnimationState;
class Entity;
class Light;
class SceneManager;
class SceneNode;
} // namespace Ogre

namespace Lumenda3D {

class LmdBase3D {
public:
    // Query flags of pickable entities: an object directly in a level, and an object inside another.
    static constexpr std::uint32_t kMaskObject = 1;
    static constexpr std::uint32_t kMaskSubObject = 2;
    static constexpr std::uint32_t kMaskMarker = 4;

    LmdBase3D(LmdObjectDesc desc, Ogre::SceneManager* sceneManager, Ogre::SceneNode* parentNode);
    ~LmdBase3D();
    LmdBase3D(const LmdBase3D&) = delete;
    LmdBase3D& operator=(const LmdBase3D&) = delete;

    // --- Identity ----------------------------------------------------------------------------
    const std::string& getName() const { return mDesc.name; }
    void setName(const std::string& name) { mDesc.name = name; }
    int getXmlId() const { return mDesc.xmlId; }
    const std::string& getElement() const { return mDesc.element; }
    LmdObjectKind getKind() const { return mDesc.kind; }
    const std::string& getLevel() const { return mDesc.level; }
    const LmdObjectDesc& getDesc() const { return mDesc; }
    LmdObjectDesc& desc() { return mDesc; }
    LmdBase3D* getParent() const { return mParent; }
    void setParent(LmdBase3D* parent) { mParent = parent; }
    const std::vector<LmdBase3D*>& getChildren() const { return mChildren; }
    void addChild(LmdBase3D* child) { mChildren.push_back(child); }
    void removeChild(LmdBase3D* child);
    // A clone made by logic while the game runs (not part of the document).
    bool isClone() const { return mClone; }
    void setClone(bool clone) { mClone = clone; }
    // A clone's own number, unique in its scene for as long as the game runs (0: not a clone),
    // and the number of what it was copied from (0: a document object, named by its xml id).
    int getCloneSerial() const { return mCloneSerial; }
    int getCloneSourceSerial() const { return mCloneSourceSerial; }
    void setCloneSerials(int serial, int sourceSerial) {
        mCloneSerial = serial;
        mCloneSourceSerial = sourceSerial;
    }

    // --- Scene graph -------------------------------------------------------------------------
    Ogre::SceneNode* getNode() const { return mNode; }
    Ogre::SceneNode* getShapeNode() const { return mShapeNode; }
    Ogre::Entity* getEntity() const { return mEntity; }
    std::string getEntityName() const;
    Ogre::Light* getLight() const { return mLight; }
    Ogre::Entity* getMarker() const { return mMarker; }
    // The query flags of the object's entity (kMaskObject or kMaskSubObject), 0 without one.
    std::uint32_t getMask() const;
    // Puts a mesh on the object (replacing one it had); `materials` one per submesh ("" keeps
    // the mesh's own). `meshName` empty removes the entity.
    void setMesh(const std::string& meshName, const std::vector<std::string>& materials);
    // Applies the same material to every submesh of the entity.
    void setMaterial(const std::string& materialName);
    const std::string& getAppliedMaterial() const { return mAppliedMaterial; }
    void setModelMaterials(const std::vector<std::string>& materials) { mModelMaterials = materials; }
    // Puts the model file's own materials back on the entity.
    void restoreModelMaterials();
    const std::vector<std::string>& getModelMaterials() const { return mModelMaterials; }
    void setLight(Ogre::Light* light, Ogre::SceneNode* lightNode);
    void setMarker(Ogre::Entity* marker);
    // Scale of the shape (a model's automatic size), on top of the object's own scale.
    void setShapeScale(float factor);
    float getShapeScale() const { return mShapeScale; }
    // The entity's bounds in the object's frame (pivot and shape scale applied); null without one.
    Ogre::AxisAlignedBox getLocalBounds() const;
    Ogre::AxisAlignedBox getWorldBounds() const;

    // --- Transform (relative to the parent) --------------------------------------------------
    Ogre::Vector3 getPosition() const { return mDesc.position; }
    void setPosition(const Ogre::Vector3& position);
    float getX() const { return mDesc.position.x; }
    float getY() const { return mDesc.position.y; }
    float getZ() const { return mDesc.position.z; }
    void setX(float v);
    void setY(float v);
    void setZ(float v);
    // Rotation in degrees (see LmdEulerHelper).
    Ogre::Vector3 getRotation() const { return mDesc.rotation; }
    void setRotation(const Ogre::Vector3& degrees);
    float getRotationX() const { return mDesc.rotation.x; }
    float getRotationY() const { return mDesc.rotation.y; }
    float getRotationZ() const { return mDesc.rotation.z; }
    void setRotationX(float v);
    void setRotationY(float v);
    void setRotationZ(float v);
    Ogre::Quaternion getOrientation() const { return mDesc.orientation; }
    // Sets the orientation and the rotation angles that match it.
    void setOrientation(const Ogre::Quaternion& orientation);
    Ogre::Vector3 getScale() const { return mDesc.scale; }
    void setScale(const Ogre::Vector3& scale);
    // The pivot: where the shape stands from the node, in the object's frame.
    float getAxisX() const { return mDesc.pivot.x; }
    float getAxisY() const { return mDesc.pivot.y; }
    float getAxisZ() const { return mDesc.pivot.z; }
    void setAxisX(float v);
    void setAxisY(float v);
    void setAxisZ(float v);
    Ogre::Vector3 getWorldPosition() const;
    Ogre::Quaternion getWorldOrientation() const;
    // Places the node at a world position and orientation (physics), keeping the description
    // in the parent's frame.
    void setWorldTransform(const Ogre::Vector3& position, const Ogre::Quaternion& orientation);

    // --- Looks ---------------------------------------------------------------------------------
    bool isVisible() const { return mDesc.visible; }
    // Whether it and every parent are visible.
    bool isShown() const;
    void setVisible(bool visible);
    std::uint32_t getColor() const { return mDesc.color; }
    void setColorValue(std::uint32_t rgb) { mDesc.color = rgb; }
    // Refreshes the entity's, marker's and light's visibility from the flags of it and its parents.
    void updateVisibility();
    bool getCastShadows() const { return mDesc.castShadows; }
    // Whether the shape (or the light) casts shadows.
    void setCastShadows(bool cast);

    // --- Animation of a model's skeleton (an animated model file, or OGRE .mesh + .skeleton) ---
    // Plays `name`: an Animation element of the object (its clip, with its speed and loop on top
    // of these) or a clip of the model file. Asking for the clip that is already playing keeps
    // its time (only loop and speed change), so logic may ask every frame. False when the model
    // has no such clip; whatever played goes on then.
    bool playAnimation(const std::string& name, bool loop, float speed);
    // Stops the playing clip; the model goes back to its rest pose.
    void stopAnimation();
    // Moves the playing clip on by `seconds` of game time (times its speed).
    void advanceAnimation(float seconds);
    bool hasAnimation(const std::string& clip) const;
    // The clips of the model, in the file's order (empty without a skeleton).
    std::vector<std::string> getAnimationNames() const;
    // The clip that plays ("" for none) and how far into it.
    std::string getPlayingAnimation() const;
    float getAnimationTime() const;

    // Light switching (SwitchLight): on/off without losing the light's colour.
    void setLightOn(bool on);
    bool isLightOn() const { return mLightOn; }
    // Whether the object's level is in view. OGRE lights every object with every visible light,
    // even one whose node is out of the scene graph: lights of hidden levels must be switched off.
    void setInView(bool inView);

private:
    void applyTransform();
    void applyPivot();

    LmdObjectDesc mDesc;
    Ogre::SceneManager* mSceneManager = nullptr;
    Ogre::SceneNode* mNode = nullptr;
    Ogre::SceneNode* mShapeNode = nullptr;
    Ogre::SceneNode* mLightNode = nullptr;
    Ogre::Entity* mEntity = nullptr;
    Ogre::Entity* mMarker = nullptr;
    Ogre::Light* mLight = nullptr;
    Ogre::AnimationState* mAnimation = nullptr;
    float mAnimationSpeed = 1.0f;
    float mShapeScale = 1.0f;
    bool mLightOn = true;
    bool mInView = true;
    bool mClone = false;
    int mCloneSerial = 0;
    int mCloneSourceSerial = 0;
    std::string mAppliedMaterial;
    std::vector<std::string> mModelMaterials;
    LmdBase3D* mParent = nullptr;
    std::vector<LmdBase3D*> mChildren;
};

} // namespace Lumenda3D
