// Model pictures: the camera that frames a model's box, the render queue without a render system,
// and the catalog's two halves (the model read and queued, the rendered pixels stored as the
// thumbnail). The render itself runs in the editor under Xvfb (editor_xvfb_assets).
#include "assets/ModelThumbnailRenderer.h"

#include <cmath>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "AssetFileBytes.h"
#include "TestDataRoot.h"
#include "assets/AssetCatalog.h"
#include "engine/assets/LmdMeshData.h"
#include "services/LocalStorage.h"

namespace fs = std::filesystem;

namespace Lumenda3D {
namespace {

TEST(ModelThumbnailFrame, TheWholeBoxIsInViewAndFillsIt) {
    const Ogre::Radian fov(Ogre::Degree(35.0f));
    const float halfTan = std::tan(fov.valueRadians() * 0.5f);
    const Ogre::AxisAlignedBox boxes[] = {
        {Ogre::Vector3(-1, -1, -1), Ogre::Vector3(1, 1, 1)},
        {Ogre::Vector3(-10, 0, -10), Ogre::Vector3(10, 0.01f, 10)},        // a flat floor
        {Ogre::Vector3(0, 0, 0), Ogre::Vector3(0.1f, 30, 0.1f)},           // a pole
        {Ogre::Vector3(100, 50, -200), Ogre::Vector3(101, 52, -199)},      // far from the origin
        {Ogre::Vector3(0, 0, 0), Ogre::Vector3(0.001f, 0.001f, 0.001f)},   // tiny
        {Ogre::Vector3(0, 0, 0), Ogre::Vector3(0, 0, 0)},                  // a single point
    };
    for (const Ogre::AxisAlignedBox& box : boxes) {
        const ModelThumbnailRenderer::View view = ModelThumbnailRenderer::frame(box, fov);
        const Ogre::Vector3 forward = (view.target - view.eye).normalisedCopy();
        const Ogre::Vector3 right = forward.crossProduct(Ogre::Vector3::UNIT_Y).normalisedCopy();
        const Ogre::Vector3 up = right.crossProduct(forward);
        ASSERT_GT(view.nearClip, 0.0f);
        float widest = 0.0f;
        for (const Ogre::Vector3& corner : box.getAllCorners()) {
            const Ogre::Vector3 d = corner - view.eye;
            const float depth = d.dotProduct(forward);
            EXPECT_GT(depth, view.nearClip) << box;
            EXPECT_LT(depth, view.farClip) << box;
            const float x = d.dotProduct(right) / depth, y = d.dotProduct(up) / depth;
            EXPECT_LE(std::abs(x), halfTan) << box;
            EXPECT_LE(std::abs(y), halfTan) << box;
            widest = std::max({widest, std::abs(x), std::abs(y)});
        }
        // Seen from above: the camera stands higher than what it looks at.
        EXPECT_GT(view.eye.y, view.target.y);
        if (box.getSize().length() > 0.0f) {
            EXPECT_GT(widest, 0.35f * halfTan) << "the model would be a speck: " << box;
        }
    }
}

LmdMeshData triangle() {
    LmdMeshData mesh;
    mesh.subMeshes.emplace_back();
    LmdSubMeshData& part = mesh.subMeshes.back();
    part.addVertex(Ogre::Vector3(0, 0, 0), Ogre::Vector3::UNIT_Z, 0, 0);
    part.addVertex(Ogre::Vector3(1, 0, 0), Ogre::Vector3::UNIT_Z, 1, 0);
    part.addVertex(Ogre::Vector3(0, 1, 0), Ogre::Vector3::UNIT_Z, 0, 1);
    part.indices = {0, 1, 2};
    return mesh;
}

TEST(ModelThumbnailQueue, WithoutARenderSystemModelsWaitTheirTurn) {
    ModelThumbnailRenderer renderer;
    auto mesh = std::make_shared<const LmdMeshData>(triangle());
    int done = 0;
    auto count = [&done](const std::string&, std::vector<unsigned char>, const std::string&) { ++done; };
    renderer.enqueue("a.obj", mesh, count);
    renderer.enqueue("a.obj", mesh, count);  // asked again while waiting: once
    renderer.enqueue("b.obj", mesh, count);
    EXPECT_EQ(renderer.queued(), 2u);
    EXPECT_FALSE(renderer.renderNext());
    EXPECT_EQ(renderer.queued(), 2u);
    EXPECT_EQ(done, 0);

    std::vector<unsigned char> rgb{1, 2, 3};
    std::string error;
    EXPECT_FALSE(renderer.render(LmdMeshData(), rgb, error));
    EXPECT_EQ(error, "the model holds no triangles");
    EXPECT_TRUE(rgb.empty());
    EXPECT_FALSE(renderer.render(*mesh, rgb, error));
    EXPECT_EQ(error, "no render system");
}

class ModelThumbnailStoreTest : public ::testing::Test {
protected:
    std::string file(const std::string& name, const std::string& bytes) {
        return test::writeFileIn(root.path() / "downloads", name, bytes);
    }

