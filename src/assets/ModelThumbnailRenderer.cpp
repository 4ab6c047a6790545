#include "assets/ModelThumbnailRenderer.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>

#include <OgreCamera.h>
#include <OgreEntity.h>
#include <OgreHardwarePixelBuffer.h>
#include <OgreLight.h>
#include <OgreMaterialManager.h>
#include <OgreMeshManager.h>
#include <OgreRTShaderSystem.h>
#include <OgreRenderTexture.h>
#include <OgreRoot.h>
#include <OgreSceneManager.h>
#include <OgreSceneNode.h>
#include <OgreTechnique.h>
#include <OgreTextureManager.h>
#include <OgreViewport.h>

#include "base/LmdLog.h"
#include "engine/assets/LmdMeshData.h"
#include "engine/assets/LmdOgreMesh.h"

namespace Lumenda3D {

namespace {

// A scheme of its own: the game scene's shader settings (shadow receivers) stay out of it.
constexpr const char* kScheme = "LmdModelThumbnail";
constexpr const char* kTargetName = "LmdModelThumbnail/Target";
// The cell's background, so that the picture sits in its cell without a seam.
const Ogre::ColourValue kBackground(40 / 255.0f, 40 / 255.0f, 46 / 255.0f);
const Ogre::Radian kFovY(Ogre::Degree(35.0f));

std::uint32_t packColour(const float rgba[4]) {
    auto channel = [](float v) { return static_cast<std::uint32_t>(std::lround(std::clamp(v, 0.0f, 1.0f) * 255.0f)); };
    return channel(rgba[0]) << 16 | channel(rgba[1]) << 8 | channel(rgba[2]);
}

} // namespace

ModelThumbnailRenderer::View ModelThumbnailRenderer::frame(const Ogre::AxisAlignedBox& bounds, Ogre::Radian fovY) {
    View view;
    if (!bounds.isFinite()) {
        view.target = Ogre::Vector3::ZERO;
        view.eye = Ogre::Vector3(0, 0, 5);
        view.nearClip = 0.1f;
        view.farClip = 10.0f;
        return view;
    }
    view.target = bounds.getCenter();
    const float radius = std::max(bounds.getHalfSize().length(), 1e-4f);
    // The bounding sphere touches the view cone's sides at this distance.
    const float distance = radius / std::sin(fovY.valueRadians() * 0.5f);
    const Ogre::Vector3 direction = Ogre::Vector3(0.55f, 0.45f, 1.0f).normalisedCopy();
    view.eye = view.target + direction * distance;
    view.nearClip = std::max(distance - radius * 1.05f, distance * 0.01f);
    view.farClip = distance + radius * 1.05f;
    return view;
}

ModelThumbnailRenderer::ModelThumbnailRenderer() = default;

ModelThumbnailRenderer::~ModelThumbnailRenderer() {
    try {
        releaseScene();
    } catch (const std::exception& e) {
        LmdLog::message(std::string("ModelThumbnailRenderer: not released cleanly: ") + e.what());
    }
}

void ModelThumbnailRenderer::enqueue(const std::string& key, std::shared_ptr<const LmdMeshData> mesh, Done done) {
    std::lock_guard<std::mutex> lock(mutex_);
    for (const Job& job : jobs_)
        if (job.key == key)
            return;
    jobs_.push_back({key, std::move(mesh), std::move(done)});
}

size_t ModelThumbnailRenderer::queued() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return jobs_.size();
}

bool ModelThumbnailRenderer::renderNext() {
    Ogre::Root* root = Ogre::Root::getSingletonPtr();
    if (!root || !root->getRenderSystem())
        return false;
    Job job;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (jobs_.empty())
            return false;
        job = std::move(jobs_.front());
        jobs_.pop_front();
    }
    std::vector<unsigned char> rgb;
    std::string error;
    if (!job.mesh)
        error = "no mesh data";
    else
        render(*job.mesh, rgb, error);
    if (job.done)
        job.done(job.key, std::move(rgb), error);
    return true;
}

bool ModelThumbnailRenderer::ensureScene(std::string& error) {
    if (scene_)
        return true;
    Ogre::Root* root = Ogre::Root::getSingletonPtr();
    if (!root || !root->getRenderSystem()) {
        error = "no render system";
        return false;
    }
    scene_ = root->createSceneManager();
    if (auto* generator = Ogre::RTShader::ShaderGenerator::getSingletonPtr())
        generator->addSceneManager(scene_);
    scene_->setAmbientLight(Ogre::ColourValue(0.38f, 0.38f, 0.40f));
    camera_ = scene_->createCamera("LmdModelThumbnailCamera");
    camera_->setFOVy(kFovY);
    camera_->setAspectRatio(1.0f);
    cameraNode_ = scene_->getRootSceneNode()->createChildSceneNode();
    cameraNode_->attachObject(camera_);
    light_ = scene_->createLight("LmdModelThumbnailLight");
    light_->setType(Ogre::Light::LT_DIRECTIONAL);
    light_->setDiffuseColour(Ogre::ColourValue(0.85f, 0.85f, 0.82f));
    light_->setSpecularColour(Ogre::ColourValue::Black);
    lightNode_ = scene_->getRootSceneNode()->createChildSceneNode();
    lightNode_->attachObject(light_);

    target_ = Ogre::TextureManager::getSingleton().createManual(kTargetName, Ogre::RGN_INTERNAL, Ogre::TEX_TYPE_2D,
                                                                kSize, kSize, 0, Ogre::PF_BYTE_RGBA,
                                                                Ogre::TU_RENDERTARGET);
    Ogre::RenderTarget* target = target_->getBuffer()->getRenderTarget();
    target->setAutoUpdated(false);
    Ogre::Viewport* viewport = target->addViewport(camera_);
    viewport->setOverlaysEnabled(false);
    viewport->setSkiesEnabled(false);
    viewport->setShadowsEnabled(false);
    viewport->setBackgroundColour(kBackground);
    viewport->setMaterialScheme(kScheme);
    return true;
}

