#include "mcp/LmdMcpTools.h"

#include <cstdint>
#include <cstdio>
#include <unordered_map>

#include "engine/schema/AiKnowledgeBase.h"
#include "mcp/LmdMcpArgs.h"
#include "mcp/LmdMcpToolResult.h"

namespace Lumenda3D {
namespace {
using json = nlohmann::json;
using Handler = json (*)(LmdMcpTools&, const json&);

const std::unordered_map<std::string, Handler>& handlers() {
    static const std::unordered_map<std::string, Handler> table = {
        {"get_game_xml", [](LmdMcpTools& t, const json&) { return t.getGameXml(); }},
        {"apply_edits", [](LmdMcpTools& t, const json& a) { return t.applyEdits(a); }},
        {"set_game_xml", [](LmdMcpTools& t, const json& a) { return t.setGameXml(a); }},
        {"run_game", [](LmdMcpTools& t, const json& a) { return t.runGame(a); }},
        {"stop_game", [](LmdMcpTools& t, const json&) { return t.stopGame(); }},
        {"get_status", [](LmdMcpTools& t, const json&) { return t.getStatus(); }},
        {"get_logs", [](LmdMcpTools& t, const json& a) { return t.getLogs(a); }},
        {"get_screenshot", [](LmdMcpTools& t, const json& a) { return t.getScreenshot(a); }},
        {"send_input", [](LmdMcpTools& t, const json& a) { return t.sendInput(a); }},
        {"import_asset", [](LmdMcpTools& t, const json& a) { return t.importAsset(a); }},
        {"list_local_assets", [](LmdMcpTools& t, const json& a) { return t.listLocalAssets(a); }},
        {"get_scene_info", [](LmdMcpTools& t, const json&) { return t.getSceneInfo(); }},
        {"select_object", [](LmdMcpTools& t, const json& a) { return t.selectObject(a); }},
        {"save_project", [](LmdMcpTools& t, const json&) { return t.saveProject(); }},
        {"save_project_as", [](LmdMcpTools& t, const json& a) { return t.saveProjectAs(a); }},
        {"open_project", [](LmdMcpTools& t, const json& a) { return t.openProject(a); }},
        {"new_project", [](LmdMcpTools& t, const json& a) { return t.newProject(a); }},
        {"list_projects", [](LmdMcpTools& t, const json&) { return t.listProjects(); }},
        {"list_user_assets", [](LmdMcpTools& t, const json& a) { return t.listUserAssets(a); }},
        {"export_game", [](LmdMcpTools& t, const json& a) { return t.exportGame(a); }},
        {"get_operation_status", [](LmdMcpTools& t, const json&) { return t.getOperationStatus(); }},
        {"get_documentation", [](LmdMcpTools& t, const json& a) { return t.getDocumentation(a); }},
    };
    return table;
}

bool isAssetType(const std::string& type) { return type == "models" || type == "textures" || type == "sounds"; }

// A message that is JSON text (a cloud list) goes into a status report as JSON, anything else as text.
json asJsonOrText(const std::string& message) {
    json parsed = json::parse(message, nullptr, false);
    return parsed.is_discarded() ? json(message) : parsed;
}

const char* const kUnsavedText =
    "The open project has unsaved changes — save it first (save_project), or pass force:true to discard them.";

} // namespace

LmdMcpTools::LmdMcpTools(LmdMcpEditorAccess* editor, LmdLogRingBuffer* logs, KnowledgeSource knowledge)
    : editor_(editor), logs_(logs), knowledge_(std::move(knowledge)), operation_(std::make_shared<Operation>()) {
    if (!knowledge_)
        knowledge_ = [](const std::string& name) { return AiKnowledgeBase::section(name); };
}

json LmdMcpTools::call(const std::string& name, const json& arguments) {
    auto it = handlers().find(name);
    if (it == handlers().end())
        return errorResult("Unknown tool: " + name);
    // Arguments that aren't an object count as none: each tool then reports what it needs.
    return it->second(*this, arguments.is_object() ? arguments : json::object());
}

std::string LmdMcpTools::readResource(const std::string& uri) const {
    const std::string prefix = kResourcePrefix;
    if (uri.compare(0, prefix.size(), prefix) != 0)
        return "";
    const std::string section = knowledgeSectionFor(uri.substr(prefix.size()));
    return section.empty() ? std::string() : knowledgeSection(section);
}

std::string LmdMcpTools::knowledgeSection(const std::string& name) const { return knowledge_ ? knowledge_(name) : ""; }

json LmdMcpTools::textResult(const std::string& text) { return LmdMcpToolResult::textResult(text); }
json LmdMcpTools::errorResult(const std::string& text) { return LmdMcpToolResult::errorResult(text); }
json LmdMcpTools::imageResult(const std::vector<unsigned char>& jpegBytes) {
    return LmdMcpToolResult::imageResult(jpegBytes);
}

std::string LmdMcpTools::revisionOf(const std::string& xml) {
    // FNV-1a 64 with a start value of its own (not the published offset basis): tokens must stay
    // comparable with those handed out before, so the value never changes.
    std::uint64_t h = 0x14650FB0739D0383ull;
    for (unsigned char b : xml) {
        h ^= b;
        h *= 0x100000001B3ull;
    }
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(h));
    return text;
}

