#include "blocks/Block.h"

#include <algorithm>

#include "base/LmdValueParser.h"
#include "engine/Lumenda3DEngine.h"
#include "engine/editing/LmdDocumentFindings.h"
#include "engine/editing/LmdSourceFiles.h"
#include "engine/events/LmdEvent.h"
#include "engine/schema/CodeSchema.h"

namespace Lumenda3D {

namespace {

template <class T>
T& forever() {
    return *new T();
}

} // namespace

std::unordered_map<int, std::shared_ptr<Block>>& Block::blocksById = forever<std::unordered_map<int, std::shared_ptr<Block>>>();
std::shared_ptr<Block>& Block::mainBlock = forever<std::shared_ptr<Block>>();
std::shared_ptr<Block>& Block::selectedBlock = forever<std::shared_ptr<Block>>();
std::shared_ptr<Block>& Block::mouseHoverBlock = forever<std::shared_ptr<Block>>();
std::shared_ptr<Block>& Block::pressedBlock = forever<std::shared_ptr<Block>>();
std::shared_ptr<Block>& Block::dragSource = forever<std::shared_ptr<Block>>();
std::shared_ptr<Block>& Block::dragTarget = forever<std::shared_ptr<Block>>();
Workflow* Block::workflow = nullptr;
std::string& Block::searchFilter = forever<std::string>();
bool Block::showOnlyChanges = false;
bool Block::hasAiChanges = false;
std::vector<std::function<void(std::shared_ptr<Block>, std::shared_ptr<Block>)>>& Block::dragDropDelegate =
    forever<std::vector<std::function<void(std::shared_ptr<Block>, std::shared_ptr<Block>)>>>();
LmdSourceFiles* Block::sourceFiles = nullptr;
const CodeSchema* Block::schema = nullptr;
const LmdDocumentFindings* Block::documentFindings = nullptr;
int Block::layoutGeneration = 0;
std::function<void(int)>& Block::onSelected = *new std::function<void(int)>([](int xmlId) {
    if (Lumenda3DEngine* engine = Lumenda3DEngine::getEngine())
        engine->fireEvents(LmdEventBlockSelected, std::make_shared<LmdBlockSelectedEvent>(xmlId));
});

namespace {

std::unordered_map<std::string, ImVec4>& categoryColors() {
    static std::unordered_map<std::string, ImVec4> colors;
    return colors;
}

} // namespace

Block::Block(std::string name, ImVec4 color, pugi::xml_node xmlNode, const std::shared_ptr<Block>& parent,
             bool isDragCopy)
    : name_(std::move(name)), color_(color), xmlNode_(xmlNode), parent_(parent), isDragCopy_(isDragCopy) {
    xmlId_ = xmlNode_.attribute("id").as_int(-1);
    readCommand();
}

Block::~Block() {
    // Children go with their parent; only the registration is undone here (the map holds shared
    // pointers, so a registered block is never destroyed before clear() took it out).
    for (auto& child : children_)
        child->clear();
}

void Block::readCommand() {
    showAttributes_ = true;
    image_.clear();
    if (!schema)
        return;
    const pugi::xml_node command = schema->getCommand(name_);
    if (!command)
        return;
    if (pugi::xml_attribute show = command.attribute("showAttributes"))
        showAttributes_ = show.as_bool(true);
    image_ = command.attribute("image").value();
    if (image_.empty())
        image_ = categoryIcon(command.attribute("category").value());
}

std::string Block::categoryIcon(const std::string& category) {
    static const std::unordered_map<std::string, std::string> icons = {
        {"Scene", "scene.png"},   {"3D Models", "models3d.png"}, {"2D Models", "models2d.png"},
        {"Light", "light.png"},   {"Looks", "looks.png"},         {"Motion", "motion.png"},
        {"Sound", "sound.png"},   {"Events", "events.png"},       {"Logic", "logic.png"},
        {"Variables", "variables.png"}, {"Functions", "functions.png"}, {"Game", "game.png"},
    };
    auto it = icons.find(category);
    return it == icons.end() ? "" : it->second;
}

void Block::init() {
    if (!getParent() && !isDragCopy_ && !mainBlock) {
        isMainBlock_ = true;
        mainBlock = shared_from_this();
        blocksById.reserve(1000);
    }
    collapsed_ = xmlNode_.attribute("isCollapse").as_bool(false);
    collapseInXml_ = collapsed_;
    registerId();
}

void Block::registerId() {
    if (isDragCopy_ || xmlId_ == -1)
        return;
    blocksById[xmlId_] = shared_from_this();
    registered_ = true;
}

void Block::updateId() {
    const int id = xmlNode_.attribute("id").as_int(-1);
    if (id == xmlId_ && (registered_ || id == -1 || isDragCopy_))
        return;
    if (registered_) {
        auto it = blocksById.find(xmlId_);
        if (it != blocksById.end() && it->second.get() == this)
            blocksById.erase(it);
        registered_ = false;
    }
    xmlId_ = id;
    registerId();
}

void Block::syncXml() {
    updateId();
    // The blocks there are, by element.
    std::unordered_map<const void*, std::shared_ptr<Block>> existing;
    existing.reserve(children_.size());
    for (auto& child : children_)
        existing.emplace(child->xmlNode_.internal_object(), child);
    std::vector<std::shared_ptr<Block>> next;
    std::shared_ptr<Block> self = shared_from_this();
    for (pugi::xml_node child = xmlNode_.first_child(); child; child = child.next_sibling()) {
        if (child.type() != pugi::node_element)
            continue;
        auto it = existing.find(child.internal_object());
        if (it != existing.end()) {
            std::shared_ptr<Block> block = it->second;
            existing.erase(it);
            block->parent_ = self;
            block->syncCollapseFromXml();
            block->syncXml();
            next.push_back(block);
            continue;
        }
        auto block = std::make_shared<Block>(child.name(), getBlockColor(child.name()), child, self, false);
        block->init();
        block->loadXml(child);
        next.push_back(block);
    }
    for (auto& gone : existing)
        gone.second->clear();
    children_ = std::move(next);
    ++layoutGeneration;
}

void Block::loadXml(pugi::xml_node node) {
    xmlNode_ = node;
    alive_ = true;
    if (isMainBlock_) {
        for (auto& child : children_)
            child->clear();
        children_.clear();
        hasAiChanges = false;
        updateId();
    } else if (!hasAiChanges && aiChangeBorderType() != 0) {
        hasAiChanges = true;
    }
    std::shared_ptr<Block> self = shared_from_this();
    for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling()) {
        if (child.type() != pugi::node_element)
            continue;
        auto block = std::make_shared<Block>(child.name(), getBlockColor(child.name()), child, self, false);
        block->init();
        children_.push_back(block);
        block->loadXml(child);
    }
    ++layoutGeneration;
}

