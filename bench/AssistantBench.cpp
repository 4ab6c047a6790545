// The assistant's work on the main thread when a reply arrives, on a generated game of 10,000
// nodes (about 1 MB of XML): reading a reply of 200 changes, finding 50 concurrent user edits,
// and merging both sides.
#include "GeneratedGame.h"

#include "engine/document/LmdGameDocument.h"
#include "services/AiReplyParser.h"
#include "services/XmlMerge.h"

#include <benchmark/benchmark.h>
#include <pugixml.hpp>

#include <sstream>
#include <vector>

using namespace Lumenda3D;
using json = nlohmann::json;

namespace {

struct Fixture {
    std::string base;      // the game as the request left, with ids
    std::string current;   // with 50 attribute edits of the user
    json changes = json::array();
    std::string replyText;

    Fixture() {
        LmdGameDocument document;
        document.setXmlSourceString(bench::generateGame(10000));
        base = document.getSourceXmlString(true, true);
        pugi::xml_document doc;
        doc.load_string(base.c_str());
        std::vector<pugi::xml_node> elements;
        for (const pugi::xpath_node& found : doc.document_element().select_nodes("//*[@id]"))
            elements.push_back(found.node());
        for (size_t i = 0; i < 200 && i * 37 < elements.size(); ++i)
            changes.push_back({{"op", "update"}, {"id", elements[i * 37].attribute("id").value()}, {"attrs", {{"x", "1.5"}}}});
        for (size_t i = 0; i < 50 && i * 97 + 11 < elements.size(); ++i) {
            pugi::xml_node n = elements[i * 97 + 11];
            pugi::xml_attribute a = n.attribute("name");
            if (!a)
                a = n.append_attribute("name");
            a.set_value(("edited" + std::to_string(i)).c_str());
        }
        std::ostringstream out;
        doc.save(out, "", pugi::format_raw | pugi::format_no_declaration);
        current = out.str();
        replyText = json{{"reply", "Moved 200 objects."}, {"changes", changes}}.dump();
    }
};

const Fixture& fixture() {
    static const Fixture f;
    return f;
}

void BM_AiReplyParse(benchmark::State& state) {
    const Fixture& f = fixture();
    for (auto _ : state)
        benchmark::DoNotOptimize(AiReplyParser::parse(f.replyText));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(f.replyText.size()));
}
BENCHMARK(BM_AiReplyParse)->Unit(benchmark::kMicrosecond);

void BM_AiUserDiff(benchmark::State& state) {
    const Fixture& f = fixture();
    for (auto _ : state) {
        pugi::xml_document a, b;
        a.load_string(f.base.c_str());
        b.load_string(f.current.c_str());
        benchmark::DoNotOptimize(XmlMerge::computeUserDiff(a.document_element(), b.document_element()));
    }
}
BENCHMARK(BM_AiUserDiff)->Unit(benchmark::kMillisecond);

void BM_AiMergeWithConflictCheck(benchmark::State& state) {
    const Fixture& f = fixture();
    pugi::xml_document a, b;
    a.load_string(f.base.c_str());
    b.load_string(f.current.c_str());
    const std::vector<XmlMerge::UserOp> ops = XmlMerge::computeUserDiff(a.document_element(), b.document_element());
    state.counters["userOps"] = static_cast<double>(ops.size());
    for (auto _ : state) {
        std::vector<std::string> labels;
        benchmark::DoNotOptimize(XmlMerge::detectConflicts(ops, f.changes, a.document_element(), labels));
        std::string error;
        benchmark::DoNotOptimize(XmlMerge::merge(f.base, f.changes, ops, XmlMerge::NoConflict, error));
    }
}
BENCHMARK(BM_AiMergeWithConflictCheck)->Unit(benchmark::kMillisecond);

} // namespace