const char* LmdMcpTools::playStatusText(int status) {
    switch (status) {
    case 0:
        return "stopped";
    case 1:
        return "playing";
    case 2:
        return "paused";
    case 3:
        return "running";
    case 4:
        return "loading";
    default:
        return "unknown";
    }
}

std::string LmdMcpTools::currentXmlWithIds() const { return editor_ ? editor_->getSourceXmlString(true, false) : ""; }

json LmdMcpTools::noEditor() const { return errorResult("The editor is not ready yet — retry shortly."); }

// --- Operation record --------------------------------------------------------------------------

json LmdMcpTools::beginOperation(const std::string& name) {
    if (operation_->state == "running")
        return errorResult("Another operation (" + operation_->name +
                           ") is still running — poll get_operation_status first.");
    const unsigned long long serial = operation_->serial + 1;
    *operation_ = Operation{};
    operation_->name = name;
    operation_->state = "running";
    operation_->serial = serial;
    return nullptr;
}

LmdMcpEditorAccess::Done LmdMcpTools::finisher(unsigned long long serial) {
    std::weak_ptr<Operation> record = operation_;
    return [record, serial](bool ok, const std::string& message) {
        std::shared_ptr<Operation> op = record.lock();
        if (!op || op->serial != serial || op->state != "running")
            return; // a late or repeated callback
        op->state = ok ? "done" : "failed";
        (ok ? op->result : op->error) = message;
        if (ok && op->progress >= 0.0f)
            op->progress = 1.0f;
    };
}

json LmdMcpTools::runOperation(const std::string& name, const Starter& start, const std::string& startedText) {
    json refusal = beginOperation(name);
    if (!refusal.is_null())
        return refusal;
    const unsigned long long serial = operation_->serial;
    start(finisher(serial));
    if (operation_->serial == serial && operation_->state == "done")
        return textResult(operation_->result);
    if (operation_->serial == serial && operation_->state == "failed")
        return errorResult(operation_->error);
    return textResult(startedText);
}

json LmdMcpTools::getOperationStatus() const {
    const Operation& op = *operation_;
    json status = {{"state", op.state}};
    if (op.name.empty()) {
        status["message"] = "No asynchronous operation has been started.";
        return textResult(status.dump(2));
    }
    status["operation"] = op.name;
    if (op.state == "running" && op.progress >= 0.0f) {
        status["progress"] = op.progress;
        if (!op.stage.empty())
            status["stage"] = op.stage;
    }
    if (op.state == "done")
        status["result"] = asJsonOrText(op.result);
    if (op.state == "failed")
        status["error"] = op.error;
    return textResult(status.dump(2));
}

// --- Projects ----------------------------------------------------------------------------------

