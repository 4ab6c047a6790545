// The road from a widget to the document and the live scene: the document first (with undo),
// then the live scene at once, after the debounce, or with the material rebuilt, as the
// attribute's definition says.
#include "attributes/AttributeRendererBase.h"

#include "AttributesTestSupport.h"
#include "TestDataRoot.h"

#include <gtest/gtest.h>

#include <chrono>

namespace Lumenda3D {
namespace {

using namespace std::chrono_literals;
using test::RecordingEngine;

// The base alone: no widget, only the pipeline.
class Pipeline : public AttributeRendererBase {
public:
    void render(const std::string&, pugi::xml_attribute, pugi::xml_node&, const pugi::xml_node&) override {}
};

class AttributeValuePipelineTest : public ::testing::Test {
protected:
    AttributeValuePipelineTest() {
        engine.setXmlSourceString(R"(<KiteBench3D><Level name="One"><Box name="a" x="1"/><Box name="b"/></Level></KiteBench3D>)");
        files.attachDocument(&engine.getDocument());
        files.setHistoryEnabled(true);
        files.setOnSnapshotApplied([this](const std::string& text) { return engine.setXmlSourceString(text); });
        engine.sourceFiles = &files;
        context.engine = &engine;
        context.pendingUpdates = &pending;
        pipeline.setContext(&context);
        definitions.load_string(R"(<d>
            <attribute name="x" type="number"/>
            <attribute name="width" type="number" updateInterval="500"/>
            <attribute name="depth" type="number" updateInterval="500"/>
            <attribute name="color" type="color" assetConfig="true"/>
            <attribute name="visible" type="boolean" paramType="boolean" default="true"/>
        </d>)");
    }
    ~AttributeValuePipelineTest() override {
        engine.sourceFiles = nullptr;
        files.attachDocument(nullptr);
    }
    pugi::xml_node box(const char* name) {
        return engine.getDocument().root().find_node(
            [&](pugi::xml_node n) { return std::string("Box") == n.name() && std::string(name) == n.attribute("name").as_string(); });
    }
    pugi::xml_node def(const char* name) { return definitions.first_child().find_child_by_attribute("name", name); }

    test::TestDataRoot root;
    RecordingEngine engine;
    LmdSourceFiles files;
    PendingAttributeUpdates pending;
    AttributeContext context;
    Pipeline pipeline;
    pugi::xml_document definitions;
};

TEST_F(AttributeValuePipelineTest, ATypedRunIsOneUndoStepAndEachKeystrokeReachesTheScene) {
    pugi::xml_node a = box("a");
    const int id = a.attribute("id").as_int();
    for (const char* text : {"2", "25", "25.5"})
        EXPECT_TRUE(pipeline.setValueAndUpdateLua("number", "x", a, text, def("x")));
    EXPECT_STREQ(box("a").attribute("x").as_string(), "25.5");
    ASSERT_EQ(engine.updates.size(), 3u);
    EXPECT_EQ(engine.updates.back().xmlId, id);
    EXPECT_EQ(engine.updates.back().value, "25.5");
    EXPECT_EQ(engine.updates.back().type, "number");
    EXPECT_EQ(engine.rebuilds, 0);

    files.undo();
    EXPECT_STREQ(box("a").attribute("x").as_string(), "1");
}

TEST_F(AttributeValuePipelineTest, ADebouncedValueReachesTheSceneOnceAfterTheLastChange) {
    pugi::xml_node a = box("a");
    pugi::xml_node b = box("b");
    const auto start = std::chrono::steady_clock::now();
    pipeline.setValueAndUpdateLua("number", "width", a, "2", def("width"));
    pipeline.setValueAndUpdateLua("number", "width", a, "3", def("width"));
    pipeline.setValueAndUpdateLua("number", "depth", a, "4", def("depth"));
    pipeline.setValueAndUpdateLua("number", "width", b, "5", def("width"));
    // The document has every value at once; the scene none yet.
    EXPECT_STREQ(a.attribute("width").as_string(), "3");
    EXPECT_TRUE(engine.updates.empty());
    EXPECT_EQ(pending.size(), 3u);  // one per attribute of one node

    commitPendingUpdates(context, start + 100ms);
    EXPECT_TRUE(engine.updates.empty());
    commitPendingUpdates(context, std::chrono::steady_clock::now() + 600ms);
    ASSERT_EQ(engine.updates.size(), 3u);
    for (const auto& update : engine.updates) {
        if (update.name == "width" && update.xmlId == a.attribute("id").as_int()) {
            EXPECT_EQ(update.value, "3");
        }
    }
    EXPECT_TRUE(pending.empty());
}

TEST_F(AttributeValuePipelineTest, APendingValueOfARemovedElementIsDroppedSilently) {
    pugi::xml_node b = box("b");
    pipeline.setValueAndUpdateLua("number", "width", b, "5", def("width"));
    files.removeChild(b.parent(), b);
    commitPendingUpdates(context, std::chrono::steady_clock::now() + 1s);
    EXPECT_TRUE(engine.updates.empty());
    EXPECT_TRUE(pending.empty());
}

TEST_F(AttributeValuePipelineTest, MaterialValuesRebuildTheMaterialAndTheDefinitionsTypeWins) {
    pugi::xml_node a = box("a");
    pipeline.setValueAndUpdateLua("color", "color", a, "0xFF0000", def("color"));
    EXPECT_EQ(engine.rebuilt, (std::vector<int>{a.attribute("id").as_int()}));
    pipeline.setValueAndUpdateLua("string", "visible", a, "false", def("visible"));
    EXPECT_EQ(engine.updates.back().type, "boolean");
}

TEST_F(AttributeValuePipelineTest, WithoutAnEngineNothingIsWritten) {
    context.engine = nullptr;
    pipeline.setContext(&context);
    pugi::xml_node a = box("a");
    EXPECT_FALSE(pipeline.setValueAndUpdateLua("number", "x", a, "9", def("x")));
    EXPECT_STREQ(a.attribute("x").as_string(), "1");
    EXPECT_FALSE(files.canUndo());
}

TEST_F(AttributeValuePipelineTest, AMissingAttributeReadsAsItsDefaultWithoutBeingWritten) {
    pugi::xml_node b = box("b");
    EXPECT_EQ(AttributeRendererBase::getAttributeValue(b, "visible", def("visible")), "true");
    EXPECT_FALSE(b.attribute("visible"));
    EXPECT_EQ(AttributeRendererBase::getAttributeValue(b, "x", def("x")), "");
    EXPECT_FALSE(b.attribute("x"));
    EXPECT_EQ(AttributeRendererBase::getEmptyValueByType(def("visible")), "0");
    EXPECT_EQ(AttributeRendererBase::getEmptyValueByType(def("x")), "");
    EXPECT_EQ(AttributeRendererBase::splitValues("a||b"), (std::vector<std::string>{"a", "", "b"}));
}

} // namespace
} // namespace Lumenda3D
