#include "engine/scene/LmdSceneBuilder.h"

#include "engine/assets/LmdMaterialFactory.h"
#include "engine/assets/LmdMeshLibrary.h"
#include "engine/scene/LmdBase2D.h"
#include "engine/scene/LmdBase3D.h"
#include "engine/scene/LmdSceneFaults.h"
#include "engine/scene/LmdShadows.h"

#include <OgreEntity.h>
#include <OgreLight.h>
#include <OgreSceneManager.h>
#include <OgreSceneNode.h>
#include <OgreViewport.h>

#include <algorithm>

namespace Lumenda3D {
namespace {

Ogre::ColourValue toColour(std::uint32_t rgb) {
    return Ogre::ColourValue(float((rgb >> 16) & 0xFF) / 255.0f, float((rgb >> 8) & 0xFF) / 255.0f,
                             float(rgb & 0xFF) / 255.0f, 1.0f);
}

// Marker colours of the editor: cameras blue-grey, lights warm yellow.
constexpr std::uint32_t kCameraMarker = 0x5C7A99;
constexpr std::uint32_t kLightMarker = 0xFFD54F;
constexpr float kLightScale = 0.75f;

} // namespace

LmdSceneBuilder::LmdSceneBuilder(const Services& services, bool editMode) : mServices(services), mEditMode(editMode) {}

void LmdSceneBuilder::build(LmdBase3D& object, const LmdSceneDescription& scope) {
    const LmdObjectDesc& d = object.getDesc();
    if (d.hasShape()) {
        buildShape(object);
        applyLooks(object, scope);
        startAnimation(object);
    } else if (d.isLight() && d.kind != LmdObjectKind::AmbientLight) {
        buildLight(object);
    }
    if (mEditMode)
        buildMarker(object);
    object.updateVisibility();
}

void LmdSceneBuilder::buildShape(LmdBase3D& object) {
    LmdMeshLibrary::Shape shape;
    if (!mServices.meshes->shapeOf(object.getDesc(), shape)) {
        object.setMesh(std::string(), {});
        object.setModelMaterials({});
        return;
    }
    object.setModelMaterials(shape.materials);
    object.setMesh(shape.mesh, shape.materials);
    applyAutoScale(object);
}

void LmdSceneBuilder::applyAutoScale(LmdBase3D& object) {
    const LmdObjectDesc& d = object.getDesc();
    if (d.kind != LmdObjectKind::Model)
        return;
    LmdMeshLibrary::Shape shape;
    float factor = 1.0f;
    if (d.autoScale && mServices.meshes->shapeOf(d, shape))
        factor = shape.autoScale;
    object.setShapeScale(factor);
}

void LmdSceneBuilder::rebuildShape(LmdBase3D& object, const LmdSceneDescription& scope) {
    if (!object.getDesc().hasShape())
        return;
    buildShape(object);
    object.setMaterial(std::string());
    applyLooks(object, scope);
    startAnimation(object);
    object.updateVisibility();
}

void LmdSceneBuilder::startAnimation(LmdBase3D& object) {
    const LmdObjectDesc& d = object.getDesc();
    // The edited scene stands still; a model that could not be read was reported already.
    if (mEditMode || d.kind != LmdObjectKind::Model || d.animation.empty() || !object.getEntity())
        return;
    if (object.playAnimation(d.animation, true, 1.0f))
        return;
    const std::vector<std::string> clips = object.getAnimationNames();
    std::string known;
    for (const std::string& clip : clips)
        known += (known.empty() ? "" : ", ") + clip;
    mServices.faults->report(d.node, "animation names '" + d.animation + "', which the model does not have (" +
                                         (clips.empty() ? std::string("its file has no animations")
                                                        : "its animations: " + known) +
                                         "); the model stands still");
}

void LmdSceneBuilder::applyLooks(LmdBase3D& object, const LmdSceneDescription& scope) {
    const LmdObjectDesc& d = object.getDesc();
    if (!d.hasShape() || !object.getEntity())
        return;
    if (!d.material.empty()) {
        if (const LmdMaterialDesc* material = scope.findMaterial(d.material, d.level)) {
            std::string name = mServices.materials->declaredName(material->level, material->name);
            if (name.empty())
                name = mServices.materials->declared(*material, *mServices.faults);
            object.setMaterial(name);
            return;
        }
        mServices.faults->report(d.node, "texture names the Material '" + d.material +
                                             "', which is not declared; the colour is used instead");
    }
    // A model keeps the colours of its file unless the element gives another colour.
    if (d.kind == LmdObjectKind::Model && d.color == 0xFFFFFF && !object.getModelMaterials().empty()) {
        object.restoreModelMaterials();
        return;
    }
    object.setMaterial(mServices.materials->colour(d.color));
}

void LmdSceneBuilder::buildLight(LmdBase3D& object) {
    Ogre::SceneManager* sm = mServices.sceneManager;
    const LmdObjectDesc& d = object.getDesc();
    Ogre::Light* light = sm->createLight();
    switch (d.kind) {
    case LmdObjectKind::DirectionalLight: light->setType(Ogre::Light::LT_DIRECTIONAL); break;
    case LmdObjectKind::SpotLight: light->setType(Ogre::Light::LT_SPOTLIGHT); break;
    default: light->setType(Ogre::Light::LT_POINT); break;
    }
    Ogre::SceneNode* lightNode = object.getNode()->createChildSceneNode();
    lightNode->attachObject(light);
    object.setLight(light, lightNode);
    applyLight(object);
}

void LmdSceneBuilder::applyLight(LmdBase3D& object) {
    Ogre::Light* light = object.getLight();
    if (!light)
        return;
    const LmdObjectDesc& d = object.getDesc();
    // Full intensity leaves room for the ambient light: a lit face of a colour stays that colour
    // instead of washing out to white.
    const Ogre::ColourValue colour = toColour(d.color) * std::max(d.intensity, 0.0f) * kLightScale;
    light->setDiffuseColour(colour);
    light->setSpecularColour(colour * 0.4f);
    light->setCastShadows(d.castShadows);
    if (d.kind == LmdObjectKind::PointLight || d.kind == LmdObjectKind::SpotLight) {
        // OGRE's usual fall-off for a given range: bright near, nothing beyond it.
        const float range = std::max(d.range, 0.01f);
        light->setAttenuation(range, 1.0f, 4.5f / range, 75.0f / (range * range));
    }
    if (d.kind == LmdObjectKind::SpotLight)
        light->setSpotlightRange(Ogre::Degree(d.angle * 0.75f), Ogre::Degree(d.angle), 1.0f);
    if (d.kind == LmdObjectKind::DirectionalLight || d.kind == LmdObjectKind::SpotLight) {
        if (Ogre::SceneNode* node = light->getParentSceneNode()) {
            Ogre::Vector3 direction = d.direction;
            direction.normalise();
            node->setDirection(direction, Ogre::Node::TS_PARENT);
        }
    }
}

void LmdSceneBuilder::buildMarker(LmdBase3D& object) {
    const LmdObjectKind kind = object.getKind();
    if (kind != LmdObjectKind::Camera && kind != LmdObjectKind::PointLight && kind != LmdObjectKind::SpotLight)
        return;
    const std::string mesh = mServices.meshes->markerMesh(kind);
    if (mesh.empty() || !object.getShapeNode())
        return;
    Ogre::Entity* marker = mServices.sceneManager->createEntity(mesh);
    marker->setMaterialName(mServices.materials->unlitColour(kind == LmdObjectKind::Camera ? kCameraMarker : kLightMarker));
    object.getShapeNode()->attachObject(marker);
    object.setMarker(marker);
}

void LmdSceneBuilder::loadPicture(LmdBase2D& element) {
    const LmdElementDesc& d = element.getDesc();
    element.setPicture(d.picture.empty() ? Ogre::TexturePtr()
                                         : mServices.materials->picture(d.picture, d.node, *mServices.faults));
}

void LmdSceneBuilder::applyEnvironment(const LmdSceneDescription& scope, const std::string& level,
                                       Ogre::Viewport* viewport, const Ogre::ColourValue& ambient) {
    Ogre::SceneManager* sm = mServices.sceneManager;
    const LmdLevelDesc* levelDesc = scope.findLevel(level);
    Ogre::ColourValue background = toColour(levelDesc ? levelDesc->backgroundColor : 0x87CEEB);

    sm->setSkyDome(false, "");
    if (levelDesc && !levelDesc->skyBox.empty()) {
        if (const LmdSkyDesc* sky = scope.findSky(levelDesc->skyBox, level)) {
            const std::string material = mServices.materials->sky(*sky, *mServices.faults);
            if (!material.empty())
                // Drawn first and behind everything: a small dome never meets the far plane of a
                // short-sighted game camera.
                sm->setSkyDome(true, material, 8.0f, 1.0f, std::min(sky->distance, 50.0f));
            else
                background = toColour(sky->color);
        } else {
            mServices.faults->report(levelDesc->node, "skyBox names '" + levelDesc->skyBox +
                                                           "', which is not a declared SkyBox; the background colour is used");
        }
    }

    sm->setFog(Ogre::FOG_NONE);
    if (levelDesc && !levelDesc->fog.empty()) {
        if (const LmdFogDesc* fog = scope.findFog(levelDesc->fog, level)) {
            const Ogre::ColourValue colour = toColour(fog->color);
            if (fog->exponential)
                sm->setFog(Ogre::FOG_EXP2, colour, fog->density);
            else
                sm->setFog(Ogre::FOG_LINEAR, colour, 0.0f, fog->start, fog->end);
            background = colour; // what lies beyond the fog
        } else {
            mServices.faults->report(levelDesc->node,
                                     "fog names '" + levelDesc->fog + "', which is not a declared Fog; the level has no fog");
        }
    }
    if (mServices.shadows)
        mServices.shadows->setEnabled(!levelDesc || levelDesc->shadows);
    if (viewport)
        viewport->setBackgroundColour(background);
    sm->setAmbientLight(ambient.r < 0.0f ? toColour(0x505058) : ambient);
}

} // namespace Lumenda3D
