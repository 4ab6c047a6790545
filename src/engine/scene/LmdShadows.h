#pragma once
// Shadows of the scene: texture shadows that the RTShaderSystem draws in the same pass as the
// lighting (OGRE's additive integrated texture shadows with the RTSS's parallel-split receiver,
// IntegratedPSSM3). The sun (the first directional light that casts shadows) renders the depth of
// every shadow-casting object into two depth textures, one per slice of the view from near to
// kFarDistance; every lit material then darkens what those maps hide from the sun. Point and
// spot lights do not cast shadows. media/shaders holds a cheaper receiver than OGRE's own (one
// map lookup per slice instead of four).
//
// Turning shadows on or off changes every generated shader (the receiver code is a template of
// the RTSS scheme), so it only happens when the setting changes. Main thread, with a render
// system and the RTShaderSystem.
#include <memory>

namespace Ogre {
class SceneManager;
class ShadowCameraSetup;
namespace RTShader {
class SubRenderState;
}
} // namespace Ogre

namespace Lumenda3D {

class LmdShadows {
public:
    // Shadows reach this far from the camera; beyond it nothing is shadowed.
    static constexpr float kFarDistance = 90.0f;
    // Width and height of each shadow map. Larger maps cost much more than their sharper edges
    // are worth with software rendering (Mesa): 1024 took twice the frame time of 512.
    static constexpr unsigned kTextureSize = 512;

    explicit LmdShadows(Ogre::SceneManager* sceneManager);
    ~LmdShadows();
    LmdShadows(const LmdShadows&) = delete;
    LmdShadows& operator=(const LmdShadows&) = delete;

    void setEnabled(bool enabled);
    bool isEnabled() const { return mEnabled; }
    // Turns shadows off for good (the scene manager is about to go) without touching shaders.
    void detach();

private:
    void enable();
    void disable();

    Ogre::SceneManager* mSceneManager = nullptr;
    Ogre::RTShader::SubRenderState* mReceiver = nullptr;
    bool mEnabled = false;
};

} // namespace Lumenda3D
