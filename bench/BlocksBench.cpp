// The block tree's cost per frame and per rebuild, on generated games of 500, 5,000 and 50,000
// nodes, with the headless ImGui harness (no renderer): the UI CPU time of the workflow panel with
// the tree fully expanded and scrolled to the middle, beside an empty frame of the same harness,
// and the time to rebuild the tree after a document reload (blocks and layout).
//   build/lumenda3d_bench --benchmark_filter=Blocks
#include "GeneratedGame.h"
#include "ImGuiHarness.h"
#include "blocks/BlocksTestSupport.h"

#include "blocks/Block.h"
#include "blocks/Workflow.h"
#include "engine/document/LmdGameDocument.h"
#include "engine/editing/LmdSourceFiles.h"

#include <benchmark/benchmark.h>

#include <map>
#include <memory>

using namespace Lumenda3D;

namespace {

// One open game in the block panels, expanded and scrolled to the middle of the tree.
struct TreeFixture {
    test::BlocksScene scene;

    explicit TreeFixture(int nodes) : scene(expanded(bench::generateGame(nodes))) {
        scene.frames(2);
        scene.ui.frame([&] {
            scene.strip->draw();
            scene.palette->draw();
            if (ImGuiWindow* child = findChild())
                child->Scroll.y = child->ScrollMax.y * 0.5f;
        });
        scene.frames(2);
    }
    // Fully expanded: no block is closed.
    static std::string expanded(std::string xml) {
        for (size_t at; (at = xml.find(" isCollapse=\"true\"")) != std::string::npos;)
            xml.erase(at, 18);
        return xml;
    }
    void frame() { scene.frame(); }
    static ImGuiWindow* findChild() {
        ImGuiContext& g = *ImGui::GetCurrentContext();
        for (ImGuiWindow* window : g.Windows)
            if (std::string(window->Name).find(Workflow::kBlocksChild) != std::string::npos)
                return window;
        return nullptr;
    }
    Workflow& workflow() { return *scene.workflow; }
};

int blockCount(const Block& block) {
    int count = 1;
    for (const auto& child : block.getChilds())
        count += blockCount(*child);
    return count;
}

void BM_BlocksEmptyFrame(benchmark::State& state) {
    test::ImGuiHarness ui(1280.0f, 800.0f);
    for (auto _ : state)
        ui.frame([] {});
}
BENCHMARK(BM_BlocksEmptyFrame)->Unit(benchmark::kMicrosecond);

void BM_BlocksFrameExpandedMiddle(benchmark::State& state) {
    TreeFixture tree(static_cast<int>(state.range(0)));
    for (auto _ : state)
        tree.frame();
    state.counters["blocks"] = blockCount(*tree.workflow().getRootBlock());
    state.counters["drawn"] = tree.workflow().getDrawnBlockCount();
    state.counters["scrollY"] = tree.workflow().getScrollY();
}
BENCHMARK(BM_BlocksFrameExpandedMiddle)->Arg(500)->Arg(5000)->Arg(50000)->Unit(benchmark::kMillisecond);

// A reload (an agent's edit, undo): the tree is thrown away and built again, and laid out in the
// next frame.
void BM_BlocksRebuildAfterReload(benchmark::State& state) {
    TreeFixture tree(static_cast<int>(state.range(0)));
    const std::string xml = tree.scene.text();
    for (auto _ : state) {
        state.PauseTiming();
        tree.scene.document.setXmlSourceString(xml);
        state.ResumeTiming();
        tree.workflow().loadXml(tree.scene.document.root());
        tree.scene.ui.frame([&] { tree.workflow().ensureLayout(); });
    }
    state.counters["blocks"] = blockCount(*tree.workflow().getRootBlock());
}
BENCHMARK(BM_BlocksRebuildAfterReload)->Arg(500)->Arg(5000)->Arg(50000)->Unit(benchmark::kMillisecond);

} // namespace
