// Document service benchmarks on a generated game of 10,000 nodes (about 1 MB of XML), each
// beside raw pugixml on the same text so that the ratio can be read off one run.
#include "GeneratedGame.h"

#include "base/LmdPaths.h"
#include "engine/document/LmdGameDocument.h"
#include "engine/editing/LmdDocumentFindings.h"
#include "engine/editing/LmdSourceFiles.h"
#include "engine/schema/CodeSchema.h"
#include "engine/schema/SchemaValidator.h"

#include <benchmark/benchmark.h>
#include <pugixml.hpp>

#include <functional>
#include <malloc.h>
#include <sstream>

using namespace Lumenda3D;

namespace {

// glibc adapts its mmap threshold to the first large frees it sees, which makes whichever
// benchmark runs first pay page faults the later ones don't. Fix the threshold for all of them.
const int kMallocSettled = mallopt(M_MMAP_THRESHOLD, 64 * 1024 * 1024);

const std::string& game() {
    static const std::string xml = bench::generateGame(10000);
    return xml;
}

struct StringWriter : pugi::xml_writer {
    std::string out;
    void write(const void* data, size_t size) override { out.append(static_cast<const char*>(data), size); }
};

void setBytes(benchmark::State& state) {
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(game().size()));
    state.counters["xmlBytes"] = static_cast<double>(game().size());
}

void BM_RawPugixmlParse(benchmark::State& state) {
    for (auto _ : state) {
        pugi::xml_document doc;
        benchmark::DoNotOptimize(doc.load_buffer(game().data(), game().size(), pugi::parse_default));
    }
    setBytes(state);
}
BENCHMARK(BM_RawPugixmlParse)->Unit(benchmark::kMillisecond);

void BM_DocumentLoad(benchmark::State& state) {
    for (auto _ : state) {
        LmdGameDocument doc;
        benchmark::DoNotOptimize(doc.setXmlSourceString(game()));
    }
    setBytes(state);
}
BENCHMARK(BM_DocumentLoad)->Unit(benchmark::kMillisecond);

void BM_RawPugixmlSave(benchmark::State& state) {
    pugi::xml_document doc;
    doc.load_buffer(game().data(), game().size(), pugi::parse_default);
    for (auto _ : state) {
        StringWriter writer;
        doc.save(writer, "  ", pugi::format_indent | pugi::format_no_declaration);
        benchmark::DoNotOptimize(writer.out.data());
    }
    setBytes(state);
}
BENCHMARK(BM_RawPugixmlSave)->Unit(benchmark::kMillisecond);

void BM_CanonicalText(benchmark::State& state) {
    LmdGameDocument doc;
    doc.setXmlSourceString(game());
    for (auto _ : state)
        benchmark::DoNotOptimize(doc.getSourceXmlString(false, true));
    setBytes(state);
}
BENCHMARK(BM_CanonicalText)->Unit(benchmark::kMillisecond);

void BM_AgentText(benchmark::State& state) {
    LmdGameDocument doc;
    doc.setXmlSourceString(game());
    for (auto _ : state)
        benchmark::DoNotOptimize(doc.getSourceXmlString(true, false));
    setBytes(state);
}
BENCHMARK(BM_AgentText)->Unit(benchmark::kMillisecond);

// What the dirty check costs each time it runs: the canonical text and its hash.
void BM_DirtyHash(benchmark::State& state) {
    LmdGameDocument doc;
    doc.setXmlSourceString(game());
    for (auto _ : state)
        benchmark::DoNotOptimize(std::hash<std::string>()(doc.getSourceXmlString(false, true)));
    setBytes(state);
}
BENCHMARK(BM_DirtyHash)->Unit(benchmark::kMillisecond);

void BM_HashOnly(benchmark::State& state) {
    LmdGameDocument doc;
    doc.setXmlSourceString(game());
    const std::string text = doc.getSourceXmlString(false, true);
    for (auto _ : state)
        benchmark::DoNotOptimize(std::hash<std::string>()(text));
    setBytes(state);
}
BENCHMARK(BM_HashOnly)->Unit(benchmark::kMillisecond);

