#pragma once
// The base of every input and picker of the attribute panel, and the one road from a widget to
// the document and the running game: setValueAndUpdateLua writes the document through the
// document service (which records the undo step and folds a typing run into one), then tells the
// live scene at once, or after the attribute's "updateInterval" of quiet (a debounce: the newest
// value wins and each edit pushes the time on), as the attribute's definition says.
#include <functional>
#include <string>
#include <vector>

#include <pugixml.hpp>

#include "attributes/AttributeContext.h"

namespace Lumenda3D {

class LmdSourceFiles;

class AttributeRendererBase {
public:
    AttributeRendererBase() = default;
    virtual ~AttributeRendererBase() = default;
    AttributeRendererBase(const AttributeRendererBase&) = delete;
    AttributeRendererBase& operator=(const AttributeRendererBase&) = delete;

    // Draws the widget for attribute `name` of `node` (`attribute` may be empty) and writes what
    // the user changes.
    virtual void render(const std::string& name, pugi::xml_attribute attribute, pugi::xml_node& node,
                        const pugi::xml_node& definition) = 0;

    void setContext(AttributeContext* context);
    AttributeContext* getContext() const { return context_; }

    // Writes the value into the document and on to the live scene; `paramType` is used when the
    // definition has none. `onDone` runs once the value is on its way. Returns whether the live
    // scene took it (false when deferred, or without an engine, in which case nothing is written).
    bool setValueAndUpdateLua(const std::string& paramType, const std::string& name, pugi::xml_node& node,
                              const std::string& value, const pugi::xml_node& definition,
                              const std::function<void()>& onDone = {});
    // The live scene only, the document untouched: a preview.
    bool setLuaValue(const std::string& paramType, const std::string& name, pugi::xml_node& node,
                     const std::string& value);
    // Removes the attribute from the document (an undo step); the live scene keeps its value.
    void removeValue(pugi::xml_node& node, const std::string& name);
    void storeDeferredUpdate(int xmlId, const std::string& name, const std::string& value,
                             const std::string& paramType, int intervalMs);

    // The node's value; for a missing attribute its "default", which is what the game reads. The
    // default is not written into the element.
    static std::string getAttributeValue(pugi::xml_node& node, const std::string& name,
                                         const pugi::xml_node& definition);
    // "0" for boolean and int attributes, otherwise "".
    static std::string getEmptyValueByType(const pugi::xml_node& definition);
    static std::vector<std::string> splitValues(const std::string& text);
    // The widget id of an attribute of a node: unique in the panel, stable across frames.
    static std::string widgetId(const std::string& name, const pugi::xml_node& node);

protected:
    // Ctrl+Z, Ctrl+Y and Ctrl+Shift+Z in the active field `label` are the document's undo and
    // redo, not the field's: asks the panel for the command and lets the field go.
    void takeUndoKeys(const std::string& label);
    // A one-line field of at most 255 bytes of the value. A change writes the text through
    // setValueAndUpdateLua, or removes the attribute when the field is emptied. A text that the
    // game language refuses for the attribute (see refusal) is not written: the document keeps
    // its value and the reason is kept for drawFieldError. Returns whether the text changed.
    bool attributeInputText(const std::string& name, pugi::xml_node& node, const std::string& value,
                            const pugi::xml_node& definition, const std::string& paramType);
    // A four-line editor over one shared 64 KB buffer; longer values are shown as too large.
    bool attributeInputTextMultiline(const std::string& name, pugi::xml_node& node, const std::string& value,
                                     const pugi::xml_node& definition, const std::string& paramType);
    // Why the game language refuses `text` as the attribute's value, in its own words, followed by
    // the value kept; empty when the text suits (or without a schema).
    std::string refusal(const pugi::xml_node& node, const std::string& name, const pugi::xml_node& definition,
                        const std::string& text, const std::string& kept) const;
    // The last item under `label` for synthetic input.
    void record(const std::string& label) const;
    // Draws the reason the field `id` refused its text, if any.
    void drawFieldError(const std::string& id) const;

    AttributeContext* context_ = nullptr;
    LmdSourceFiles* sourceFiles_ = nullptr;
};

} // namespace Lumenda3D
