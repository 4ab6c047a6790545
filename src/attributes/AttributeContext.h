#pragma once
// What every renderer of the attribute panel shares: the engine whose live scene hears the edits,
// the node being edited, the table of values waiting for their debounce interval, and the
// panel's callbacks for pickers that create or select blocks. The panel owns one.
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <unordered_map>

#include <pugixml.hpp>

namespace Lumenda3D {

class CodeSchema;
class Lumenda3DEngine;

// The editor's commands a field may ask for.
constexpr const char* kUndoCommand = "edit.undo";
constexpr const char* kRedoCommand = "edit.redo";

// A value that the document already holds and the live scene gets once `commitTime` has passed.
struct PendingAttributeUpdate {
    int32_t xmlId = 0;
    std::string name;
    std::string value;
    std::string paramType;
    std::chrono::steady_clock::time_point commitTime;
};

// Keyed by "<xmlId>_<name>": at most one entry per attribute of one node.
using PendingAttributeUpdates = std::unordered_map<std::string, PendingAttributeUpdate>;

struct AttributeContext {
    // Null when there is no engine: every edit then does nothing.
    Lumenda3DEngine* engine = nullptr;
    // The game language; a text it refuses for an attribute is not written. May be null.
    const CodeSchema* schema = nullptr;
    pugi::xml_node* currentNode = nullptr;
    // Null disables deferral.
    PendingAttributeUpdates* pendingUpdates = nullptr;
    // Creates a block (element name, attributes) and returns its "name"; may be empty.
    std::function<std::string(const std::string&, const std::map<std::string, std::string>&)> createBlock;
    std::function<void(int)> selectBlock;
    // Records the last ImGui item under its label, so that synthetic input and tests find the
    // panel's widgets; may be empty.
    std::function<void(const char* label)> recordItem;
    // A command of the editor that a field asked for while drawing (undo, redo); the panel runs
    // it once the frame's drawing is done, since it replaces the document under the widgets.
    std::string pendingCommand;
    // Why the text in a field was not written, by widget id, shown under the field until the
    // field holds a good value again.
    std::unordered_map<std::string, std::string> fieldErrors;
};

// The key of an attribute in the pending table.
std::string pendingUpdateKey(int xmlId, const std::string& name);

// Sends every entry whose time has come to the live scene and removes it; an entry whose node
// is gone from the document is removed without a call. Entries still in the future stay.
void commitPendingUpdates(AttributeContext& context, std::chrono::steady_clock::time_point now);

} // namespace Lumenda3D