void ModelThumbnailRenderer::releaseScene() {
    Ogre::Root* root = Ogre::Root::getSingletonPtr();
    if (!root)
        return;  // the root took its scene managers and textures with it
    if (target_) {
        target_->getBuffer()->getRenderTarget()->removeAllViewports();
        Ogre::TextureManager::getSingleton().remove(target_);
        target_.reset();
    }
    if (Ogre::MaterialManager* materials = Ogre::MaterialManager::getSingletonPtr())
        for (const auto& [colour, name] : materials_) {
            if (auto* generator = Ogre::RTShader::ShaderGenerator::getSingletonPtr())
                generator->removeAllShaderBasedTechniques(name, Ogre::RGN_INTERNAL);
            materials->remove(name, Ogre::RGN_INTERNAL);
        }
    materials_.clear();
    if (scene_) {
        if (auto* generator = Ogre::RTShader::ShaderGenerator::getSingletonPtr())
            generator->removeSceneManager(scene_);
        root->destroySceneManager(scene_);
        scene_ = nullptr;
    }
}

std::string ModelThumbnailRenderer::materialFor(const float diffuse[4], bool hasDiffuse) {
    static const float kNeutral[4] = {0.78f, 0.78f, 0.76f, 1.0f};
    const float* colour = hasDiffuse ? diffuse : kNeutral;
    const std::uint32_t key = packColour(colour);
    const auto found = materials_.find(key);
    if (found != materials_.end())
        return found->second;
    char name[64];
    std::snprintf(name, sizeof(name), "LmdModelThumbnail/%06X", key);
    Ogre::MaterialPtr material = Ogre::MaterialManager::getSingleton().create(name, Ogre::RGN_INTERNAL);
    Ogre::Pass* pass = material->getTechnique(0)->getPass(0);
    const Ogre::ColourValue rgb(colour[0], colour[1], colour[2]);
    pass->setLightingEnabled(true);
    pass->setDiffuse(rgb);
    pass->setAmbient(rgb);
    pass->setSpecular(Ogre::ColourValue::Black);
    // Models with faces wound either way show them all.
    pass->setCullingMode(Ogre::CULL_NONE);
    if (auto* generator = Ogre::RTShader::ShaderGenerator::getSingletonPtr()) {
        generator->createShaderBasedTechnique(*material, Ogre::MaterialManager::DEFAULT_SCHEME_NAME, kScheme);
        generator->validateMaterial(kScheme, name, Ogre::RGN_INTERNAL);
    }
    materials_[key] = name;
    return name;
}

bool ModelThumbnailRenderer::render(const LmdMeshData& mesh, std::vector<unsigned char>& rgb, std::string& error) {
    const auto start = std::chrono::steady_clock::now();
    rgb.clear();
    if (mesh.empty()) {
        error = "the model holds no triangles";
        return false;
    }
    const std::string meshName = "LmdModelThumbnail/Mesh" + std::to_string(++serial_);
    Ogre::Entity* entity = nullptr;
    Ogre::SceneNode* node = nullptr;
    bool ok = false;
    try {
        if (!ensureScene(error))
            return false;
        std::vector<std::string> materials;
        for (const LmdSubMeshData& part : mesh.subMeshes)
            materials.push_back(materialFor(part.diffuse, part.hasDiffuse));
        LmdOgreMesh::create(meshName, mesh, materials, Ogre::RGN_DEFAULT);  // where remove looks
        entity = scene_->createEntity(meshName);
        node = scene_->getRootSceneNode()->createChildSceneNode();
        node->attachObject(entity);

        const View view = frame(mesh.bounds(), kFovY);
        camera_->setNearClipDistance(view.nearClip);
        camera_->setFarClipDistance(view.farClip);
        cameraNode_->setPosition(view.eye);
        cameraNode_->lookAt(view.target, Ogre::Node::TS_WORLD);
        // The light comes from over the camera's left shoulder.
        const Ogre::Vector3 toTarget = (view.target - view.eye).normalisedCopy();
        const Ogre::Vector3 left = Ogre::Vector3::UNIT_Y.crossProduct(toTarget).normalisedCopy();
        lightNode_->setDirection((toTarget - left * 0.6f - Ogre::Vector3::UNIT_Y * 0.8f).normalisedCopy(),
                                 Ogre::Node::TS_WORLD);

        Ogre::RenderTarget* target = target_->getBuffer()->getRenderTarget();
        target->update();
        rgb.assign(size_t(kSize) * kSize * 3, 0);
        Ogre::PixelBox box(kSize, kSize, 1, Ogre::PF_BYTE_RGB, rgb.data());
        target->copyContentsToMemory(Ogre::Box(0, 0, kSize, kSize), box, Ogre::RenderTarget::FB_AUTO);
        ok = true;
    } catch (const std::exception& e) {
        error = e.what();
        rgb.clear();
    }
    try {
        if (entity) {
            node->detachAllObjects();
            scene_->destroySceneNode(node);
            scene_->destroyEntity(entity);
        }
        LmdOgreMesh::remove(meshName);
    } catch (const std::exception& e) {
        LmdLog::message(std::string("ModelThumbnailRenderer: mesh not removed: ") + e.what());
    }
    lastRenderMs_ = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    worstRenderMs_ = std::max(worstRenderMs_, lastRenderMs_);
    ++renders_;
    return ok;
}

} // namespace Lumenda3D