json LmdMcpTools::saveProject() {
    if (!editor_)
        return noEditor();
    LmdMcpEditorAccess* editor = editor_;
    return runOperation(
        "save_project", [editor](LmdMcpEditorAccess::Done done) { editor->saveProject(std::move(done)); },
        "Saving (asynchronous) — poll get_operation_status.");
}

json LmdMcpTools::saveProjectAs(const json& arguments) {
    if (!editor_)
        return noEditor();
    const std::string name = LmdMcpArgs::getString(arguments, "name", "");
    const std::string location = LmdMcpArgs::getString(arguments, "location", "");
    if (name.empty())
        return errorResult("save_project_as requires a non-empty 'name'.");
    if (location != "local" && location != "cloud")
        return errorResult("save_project_as requires 'location': local or cloud.");
    const bool cloud = location == "cloud";
    if (cloud && !editor_->isLoggedIn())
        return errorResult("Saving to the cloud needs the user to be logged in — ask the user to log in, or use "
                           "location local.");
    LmdMcpEditorAccess* editor = editor_;
    return runOperation(
        "save_project_as",
        [editor, name, cloud](LmdMcpEditorAccess::Done done) { editor->saveProjectAs(name, cloud, std::move(done)); },
        "Saving as '" + name + "' (asynchronous) — poll get_operation_status.");
}

json LmdMcpTools::openProject(const json& arguments) {
    if (!editor_)
        return noEditor();
    const std::string nameOrId = LmdMcpArgs::getString(arguments, "nameOrId", "");
    const std::string location = LmdMcpArgs::getString(arguments, "location", "");
    if (nameOrId.empty())
        return errorResult("open_project requires a non-empty 'nameOrId': a local project's name or a cloud "
                           "resource id (see list_projects).");
    if (location != "local" && location != "cloud")
        return errorResult("open_project requires 'location': local or cloud.");
    if (!LmdMcpArgs::getBool(arguments, "force", false) && editor_->hasUnsavedChanges())
        return errorResult(kUnsavedText);
    const bool cloud = location == "cloud";
    LmdMcpEditorAccess* editor = editor_;
    return runOperation(
        "open_project",
        [editor, nameOrId, cloud](LmdMcpEditorAccess::Done done) {
            editor->openProject(nameOrId, cloud, std::move(done));
        },
        "Opening '" + nameOrId + "' (asynchronous) — poll get_operation_status.");
}

json LmdMcpTools::newProject(const json& arguments) {
    if (!editor_)
        return noEditor();
    if (!LmdMcpArgs::getBool(arguments, "force", false) && editor_->hasUnsavedChanges())
        return errorResult(kUnsavedText);
    LmdMcpEditorAccess* editor = editor_;
    return runOperation(
        "new_project", [editor](LmdMcpEditorAccess::Done done) { editor->newProject(std::move(done)); },
        "Creating a new project (asynchronous) — poll get_operation_status.");
}

json LmdMcpTools::listProjects() {
    if (!editor_)
        return noEditor();
    json out = {{"local", editor_->listLocalProjects()}};
    if (!editor_->isLoggedIn()) {
        out["cloud"] = "not logged in: only local projects are available";
        return textResult(out.dump(2));
    }
    LmdMcpEditorAccess* editor = editor_;
    json started = runOperation(
        "list_projects", [editor](LmdMcpEditorAccess::Done done) { editor->fetchCloudProjects(std::move(done)); },
        "fetching (asynchronous) — poll get_operation_status for the cloud list");
    const std::string text = started["content"][0]["text"].get<std::string>();
    out["cloud"] = started.value("isError", false) ? json(text) : asJsonOrText(text);
    return textResult(out.dump(2));
}

json LmdMcpTools::listUserAssets(const json& arguments) {
    if (!editor_)
        return noEditor();
    const std::string type = LmdMcpArgs::getString(arguments, "assetType", "");
    if (!isAssetType(type))
        return errorResult("list_user_assets requires 'assetType': models, textures or sounds.");
    if (!editor_->isLoggedIn())
        return errorResult("Listing cloud assets needs the user to be logged in. Local assets are listed by "
                           "list_local_assets.");
    LmdMcpEditorAccess* editor = editor_;
    return runOperation(
        "list_user_assets",
        [editor, type](LmdMcpEditorAccess::Done done) { editor->fetchUserAssets(type, std::move(done)); },
        "Fetching the user's " + type + " (asynchronous) — poll get_operation_status.");
}

