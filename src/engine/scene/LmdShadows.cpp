#include "engine/scene/LmdShadows.h"

#include "base/LmdLog.h"

#include <OgreRTShaderSystem.h>
#include <OgreSceneManager.h>
#include <OgreShadowCameraSetupPSSM.h>

namespace Lumenda3D {
namespace {

// Two slices of the view: fine detail up to about where a following camera's player stands,
// coarser beyond. Each slice costs one shadow-map lookup per fragment.
constexpr unsigned kSplits = 2;
// How far the split leans towards an even split (0) or a logarithmic one (1).
constexpr float kSplitLambda = 0.7f;
// The near end of the first slice: the game camera's usual near plane.
constexpr float kNearDistance = 0.1f;

Ogre::RTShader::RenderState* schemeRenderState() {
    auto* generator = Ogre::RTShader::ShaderGenerator::getSingletonPtr();
    return generator ? generator->getRenderState(Ogre::RTShader::ShaderGenerator::DEFAULT_SCHEME_NAME) : nullptr;
}

} // namespace

LmdShadows::LmdShadows(Ogre::SceneManager* sceneManager) : mSceneManager(sceneManager) {}

LmdShadows::~LmdShadows() {
    try {
        disable();
    } catch (const std::exception& e) {
        LmdLog::message(std::string("Shadows were not turned off cleanly: ") + e.what());
    }
}

void LmdShadows::detach() {
    mSceneManager = nullptr;
    mReceiver = nullptr; // the shader generator destroys its template sub-render states itself
    mEnabled = false;
}

void LmdShadows::setEnabled(bool enabled) {
    if (enabled == mEnabled || !mSceneManager)
        return;
    if (enabled)
        enable();
    else
        disable();
}

void LmdShadows::enable() {
    auto* generator = Ogre::RTShader::ShaderGenerator::getSingletonPtr();
    Ogre::RTShader::RenderState* scheme = schemeRenderState();
    if (!generator || !scheme)
        return;
    Ogre::SceneManager* sm = mSceneManager;
    // Depth is written by the casters' own shaders (the RTSS makes them); the receiver compares
    // against it in the lighting pass of every lit material.
    sm->setShadowTechnique(Ogre::SHADOWTYPE_TEXTURE_ADDITIVE_INTEGRATED);
    sm->setShadowTextureCountPerLightType(Ogre::Light::LT_DIRECTIONAL, kSplits);
    sm->setShadowTextureCountPerLightType(Ogre::Light::LT_POINT, 0);
    sm->setShadowTextureCountPerLightType(Ogre::Light::LT_SPOTLIGHT, 0);
    sm->setShadowTextureSettings(Ogre::uint16(kTextureSize), Ogre::uint16(kSplits), Ogre::PF_DEPTH16);
    sm->setShadowTextureSelfShadow(true);
    // Back faces into the maps: a lit front face never shadows itself (no acne), and a floor,
    // seen from above by the sun, casts nothing onto what stands on it.
    sm->setShadowCasterRenderBackFaces(true);
    sm->setShadowFarDistance(kFarDistance);

    auto* pssm = new Ogre::PSSMShadowCameraSetup();
    pssm->calculateSplitPoints(kSplits, kNearDistance, kFarDistance, kSplitLambda);
    pssm->setSplitPadding(1.0f);
    pssm->setOptimalAdjustFactor(0, 2.0f);
    pssm->setOptimalAdjustFactor(1, 1.0f);
    const auto splitPoints = pssm->getSplitPoints();
    sm->setShadowCameraSetup(Ogre::ShadowCameraSetupPtr(pssm));

    auto* receiver = static_cast<Ogre::RTShader::IntegratedPSSM3*>(
        generator->createSubRenderState(Ogre::RTShader::IntegratedPSSM3::Type));
    receiver->setSplitPoints(splitPoints);
    scheme->addTemplateSubRenderState(receiver);
    mReceiver = receiver;
    generator->invalidateScheme(Ogre::RTShader::ShaderGenerator::DEFAULT_SCHEME_NAME);
    mEnabled = true;
}

void LmdShadows::disable() {
    if (!mSceneManager)
        return;
    mSceneManager->setShadowTechnique(Ogre::SHADOWTYPE_NONE);
    if (mReceiver) {
        if (Ogre::RTShader::RenderState* scheme = schemeRenderState())
            scheme->removeSubRenderState(mReceiver);
        mReceiver = nullptr;
        if (auto* generator = Ogre::RTShader::ShaderGenerator::getSingletonPtr())
            generator->invalidateScheme(Ogre::RTShader::ShaderGenerator::DEFAULT_SCHEME_NAME);
    }
    mEnabled = false;
}

} // namespace Lumenda3D