// One attribute edit in the middle of the game, then its undo (the undo restores the live
// document; the editor's reload that follows is the load above). Reports the bytes the undo
// step holds and their share of the document's size.
void BM_EditThenUndo(benchmark::State& state) {
    LmdGameDocument doc;
    doc.setXmlSourceString(game());
    LmdSourceFiles files;
    files.attachDocument(&doc);
    files.setHistoryEnabled(true);
    pugi::xml_node target = doc.root().child("Level").first_child();
    for (int i = 0; i < 250; ++i)
        target = target.next_sibling();
    size_t stepBytes = 0;
    int i = 0;
    for (auto _ : state) {
        files.setAttribute(target, "x", static_cast<float>(++i));
        stepBytes = files.historyMemoryBytes();
        files.undo();
        target = doc.root().child("Level").first_child();
        for (int k = 0; k < 250; ++k)
            target = target.next_sibling();
        files.update();
    }
    state.counters["undoStepBytes"] = static_cast<double>(stepBytes);
    state.counters["undoStepShareOfDocPct"] = 100.0 * static_cast<double>(stepBytes) / static_cast<double>(game().size());
}
BENCHMARK(BM_EditThenUndo)->Unit(benchmark::kMicrosecond);

// A whole-document replacement as the editor makes it (an agent's edit, the Source tab), with the
// document service attached: the load, the check whether the game changed at all (its stored text
// against the previous document's), and for a real change the folding of the difference into the
// history at the next frame. Arg 0: the text differs each time; arg 1: the same game again, which
// is no change (no step, no backup). Compare with BM_DocumentLoad for what the service adds.
void BM_ReplaceWithService(benchmark::State& state) {
    const bool same = state.range(0) == 1;
    std::string edited = game();
    edited.replace(edited.find("name=\"") + 6, 1, "Q");
    LmdGameDocument doc;
    doc.setXmlSourceString(game());
    LmdSourceFiles files;
    files.attachDocument(&doc);
    files.setHistoryEnabled(true);
    bool flip = false;
    for (auto _ : state) {
        flip = !flip;
        benchmark::DoNotOptimize(doc.setXmlSourceString(same || flip ? game() : edited));
        files.update();
    }
    state.counters["undoSteps"] = static_cast<double>(files.undoStepCount());
    setBytes(state);
}
BENCHMARK(BM_ReplaceWithService)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_Validate(benchmark::State& state) {
    CodeSchema schema;
    if (!schema.load(LmdPaths::mediaDir() + "/codeSchema.xml")) {
        state.SkipWithError("codeSchema.xml did not load");
        return;
    }
    LmdGameDocument doc;
    doc.setXmlSourceString(game());
    size_t violations = 0;
    for (auto _ : state)
        violations = SchemaValidator::validate(doc.root(), schema, 1000000).size();
    state.counters["violations"] = static_cast<double>(violations);
    setBytes(state);
}
BENCHMARK(BM_Validate)->Unit(benchmark::kMillisecond);

// The document check the block tree and the attribute panel show (a translation of the whole
// game), as LmdDocumentFindings runs it after a reload or a pause in typing.
void BM_DocumentFindings(benchmark::State& state) {
    CodeSchema schema;
    if (!schema.load(LmdPaths::mediaDir() + "/codeSchema.xml")) {
        state.SkipWithError("codeSchema.xml did not load");
        return;
    }
    LmdGameDocument doc;
    doc.setXmlSourceString(game());
    LmdSourceFiles files;
    files.attachDocument(&doc);
    LmdDocumentFindings findings;
    findings.follow(&files, [&] { return &schema; });
    for (auto _ : state)
        findings.checkNow();
    state.counters["findings"] = static_cast<double>(findings.all().size());
    setBytes(state);
    findings.follow(nullptr, nullptr);
    files.attachDocument(nullptr);
}
BENCHMARK(BM_DocumentFindings)->Unit(benchmark::kMillisecond);

} // namespace