// --- Local assets ------------------------------------------------------------------------------

json LmdMcpTools::importAsset(const json& arguments) {
    if (!editor_)
        return noEditor();
    LmdMcpEditorAccess::AssetImport request;
    request.sourcePath = LmdMcpArgs::getString(arguments, "sourcePath", "");
    request.assetType = LmdMcpArgs::getString(arguments, "assetType", "");
    request.name = LmdMcpArgs::getString(arguments, "name", "");
    request.thumbnailPath = LmdMcpArgs::getString(arguments, "thumbnailPath", "");
    request.overwrite = LmdMcpArgs::getBool(arguments, "overwrite", false);
    if (request.sourcePath.empty())
        return errorResult("import_asset requires 'sourcePath', the absolute path of the file to import.");
    if (!isAssetType(request.assetType))
        return errorResult("import_asset requires 'assetType': models, textures or sounds.");
    std::string referenceOrError;
    if (!editor_->importLocalAsset(request, referenceOrError))
        return errorResult(referenceOrError);
    return textResult("Imported. Use the reference " + referenceOrError +
                      " as the attribute value in the game XML (this project then plays and exports on this machine "
                      "only).");
}

json LmdMcpTools::listLocalAssets(const json& arguments) {
    if (!editor_)
        return noEditor();
    const std::string type = LmdMcpArgs::getString(arguments, "assetType", "");
    if (!type.empty() && !isAssetType(type))
        return errorResult("assetType must be models, textures or sounds (or omitted for all three).");
    json out = json::object();
    for (const char* t : {"models", "textures", "sounds"}) {
        if (!type.empty() && type != t)
            continue;
        json names = json::array();
        for (const std::string& name : editor_->listLocalAssets(t))
            names.push_back("local:" + name);
        out[t] = std::move(names);
    }
    return textResult(out.dump(2));
}

// --- Export ------------------------------------------------------------------------------------

json LmdMcpTools::exportGame(const json& arguments) {
    if (!editor_)
        return noEditor();
    const std::string platform = LmdMcpArgs::getString(arguments, "platform", "");
    if (platform != "linux" && platform != "windows" && platform != "android" && platform != "web" && platform != "mac")
        return errorResult("export_game requires 'platform': linux, windows, android, web or mac.");
    if (LmdMcpArgs::getString(arguments, "appName", "").empty())
        return errorResult("export_game requires a non-empty 'appName'.");
    json refusal = beginOperation("export_game");
    if (!refusal.is_null())
        return refusal;
    // The export starts on the main thread after this frame's jobs (startPendingExport), so the
    // tool answers at once; passwords in the options stay in memory only.
    operation_->progress = 0.0f;
    pendingExport_ = true;
    pendingExportOptions_ = arguments;
    return textResult("Export started (asynchronous) — poll get_operation_status for progress and the deliverable's "
                      "path.");
}

void LmdMcpTools::startPendingExport() {
    if (!pendingExport_)
        return;
    pendingExport_ = false;
    json options = std::move(pendingExportOptions_);
    pendingExportOptions_ = nullptr;
    const unsigned long long serial = operation_->serial;
    LmdMcpEditorAccess::Done done = finisher(serial);
    if (!editor_) {
        done(false, "The editor is not ready — the export could not start.");
        return;
    }
    std::weak_ptr<Operation> record = operation_;
    editor_->startExport(
        options,
        [record, serial](float fraction, const std::string& stage) {
            std::shared_ptr<Operation> op = record.lock();
            if (!op || op->serial != serial || op->state != "running")
                return;
            op->progress = fraction < 0.0f ? 0.0f : (fraction > 1.0f ? 1.0f : fraction);
            op->stage = stage;
        },
        std::move(done));
}

} // namespace Lumenda3D
