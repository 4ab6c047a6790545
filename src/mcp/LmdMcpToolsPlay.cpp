// The play and observation tools. All return at once; the state moves on over later frames, so
// each text tells the agent what to poll. get_logs and get_documentation touch only the log
// buffer and the knowledge base and run on the connection thread.
#include "mcp/LmdMcpTools.h"

#include <algorithm>
#include <cstdlib>

#include "engine/schema/AiKnowledgeBase.h"
#include "mcp/LmdLogRingBuffer.h"
#include "mcp/LmdMcpArgs.h"

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
} // namespace

json LmdMcpTools::runGame() {
    if (!editor_)
        return noEditor();
    if (editor_->getPlayStatus() == LmdMcpEditorAccess::Loading)
        return errorResult("The editor is busy loading a script — retry shortly.");
    editor_->play();
    return textResult(std::string("Play requested (asynchronous). Status: ") + playStatusText(editor_->getPlayStatus()) +
                      " — poll get_status.");
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
    json status = {
        {"playStatus", playStatusText(editor_->getPlayStatus())},
        {"projectName", editor_->getProjectName()},
        {"resourceId", editor_->getResourceId()},
        {"revision", revisionOf(currentXmlWithIds())},
        {"inputActive", editor_->isSyntheticInputActive()},
        {"windowWidth", static_cast<int>(width)},
        {"windowHeight", static_cast<int>(height)},
        {"lastLogId", logs_ ? logs_->lastId() : 0},
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
    json list = json::array();
    for (const LmdMcpEditorAccess::SceneObject& object : objects) {
        json entry = {{"id", std::to_string(object.xmlId)}, {"name", object.name}};
        if (object.hasNode)
            entry["position"] = {object.position.x, object.position.y, object.position.z};
        list.push_back(std::move(entry));
    }
    json info = {{"playStatus", playStatusText(editor_->getPlayStatus())},
                 {"objectCount", objects.size()},
                 {"objects", std::move(list)}};
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
