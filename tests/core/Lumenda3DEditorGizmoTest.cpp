// The editor's answer to the gizmos' events without a window: moved vertices become the model's
// VertexList (offsets from the pivot, one undo step per drag), and events it cannot use change nothing.
#include "HeadlessEditor.h"

#include <gtest/gtest.h>

#include "engine/editing/LmdSelection.h"
#include "engine/gizmo/LmdGizmo.h"
#include "engine/gizmo/LmdGizmo2D.h"
#include "engine/gizmo/LmdGizmoEvents.h"
#include "engine/scene/LmdBase2D.h"
#include "engine/scene/LmdBase3D.h"

namespace Lumenda3D::test {
namespace {

constexpr const char* kModelGame =
    "<KiteBench3D>\n"
    "  <Level name=\"Main\">\n"
    "    <Box name=\"Crate\" x=\"3\" xAxis=\"0.5\" yAxis=\"-1\"/>\n"
    "    <OnStart name=\"Start\"/>\n"
    "    <Box name=\"Bent\">\n"
    "      <VertexList><Vertex num=\"0\" pos=\"6\" x=\"1\" y=\"1\" z=\"1\"/></VertexList>\n"
    "    </Box>\n"
    "  </Level>\n"
    "</KiteBench3D>";

class EditorGizmoTest : public EditorTest {
protected:
    EditorGizmoTest() {
        EXPECT_TRUE(editor->loadScript(kModelGame, false));
        editor->initEvents();
    }
    // A scene object for an element (no OGRE nodes without a window).
    std::unique_ptr<LmdBase3D> objectOf(const char* name) {
        LmdObjectDesc desc;
        desc.xmlId = named(name).attribute("id").as_int();
        desc.name = name;
        return std::make_unique<LmdBase3D>(desc, nullptr, nullptr);
    }
    void fireMoved(LmdBase3D* object, std::vector<LmdGizmoVertex> vertices) {
        editor->fireEvents(LmdEventVerticesMoved, std::make_shared<LmdGizmoVertexEvent>(object, std::move(vertices)));
        files().update();
    }
    std::vector<pugi::xml_node> vertices(const char* name) {
        std::vector<pugi::xml_node> found;
        for (pugi::xml_node v = named(name).child("VertexList").child("Vertex"); v; v = v.next_sibling("Vertex"))
            found.push_back(v);
        return found;
    }
};

TEST_F(EditorGizmoTest, MovedVerticesBecomeOffsetsFromThePivotInOneUndoStep) {
    auto crate = objectOf("Crate");
    // A corner shared by two vertices of submesh 0 and one of submesh 1, in the object's frame.
    fireMoved(crate.get(), {{0, 2, 1.5f, 0.25f, 0.5f}, {0, 7, 1.5f, 0.25f, 0.5f}, {1, 0, 1.5f, 0.25f, 0.5f}});
    const pugi::xml_node list = named("Crate").child("VertexList");
    ASSERT_TRUE(list);
    EXPECT_GT(list.attribute("id").as_int(), 0);
    EXPECT_EQ(editor->getXmlNodeById(list.attribute("id").as_int()), list);
    const std::vector<pugi::xml_node> written = vertices("Crate");
    ASSERT_EQ(written.size(), 3u);
    EXPECT_STREQ(written[0].attribute("num").value(), "0");
    EXPECT_STREQ(written[0].attribute("pos").value(), "6"); // three times the index
    EXPECT_STREQ(written[1].attribute("pos").value(), "21");
    EXPECT_STREQ(written[2].attribute("num").value(), "1");
    EXPECT_STREQ(written[2].attribute("pos").value(), "0");
    // Less the pivot (xAxis 0.5, yAxis -1, no zAxis), not the position (x = 3).
    EXPECT_STREQ(written[0].attribute("x").value(), "1");
    EXPECT_STREQ(written[0].attribute("y").value(), "1.25");
    EXPECT_STREQ(written[0].attribute("z").value(), "0.5");
    for (const pugi::xml_node& v : written)
        EXPECT_EQ(editor->getXmlNodeById(v.attribute("id").as_int()), v);
    EXPECT_EQ(files().undoStepCount(), 1u);

    // The same corner again updates what is there.
    fireMoved(crate.get(), {{0, 2, 0.5f, -1.0f, 2.0f}});
    ASSERT_EQ(vertices("Crate").size(), 3u);
    EXPECT_STREQ(vertices("Crate")[0].attribute("x").value(), "0");
    EXPECT_STREQ(vertices("Crate")[0].attribute("y").value(), "0");
    EXPECT_STREQ(vertices("Crate")[0].attribute("z").value(), "2");
    EXPECT_EQ(files().undoStepCount(), 2u);

    editor->doUndo();
    EXPECT_STREQ(vertices("Crate")[0].attribute("x").value(), "1");
    editor->doUndo();
    EXPECT_FALSE(named("Crate").child("VertexList"));
}

TEST_F(EditorGizmoTest, AnExistingVertexListIsExtendedAndItsVerticesReused) {
    auto bent = objectOf("Bent");
    fireMoved(bent.get(), {{0, 2, 0.125f, 0.0f, 0.0f}, {0, 3, 0.0f, 2.0f, 0.0f}});
    ASSERT_EQ(named("Bent").select_nodes("VertexList").size(), 1u);
    const std::vector<pugi::xml_node> written = vertices("Bent");
    ASSERT_EQ(written.size(), 2u);
    EXPECT_STREQ(written[0].attribute("x").value(), "0.125");
    EXPECT_STREQ(written[1].attribute("pos").value(), "9");
    EXPECT_STREQ(written[1].attribute("y").value(), "2");
}

TEST_F(EditorGizmoTest, EventsItCannotUseChangeNothing) {
    const std::string before = editor->getSourceXmlString(false, false);
    auto crate = objectOf("Crate");
    // The wrong class for the id, no object, no vertices, an object whose element is gone.
    editor->fireEvents(LmdEventVerticesMoved, std::make_shared<LmdGizmoEvent>(LmdEventVerticesMoved, crate.get()));
    fireMoved(nullptr, {{0, 0, 1, 1, 1}});
    fireMoved(crate.get(), {});
    LmdObjectDesc gone;
    gone.xmlId = 999999;
    LmdBase3D orphan(gone, nullptr, nullptr);
    fireMoved(&orphan, {{0, 0, 1, 1, 1}});
    EXPECT_EQ(editor->getSourceXmlString(false, false), before);
    EXPECT_FALSE(files().canUndo());

    // An object attached without sub-objects (no scene here): no hint.
    editor->fireEvents(LmdEventGizmoAttached, std::make_shared<LmdGizmoEvent>(LmdEventGizmoAttached, crate.get()));
    editor->fireEvents(LmdEventGizmoAttached, std::make_shared<LmdGizmoEvent>(LmdEventGizmoAttached, nullptr));
    EXPECT_TRUE(toasts().empty());
}

TEST_F(EditorGizmoTest, TheSelectionAndTheGizmoFollowEachOther) {
    auto crate = objectOf("Crate");
    editor->setSelectedObject(crate.get());
    EXPECT_EQ(editor->getGizmo()->getObject(), crate.get());
    editor->clearSelectedObjects();
    EXPECT_FALSE(editor->getGizmo()->isAttached());
    editor->getGizmo()->attach(crate.get(), true);
    EXPECT_EQ(editor->getSelectedObject(), crate.get());
    EXPECT_EQ(editor->getGizmo()->getSubObjectMode(), LmdGizmo::PickedAsSubObject);
    editor->clearSelectedObjects();
    EXPECT_EQ(editor->getSelectedObject(), nullptr);
}

TEST_F(EditorGizmoTest, TheSelectionIsOneModelByElementIdThatListenersFollow) {
    using Kind = LmdSelection::Kind;
    LmdSelection* selection = editor->getSelection();
    ASSERT_NE(selection, nullptr);
    std::vector<std::pair<int, Kind>> heard;
    LmdSubscription follow = selection->subscribe([&](int id, Kind kind) { heard.emplace_back(id, kind); });
    auto crate = objectOf("Crate");
    const int crateId = named("Crate").attribute("id").as_int();

    // The 3D gizmo takes the object; taking it again is no change.
    editor->setSelectedObject(crate.get());
    editor->setSelectedObject(crate.get());
    EXPECT_EQ(heard, (std::vector<std::pair<int, Kind>>{{crateId, Kind::Object3D}}));

    // A 2D element replaces it: the 3D gizmo lets go, the 2D one takes the element.
    LmdElementDesc desc;
    desc.xmlId = 4242;
    LmdBase2D label(desc);
    heard.clear();
    editor->getGizmo2D()->attach(&label);
    EXPECT_EQ(heard, (std::vector<std::pair<int, Kind>>{{0, Kind::None}, {4242, Kind::Element2D}}));
    EXPECT_EQ(editor->getSelectedObject(), nullptr);
    editor->setSelectedObject(crate.get());
    EXPECT_EQ(selection->getXmlId(), crateId);
    EXPECT_EQ(selection->getKind(), Kind::Object3D);

    // An element without a scene object is selected as a block alone; clearing ends every kind.
    const int startId = named("Start").attribute("id").as_int();
    editor->selectBlockByXmlId(startId, true);
    EXPECT_EQ(selection->getXmlId(), startId);
    EXPECT_EQ(selection->getKind(), Kind::Block);
    heard.clear();
    editor->clearSelectedObjects();
    EXPECT_TRUE(selection->isEmpty());
    EXPECT_EQ(heard.back(), (std::pair<int, Kind>{0, Kind::None}));
}

} // namespace
} // namespace Lumenda3D::test
