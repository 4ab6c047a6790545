#pragma once
// Pictures of models, rendered by the engine: the model's mesh is shown alone in a scene of its
// own (a neutral grey material in the colours the file gives its parts, one soft light from the
// camera's upper left) by a camera framing its bounding box, into an offscreen texture of
// kSize x kSize pixels, and read back as RGB.
//
// Reading the model file is the slow part and happens off the main thread (whoever queues the
// mesh data reads it); rendering needs the render system and runs on the main thread, at most
// one model per renderNext call (one a frame). Without an OGRE root with a render system nothing
// is rendered and the queue waits.
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <OgreAxisAlignedBox.h>
#include <OgreMath.h>
#include <OgreTexture.h>
#include <OgreVector.h>

namespace Ogre {
class Camera;
class Light;
class SceneManager;
class SceneNode;
}

namespace Lumenda3D {

struct LmdMeshData;

class ModelThumbnailRenderer {
public:
    static constexpr unsigned kSize = 128;
    // Main thread, after a render: (key, RGB pixels of kSize x kSize, top row first); on a failed
    // render the pixels are empty and `error` says why.
    using Done = std::function<void(const std::string& key, std::vector<unsigned char> rgb, const std::string& error)>;

    // Where the camera stands to see the whole of `bounds` with a vertical field of view `fovY`
    // (a square picture): looking at the box's centre from the front, the right and above, far
    // enough that the box's bounding sphere fits the view, with clip planes around the sphere.
    struct View {
        Ogre::Vector3 eye;
        Ogre::Vector3 target;
        float nearClip = 0.0f;
        float farClip = 0.0f;
    };
    static View frame(const Ogre::AxisAlignedBox& bounds, Ogre::Radian fovY);

    ModelThumbnailRenderer();
    ~ModelThumbnailRenderer();
    ModelThumbnailRenderer(const ModelThumbnailRenderer&) = delete;
    ModelThumbnailRenderer& operator=(const ModelThumbnailRenderer&) = delete;

    // Any thread: queues a model's mesh data; `done` runs on the main thread after its render.
    // A key already waiting is not queued twice.
    void enqueue(const std::string& key, std::shared_ptr<const LmdMeshData> mesh, Done done);
    size_t queued() const;
    // Main thread: renders the first queued model; false when none was waiting or no render
    // system exists yet (the model then stays queued).
    bool renderNext();
    // Main thread: renders one model now; false with the reason in `error`.
    bool render(const LmdMeshData& mesh, std::vector<unsigned char>& rgb, std::string& error);

    // How long renders held the main thread, in milliseconds: the last one and the longest.
    double lastRenderMs() const { return lastRenderMs_; }
    double worstRenderMs() const { return worstRenderMs_; }
    int renderCount() const { return renders_; }

private:
    struct Job {
        std::string key;
        std::shared_ptr<const LmdMeshData> mesh;
        Done done;
    };

    bool ensureScene(std::string& error);
    void releaseScene();
    std::string materialFor(const float diffuse[4], bool hasDiffuse);

    mutable std::mutex mutex_;
    std::deque<Job> jobs_;

    Ogre::SceneManager* scene_ = nullptr;
    Ogre::Camera* camera_ = nullptr;
    Ogre::SceneNode* cameraNode_ = nullptr;
    Ogre::Light* light_ = nullptr;
    Ogre::SceneNode* lightNode_ = nullptr;
    Ogre::TexturePtr target_;
    std::map<std::uint32_t, std::string> materials_;  // by packed RGB
    unsigned serial_ = 0;
    double lastRenderMs_ = 0.0;
    double worstRenderMs_ = 0.0;
    int renders_ = 0;
};

} // namespace Lumenda3D
