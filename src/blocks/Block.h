#pragma once
// One element of the game document shown as a nested, coloured box. A block holds a handle to its
// element and never owns document data: it reads attributes from the element when it is measured
// and drawn, and writes only through the document service, so that undo and auto-save see every
// change. A tree of blocks can be thrown away and rebuilt from the document at any moment.
//
// The tree's root, the main block, stands for the document's top element and draws no box.
// Selection, hover, press and drag state are class-wide, since one tree is shown at a time.
//
// Layout is not computed while drawing: BlockLayout measures and places the whole tree once and
// caches sizes and positions in the blocks, so that a frame only draws the blocks on screen.
//
// Main thread only.
#include <imgui.h>

#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include <pugixml.hpp>

namespace Lumenda3D {

class CodeSchema;
class LmdDocumentFindings;
class LmdSourceFiles;
class Workflow;

class Block : public std::enable_shared_from_this<Block> {
public:
    // Border states: what the frame of a block shows.
    enum BorderState { kBorderNormal = 0, kBorderHighlight = 1, kBorderAiAdded = 2, kBorderAiUpdated = 3 };

    Block(std::string name, ImVec4 color, pugi::xml_node xmlNode, const std::shared_ptr<Block>& parent,
          bool isDragCopy = false);
    ~Block();
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;

    // Registers the block by its id and, for the first parentless real block, makes it the main
    // block. Must run once after construction, on a block held by a shared pointer.
    void init();
    // Builds the children from the element's child elements, recursively (the main block first
    // drops what it had).
    void loadXml(pugi::xml_node node);
    // Brings the children in line with the element's child elements after a structural edit:
    // blocks of elements still there are kept (with their state), new elements get blocks,
    // removed ones lose theirs; recursively. Ids are read again.
    void syncXml();
    // Unregisters the block and its subtree and drops the children.
    void clear();
    // Asks for the tree's layout to be computed again before the next drawing.
    static void recalcSize();
    // The caption shown in place of the element name (palette previews).
    void setDisplayCaption(std::string caption) { displayCaption_ = std::move(caption); }
    // A deep copy that shares the elements (the drag copy).
    std::shared_ptr<Block> copyBlock() const;

    // --- Queries --------------------------------------------------------------------------------
    const std::string& getName() const { return name_; }
    const std::string& getCaption() const { return displayCaption_.empty() ? name_ : displayCaption_; }
    pugi::xml_node getXmlNode() const { return xmlNode_; }
    int getXmlId() const { return xmlId_; }
    const std::vector<std::shared_ptr<Block>>& getChilds() const { return children_; }
    std::shared_ptr<Block> getParent() const { return parent_.lock(); }
    ImVec4 getColor() const { return color_; }
    const std::string& getImage() const { return image_; }
    bool getShowAttributes() const { return showAttributes_; }
    bool isMainBlock() const { return isMainBlock_; }
    bool isDragCopy() const { return isDragCopy_; }
    bool isCollapsed() const { return collapsed_; }
    // In memory only; the collapse button writes "isCollapse" itself.
    void setCollapsed(bool collapsed);
    // Follows a change of the element's "isCollapse" (an undo, an agent's edit); a block opened in
    // memory stays open while the attribute does not change.
    void syncCollapseFromXml();
    // Whether `other` is an ancestor of this block (the block itself is not).
    bool isChildOf(const std::shared_ptr<Block>& other) const;
    // Whether the element is still part of a live document (it may have gone in a reload).
    bool isAlive() const;
    // This block's index among its parent's children; -1 without a parent.
    int indexInParent() const;

    // The colour of a block of this element name: a few logic names have fixed colours, the rest
    // take the colour of their schema category (see setCategoryColors), else a neutral grey.
    static ImVec4 getBlockColor(const std::string& name);
    // Element name -> its category colour, from the schema; set once by the panel that reads it.
    static void setCategoryColors(std::unordered_map<std::string, ImVec4> colors);
    static std::shared_ptr<Block> getBlockById(int xmlId);
    // The icon of a palette category ("" for none): a command without an image of its own shows
    // its category's.
    static std::string categoryIcon(const std::string& category);

    // --- Search and the assistant's changes --------------------------------------------------
    // 2 for "_aiChange" = "added", 3 for "updated", else 0.
    int aiChangeBorderType() const;
    // Whether the name, an attribute name or an attribute value contains the search text,
    // ignoring case; an empty search matches nothing.
    bool matchesSearchFilter() const;
    // The same test with a filter already in lower case (for passes over the whole tree).
    bool matchesLoweredFilter(const std::string& loweredFilter) const;
    bool matchesSearchFilterRecursive() const;
    bool matchesChangeFilter() const { return aiChangeBorderType() != 0; }
    bool matchesChangeFilterRecursive() const;

