// The attribute panel's cost, with the headless ImGui harness (no renderer) and the real document
// service (undo on): the UI CPU time of one frame of the panel showing the element with the most
// attributes in the schema, and one keystroke in a number field from the widget through the
// document (and its undo run) to the live scene's update call (the scene itself stands in as a
// recorder: no scene is built here, and none is rebuilt for such a value).
//   build/lumenda3d_bench --benchmark_filter=Attributes
#include "attributes/AttributesTestSupport.h"

#include "engine/schema/CodeSchema.h"

#include <benchmark/benchmark.h>

using namespace Lumenda3D;

namespace {

// The command with the most attribute definitions.
std::string widestCommand() {
    const CodeSchema& schema = *test::attributesSchemaParser().getCodeSchema();
    std::string widest;
    size_t most = 0;
    for (std::string_view name : schema.getCommandNames()) {
        const size_t count = schema.getAttributes(std::string(name)).size();
        if (count > most) {
            most = count;
            widest = std::string(name);
        }
    }
    return widest;
}

struct PanelFixture {
    test::ImGuiHarness ui;
    std::string command = widestCommand();
    test::AttributesScene scene{"<KiteBench3D><Level name=\"One\"><" + command + " name=\"it\" x=\"1\"/></Level></KiteBench3D>", ui};

    PanelFixture() {
        scene.show(command);
        scene.frame();
        scene.frame();
    }
};

void AttributesPanelFrame(benchmark::State& state) {
    PanelFixture fixture;
    for (auto _ : state)
        fixture.scene.frame();
    state.SetLabel(fixture.command + ", " +
                   std::to_string(test::attributesSchemaParser().getCodeSchema()->getAttributes(fixture.command).size()) +
                   " attributes");
}
BENCHMARK(AttributesPanelFrame)->Unit(benchmark::kMicrosecond);

void AttributesNumberKeystroke(benchmark::State& state) {
    PanelFixture fixture;
    test::AttributesScene& scene = fixture.scene;
    ImGuiIO& io = ImGui::GetIO();
    io.KeyMap[ImGuiKey_Backspace] = 8;
    const ImVec2 field = scene.panel->getItemCenter("##x");
    fixture.ui.click(field.x, field.y, [&] { scene.panel->draw(); });
    for (auto _ : state) {
        // One character typed: the frame that writes it through the pipeline.
        fixture.ui.type("5");
        scene.frame();
        state.PauseTiming();
        fixture.ui.setKey(8, true);
        scene.frame();
        fixture.ui.setKey(8, false);
        scene.frame();
        state.ResumeTiming();
    }
    if (scene.engine.rebuilds != 0)
        state.SkipWithError("a keystroke rebuilt the scene");
    if (scene.engine.updates.empty())
        state.SkipWithError("the live scene was never told");
    state.counters["sceneUpdates"] = double(scene.engine.updates.size());
}
BENCHMARK(AttributesNumberKeystroke)->Unit(benchmark::kMicrosecond);

} // namespace
