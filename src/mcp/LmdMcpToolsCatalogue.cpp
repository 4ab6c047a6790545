#include "mcp/LmdMcpTools.h"

// The catalogue as clients read it through tools/list and resources/list. Each description is
// the contract the model works from: keep the texts word for word.

namespace Lumenda3D {
namespace {
using json = nlohmann::json;

json property(const char* type, const std::string& description, const std::vector<std::string>& enumValues = {}) {
    json out = {{"type", type}};
    if (!enumValues.empty())
        out["enum"] = enumValues;
    if (!description.empty())
        out["description"] = description;
    return out;
}

json arrayOf(json items, const std::string& description) {
    json out = {{"type", "array"}, {"items", std::move(items)}};
    if (!description.empty())
        out["description"] = description;
    return out;
}

json objectOf(json properties, const std::string& description) {
    json out = {{"type", "object"}, {"properties", std::move(properties)}};
    if (!description.empty())
        out["description"] = description;
    return out;
}

json point3(const std::string& description) {
    return objectOf({{"x", property("number", "")}, {"y", property("number", "")}, {"z", property("number", "")}},
                    description);
}

json sequenceStepSchema() {
    return objectOf({{"op", property("string", "", {"move", "down", "up", "keyDown", "keyUp", "scroll", "wait"})},
                     {"x", property("integer", "")},
                     {"y", property("integer", "")},
                     {"seconds", property("number", "")},
                     {"amount", property("number", "")},
                     {"button", property("string", "", {"left", "right", "middle"})},
                     {"key", property("string", "")}},
                    "");
}

json windowsSigningSchema(const std::string& description) {
    return objectOf({{"pfxPath", property("string", "absolute path to the user's .pfx certificate")},
                     {"password", property("string", "may be empty for a passwordless .pfx")},
                     {"timestampUrl", property("string", "RFC3161 timestamp server (default DigiCert)")}},
                    description);
}

json androidSigningSchema(const std::string& description) {
    return objectOf({{"mode", property("string", "", {"generate", "byok"})},
                     {"keystorePath", property("string", "byok: absolute path to the .jks/.p12")},
                     {"keyAlias", property("string", "")},
                     {"storePassword", property("string", "")},
                     {"keyPassword", property("string", "empty = same as storePassword")},
                     {"publisherName", property("string", "generate: certificate owner name")}},
                    description);
}

// {"type":"object","properties":{...},"required":[...]}, the form of every tool's arguments.
json inputSchema(const std::vector<std::pair<std::string, json>>& properties, const std::vector<std::string>& required) {
    json props = json::object();
    for (const auto& [name, schema] : properties)
        props[name] = schema;
    return json{{"type", "object"}, {"properties", std::move(props)}, {"required", required}};
}

const char* const kEditOpsText = R"lmd(Edit ops (JSON array), each targeting nodes by their id attribute from get_game_xml: {"op":"createDocument","xml":"<KiteBench3D>...</KiteBench3D>"} full new game | {"op":"update","id":"42","attrs":{...},"removeAttrs":[...]} | {"op":"replace","id":"17","xml":"<...>"} | {"op":"insert","parentId":"3","after":"16","xml":"<...>"} | {"op":"delete","id":"88"})lmd";

} // namespace

std::vector<LmdMcpProtocol::ToolDefinition> LmdMcpTools::definitions() {
    std::vector<ToolDefinition> tools;
    tools.reserve(22);
    tools.push_back({"get_game_xml",
        R"lmd(Read the current game XML. Every node carries a numeric id attribute for targeting edits, plus a revision token to pass as apply_edits baseRevision. Node ids are reassigned after every apply — always re-read before editing.)lmd",
        inputSchema({}, {})});
    tools.push_back({"apply_edits",
        R"lmd(Apply minimal edit operations to the game XML, then reload and restart the game. Nothing is applied when schema violations are reported — fix and retry. Edit ops (JSON array), each targeting nodes by their id attribute from get_game_xml: {"op":"createDocument","xml":"<KiteBench3D>...</KiteBench3D>"} full new game | {"op":"update","id":"42","attrs":{...},"removeAttrs":[...]} | {"op":"replace","id":"17","xml":"<...>"} | {"op":"insert","parentId":"3","after":"16","xml":"<...>"} | {"op":"delete","id":"88"})lmd",
        inputSchema({{"ops", arrayOf(json{{"type", "object"}}, kEditOpsText)},
                     {"baseRevision", property("string", R"lmd(revision from your last get_game_xml; rejected as stale if the document changed since (then re-read))lmd")},
                     {"live", property("boolean", R"lmd(optional: apply 'update' ops (attribute values) to the document AND the running game without a reload or restart, to put the game into a state to test (a position, a Var's value: a number, true/false or a quoted text sets the running variable). Node ids stay the same. Structural ops (insert, replace, delete, createDocument) are refused in this mode; all or nothing.)lmd")}}, {"ops"})});
    tools.push_back({"set_game_xml",
        R"lmd(Replace the whole game with a new XML document (equivalent to a single createDocument op). Prefer apply_edits for modifications to an existing game.)lmd",
        inputSchema({{"xml", property("string", R"lmd(complete <KiteBench3D>...</KiteBench3D> document, without id attributes)lmd")}}, {"xml"})});
    tools.push_back({"run_game",
        R"lmd(Start the game (like the editor Play button). Asynchronous — poll get_status.)lmd",
        inputSchema({{"runSeconds", property("number", R"lmd(optional: play exactly this many seconds of game time (fixed steps of 1/60 s, the same result on every run), then pause; starts a stopped game, resumes a paused one (call again to step on). Up to 600.)lmd")},
                     {"wait", property("boolean", R"lmd(with runSeconds: answer only once the span has played and the game is paused (up to 50 s of real time), with the game time reached)lmd")}}, {})});
    tools.push_back({"stop_game",
        R"lmd(Stop the game and return to edit mode. Asynchronous.)lmd",
        inputSchema({}, {})});
    tools.push_back({"get_status",
        R"lmd(Editor state: play status, open project name/id, current XML revision, and the latest log line id. Also reports windowWidth/windowHeight — the window pixel space send_input coordinates use (NOT screenshot pixels, which are downscaled) — and inputActive (true while a queued send_input is still playing out; wait for false before the next action or a screenshot).)lmd",
        inputSchema({}, {})});
    tools.push_back({"get_logs",
        R"lmd(Recent editor/engine log lines (script parse errors, Lua runtime errors, engine messages). Poll incrementally with sinceId; after apply_edits or run_game check for 'critical' lines to catch script errors.)lmd",
        inputSchema({{"sinceId", property("integer", R"lmd(return only lines with id greater than this (0 = from the beginning of the buffer))lmd")},
                     {"maxLines", property("integer", R"lmd(cap on returned lines, most recent kept (default 200))lmd")},
                     {"minLevel", property("string", R"lmd(minimum severity (default normal))lmd", {"trivial", "normal", "warning", "critical"})}}, {})});
    tools.push_back({"get_screenshot",
        R"lmd(Capture the scene as a JPEG image. By default it renders only the 3D scene from what the user currently sees (the live editor camera). Optionally pass cameraPosition + lookAt to render the 3D scene from a viewpoint you choose — useful to frame an object the live view misses — without moving the user's camera; both are world coordinates like get_scene_info reports. Set includeOverlay:true to instead grab the whole window as the user sees it — the composited frame including the 2D ImGui layer (game HUD / 2D objects and editor panels) — which is the way to see the game's 2D layer. A pink crosshair marker in an overlay capture shows where send_input last clicked/dragged, in window pixels. The returned image is downscaled (cap 2048); its pixels are not window pixels — scale via get_status windowWidth/windowHeight before sending input at a spot. After apply_edits the game reloads asynchronously — wait until get_status reports 'playing' (or 'stopped' in edit mode) before capturing.)lmd",
        inputSchema({{"width", property("integer", R"lmd(max width in pixels (default 1280, cap 2048); the window aspect ratio is preserved)lmd")},
                     {"height", property("integer", R"lmd(max height in pixels (default 800, cap 2048))lmd")},
                     {"includeOverlay", property("boolean", R"lmd(capture the whole window (3D + the 2D ImGui overlay) as the user sees it, instead of only the 3D scene (default false). Cannot be combined with cameraPosition/lookAt.)lmd")},
                     {"cameraPosition", point3(R"lmd(optional eye position in world coordinates {x,y,z}; requires lookAt. Omit both to use the live editor camera.)lmd")},
                     {"lookAt", point3(R"lmd(optional point the camera looks at, world coordinates {x,y,z}; requires cameraPosition.)lmd")}}, {})});
    tools.push_back({"send_input",
        R"lmd(Drive keyboard/mouse to test a running game (like a player would) or to operate the editor itself (click panels/dialogs, drag a block from the palette into the scene). Requires the 'Allow controlling game input' permission; works in both play and edit mode. Asynchronous: the action plays out over real frames and this returns immediately — poll get_status for inputActive:false before the next action or a screenshot. type 'keys' holds every listed key together for holdSeconds then releases (one key = a tap, several = a combo, e.g. ["Ctrl","C"]); coordinates are window pixels from the top-left. IMPORTANT: window pixels are get_status windowWidth/windowHeight, NOT screenshot pixels — a screenshot is downscaled, so map each shot pixel to window space first (window_x = shot_x * windowWidth / shotWidth, same for y). Clicks and drags drive the game AND the editor/HUD UI (buttons, dialogs, touch), so they work even while the game holds the mouse locked. A persistent pink marker is drawn at the last click/drag spot: take an includeOverlay screenshot afterwards to confirm it landed where you intended. type 'sequence' plays an ordered 'steps' list in one request while KEEPING a pressed mouse button or key held across the following steps until released — this is how you press-and-hold while moving (drag) or hold a key while moving. A palette-block drag is: [{op:move,x,y}, {op:down}, {op:wait,seconds:0.6}, {op:move,x,y,seconds:1.0}, {op:up}] (grab the block, hold in place past the long-press, glide into the scene, drop). Use get_documentation('schema') key names.)lmd",
        inputSchema({{"type", property("string", "", {"keys", "click", "drag", "scroll", "sequence"})},
                     {"steps", arrayOf(sequenceStepSchema(), R"lmd(type 'sequence': ordered steps, each an object with 'op' one of move | down | up | keyDown | keyUp | scroll | wait. move:{x,y,seconds?} glides the cursor (button/key state held from earlier steps persists); down/up:{button?} press/release a mouse button at the current cursor; keyDown/keyUp:{key} press/release a key (held across moves); scroll:{x,y,amount} rolls the wheel over (x,y) by amount ticks (+ up / - down); wait:{seconds} holds the current state. Coordinates are window pixels.)lmd")},
                     {"keys", arrayOf(json{{"type", "string"}}, R"lmd(type 'keys': key names to hold together, e.g. ["W"] or ["Ctrl","C"])lmd")},
                     {"holdSeconds", property("number", R"lmd(type 'keys'/'click': seconds to hold before releasing (default 0.1, max 10))lmd")},
                     {"x", property("integer", R"lmd(type 'click': window x pixel (from the left))lmd")},
                     {"y", property("integer", R"lmd(type 'click': window y pixel (from the top))lmd")},
                     {"button", property("string", R"lmd(type 'click'/'drag': mouse button (default left))lmd", {"left", "right", "middle"})},
                     {"fromX", property("integer", R"lmd(type 'drag': start x pixel)lmd")},
                     {"fromY", property("integer", R"lmd(type 'drag': start y pixel)lmd")},
                     {"toX", property("integer", R"lmd(type 'drag': end x pixel)lmd")},
                     {"toY", property("integer", R"lmd(type 'drag': end y pixel)lmd")},
                     {"durationSeconds", property("number", R"lmd(type 'drag': seconds the drag takes, e.g. to sweep the camera (default 0.5, max 10))lmd")},
                     {"amount", property("number", R"lmd(type 'scroll': wheel ticks over (x,y), positive scrolls up / negative down (max 100). Use to scroll a list/panel with a scrollbar, e.g. the blocks palette or attributes editor.)lmd")},
                     {"wait", property("boolean", R"lmd(optional: answer only once the input has played out (inputActive false, up to 50 s), instead of at once)lmd")}}, {"type"})});
    tools.push_back({"import_asset",
        R"lmd(Copy a file from this machine into the local-assets sandbox so the game XML can reference it. Returns the exact reference value (local:<name>) to use in the XML attribute. Download assets with your own tools first, then import the downloaded file. Projects using local assets play/export on this machine only (no cloud share).)lmd",
        inputSchema({{"sourcePath", property("string", R"lmd(absolute path of the file to import)lmd")},
                     {"assetType", property("string", "", {"models", "textures", "sounds"})},
                     {"name", property("string", R"lmd(target file name including extension (default: the source file's name))lmd")},
                     {"thumbnailPath", property("string", R"lmd(optional image file shown as this asset's thumbnail in the editor (useful for models))lmd")},
                     {"overwrite", property("boolean", R"lmd(replace an existing asset with the same name (default false — an existing name is an error))lmd")}}, {"sourcePath", "assetType"})});
    tools.push_back({"list_local_assets",
        R"lmd(List the files in the local-assets sandbox (importable via reference local:<name>).)lmd",
        inputSchema({{"assetType", property("string", R"lmd(one type only (default: all three))lmd", {"models", "textures", "sounds"})}}, {})});
    tools.push_back({"get_scene_info",
        R"lmd(Live scene objects with their actual world positions (name, id, position) — cheap textual complement to get_screenshot. Positions reflect physics/animation, unlike the static XML.)lmd",
        inputSchema({}, {})});
    tools.push_back({"select_object",
        R"lmd(Select and highlight an object in the editor so the user can see which object you are referring to.)lmd",
        inputSchema({{"id", property("string", R"lmd(node id from get_game_xml, e.g. n42)lmd")}}, {"id"})});
    tools.push_back({"save_project",
        R"lmd(Save the open project to its existing target (local and/or cloud). Requires the 'Allow saving / loading projects' permission. Cloud saves are asynchronous — poll get_operation_status. A project that was never saved needs save_project_as.)lmd",
        inputSchema({}, {})});
    tools.push_back({"save_project_as",
        R"lmd(Save the open project under a new name, locally or to the cloud (cloud needs the user to be logged in). Cloud saves are asynchronous — poll get_operation_status.)lmd",
        inputSchema({{"name", property("string", "")},
                     {"location", property("string", "", {"local", "cloud"})}}, {"name", "location"})});
    tools.push_back({"open_project",
        R"lmd(Open a project: local by name, cloud by resource id (asynchronous — poll get_operation_status). Fails when the current project has unsaved changes unless force:true (then the changes are discarded).)lmd",
        inputSchema({{"nameOrId", property("string", "")},
                     {"location", property("string", "", {"local", "cloud"})},
                     {"force", property("boolean", R"lmd(discard unsaved changes (default false))lmd")}}, {"nameOrId", "location"})});
    tools.push_back({"new_project",
        R"lmd(Start a fresh empty project. Fails when the current project has unsaved changes unless force:true.)lmd",
        inputSchema({{"force", property("boolean", R"lmd(discard unsaved changes (default false))lmd")}}, {})});
    tools.push_back({"list_projects",
        R"lmd(The user's projects: local ones are returned immediately; the cloud list is fetched asynchronously when logged in — poll get_operation_status for it.)lmd",
        inputSchema({}, {})});
    tools.push_back({"list_user_assets",
        R"lmd(The user's uploaded cloud assets of one type (asynchronous — poll get_operation_status). Local assets are listed by list_local_assets instead.)lmd",
        inputSchema({{"assetType", property("string", "", {"models", "textures", "sounds"})}}, {"assetType"})});
    tools.push_back({"export_game",
        R"lmd(Export the current game as a distributable app. Requires the 'Allow exporting games' permission. platform linux (a folder and a .tar.gz that run on Linux desktops without the editor), windows (zip or NSIS installer, optional Authenticode signing; needs a Windows runtime template from the Lumenda3D server), android format apk (signed APK) and web (zip to serve over HTTP) build locally into Documents/Lumenda3D/Exports; platform mac and android format aab are built by the Lumenda3D cloud (needs the user logged in; projects with local: assets can't use the cloud). Asynchronous — poll get_operation_status for progress and the deliverable's absolute path (or download URL for cloud builds). Missing build tools are downloaded automatically on first use (Android ~250 MB one-time).)lmd",
        inputSchema({{"platform", property("string", "", {"linux", "windows", "android", "web", "mac"})},
                     {"appName", property("string", R"lmd(app/game display name; also names the deliverable file (sanitized))lmd")},
                     {"fullScreen", property("boolean", R"lmd(launch fullscreen (windows/mac only; android is always fullscreen, web ignores it). Default false)lmd")},
                     {"versionCode", property("integer", R"lmd(android integer version, 1..2100000000 (default 1))lmd")},
                     {"versionName", property("string", R"lmd(display version for android and the windows installer (default 1.0))lmd")},
                     {"windowsFormat", property("string", R"lmd(zip = plain folder zip (default); installer = NSIS Setup.exe with shortcuts + uninstaller)lmd", {"zip", "installer"})},
                     {"windowsDesktopShortcut", property("boolean", R"lmd(installer only: create a desktop shortcut (default true))lmd")},
                     {"windowsSigning", windowsSigningSchema(R"lmd(optional Authenticode signing, windowsFormat installer only. The password is used in-memory only — never persisted or logged.)lmd")},
                     {"androidFormat", property("string", R"lmd(apk builds locally (default); aab (Play Store) is built by the cloud)lmd", {"apk", "aab"})},
                     {"androidSigning", androidSigningSchema(R"lmd(android apk only — an APK must be signed. mode generate (default) creates a keystore saved next to the APK (.p12, keep it to publish updates); if that keystore already exists it is reused (same storePassword required), never regenerated. mode byok uses keystorePath. Passwords are used in-memory only.)lmd")}}, {"platform", "appName"})});
    tools.push_back({"get_operation_status",
        R"lmd(State of the last asynchronous project/cloud operation: running (with progress for exports), done (with its result), or failed (with the error).)lmd",
        inputSchema({}, {})});
    tools.push_back({"get_documentation",
        R"lmd(Lumenda3D documentation: 'rules' = the game-building rules (READ FIRST), 'schema' = the full command/attribute reference (ground truth — never invent commands), 'assets' = usable texture/model/sound names, 'protocol' = the edit-ops contract, 'examples' = complete example games, 'mcp' = this server's workflow orientation. For 'examples', calling with no 'name' returns just an INDEX (titles + one-liners); pass 'name' with a title from that index to fetch that one example's full XML (keeps token use low).)lmd",
        inputSchema({{"section", property("string", "", {"rules", "schema", "assets", "protocol", "examples", "mcp"})},
                     {"name", property("string", R"lmd(Only for section "examples": the exact example title to fetch in full. Omit to get the index of available example titles first.)lmd")}}, {"section"})});
    return tools;
}

std::vector<LmdMcpProtocol::ResourceDefinition> LmdMcpTools::resourceDefinitions() {
    return {
        {"lumenda3d://docs/rules", "Game-building rules",
         "The Lumenda3D game-building rules and hard-won conventions — read before building", "text/markdown"},
        {"lumenda3d://docs/schema", "Command reference",
         "Full command/attribute reference generated from codeSchema.xml — the ground truth", "text/markdown"},
        {"lumenda3d://docs/assets", "Available assets", "Texture, model and sound names usable in games",
         "text/markdown"},
        {"lumenda3d://docs/protocol", "Edit-ops contract", "The edit-operations JSON contract used by apply_edits",
         "text/markdown"},
        {"lumenda3d://docs/examples", "Example games", "Complete example games demonstrating canonical patterns",
         "text/markdown"},
    };
}

bool LmdMcpTools::isThreadSafe(const std::string& name) { return name == "get_logs" || name == "get_documentation"; }

std::string LmdMcpTools::knowledgeSectionFor(const std::string& name) {
    if (name == "rules")
        return "instructions";
    if (name == "schema" || name == "assets" || name == "protocol" || name == "examples" || name == "mcp")
        return name;
    return "";
}

} // namespace Lumenda3D
