// The engine as the standalone player runs it, without the editor's layer: no document service,
// no gizmos, no selection, and the engine's own operations still work on the document.
#include "engine/Lumenda3DEngine.h"

#include "TestDataRoot.h"
#include "engine/LmdEditLayer.h"
#include "engine/editing/LmdEditTools.h"
#include "engine/editing/LmdSourceFiles.h"

#include <gtest/gtest.h>

namespace Lumenda3D {
namespace {

TEST(Lumenda3DEngineLayer, WithoutTheEditLayerThereIsNoSelectionGizmoOrHistory) {
    test::TestDataRoot root;
    Lumenda3DEngine engine("Lumenda3DEngineTest");
    EXPECT_EQ(engine.sourceFiles, nullptr);
    EXPECT_EQ(engine.getGizmo(), nullptr);
    EXPECT_EQ(engine.getGizmo2D(), nullptr);
    EXPECT_EQ(engine.getSelection(), nullptr);
    engine.clearSelectedObjects();
    engine.setSelectedObject(nullptr);
    EXPECT_EQ(engine.getSelectedObject(), nullptr);

    // A level added without the document service: in the document, with an id that finds it.
    ASSERT_TRUE(engine.setXmlSourceString("<KiteBench3D><Level name=\"One\"/></KiteBench3D>"));
    engine.addEditorLevel("Two");
    const pugi::xml_node level = engine.getDocument().root().find_child_by_attribute("Level", "name", "Two");
    ASSERT_TRUE(level);
    EXPECT_EQ(engine.getXmlNodeById(level.attribute("id").as_int()), level);
}

TEST(Lumenda3DEngineLayer, TheEditLayerBringsTheDocumentServiceAndTakesItAwayAgain) {
    test::TestDataRoot root;
    LmdSourceFiles files;
    {
        Lumenda3DEngine engine("Lumenda3DEngineTest");
        engine.installEditLayer(std::make_unique<LmdEditTools>(engine, files));
        EXPECT_EQ(engine.sourceFiles, &files);
        EXPECT_EQ(files.getDocument(), &engine.getDocument());
        ASSERT_NE(engine.getGizmo(), nullptr);
        ASSERT_NE(engine.getSelection(), nullptr);

        // Through the service: undoable.
        files.setHistoryEnabled(true);
        ASSERT_TRUE(engine.setXmlSourceString("<KiteBench3D><Level name=\"One\"/></KiteBench3D>"));
        files.update();
        engine.addEditorLevel("Two");
        EXPECT_TRUE(engine.getDocument().root().find_child_by_attribute("Level", "name", "Two"));
        files.undo();
        EXPECT_FALSE(engine.getDocument().root().find_child_by_attribute("Level", "name", "Two"));
    }
    EXPECT_EQ(files.getDocument(), nullptr);
}

} // namespace
} // namespace Lumenda3D
