// send_input: validates the arguments, clamps them into range and queues the input with the
// engine, which plays it out over real frames. The tool returns at once and the agent polls
// get_status until inputActive is false, or, with wait, the tool answers once it is.
#include "mcp/LmdMcpTools.h"

#include <algorithm>
#include <cmath>

#include "mcp/LmdMcpArgs.h"
#include "mcp/LmdMcpToolResult.h"

namespace Lumenda3D {
namespace {
using json = nlohmann::json;

const char* const kQueuedText = "Queued. Poll get_status for inputActive:false before the next action or a screenshot.";

float clampNumber(const json& args, const char* key, double fallback, double low, double high) {
    double value = LmdMcpArgs::getNumber(args, key, fallback);
    if (std::isnan(value))
        value = fallback;
    return static_cast<float>(std::min(std::max(value, low), high));
}

OgreBites::ButtonType buttonOf(const json& args) {
    const std::string word = LmdMcpArgs::getString(args, "button", "");
    if (word == "right")
        return OgreBites::BUTTON_RIGHT;
    if (word == "middle")
        return OgreBites::BUTTON_MIDDLE;
    return OgreBites::BUTTON_LEFT;
}

int intOf(const json& args, const char* key) {
    const long long v = LmdMcpArgs::getInt(args, key, 0);
    return static_cast<int>(std::min<long long>(std::max<long long>(v, -2000000000LL), 2000000000LL));
}
} // namespace

void LmdMcpTools::clampToWindow(int& x, int& y) const {
    float width = 0.0f, height = 0.0f;
    if (editor_)
        editor_->getWindowSize(width, height);
    const int maxX = width <= 1.0f ? 0 : static_cast<int>(width) - 1;
    const int maxY = height <= 1.0f ? 0 : static_cast<int>(height) - 1;
    x = std::min(std::max(x, 0), maxX);
    y = std::min(std::max(y, 0), maxY);
}

json LmdMcpTools::sendInput(const json& arguments) {
    if (!editor_)
        return noEditor();
    json result = queueInput(arguments);
    // With wait, the answer comes once the engine has played the input out.
    if (LmdMcpArgs::getBool(arguments, "wait", false) && !result.value("isError", false))
        return LmdMcpToolResult::waitResult({{"kind", "input"}}, kMaxWaitSeconds);
    return result;
}

json LmdMcpTools::queueInput(const json& arguments) {
    const std::string type = LmdMcpArgs::getString(arguments, "type", "");
    if (type == "keys")
        return sendInputKeys(arguments);
    if (type == "click")
        return sendInputClick(arguments);
    if (type == "drag")
        return sendInputDrag(arguments);
    if (type == "scroll")
        return sendInputScroll(arguments);
    if (type == "sequence")
        return sendInputSequence(arguments);
    return errorResult("Unknown send_input type — use keys | click | drag | scroll | sequence.");
}

json LmdMcpTools::sendInputKeys(const json& arguments) {
    std::vector<std::string> names;
    if (const json* keys = LmdMcpArgs::find(arguments, "keys"); keys && keys->is_array()) {
        for (const json& key : *keys) {
            if (key.is_string())
                names.push_back(key.get<std::string>());
        }
    }
    if (names.empty())
        return errorResult("send_input type 'keys' requires a non-empty 'keys' array.");
    std::string error;
    if (!editor_->queueSyntheticKeys(names, clampNumber(arguments, "holdSeconds", 0.1, 0.0, 10.0), error))
        return errorResult(error);
    return textResult(kQueuedText);
}

json LmdMcpTools::sendInputClick(const json& arguments) {
    if (!LmdMcpArgs::hasNumber(arguments, "x") || !LmdMcpArgs::hasNumber(arguments, "y"))
        return errorResult("send_input type 'click' requires 'x' and 'y' window pixels.");
    int x = intOf(arguments, "x"), y = intOf(arguments, "y");
    clampToWindow(x, y);
    std::string error;
    if (!editor_->queueSyntheticClick(x, y, buttonOf(arguments), clampNumber(arguments, "holdSeconds", 0.1, 0.0, 10.0),
                                      error))
        return errorResult(error);
    return textResult(kQueuedText);
}

json LmdMcpTools::sendInputDrag(const json& arguments) {
    for (const char* key : {"fromX", "fromY", "toX", "toY"}) {
        if (!LmdMcpArgs::hasNumber(arguments, key))
            return errorResult("send_input type 'drag' requires 'fromX', 'fromY', 'toX' and 'toY' window pixels.");
    }
    int fromX = intOf(arguments, "fromX"), fromY = intOf(arguments, "fromY");
    int toX = intOf(arguments, "toX"), toY = intOf(arguments, "toY");
    clampToWindow(fromX, fromY);
    clampToWindow(toX, toY);
    std::string error;
    if (!editor_->queueSyntheticDrag(fromX, fromY, toX, toY, buttonOf(arguments),
                                     clampNumber(arguments, "durationSeconds", 0.5, 0.05, 10.0), error))
        return errorResult(error);
    return textResult(kQueuedText);
}

json LmdMcpTools::sendInputScroll(const json& arguments) {
    if (!LmdMcpArgs::hasNumber(arguments, "x") || !LmdMcpArgs::hasNumber(arguments, "y"))
        return errorResult("send_input type 'scroll' requires 'x' and 'y' window pixels.");
    int x = intOf(arguments, "x"), y = intOf(arguments, "y");
    clampToWindow(x, y);
    std::string error;
    if (!editor_->queueSyntheticScroll(x, y, clampNumber(arguments, "amount", 0.0, -100.0, 100.0), error))
        return errorResult(error);
    return textResult(kQueuedText);
}

json LmdMcpTools::sendInputSequence(const json& arguments) {
    const json* steps = LmdMcpArgs::find(arguments, "steps");
    if (!steps || !steps->is_array() || steps->empty())
        return errorResult("send_input type 'sequence' requires a non-empty 'steps' array.");
    std::vector<LmdInputStep> parsed;
    parsed.reserve(steps->size());
    for (const json& step : *steps) {
        LmdInputStep out;
        std::string error;
        if (!parseSequenceStep(step, out, error))
            return errorResult(error); // all or nothing: nothing is queued
        parsed.push_back(std::move(out));
    }
    std::string error;
    if (!editor_->queueSyntheticSequence(parsed, error))
        return errorResult(error);
    return textResult(kQueuedText);
}

bool LmdMcpTools::parseSequenceStep(const json& step, LmdInputStep& out, std::string& error) const {
    const std::string op = LmdMcpArgs::getString(step, "op", "");
    out = LmdInputStep{};
    if (op == "move") {
        out.op = LmdInputStep::Move;
        out.x = intOf(step, "x");
        out.y = intOf(step, "y");
        clampToWindow(out.x, out.y);
        out.seconds = clampNumber(step, "seconds", 0.5, 0.0, 10.0);
    } else if (op == "down" || op == "up") {
        out.op = op == "down" ? LmdInputStep::Down : LmdInputStep::Up;
        out.button = buttonOf(step);
    } else if (op == "keyDown" || op == "keyUp") {
        out.op = op == "keyDown" ? LmdInputStep::KeyDown : LmdInputStep::KeyUp;
        out.key = LmdMcpArgs::getString(step, "key", "");
    } else if (op == "scroll") {
        out.op = LmdInputStep::Scroll;
        out.x = intOf(step, "x");
        out.y = intOf(step, "y");
        clampToWindow(out.x, out.y);
        out.amount = clampNumber(step, "amount", 0.0, -100.0, 100.0);
    } else if (op == "wait") {
        out.op = LmdInputStep::Wait;
        out.seconds = clampNumber(step, "seconds", 0.0, 0.0, 10.0);
    } else {
        error = "Unknown sequence step op '" + op + "' — use move | down | up | keyDown | keyUp | scroll | wait.";
        return false;
    }
    return true;
}

} // namespace Lumenda3D