void Block::clear() {
    alive_ = false;
    if (registered_) {
        auto it = blocksById.find(xmlId_);
        if (it != blocksById.end() && it->second.get() == this)
            blocksById.erase(it);
        registered_ = false;
    }
    for (auto& child : children_)
        child->clear();
    children_.clear();
    ++layoutGeneration;
}

void Block::recalcSize() {
    ++layoutGeneration;
}

std::shared_ptr<Block> Block::copyBlock() const {
    auto copy = std::make_shared<Block>(name_, color_, xmlNode_, getParent(), isDragCopy_);
    copy->init();
    copy->displayCaption_ = displayCaption_;
    for (const auto& child : children_) {
        std::shared_ptr<Block> childCopy = child->copyBlock();
        childCopy->parent_ = copy;
        copy->children_.push_back(childCopy);
    }
    return copy;
}

void Block::setCollapsed(bool collapsed) {
    if (collapsed_ != collapsed) {
        collapsed_ = collapsed;
        ++layoutGeneration;
    }
}

void Block::syncCollapseFromXml() {
    const bool inXml = xmlNode_.attribute("isCollapse").as_bool(false);
    if (inXml != collapseInXml_) {
        collapseInXml_ = inXml;
        setCollapsed(inXml);
    }
}

bool Block::isChildOf(const std::shared_ptr<Block>& other) const {
    if (!other)
        return false;
    for (std::shared_ptr<Block> up = getParent(); up; up = up->getParent())
        if (up == other)
            return true;
    return false;
}

bool Block::isAlive() const {
    // A block whose element left the document (a removal, a reload) was cleared by the tree; its
    // handle may point into a document that no longer exists, so it is never read then.
    return alive_ && xmlNode_;
}

int Block::indexInParent() const {
    std::shared_ptr<Block> parent = getParent();
    if (!parent)
        return -1;
    const auto& siblings = parent->children_;
    for (size_t i = 0; i < siblings.size(); ++i)
        if (siblings[i].get() == this)
            return static_cast<int>(i);
    return -1;
}

bool Block::wasDrawnThisFrame() const {
    return ImGui::GetCurrentContext() && lastDrawnFrame == ImGui::GetFrameCount();
}

ImVec4 Block::getBlockColor(const std::string& name) {
    if (name == "Set" || name == "Var" || name == "Increment")
        return ImVec4(1.0f, 0.0f, 0.0f, 1.0f);
    if (name == "Loop")
        return ImVec4(1.0f, 1.0f, 0.0f, 1.0f);
    const ImVec4 grey(0.7f, 0.7f, 0.6f, 1.0f);
    if (name.size() < 2)
        return grey;
    if (name.find("If") != std::string::npos)
        return ImVec4(0.0f, 1.0f, 0.0f, 1.0f);
    if (name.find("Comment") != std::string::npos)
        return ImVec4(0.0f, 0.6f, 0.0f, 1.0f);
    auto it = categoryColors().find(name);
    return it != categoryColors().end() ? it->second : grey;
}

