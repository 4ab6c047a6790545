// The play and observation tools. All return at once; the state moves on over later frames, so
// each text tells the agent what to poll. get_logs and get_documentation touch only the log
// buffer and the knowledge base and run on the connection thread.
#include "mcp/LmdMcpTools.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "engine/schema/AiKnowledgeBase.h"
#include "mcp/LmdLogRingBuffer.h"
#include "mcp/LmdMcpArgs.h"
#include "mcp/LmdMcpToolResult.h"

namespace Lumenda3D {
namespace {
using json = nlohmann::json;

int clampInt(long long value, int low, int high) {
    return static_cast<int>(std::min<long long>(std::max<long long>(value, low), high));
}

LmdMcpEditorAccess::Point3 readPoint(const json& value) {
    LmdMcpEditorAccess::Point3 p;
    p.x = static_cast<float>(LmdMcpArgs::getNumber(value, "x", 0.0));
    p.y = static_cast<float>(LmdMcpArgs::getNumber(value, "y", 0.0));
    p.z = static_cast<float>(LmdMcpArgs::getNumber(value, "z", 0.0));
    return p;
}
// Readings are rounded to a thousandth: enough to compare, and short to read.
double rounded(double value) { return std::round(value * 1000.0) / 1000.0; }

json triple(const LmdMcpEditorAccess::Point3& p) { return json::array({rounded(p.x), rounded(p.y), rounded(p.z)}); }

std::string cloneId(int serial) { return "c" + std::to_string(serial); }

json objectEntry(const LmdMcpEditorAccess::SceneObject& object) {
    json entry = {{"id", std::to_string(object.xmlId)}, {"name", object.name}};
    if (object.hasNode)
        entry["position"] = triple(object.position);
    const std::string element = "n" + std::to_string(object.xmlId);
    if (object.cloneSerial > 0) {
        entry["nodeId"] = cloneId(object.cloneSerial);
        entry["cloneOf"] = object.cloneSourceSerial > 0 ? cloneId(object.cloneSourceSerial) : element;
    } else {
        entry["nodeId"] = element;
    }
    entry["rotation"] = triple(object.rotation);
    entry["scale"] = triple(object.scale);
    entry["visible"] = object.visible;
    if (object.hasVelocity)
        entry["velocity"] = triple(object.velocity);
    return entry;
}

json elementEntry(const LmdMcpEditorAccess::ScreenElement& element) {
    json entry = {{"nodeId", "n" + std::to_string(element.xmlId)},
                  {"name", element.name},
                  {"type", element.element},
                  {"rect", json::array({rounded(element.x), rounded(element.y), rounded(element.width),
                                        rounded(element.height)})},
                  {"visible", element.visible},
                  {"shown", element.shown}};
    if (!element.level.empty())
        entry["level"] = element.level;
    if (!element.text.empty())
        entry["text"] = element.text;
    return entry;
}

json variablesObject(const std::vector<LmdMcpEditorAccess::Variable>& variables) {
    json out = json::object();
    for (const LmdMcpEditorAccess::Variable& variable : variables) {
        switch (variable.kind) {
        case LmdMcpEditorAccess::Variable::Kind::Number: out[variable.name] = variable.number; break;
        case LmdMcpEditorAccess::Variable::Kind::Boolean: out[variable.name] = variable.boolean; break;
        case LmdMcpEditorAccess::Variable::Kind::Text: out[variable.name] = variable.text; break;
        }
    }
    return out;
}
} // namespace

json LmdMcpTools::runGame(const json& arguments) {
    if (!editor_)
        return noEditor();
    if (editor_->getPlayStatus() == LmdMcpEditorAccess::Loading)
        return errorResult("The editor is busy loading a script — retry shortly.");
    const bool wait = LmdMcpArgs::getBool(arguments, "wait", false);
    if (LmdMcpArgs::find(arguments, "runSeconds")) {
        const double seconds = LmdMcpArgs::getNumber(arguments, "runSeconds", 0.0);
        if (!LmdMcpArgs::hasNumber(arguments, "runSeconds") || !(seconds > 0.0) || seconds > kMaxRunSeconds)
            return errorResult("runSeconds must be a number of seconds of game time above 0 and at most 600.");
        editor_->runFor(seconds);
        if (wait)
            return LmdMcpToolResult::waitResult({{"kind", "span"}}, kMaxWaitSeconds);
        return textResult("Running for " + LmdMcpArgs::formatNumber(seconds) +
                          " s of game time, then pausing (asynchronous). Status: " +
                          playStatusText(editor_->getPlayStatus()) + " — poll get_status until it is 'paused'.");
    }
    editor_->play();
    return textResult(std::string("Play requested (asynchronous). Status: ") + playStatusText(editor_->getPlayStatus()) +
                      " — poll get_status.");
}

json LmdMcpTools::resume(const json& check) {
    if (!editor_)
        return noEditor();
    const std::string kind = check.is_object() ? check.value("kind", "") : "";
    if (kind == "input") {
        if (editor_->isSyntheticInputActive())
            return LmdMcpToolResult::waitResult(check, kMaxWaitSeconds);
        return textResult("Done: the input has played out. Status: " +
                          std::string(playStatusText(editor_->getPlayStatus())) + ", game time " +
                          LmdMcpArgs::formatNumber(editor_->getGameState().gameTime) + " s.");
    }
    if (kind == "span") {
        if (editor_->isSpanRunning())
            return LmdMcpToolResult::waitResult(check, kMaxWaitSeconds);
        return textResult("The span has played. Status: " + std::string(playStatusText(editor_->getPlayStatus())) +
                          ", game time " + LmdMcpArgs::formatNumber(editor_->getGameState().gameTime) +
                          " s. Read the state with get_scene_info; run_game runSeconds again to step on.");
    }
    return errorResult("Nothing to wait for.");
}

json LmdMcpTools::stopGame() {
    if (!editor_)
        return noEditor();
    editor_->stop();
    return textResult(std::string("Stop requested (asynchronous). Status: ") + playStatusText(editor_->getPlayStatus()) +
                      " — poll get_status.");
}

json LmdMcpTools::getStatus() {
    if (!editor_)
        return noEditor();
    float width = 0.0f, height = 0.0f;
    editor_->getWindowSize(width, height);
    const LmdMcpEditorAccess::GameState state = editor_->getGameState();
    json status = {
        {"playStatus", playStatusText(editor_->getPlayStatus())},
        {"projectName", editor_->getProjectName()},
        {"resourceId", editor_->getResourceId()},
        {"revision", revisionOf(currentXmlWithIds())},
        {"inputActive", editor_->isSyntheticInputActive()},
        {"windowWidth", static_cast<int>(width)},
        {"windowHeight", static_cast<int>(height)},
        {"lastLogId", logs_ ? logs_->lastId() : 0},
        {"level", state.level},
        {"audioDeviceOpen", state.audioDeviceOpen},
    };
    return textResult(status.dump(2));
}

json LmdMcpTools::getLogs(const json& arguments) const {
    const long long sinceId = LmdMcpArgs::getInt(arguments, "sinceId", 0);
    const long long maxLines = LmdMcpArgs::getInt(arguments, "maxLines", 200);
    LmdLogRingBuffer::Level level = LmdLogRingBuffer::Level::Normal;
    if (!LmdLogRingBuffer::levelFromName(LmdMcpArgs::getString(arguments, "minLevel", "normal"), level))
        level = LmdLogRingBuffer::Level::Normal;

    std::vector<LmdLogRingBuffer::Line> lines;
    std::uint64_t lastId = 0;
    if (logs_) {
        lines = logs_->snapshot(static_cast<std::uint64_t>(std::max<long long>(sinceId, 0)),
                                static_cast<std::uint64_t>(std::max<long long>(maxLines, 0)), level);
        lastId = logs_->lastId();
    }
    std::string text = "lastLogId: " + std::to_string(lastId) + "  (pass as sinceId next time)\n";
    if (lines.empty())
        text += "(no matching log lines)";
    for (const LmdLogRingBuffer::Line& line : lines)
        text += "[" + std::to_string(line.id) + "][" + LmdLogRingBuffer::levelName(line.level) + "] " + line.text + "\n";
    return textResult(text);
}

json LmdMcpTools::getScreenshot(const json& arguments) {
    if (!editor_)
        return noEditor();
    const int width = clampInt(LmdMcpArgs::getInt(arguments, "width", 1280), 64, 2048);
    const int height = clampInt(LmdMcpArgs::getInt(arguments, "height", 800), 64, 2048);
    const json* eye = LmdMcpArgs::find(arguments, "cameraPosition");
    const json* target = LmdMcpArgs::find(arguments, "lookAt");
    if ((eye != nullptr) != (target != nullptr))
        return errorResult(
            "Provide both 'cameraPosition' and 'lookAt' together, or neither (to use the live editor camera).");
    const bool overlay = LmdMcpArgs::getBool(arguments, "includeOverlay", false);
    if (overlay && eye)
        return errorResult("includeOverlay captures the live window and can't be combined with a custom "
                           "cameraPosition/lookAt. Use one or the other.");
    std::vector<unsigned char> jpeg;
    if (overlay)
        jpeg = editor_->captureWindowContents(width, height);
    else if (eye)
        jpeg = editor_->captureSceneFromView(width, height, readPoint(*eye), readPoint(*target));
    else
        jpeg = editor_->captureSceneThumbnail(width, height);
    if (jpeg.empty())
        return errorResult("Screenshot capture failed — the render window is not available.");
    return imageResult(jpeg);
}

json LmdMcpTools::getSceneInfo() {
    if (!editor_)
        return noEditor();
    const std::vector<LmdMcpEditorAccess::SceneObject> objects = editor_->getSceneObjects();
    const LmdMcpEditorAccess::GameState state = editor_->getGameState();
    json list = json::array();
    for (const LmdMcpEditorAccess::SceneObject& object : objects)
        list.push_back(objectEntry(object));
    json elements = json::array();
    for (const LmdMcpEditorAccess::ScreenElement& element : state.elements)
        elements.push_back(elementEntry(element));
    json info = {{"playStatus", playStatusText(editor_->getPlayStatus())},
                 {"objectCount", objects.size()},
                 {"objects", std::move(list)},
                 {"level", state.level},
                 {"gameTime", rounded(state.gameTime)},
                 {"variables", variablesObject(state.variables)},
                 {"elements2D", std::move(elements)}};
    return textResult(info.dump(2));
}

json LmdMcpTools::selectObject(const json& arguments) {
    if (!editor_)
        return noEditor();
    const std::string id = LmdMcpArgs::getString(arguments, "id", "");
    if (id.size() < 2 || id[0] != 'n')
        return errorResult("id must be a node id from get_game_xml, e.g. n42");
    editor_->selectBlockByXmlId(std::atoi(id.c_str() + 1), true);
    return textResult("Selection requested for " + id + ".");
}

json LmdMcpTools::getDocumentation(const json& arguments) const {
    const std::string section = knowledgeSectionFor(LmdMcpArgs::getString(arguments, "section", ""));
    if (section.empty())
        return errorResult("Unknown section — use rules | schema | assets | protocol | examples | mcp.");
    const std::string text = knowledgeSection(section);
    if (text.empty())
        return errorResult("Documentation is unavailable (knowledge base missing from this build).");
    if (section == "examples")
        return getExamples(text, LmdMcpArgs::getString(arguments, "name", ""));
    return textResult(text);
}

json LmdMcpTools::getExamples(const std::string& text, const std::string& name) {
    const std::vector<AiKnowledgeBase::Example> examples = AiKnowledgeBase::parseExamples(text);
    if (examples.empty())
        return textResult(text);
    if (name.empty()) {
        std::string index = "Example games available (call get_documentation section:\"examples\" name:\"<Title>\" to "
                            "fetch one's full XML):\n";
        for (const AiKnowledgeBase::Example& example : examples)
            index += "- " + example.title + " — " + example.summary + "\n";
        return textResult(index);
    }
    std::string titles;
    for (const AiKnowledgeBase::Example& example : examples) {
        if (example.title == name)
            return textResult(example.text);
        titles += (titles.empty() ? "" : ", ") + example.title;
    }
    return errorResult("No example named \"" + name + "\". Available: " + titles + ".");
}

} // namespace Lumenda3D