    test::TestDataRoot root;
    AssetCatalog models{AssetCatalog::modelsConfig()};
    std::shared_ptr<ModelThumbnailRenderer> renderer = std::make_shared<ModelThumbnailRenderer>();
    ModelThumbnailRenderer::Done ignore = [](const std::string&, std::vector<unsigned char>, const std::string&) {};
};

TEST_F(ModelThumbnailStoreTest, AStoredModelIsReadAndQueuedAndItsPictureBecomesTheThumbnail) {
    std::string error;
    ASSERT_EQ(models.importLocalAsset({file("tri.obj", test::bytesForName("tri.obj")), "", "", false}, error), "tri.obj")
        << error;
    std::vector<unsigned char> bytes;
    EXPECT_FALSE(LocalStorage::readLocalAssetThumbnail("models", "tri.obj", bytes));  // none until rendered

    EXPECT_TRUE(AssetCatalog::queueModelRender(renderer, "tri.obj", ignore));
    EXPECT_EQ(renderer->queued(), 1u);
    // Not in the store, not a name, a format the importer does not read, a renderer that is gone.
    EXPECT_FALSE(AssetCatalog::queueModelRender(renderer, "missing.obj", ignore));
    EXPECT_FALSE(AssetCatalog::queueModelRender(renderer, "../tri.obj", ignore));
    EXPECT_FALSE(AssetCatalog::queueModelRender(renderer, "robot.mesh", ignore));
    EXPECT_FALSE(AssetCatalog::queueModelRender(std::weak_ptr<ModelThumbnailRenderer>(), "tri.obj", ignore));
    EXPECT_EQ(renderer->queued(), 1u);

    // The rendered pixels: a JPEG of the render's size in the store's thumbnails.
    models.setBackgroundRunner([](std::function<void()> work, std::function<void()> done) {
        work();
        done();
    });
    models.storeRenderedThumbnail("tri.obj", {}, "the GL context is lost");
    EXPECT_FALSE(LocalStorage::readLocalAssetThumbnail("models", "tri.obj", bytes));
    std::vector<unsigned char> grey(size_t(ModelThumbnailRenderer::kSize) * ModelThumbnailRenderer::kSize * 3, 128);
    models.storeRenderedThumbnail("tri.obj", grey, "");
    ASSERT_TRUE(LocalStorage::readLocalAssetThumbnail("models", "tri.obj", bytes));
    ASSERT_GT(bytes.size(), 2u);
    EXPECT_EQ(bytes[0], 0xFF);
    EXPECT_EQ(bytes[1], 0xD8);

    // Deleting the model takes its picture with it.
    ASSERT_TRUE(models.deleteLocalAsset("tri.obj", error)) << error;
    EXPECT_FALSE(LocalStorage::readLocalAssetThumbnail("models", "tri.obj", bytes));
}

} // namespace
} // namespace Lumenda3D