void Block::setCategoryColors(std::unordered_map<std::string, ImVec4> colors) {
    categoryColors() = std::move(colors);
}

std::shared_ptr<Block> Block::getBlockById(int xmlId) {
    auto it = blocksById.find(xmlId);
    return it == blocksById.end() ? nullptr : it->second;
}

int Block::aiChangeBorderType() const {
    const char* change = xmlNode_.attribute("_aiChange").value();
    if (std::string_view(change) == "added")
        return kBorderAiAdded;
    if (std::string_view(change) == "updated")
        return kBorderAiUpdated;
    return kBorderNormal;
}

bool Block::matchesSearchFilter() const {
    return !searchFilter.empty() && matchesLoweredFilter(LmdValueParser::toLower(searchFilter));
}

bool Block::matchesLoweredFilter(const std::string& filter) const {
    if (filter.empty())
        return false;
    auto holds = [&filter](const char* text) { return LmdValueParser::toLower(text).find(filter) != std::string::npos; };
    if (holds(name_.c_str()))
        return true;
    for (pugi::xml_attribute a = xmlNode_.first_attribute(); a; a = a.next_attribute())
        if (holds(a.name()))
            return true;
    for (pugi::xml_attribute a = xmlNode_.first_attribute(); a; a = a.next_attribute())
        if (holds(a.value()))
            return true;
    return false;
}

bool Block::matchesSearchFilterRecursive() const {
    if (matchesSearchFilter())
        return true;
    for (const auto& child : children_)
        if (child->matchesSearchFilterRecursive())
            return true;
    return false;
}

bool Block::matchesChangeFilterRecursive() const {
    if (matchesChangeFilter())
        return true;
    for (const auto& child : children_)
        if (child->matchesChangeFilterRecursive())
            return true;
    return false;
}

bool Block::addChildBlock(std::shared_ptr<Block> child, int index, bool skipXml) {
    // `child` is held by value: the caller's reference may be into a list this call changes.
    if (!child || child.get() == this || isChildOf(child))
        return false;
    if (index < 0 || index > static_cast<int>(children_.size()))
        return false;
    std::shared_ptr<Block> oldParent = child->getParent();
    if (oldParent) {
        const int oldIndex = oldParent.get() == this ? child->indexInParent() : -1;
        oldParent->removeChildBlock(child);
        // Within one parent, moving down: the removal shifted what follows by one.
        if (oldIndex >= 0 && oldIndex < index)
            --index;
    }
    index = std::min(index, static_cast<int>(children_.size()));
    children_.insert(children_.begin() + index, child);
    child->parent_ = shared_from_this();
    if (!skipXml)
        insertNodeAtIndex(child->xmlNode_, index);
    ++layoutGeneration;
    return true;
}

bool Block::removeChildBlock(std::shared_ptr<Block> child) {
    auto it = std::find(children_.begin(), children_.end(), child);
    if (it != children_.end()) {
        children_.erase(it);
        ++layoutGeneration;
        return true;
    }
    for (auto& each : children_)
        if (each->removeChildBlock(child))
            return true;
    return false;
}

bool Block::removeFromParent() {
    std::shared_ptr<Block> parent = getParent();
    return parent ? parent->removeChildBlock(shared_from_this()) : false;
}

void Block::insertNodeAtIndex(const pugi::xml_node& node, int index) {
    if (sourceFiles)
        moveNodeToIndex(*sourceFiles, xmlNode_, node, index);
}

void Block::moveNodeToIndex(LmdSourceFiles& files, const pugi::xml_node& parent, const pugi::xml_node& node,
                            int index) {
    if (index <= 0) {
        files.prependMove(parent, node);
        return;
    }
    // The element before the place, counting elements only and not the moving one itself.
    int seen = 0;
    for (pugi::xml_node c = parent.first_child(); c; c = c.next_sibling()) {
        if (c.type() != pugi::node_element || c == node)
            continue;
        if (++seen == index) {
            files.insertMoveAfter(parent, node, c);
            return;
        }
    }
    files.appendMove(parent, node);
}

void Block::expandAncestors() {
    for (std::shared_ptr<Block> up = getParent(); up; up = up->getParent())
        up->setCollapsed(false);
}

void Block::selectBlock() {
    if (selectedBlock.get() == this)
        return;
    selectedBlock = shared_from_this();
    if (xmlId_ != -1 && !isDragCopy_ && !isMainBlock_ && onSelected)
        onSelected(xmlId_);
}

bool Block::hasFindings() const {
    return documentFindings && xmlId_ > 0 && documentFindings->forNode(xmlId_);
}

std::string Block::findingsText() const {
    std::string text;
    if (!documentFindings || xmlId_ <= 0)
        return text;
    if (const auto* findings = documentFindings->forNode(xmlId_))
        for (const LmdDocumentFindings::Finding* finding : *findings)
            text += (text.empty() ? "" : "\n") + finding->text;
    return text;
}

} // namespace Lumenda3D
