// Reading a game document into the scene description (everything of scene building that needs
// no window): 1,000 and 10,000 objects.
#include <benchmark/benchmark.h>

#include "SceneGame.h"
#include "engine/document/LmdGameDocument.h"
#include "engine/scene/LmdSceneFaults.h"
#include "engine/scene/LmdSceneReader.h"
#include "engine/scene/ScriptParser.h"

namespace {

void BM_SceneReaderRead(benchmark::State& state) {
    static Lumenda3D::ScriptParser parser(Lumenda3D::ScriptParser::defaultSchemaPath());
    pugi::xml_document doc;
    Lumenda3D::LmdGameDocument::parse(Lumenda3D::bench::generateSceneGame(int(state.range(0))), doc);
    for (auto _ : state) {
        Lumenda3D::LmdSceneFaults faults;
        Lumenda3D::LmdSceneDescription scene;
        parser.describe(doc.document_element(), scene, "", faults);
        benchmark::DoNotOptimize(scene.objects.data());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_SceneReaderRead)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

} // namespace