    // --- Tree edits ---------------------------------------------------------------------------
    // Moves or inserts `child` at `index` of this block's children and, unless skipXml, moves its
    // element in the document to match. False, with nothing changed, for an empty child, a child
    // that is this block or one of its ancestors, or an index outside 0..child count.
    bool addChildBlock(std::shared_ptr<Block> child, int index, bool skipXml);
    // Removes `child` from this block's subtree (the tree only); true when it was found.
    bool removeChildBlock(std::shared_ptr<Block> child);
    bool removeFromParent();
    // Moves `node` to child position `index` of this block's element, through the document service.
    void insertNodeAtIndex(const pugi::xml_node& node, int index);
    // Moves `node` to element position `index` among the other children of `parent` (0: first,
    // past the end: last), through `files`.
    static void moveNodeToIndex(LmdSourceFiles& files, const pugi::xml_node& parent, const pugi::xml_node& node,
                                int index);
    // Opens every ancestor (in memory only).
    void expandAncestors();
    // Makes this block the selected one and tells the engine (event 19) when it has an id.
    void selectBlock();

    // --- Cached layout, written by BlockLayout ------------------------------------------------
    struct Layout {
        ImVec2 pos{0, 0};    // top left, relative to the tree's origin
        ImVec2 size{0, 0};   // the whole box, children included
        ImVec2 own{0, 0};    // what the block itself needs: caption, icon, attributes
        float header = 0;    // height above the first child
        int attributeRows = 0;
        int captionLines = 1;
        float iconHeight = 0;
        bool matchSelf = false, matchBelow = false;    // search
        bool changeSelf = false, changeBelow = false;  // the assistant's changes
        std::vector<Block*> shown;  // children shown, in order (the filters and collapse applied)
    };
    Layout layout;

    // Screen rectangle of the block in the frame it was last drawn, and that frame's number.
    ImVec2 windowPos{0, 0}, windowSize{0, 0};
    int lastDrawnFrame = -1;
    bool wasDrawnThisFrame() const;
    int borderState = kBorderNormal;

    // --- Class-wide state -----------------------------------------------------------------------
    // These live until the process ends (never destroyed), so that panels destroyed at exit, in
    // whatever order, still find them.
    static std::unordered_map<int, std::shared_ptr<Block>>& blocksById;
    static std::shared_ptr<Block>& mainBlock;
    static std::shared_ptr<Block>& selectedBlock;
    static std::shared_ptr<Block>& mouseHoverBlock;
    static std::shared_ptr<Block>& pressedBlock;
    static std::shared_ptr<Block>& dragSource;
    static std::shared_ptr<Block>& dragTarget;
    static Workflow* workflow;
    static std::string& searchFilter;
    static bool showOnlyChanges;
    static bool hasAiChanges;
    // Observers of a completed drop (dragged, target).
    static std::vector<std::function<void(std::shared_ptr<Block>, std::shared_ptr<Block>)>>& dragDropDelegate;
    // Where blocks write: the document service of the open game; null writes nothing.
    static LmdSourceFiles* sourceFiles;
    // The command schema the blocks read their icon and attribute display from; may be null.
    static const CodeSchema* schema;
    // Told the id of a block that was selected; by default the engine's event 19.
    static std::function<void(int xmlId)>& onSelected;
    // What the document check found in the open game (a warning mark on the blocks it names);
    // null shows no marks.
    static const LmdDocumentFindings* documentFindings;
    // The texts of the findings on this block's element, one per line; empty when it has none.
    std::string findingsText() const;
    bool hasFindings() const;
    // Bumped whenever something that the layout depends on changed.
    static int layoutGeneration;

private:
    void readCommand();
    void registerId();
    // Follows a new "id" of the element (a reload gives every element a fresh one).
    void updateId();

    std::string name_;
    std::string displayCaption_;
    std::string image_;
    ImVec4 color_;
    pugi::xml_node xmlNode_;
    std::weak_ptr<Block> parent_;
    std::vector<std::shared_ptr<Block>> children_;
    int xmlId_ = -1;
    bool showAttributes_ = true;
    bool isDragCopy_ = false;
    bool isMainBlock_ = false;
    bool collapsed_ = false;
    bool collapseInXml_ = false;  // "isCollapse" as last read
    bool registered_ = false;
    bool alive_ = true;  // false once cleared: its element left the tree
};

} // namespace Lumenda3D
