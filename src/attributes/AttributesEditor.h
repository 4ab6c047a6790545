#pragma once
// The attribute panel: the selected block's attributes, as the schema defines them for its
// element, grouped (collapsing headers, ordered by the schema's group priority), filtered by the
// search box and by each definition's "hidden" and "showWhen", each drawn by a renderer chosen
// from its definition (by type, by attribute name for a few pickers, or a list for "values").
// The panel has no form of its own for any element: a new attribute whose type reuses a known
// type name needs no code here.
//
// Every frame reads the values from the document, so that the gizmo's writes, an agent's edit
// or an undo show at once; the field being typed in keeps its text meanwhile, since ImGui holds
// it. The panel also runs the clock of debounced values (commitPendingUpdates).
//
// Main thread only; edits happen inside draw.
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include <pugixml.hpp>

#include "attributes/AttributeContext.h"
#include "attributes/AttributeLayout.h"
#include "attributes/AttributeRendererBase.h"
#include "base/LmdSignal.h"
#include "ui/BaseUI.h"

namespace Lumenda3D {

class Block;
class CodeSchema;
class LmdDocumentFindings;
class Lumenda3DEngine;

class AttributesEditor : public BaseUI {
public:
    // Its slot in AllUI.
    static constexpr const char* kName = "attributesEditor";
    static constexpr const char* kSearchId = "##attributeSearch";
    static constexpr const char* kClearSearch = "X##attributeSearchClear";

    AttributesEditor();
    ~AttributesEditor() override;

    // Takes the process's engine and its schema when none were given.
    void init() override;
    void draw() override;

    // The engine whose document and live scene are edited, and the schema that defines the
    // attributes; for tests and hosts without the process engine.
    void setEngine(Lumenda3DEngine* engine);
    void setSchema(const CodeSchema* schema) {
        schema_ = schema;
        context_.schema = schema;
    }

    // What the document check found in the open game: shown beside the attribute each finding
    // names, or above the groups when it names none. init() takes the process's when none was
    // given; null shows none.
    void setFindings(const LmdDocumentFindings* findings) { findings_ = findings; }

    void open() { setIsWindowVisible(true); }
    void close() { setIsWindowVisible(false); }
    bool isVisible() const { return isWindowVisible_; }
    // Fires the open or close event (with the block's id, -1 without one) when the value changes.
    void setIsWindowVisible(bool visible);

    // Shows the block's attributes (hides the panel for none or a block without an element).
    // Selecting the block shown, with the panel open, changes nothing.
    void setBlock(std::shared_ptr<Block> block, bool switchTab);
    std::shared_ptr<Block> getBlock() const { return currentBlock_; }
    int getXmlId() const;
    pugi::xml_node getNode() const { return currentNode_; }

    void setCreateBlockCallback(
        std::function<std::string(const std::string&, const std::map<std::string, std::string>&)> callback);
    void setSelectBlockCallback(std::function<void(int)> callback);

    // The attributes of `node` without the panel's window, for other panels that host them.
    void renderAttributesForNode(pugi::xml_node& node);
    // Sends the debounced values whose time has come to the live scene.
    void commitPendingUpdates();
    const PendingAttributeUpdates& getPendingUpdates() const { return pendingUpdates_; }

    // The renderer that draws the attribute of this definition (never null).
    AttributeRendererBase* rendererFor(const pugi::xml_node& definition);
    // Registers a renderer for a type key (replacing one there); the panel owns it.
    void addRenderer(const std::string& type, std::unique_ptr<AttributeRendererBase> renderer);
    void addNamedRenderer(const std::string& name, std::unique_ptr<AttributeRendererBase> renderer);

    // Why the field of attribute `name` refused its text; empty when it did not.
    std::string getFieldError(const std::string& name) const {
        const auto found = context_.fieldErrors.find(name);
        return found == context_.fieldErrors.end() ? std::string() : found->second;
    }

    const std::string& getSearch() const { return search_; }
    void setSearch(const std::string& text) { search_ = text; }
    // Records the last ImGui item under its label (for the renderers; see BaseUI::getItemRect).
    void recordWidget(const char* label) { recordItem(label); }

private:
    void initializeRenderers();
    void renderSearchBox();
    void renderAllAttributesGrouped(const std::string& search);
    void renderGroup(const AttributeGroup& group);
    void renderPrefixMatchedAttributes(const std::string& group, const std::vector<pugi::xml_node>& definitions);
    void renderAttributeInTable(const pugi::xml_node& definition);
    // The findings on the shown element that name no attribute, or only `attribute`'s.
    void renderFindings(const std::string* attribute);
    // Runs the editor command a field asked for during the frame (see AttributeContext).
    void runPendingCommand();
    // Finds the node of the shown block again after the document changed under it.
    void followDocument();

    Lumenda3DEngine* engine_ = nullptr;
    const CodeSchema* schema_ = nullptr;
    const LmdDocumentFindings* findings_ = nullptr;
    bool isWindowVisible_ = false;
    std::shared_ptr<Block> currentBlock_;
    int currentXmlId_ = -1;
    pugi::xml_node currentNode_;
    std::string search_;
    std::unordered_map<std::string, std::unique_ptr<AttributeRendererBase>> renderers_;
    std::unordered_map<std::string, std::unique_ptr<AttributeRendererBase>> namedPickers_;
    PendingAttributeUpdates pendingUpdates_;
    AttributeContext context_;
    // The shown element's place in the document (child indexes from the top element), so that
    // the panel finds it again when an undo or an agent's edit replaces the document.
    std::vector<size_t> nodePath_;
    std::string nodeName_;
    // Set when the document was replaced: the node handle is then dead until found again.
    bool replaced_ = false;
    // Scopes the widgets' ids to the shown element; bumped when another element is shown.
    int blockSerial_ = 0;
    LmdSubscription changes_;
};

} // namespace Lumenda3D
