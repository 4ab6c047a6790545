#pragma once
// The agent server's tool catalogue: the 22 tools and 5 resources as clients see them, the
// dispatch of a call by name, and the state the tools share (the record of the one long
// operation, a pending export). The tools reach the editor only through LmdMcpEditorAccess.
//
// Threads: get_logs and get_documentation touch only the log buffer and the knowledge base and
// run on the connection thread (isThreadSafe); every other tool runs on the main thread through
// the dispatcher, and so does everything that reads or writes the operation record.
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "engine/app/LmdInputStep.h"
#include "mcp/LmdMcpEditorAccess.h"
#include "mcp/LmdMcpProtocol.h"

namespace Lumenda3D {

class LmdLogRingBuffer;

class LmdMcpTools {
public:
    using json = nlohmann::json;
    using ToolDefinition = LmdMcpProtocol::ToolDefinition;
    using ResourceDefinition = LmdMcpProtocol::ResourceDefinition;
    // A knowledge-base section by knowledge-base name; "" when there is none.
    using KnowledgeSource = std::function<std::string(const std::string& name)>;

    static constexpr const char* kResourcePrefix = "lumenda3d://docs/";

    // The record of the last long operation (saves, opens, cloud lists, exports).
    struct Operation {
        std::string name;             // the tool that started it; empty before the first
        std::string state = "idle";   // "idle", "running", "done" or "failed"
        float progress = -1.0f;       // 0..1 while an export runs; below 0 when unknown
        std::string stage;            // what an export is doing
        std::string result;           // the outcome of "done"
        std::string error;            // the reason of "failed"
        unsigned long long serial = 0; // counts started operations; late callbacks compare it
    };

    // Neither pointer is owned; either may be null (no editor: the main-thread tools refuse;
    // no log buffer: get_logs reports none). The knowledge source defaults to AiKnowledgeBase.
    LmdMcpTools(LmdMcpEditorAccess* editor, LmdLogRingBuffer* logs, KnowledgeSource knowledge = {});
    LmdMcpTools(const LmdMcpTools&) = delete;
    LmdMcpTools& operator=(const LmdMcpTools&) = delete;

    void setLogBuffer(LmdLogRingBuffer* logs) { logs_ = logs; }

    // --- Catalogue ------------------------------------------------------------------------------
    static std::vector<ToolDefinition> definitions();
    static std::vector<ResourceDefinition> resourceDefinitions();
    static bool isThreadSafe(const std::string& name);
    // Public section name ("rules", ...) to knowledge-base name ("instructions", ...); "" for none.
    static std::string knowledgeSectionFor(const std::string& name);

    // Runs a tool on the thread its kind requires; an unknown name gives an error result.
    json call(const std::string& name, const json& arguments);
    // The text of a resource: the whole knowledge-base section; "" when there is none.
    std::string readResource(const std::string& uri) const;
    std::string knowledgeSection(const std::string& name) const;

    // --- Results and shared helpers ---------------------------------------------------------------
    static json textResult(const std::string& text);
    static json errorResult(const std::string& text);
    static json imageResult(const std::vector<unsigned char>& jpegBytes);
    // The revision token of a text: FNV-1a 64 with this product's start value, as 16 hex digits.
    static std::string revisionOf(const std::string& xml);
    static const char* playStatusText(int status);
    // The agent form of the document (a numeric id on every element); "" without an editor.
    std::string currentXmlWithIds() const;

    // --- Document tools ---------------------------------------------------------------------------
    json getGameXml();
    json applyEdits(const json& arguments);
    json setGameXml(const json& arguments);
    json applyFullXml(const std::string& baseline, const std::string& xml, const std::string& prefix);
    // apply_edits with live: attribute updates only, into the document and the running game
    // without a reload; all or nothing.
    json applyLiveEdits(const json& ops, const std::string& current);

    // --- Play and observation tools ---------------------------------------------------------------
    json runGame(const json& arguments);
    // Goes on with a tool that answered with a wait (see LmdMcpToolResult::waitResult): a check
    // of kind "input" (send_input's wait) or "span" (run_game's runSeconds with wait).
    json resume(const json& check);
    // Longest a tool waits for what it waits for; below the usual client timeout of a minute.
    static constexpr double kMaxWaitSeconds = 50.0;
    // Longest span of game time run_game's runSeconds takes.
    static constexpr double kMaxRunSeconds = 600.0;
    json stopGame();
    json getStatus();
    json getLogs(const json& arguments) const;
    json getScreenshot(const json& arguments);
    json getSceneInfo();
    json selectObject(const json& arguments);
    json getDocumentation(const json& arguments) const;
    // An examples text split for the agent: the index with an empty name, else the named example.
    static json getExamples(const std::string& text, const std::string& name);

    // --- Input simulation -------------------------------------------------------------------------
    json sendInput(const json& arguments);
    json queueInput(const json& arguments);
    json sendInputKeys(const json& arguments);
    json sendInputClick(const json& arguments);
    json sendInputDrag(const json& arguments);
    json sendInputScroll(const json& arguments);
    json sendInputSequence(const json& arguments);
    bool parseSequenceStep(const json& step, LmdInputStep& out, std::string& error) const;
    void clampToWindow(int& x, int& y) const;

    // --- Projects, assets, export -----------------------------------------------------------------
    // Starts the operation record for `name`: null, or the error result while another runs.
    json beginOperation(const std::string& name);
    const Operation& operation() const { return *operation_; }
    json getOperationStatus() const;
    json saveProject();
    json saveProjectAs(const json& arguments);
    json openProject(const json& arguments);
    json newProject(const json& arguments);
    json listProjects();
    json listUserAssets(const json& arguments);
    json importAsset(const json& arguments);
    json listLocalAssets(const json& arguments);
    json exportGame(const json& arguments);
    // Main thread, after the dispatcher's pump: starts an export that export_game left here.
    void startPendingExport();
    bool hasPendingExport() const { return pendingExport_; }

private:
    using Starter = std::function<void(LmdMcpEditorAccess::Done)>;
    // Begins the record, starts the editor operation and answers with its outcome when it ended
    // before returning, or with `startedText` when it goes on asynchronously.
    json runOperation(const std::string& name, const Starter& start, const std::string& startedText);
    LmdMcpEditorAccess::Done finisher(unsigned long long serial);
    json noEditor() const;

    LmdMcpEditorAccess* editor_;
    LmdLogRingBuffer* logs_;
    KnowledgeSource knowledge_;
    // Shared with the callbacks of operations that end on a later frame.
    std::shared_ptr<Operation> operation_;
    bool pendingExport_ = false;
    json pendingExportOptions_;
};

} // namespace Lumenda3D
