// Scene parts that need no window: primitive meshes, model import, asset lookup, the 2D layer's
// placement and pointer handling, events, value parsing, the following camera.
#include <cmath>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "TestDataRoot.h"
#include "base/LmdLog.h"
#include "engine/LmdRuntime.h"
#include "engine/app/LmdKeyNames.h"
#include "engine/assets/LmdAssetResolver.h"
#include "engine/assets/LmdModelImporter.h"
#include "engine/assets/LmdPrimitiveMesh.h"
#include "engine/scene/LmdBase2D.h"
#include "engine/scene/LmdEulerHelper.h"
#include "engine/scene/LmdGameCamera.h"
#include "engine/scene/LmdLayer2D.h"

namespace Lumenda3D {
namespace {

namespace fs = std::filesystem;

// Every triangle faces away from the centre (counter-clockwise seen from outside), every vertex
// has a unit normal that agrees with its triangles, and the shape fills the box it should.
void expectClosedOutwardMesh(const LmdMeshData& mesh, const Ogre::Vector3& size) {
    const Ogre::AxisAlignedBox box = mesh.bounds();
    for (int axis = 0; axis < 3; ++axis)
        EXPECT_NEAR(box.getSize()[axis], size[axis], 1e-4f) << "axis " << axis;
    EXPECT_LT(box.getCenter().length(), 1e-4f);
    for (const LmdSubMeshData& sub : mesh.subMeshes) {
        ASSERT_EQ(sub.normals.size(), sub.positions.size());
        ASSERT_EQ(sub.uvs.size() / 2, sub.vertexCount());
        for (size_t t = 0; t + 2 < sub.indices.size(); t += 3) {
            const Ogre::Vector3 a(&sub.positions[sub.indices[t] * 3]), b(&sub.positions[sub.indices[t + 1] * 3]),
                c(&sub.positions[sub.indices[t + 2] * 3]);
            const Ogre::Vector3 face = (b - a).crossProduct(c - a);
            if (face.squaredLength() < 1e-12f)
                continue; // the pole of a sphere
            const Ogre::Vector3 centre = (a + b + c) / 3.0f;
            EXPECT_GT(face.dotProduct(centre), 0.0f) << "triangle " << t / 3 << " faces inwards";
            const Ogre::Vector3 n(&sub.normals[sub.indices[t] * 3]);
            EXPECT_NEAR(n.length(), 1.0f, 1e-3f);
            EXPECT_GT(n.dotProduct(face), 0.0f) << "normal against the face at triangle " << t / 3;
        }
        for (float uv : sub.uvs) {
            EXPECT_GE(uv, -1e-5f);
            EXPECT_LE(uv, 1.0f + 1e-5f);
        }
    }
}

TEST(LmdPrimitiveMesh, ShapesAreClosedFacingOutwardsAndSizedAsAsked) {
    expectClosedOutwardMesh(LmdPrimitiveMesh::box(2, 3, 4), Ogre::Vector3(2, 3, 4));
    expectClosedOutwardMesh(LmdPrimitiveMesh::sphere(1.5f, 16), Ogre::Vector3(3, 3, 3));
    expectClosedOutwardMesh(LmdPrimitiveMesh::cylinder(0.5f, 2, 12), Ogre::Vector3(1, 2, 1));
    expectClosedOutwardMesh(LmdPrimitiveMesh::cone(1, 2, 12), Ogre::Vector3(2, 2, 2));
    expectClosedOutwardMesh(LmdPrimitiveMesh::capsule(0.5f, 3, 16), Ogre::Vector3(1, 3, 1));
    // A capsule is never shorter than its two caps.
    EXPECT_NEAR(LmdPrimitiveMesh::capsule(1, 0.5f, 16).bounds().getSize().y, 2.0f, 1e-4f);
}

TEST(LmdPrimitiveMesh, PlaneFacesUpAndIsSplitForLighting) {
    const LmdMeshData plane = LmdPrimitiveMesh::plane(30, 10);
    ASSERT_EQ(plane.subMeshes.size(), 1u);
    const LmdSubMeshData& sub = plane.subMeshes[0];
    EXPECT_EQ(sub.vertexCount(), size_t(16 * 6)); // 15 x 5 tiles
    for (size_t t = 0; t + 2 < sub.indices.size(); t += 3) {
        const Ogre::Vector3 a(&sub.positions[sub.indices[t] * 3]), b(&sub.positions[sub.indices[t + 1] * 3]),
            c(&sub.positions[sub.indices[t + 2] * 3]);
        EXPECT_GT((b - a).crossProduct(c - a).y, 0.0f);
    }
    EXPECT_NEAR(plane.bounds().getSize().x, 30.0f, 1e-4f);
    EXPECT_NEAR(plane.bounds().getSize().y, 0.0f, 1e-6f);
}

TEST(LmdMeshData, MovedVerticesChangeBoundsAndNormals) {
    LmdMeshData box = LmdPrimitiveMesh::box(1, 1, 1);
    EXPECT_TRUE(box.setVertex(0, 0, Ogre::Vector3(-2, 2, 2)));
    EXPECT_FALSE(box.setVertex(0, 999, Ogre::Vector3::ZERO));
    EXPECT_FALSE(box.setVertex(3, 0, Ogre::Vector3::ZERO));
    EXPECT_NEAR(box.bounds().getMinimum().x, -2.0f, 1e-6f);
    box.recomputeNormals();
    const Ogre::Vector3 n(&box.subMeshes[0].normals[0]);
    EXPECT_NEAR(n.length(), 1.0f, 1e-4f);
    EXPECT_GT(n.z, 0.0f); // still the front face's
}

TEST(LmdModelImporter, ReadsAnObjWithItsMaterialAndRefusesABrokenFile) {
    test::TestDataRoot root;
    const fs::path folder = root.path();
    std::ofstream(folder / "thing.mtl") << "newmtl red\nKd 1 0 0\nmap_Kd C:\\art\\paint.png\n";
    std::ofstream(folder / "paint.png") << "not really a picture";
    std::ofstream(folder / "thing.obj") << "mtllib thing.mtl\nusemtl red\n"
                                           "v 0 0 0\nv 2 0 0\nv 2 1 0\nv 0 1 0\n"
                                           "vt 0 0\nvt 1 0\nvt 1 1\nvt 0 1\n"
                                           "f 1/1 2/2 3/3 4/4\n";
    LmdMeshData mesh;
    std::string error;
    ASSERT_TRUE(LmdModelImporter::load((folder / "thing.obj").string(), mesh, error)) << error;
    ASSERT_EQ(mesh.subMeshes.size(), 1u);
    EXPECT_EQ(mesh.triangleCount(), 2u); // the quad became two triangles
    EXPECT_NEAR(mesh.bounds().getSize().x, 2.0f, 1e-5f);
    EXPECT_TRUE(mesh.subMeshes[0].hasDiffuse);
    EXPECT_NEAR(mesh.subMeshes[0].diffuse[1], 0.0f, 1e-5f);
    // A texture path from the author's machine is found beside the model by its file name.
    EXPECT_EQ(fs::path(mesh.subMeshes[0].texturePath).filename(), "paint.png");

    std::ofstream(folder / "broken.fbx") << "Kaydara FBX Binary  garbage garbage";
    EXPECT_FALSE(LmdModelImporter::load((folder / "broken.fbx").string(), mesh, error));
    EXPECT_NE(error.find("broken.fbx"), std::string::npos);
    EXPECT_FALSE(LmdModelImporter::load((folder / "absent.glb").string(), mesh, error));
    EXPECT_NE(error.find("does not exist"), std::string::npos);
    EXPECT_TRUE(LmdModelImporter::canRead("robot.GLB"));
    EXPECT_TRUE(LmdModelImporter::isOgreMesh("ogre.mesh"));
    EXPECT_FALSE(LmdModelImporter::canRead("ogre.mesh"));
}

TEST(LmdAssetResolver, LooksBesideTheGameThenMediaThenTheCacheAndLocalOnlyInTheProject) {
    test::TestDataRoot root;
    const fs::path game = root.path() / "game", media = root.path() / "media", cache = root.path() / "cache",
                   local = root.path() / "local";
    for (const fs::path& dir : {game, media / "textures", cache, local / "textures"})
        fs::create_directories(dir);
    std::ofstream(media / "textures" / "grass.png") << "m";
    std::ofstream(game / "grass.png") << "g";
    std::ofstream(media / "textures" / "sky.png") << "m";
    std::ofstream(cache / "download.png") << "c";
    std::ofstream(local / "textures" / "mine.png") << "l";
    LmdAssetResolver resolver;
    resolver.setGameDir(game.string());
    resolver.setMediaDir(media.string());
    resolver.setCacheDir(cache.string());
    resolver.setLocalAssetsDir(local.string());
    using Kind = LmdAssetResolver::Kind;
    EXPECT_EQ(fs::path(resolver.resolve("grass.png", Kind::Texture)), game / "grass.png");
    EXPECT_EQ(fs::path(resolver.resolve("sky.png", Kind::Texture)), media / "textures" / "sky.png");
    EXPECT_EQ(fs::path(resolver.resolve("https://cdn.example/a/download.png?v=2", Kind::Texture)), cache / "download.png");
    EXPECT_EQ(fs::path(resolver.resolve("local:mine.png", Kind::Texture)), local / "textures" / "mine.png");
    EXPECT_EQ(resolver.resolve("local:grass.png", Kind::Texture), ""); // local names only the project's files
    EXPECT_EQ(resolver.resolve("nothing.png", Kind::Texture), "");
    EXPECT_EQ(resolver.resolve("", Kind::Texture), "");
    EXPECT_EQ(LmdAssetResolver::fileNameOf("local:models/car.glb"), "car.glb");
}

LmdBase2D makeElement(LmdElementKind kind, const std::string& anchor, float x, float y, float w, float h, int layer = 0) {
    LmdElementDesc desc;
    desc.kind = kind;
    desc.anchor = anchor;
    desc.x = x;
    desc.y = y;
    desc.width = w;
    desc.height = h;
    desc.layer = layer;
    desc.radius = w * 0.5f;
    return LmdBase2D(desc);
}

TEST(LmdLayer2D, AnchorsPlaceTheElementsOwnAnchorPointAtTheWindows) {
    const LmdRect2D window{0, 0, 1000, 600};
    auto rect = [&](const std::string& anchor, float x, float y) {
        return LmdLayer2D::placeRect(anchor, x, y, 100, 40, window);
    };
    EXPECT_EQ(rect("topLeft", 20, 20).x, 20.0f);
    EXPECT_EQ(rect("topRight", -20, 20).x, 1000.0f - 20.0f - 100.0f);
    EXPECT_EQ(rect("bottom", 0, -10).y, 600.0f - 10.0f - 40.0f);
    EXPECT_EQ(rect("bottom", 0, -10).x, 450.0f);
    EXPECT_EQ(rect("center", 0, 0).y, 280.0f);
    EXPECT_EQ(rect("right", 0, 0).x, 900.0f);
    // Children are placed inside their parent.
    LmdBase2D panel = makeElement(LmdElementKind::Rect, "bottomRight", -10, -10, 200, 100);
    LmdBase2D child = makeElement(LmdElementKind::Rect, "topLeft", 5, 5, 10, 10);
    child.setParent(&panel);
    const LmdRect2D placed = LmdLayer2D::layout(child, 1000, 600);
    EXPECT_EQ(placed.x, 1000.0f - 10.0f - 200.0f + 5.0f);
    EXPECT_EQ(placed.y, 600.0f - 10.0f - 100.0f + 5.0f);
    // A joystick's offset places its centre.
    LmdBase2D stick = makeElement(LmdElementKind::Joystick, "bottomLeft", 120, -120, 140, 140);
    const LmdRect2D s = LmdLayer2D::layout(stick, 1000, 600);
    EXPECT_EQ(s.x + 70.0f, 120.0f);
    EXPECT_EQ(s.y + 70.0f, 480.0f);
}

TEST(LmdLayer2D, TheGamesScreenIsTheViewBelowTheEditorsBars) {
    // In the editor the top bar and the tabs cover the window's top 70 pixels: a score in the
    // game's top-left corner stands below them, and hits follow it there.
    const LmdRect2D view{0, 70, 1000, 530};
    LmdBase2D score = makeElement(LmdElementKind::Rect, "topLeft", 10, 10, 100, 30);
    LmdBase2D stick = makeElement(LmdElementKind::Joystick, "bottomLeft", 120, -120, 140, 140);
    EXPECT_EQ(LmdLayer2D::layout(score, view).y, 80.0f);
    EXPECT_EQ(LmdLayer2D::layout(stick, view).y + 70.0f, 600.0f - 120.0f);
    std::vector<LmdBase2D*> all = {&score};
    EXPECT_EQ(LmdLayer2D::hit(all, "", 20, 85), &score);
    EXPECT_EQ(LmdLayer2D::hit(all, "", 20, 15), nullptr);
}

TEST(LmdLayer2D, HitsTheTopmostShownElementOfTheLevel) {
    LmdBase2D back = makeElement(LmdElementKind::Rect, "topLeft", 0, 0, 100, 100, 0);
    LmdBase2D front = makeElement(LmdElementKind::Button, "topLeft", 50, 50, 100, 100, 5);
    LmdBase2D elsewhere = makeElement(LmdElementKind::Button, "topLeft", 0, 0, 500, 500, 9);
    elsewhere.desc().level = "other";
    std::vector<LmdBase2D*> all = {&front, &back, &elsewhere};
    for (LmdBase2D* e : all)
        LmdLayer2D::layout(*e, 800, 600);
    EXPECT_EQ(LmdLayer2D::hit(all, "main", 75, 75), &front); // higher layer wins where both are
    EXPECT_EQ(LmdLayer2D::hit(all, "main", 10, 10), &back);
    EXPECT_EQ(LmdLayer2D::hit(all, "main", 400, 400), nullptr);
    front.setVisible(false);
    EXPECT_EQ(LmdLayer2D::hit(all, "main", 75, 75), &back);
    back.setParent(&front); // hidden with its parent
    EXPECT_EQ(LmdLayer2D::hit(all, "main", 10, 10), nullptr);
}

TEST(LmdLayer2D, JoystickIsARoundTargetAndItsStickStaysInTheUnitCircle) {
    LmdBase2D stick = makeElement(LmdElementKind::Joystick, "topLeft", 100, 100, 100, 100);
    LmdLayer2D::layout(stick, 800, 600);
    std::vector<LmdBase2D*> all = {&stick};
    EXPECT_EQ(LmdLayer2D::hit(all, "", 100, 100), &stick);
    EXPECT_EQ(LmdLayer2D::hit(all, "", 140, 140), nullptr); // inside the box, outside the circle
    float x = 0, y = 0;
    LmdLayer2D::stickFor(stick, 125, 100, x, y);
    EXPECT_FLOAT_EQ(x, 0.5f);
    EXPECT_FLOAT_EQ(y, 0.0f);
    LmdLayer2D::stickFor(stick, 100, 0, x, y); // far above: up is positive, clamped
    EXPECT_FLOAT_EQ(x, 0.0f);
    EXPECT_FLOAT_EQ(y, 1.0f);
}

TEST(LmdBase2D, PropertiesTakeSuitableValuesOnly) {
    LmdBase2D text = makeElement(LmdElementKind::Text, "topLeft", 0, 0, 10, 10);
    EXPECT_TRUE(text.setProperty("text", LmdScriptValue::ofNumber(42)));
    EXPECT_EQ(text.getText(), "42");
    EXPECT_TRUE(text.setProperty("x", LmdScriptValue::ofText("12.5")));
    EXPECT_FALSE(text.setProperty("x", LmdScriptValue::ofText("left")));
    EXPECT_TRUE(text.setProperty("color", LmdScriptValue::ofText("0x112233")));
    EXPECT_FALSE(text.setProperty("color", LmdScriptValue::ofText("blue")));
    EXPECT_TRUE(text.setProperty("visible", LmdScriptValue::ofBoolean(false)));
    EXPECT_FALSE(text.setProperty("wobble", LmdScriptValue::ofNumber(1)));
    LmdScriptValue value;
    ASSERT_TRUE(text.getProperty("x", value));
    EXPECT_EQ(value.number, 12.5);
    ASSERT_TRUE(text.getProperty("color", value));
    EXPECT_EQ(value.text, "0x112233");
    EXPECT_FALSE(text.getProperty("wobble", value));
}

TEST(LmdEulerHelper, ComposeAndDecomposeAgree) {
    for (const Ogre::Vector3& angles : {Ogre::Vector3(10, 20, 30), Ogre::Vector3(-45, 170, 5), Ogre::Vector3(0, -90, 0)}) {
        float x, y, z;
        LmdEulerHelper::decomposeYXZ(LmdEulerHelper::composeYXZ(angles.x, angles.y, angles.z), x, y, z);
        EXPECT_NEAR(x, angles.x, 1e-3f);
        EXPECT_NEAR(y, angles.y, 1e-3f);
        EXPECT_NEAR(z, angles.z, 1e-3f);
    }
}

TEST(LmdGameCamera, GlidesTowardsItsTargetAtTheSameSpeedAtAnyFrameRate) {
    const Ogre::Vector3 from(0, 0, 0), to(10, 0, 0);
    EXPECT_EQ(LmdGameCamera::glide(from, to, 0.0f, 0.016f), to); // no smoothing: at once
    // One 0.1 s step lands where ten 0.01 s steps land.
    Ogre::Vector3 stepped = from;
    for (int i = 0; i < 10; ++i)
        stepped = LmdGameCamera::glide(stepped, to, 0.3f, 0.01f);
    const Ogre::Vector3 once = LmdGameCamera::glide(from, to, 0.3f, 0.1f);
    EXPECT_NEAR(stepped.x, once.x, 1e-4f);
    EXPECT_GT(once.x, 0.0f);
    EXPECT_LT(once.x, 10.0f);
}

TEST(LmdRuntime, GameKeyNamesAreTheLanguagesKeys) {
    auto code = [](const char* name) {
        OgreBites::Keycode key = 0;
        std::string error;
        EXPECT_TRUE(LmdKeyNames::resolve(name, key, error)) << error;
        return key;
    };
    EXPECT_EQ(LmdRuntime::gameKeyName(code("left")), "left");
    EXPECT_EQ(LmdRuntime::gameKeyName(code("space")), "space");
    EXPECT_EQ(LmdRuntime::gameKeyName(code("A")), "a");
    EXPECT_EQ(LmdRuntime::gameKeyName(code("rshift")), "shift"); // both shifts are Shift to a game
    EXPECT_EQ(LmdRuntime::gameKeyName(code("f5")), "f5");
}

} // namespace
} // namespace Lumenda3D
