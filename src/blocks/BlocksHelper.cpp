#include "blocks/BlocksHelper.h"

#include <algorithm>
#include <limits>
#include <vector>

#include "base/LmdLog.h"
#include "base/LmdValueParser.h"
#include "base/XmlUtils.h"
#include "blocks/Block.h"
#include "blocks/BlockDefaultsTemplate.h"
#include "blocks/Workflow.h"
#include "engine/document/Lumenda3DUtils.h"
#include "engine/editing/LmdSourceFiles.h"
#include "engine/scene/LmdEulerHelper.h"
#include "engine/scene/ScriptParser.h"
#include "ui/AllUI.h"

namespace Lumenda3D {
namespace {

int elementIndexOf(const pugi::xml_node& node) {
    int index = 0;
    for (pugi::xml_node s = node.previous_sibling(); s; s = s.previous_sibling())
        if (s.type() == pugi::node_element)
            ++index;
    return index;
}

bool isElementOfDocument(const pugi::xml_node& node) {
    return node && node.type() == pugi::node_element;
}

} // namespace

Workflow* BlocksHelper::workflow() const {
    if (workflow_)
        return workflow_;
    return ui_ ? ui_->getPanel<Workflow>().get() : nullptr;
}

void BlocksHelper::error(const std::string& text) const {
    if (showError_)
        showError_(text);
}

std::string BlocksHelper::categoryOf(const pugi::xml_node& node) const {
    if (!node || !scriptParser_ || !scriptParser_->hasSchema())
        return "";
    return scriptParser_->getCodeSchema()->getCommandCategory(node.name());
}

bool BlocksHelper::is3DModelBlock(const pugi::xml_node& node) const {
    return is3DModelCategory(categoryOf(node));
}

bool BlocksHelper::is2DModelBlock(const pugi::xml_node& node) const {
    return is2DModelCategory(categoryOf(node));
}

bool BlocksHelper::isFreeBlockPosition(const pugi::xml_node& parent) {
    pugi::xml_document* document = getSourceXml_ ? getSourceXml_() : nullptr;
    if (document && parent == document->document_element())
        return true;
    if (!scriptParser_ || !scriptParser_->hasSchema())
        return false;
    return scriptParser_->getCodeSchema()->getCommand(parent.name()).attribute("freeChildPosition").as_bool(false);
}

Ogre::Vector3 BlocksHelper::getPositionOffset(const std::string& direction, bool is3D, const Ogre::Vector3& size) {
    if (direction == "Left")
        return Ogre::Vector3(-size.x, 0, 0);
    if (direction == "Right")
        return Ogre::Vector3(size.x, 0, 0);
    // The 2D scene has y pointing down.
    if (direction == "Up")
        return Ogre::Vector3(0, is3D ? size.y : -size.y, 0);
    if (direction == "Down")
        return Ogre::Vector3(0, is3D ? -size.y : size.y, 0);
    if (direction == "Forward")
        return is3D ? Ogre::Vector3(0, 0, -size.z) : Ogre::Vector3::ZERO;
    if (direction == "Backward")
        return is3D ? Ogre::Vector3(0, 0, size.z) : Ogre::Vector3::ZERO;
    return Ogre::Vector3::ZERO;
}

pugi::xml_node BlocksHelper::getParentNodeForAddObject(bool useSelected) {
    pugi::xml_document* document = getSourceXml_ ? getSourceXml_() : nullptr;
    if (!document)
        return pugi::xml_node();
    pugi::xml_node result;
    if (useSelected && getSelectedObjectId_) {
        const int id = getSelectedObjectId_();
        if (std::shared_ptr<Block> block = Block::getBlockById(id))
            result = block->getXmlNode();
    }
    const pugi::xml_node root = document->document_element();
    const std::string level = getCurLevel_ ? getCurLevel_() : "";
    if (!result && !level.empty())
        result = root.find_child_by_attribute("Level", "name", level.c_str());
    return result ? result : root;
}

void BlocksHelper::assignIdsRecursive(const pugi::xml_node& node) {
    if (!sourceFiles_ || !isElementOfDocument(node))
        return;
    sourceFiles_->setAttribute(node, "id", Lumenda3DUtils::getNextId());
    pugi::xml_node registered = node;
    if (registerXmlNode_)
        registerXmlNode_(registered);
    for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling())
        if (child.type() == pugi::node_element)
            assignIdsRecursive(child);
}

void BlocksHelper::runPartialSourceRecursive(pugi::xml_node& node, pugi::xml_node& parent) {
    // The engine builds an element together with everything below it: one call shows the whole
    // branch, parents before children (a call per child would build the children twice).
    if (runPartialSource_)
        runPartialSource_(node, parent);
}

void BlocksHelper::show(const pugi::xml_node& node, const pugi::xml_node& parent) {
    if (Workflow* tree = workflow())
        tree->addBlock(node, parent, pugi::xml_node());
}

// --- Creating from a schema command ---------------------------------------------------------------

pugi::xml_node BlocksHelper::createFromCommand(pugi::xml_node parent, const pugi::xml_node& command, bool place,
                                               ImVec2 screenPos) {
    if (!parent) {
        error("No parent node found");
        return pugi::xml_node();
    }
    if (!sourceFiles_ || !command)
        return pugi::xml_node();
    const std::string name = command.attribute("name").value();
    if (name.empty())
        return pugi::xml_node();
    pugi::xml_node node;
    {
        LmdSourceFiles::EditGroupScope group(*sourceFiles_);
        node = sourceFiles_->appendChild(parent, name.c_str());
        if (!node)
            return node;
        for (pugi::xml_node definition = command.first_child(); definition; definition = definition.next_sibling()) {
            if (definition.type() != pugi::node_element)
                continue;
            const char* attribute = definition.attribute("name").value();
            const char* value = definition.attribute("default").value();
            if (*attribute && *value)
                sourceFiles_->setAttribute(node, attribute, value);
        }
        sourceFiles_->setAttribute(node, "id", Lumenda3DUtils::getNextId());
        if (place && convert2DTo3D_) {
            const Ogre::Vector3 at = convert2DTo3D_(screenPos);
            sourceFiles_->setAttribute(node, "x", at.x);
            sourceFiles_->setAttribute(node, "y", at.y);
            sourceFiles_->setAttribute(node, "z", at.z);
        }
        if (registerXmlNode_)
            registerXmlNode_(node);
    }
    show(node, parent);
    runPartialSourceRecursive(node, parent);
    return node;
}

void BlocksHelper::addObject(const pugi::xml_node& command, ImVec2 screenPos, bool isChild) {
    if (!getSourceXml_ || !getSourceXml_())
        return;
    if (isChild && !(getSelectedObjectId_ && Block::getBlockById(getSelectedObjectId_()))) {
        LmdLog::message("addObject: resetting isChild to false because no selected object");
        isChild = false;
    }
    createFromCommand(getParentNodeForAddObject(isChild), command, !isChild, screenPos);
}

void BlocksHelper::onBlockAdd(const std::shared_ptr<Block>& block, const pugi::xml_node& command) {
    std::shared_ptr<Block> parentBlock = block ? block : Block::mainBlock;
    if (parentBlock && !parentBlock->isAlive())
        return;  // its element went away in a reload
    const pugi::xml_node parent = parentBlock ? parentBlock->getXmlNode() : pugi::xml_node();
    const bool place = parent && isFreeBlockPosition(parent) && getSceneCenterScreenPos_ && convert2DTo3D_;
    createFromCommand(parent, command, place, place ? getSceneCenterScreenPos_() : ImVec2(0, 0));
}

// --- Duplicate and copy ---------------------------------------------------------------------------

pugi::xml_node BlocksHelper::duplicateAfter(const pugi::xml_node& node) {
    // Through text, so that the copy is independent of the source.
    pugi::xml_document temporary;
    if (!temporary.load_string(XmlUtils::getXmlNodeString(node).c_str()) || !temporary.first_child())
        return pugi::xml_node();
    const pugi::xml_node copy = sourceFiles_->insertCopyAfter(node.parent(), temporary.first_child(), node);
    if (!copy)
        return copy;
    sourceFiles_->updateNodeGuid(copy, true);
    assignIdsRecursive(copy);
    return copy;
}

void BlocksHelper::onBlockDuplicate(const std::shared_ptr<Block>& block, const std::string& direction) {
    if (!block || !block->isAlive() || !sourceFiles_)
        return;
    pugi::xml_node node = block->getXmlNode();
    if (!node || !isElementOfDocument(node.parent()))
        return;  // the top element has nowhere to be copied to
    const bool is3D = is3DModelBlock(node);
    pugi::xml_node parent = node.parent();
    pugi::xml_node copy;
    {
        LmdSourceFiles::EditGroupScope group(*sourceFiles_);
        copy = duplicateAfter(node);
        if (!copy)
            return;
        if (direction != "Same" && direction != "Same Position") {
            Ogre::Vector3 size(50.0f, 50.0f, 1.0f);
            if (is3D) {
                size = Ogre::Vector3(1.0f, 1.0f, 1.0f);
                ModelBox box;
                if (getModelBox_ && getModelBox_(block->getXmlId(), box)) {
                    size = (box.boxMax - box.boxMin) * box.scale;
                    if (box.infinite)
                        size.z = std::numeric_limits<float>::infinity();
                }
            }
            const Ogre::Vector3 offset = getPositionOffset(direction, is3D, size);
            sourceFiles_->setAttribute(copy, "x", copy.attribute("x").as_float(0.0f) + offset.x);
            sourceFiles_->setAttribute(copy, "y", copy.attribute("y").as_float(0.0f) + offset.y);
            sourceFiles_->setAttribute(copy, "z", copy.attribute("z").as_float(0.0f) + offset.z);
        }
    }
    show(copy, parent);
    runPartialSourceRecursive(copy, parent);
}

void BlocksHelper::onBlockCopy(const std::shared_ptr<Block>& block, const Ogre::Vector3& direction, int count) {
    performCopyOperation(block, direction, count, false);
}

void BlocksHelper::onBlockSmartCopy(const std::shared_ptr<Block>& block, const Ogre::Vector3& direction, int count) {
    performCopyOperation(block, direction, count, true);
}

SmartCopy::Snapshot BlocksHelper::copyOnce(const pugi::xml_node& from, const SmartCopy::Snapshot& source,
                                           const ModelBox& box, const Ogre::Vector3& direction, bool smart,
                                           pugi::xml_node& copy) {
    static const char* const kPosition[3] = {"x", "y", "z"};
    static const char* const kPivot[3] = {"xAxis", "yAxis", "zAxis"};
    SmartCopy::Snapshot born;
    copy = duplicateAfter(from);
    if (!copy)
        return born;
    const Ogre::Vector3 pivot(from.attribute("xAxis").as_float(0.0f), from.attribute("yAxis").as_float(0.0f),
                              from.attribute("zAxis").as_float(0.0f));
    SmartCopy::Placement placement = SmartCopy::place(source, pivot, box.boxMin, box.boxMax, direction, smart);
    born.scale = source.scale;
    SmartCopy::Step step;
    if (smart) {
        if (smartCopy_.getAutoScale()) {
            born.scale.y = smartCopy_.autoScaleY(copy.attribute("scaleY").as_float(1.0f));
            sourceFiles_->setAttribute(copy, "scaleY", born.scale.y);
        }
        step = smartCopy_.applyStep(source, placement);
    }
    for (int axis = 0; axis < 3; ++axis) {
        if (placement.pivotWritten[axis])
            sourceFiles_->setAttribute(copy, kPivot[axis], placement.pivots[axis]);
        if (placement.written[axis])
            sourceFiles_->setAttribute(copy, kPosition[axis], placement.values[axis]);
    }
    born.orientation = source.orientation;
    if (step.applied) {
        // A learnt step replaces the auto scale's change: the copy repeats what the user did.
        float degrees[3];
        LmdEulerHelper::decomposeYXZ(step.orientation, degrees[0], degrees[1], degrees[2]);
        static const char* const kRotation[3] = {"rotationX", "rotationY", "rotationZ"};
        static const char* const kScale[3] = {"scaleX", "scaleY", "scaleZ"};
        static const char* const kOrientation[4] = {"orientationX", "orientationY", "orientationZ", "orientationW"};
        const float quaternion[4] = {step.orientation.x, step.orientation.y, step.orientation.z, step.orientation.w};
        for (int axis = 0; axis < 3; ++axis) {
            sourceFiles_->setAttribute(copy, kRotation[axis], degrees[axis]);
            sourceFiles_->setAttribute(copy, kScale[axis], step.scale[axis]);
        }
        for (int i = 0; i < 4; ++i)
            sourceFiles_->setAttribute(copy, kOrientation[i], quaternion[i]);
        born.orientation = step.orientation;
        born.scale = step.scale;
    }
    born.id = copy.attribute("id").as_int(-1);
    for (int axis = 0; axis < 3; ++axis)
        born.position[axis] = placement.written[axis] ? placement.values[axis] : source.position[axis];
    return born;
}

void BlocksHelper::performCopyOperation(const std::shared_ptr<Block>& block, const Ogre::Vector3& direction,
                                        int count, bool smart) {
    if (!block || !block->isAlive() || !sourceFiles_)
        return;
    const pugi::xml_node node = block->getXmlNode();
    if (!node || !isElementOfDocument(node.parent()))
        return;
    // The selection and gizmo events this copy causes must not end the session it belongs to.
    SmartCopy::SuppressReset suppress(smartCopy_);
    ModelBox box;
    if (!is3DModelBlock(node) || !getModelBox_ || !getModelBox_(block->getXmlId(), box) || box.infinite) {
        onBlockDuplicate(block, "Same");
        return;
    }
    SmartCopy::Snapshot source;
    source.id = block->getXmlId();
    source.position = box.position;
    source.scale = box.scale;
    source.orientation = box.orientation;
    // Each copy is made from the one before; the whole run is one undo step.
    pugi::xml_node parent = node.parent();
    std::vector<pugi::xml_node> copies;
    SmartCopy::Snapshot last;
    {
        LmdSourceFiles::EditGroupScope group(*sourceFiles_);
        pugi::xml_node from = node;
        for (int i = 0; i < std::max(1, count); ++i) {
            if (smart)
                smartCopy_.learn(source, direction);
            pugi::xml_node copy;
            const SmartCopy::Snapshot born = copyOnce(from, source, box, direction, smart, copy);
            if (!copy)
                break;
            smartCopy_.remember(born, direction);
            copies.push_back(copy);
            from = copy;
            source = born;
            last = born;
        }
    }
    for (pugi::xml_node& copy : copies) {
        show(copy, parent);
        runPartialSourceRecursive(copy, parent);
    }
    if (copies.empty())
        return;
    // The newest copy as the scene built it is what the user's later changes are measured from.
    ModelBox built;
    if (getModelBox_ && getModelBox_(last.id, built)) {
        last.position = built.position;
        last.scale = built.scale;
        last.orientation = built.orientation;
        smartCopy_.remember(last, direction);
    }
    if (std::shared_ptr<Block> newest = Block::getBlockById(last.id))
        newest->selectBlock();
}

bool BlocksHelper::copyBlock(const std::shared_ptr<Block>& block) {
    if (!block || !block->isAlive() || block->isMainBlock())
        return false;
    pugi::xml_document copy;
    if (!copy.load_string(XmlUtils::getXmlNodeString(block->getXmlNode()).c_str()) || !copy.first_child())
        return false;
    copied_.reset(copy);
    return true;
}

pugi::xml_node BlocksHelper::pasteBlock(const std::shared_ptr<Block>& target, bool asChild) {
    if (!hasCopiedBlock() || !sourceFiles_)
        return pugi::xml_node();
    if (target && !target->isAlive())
        return pugi::xml_node();
    pugi::xml_node parent, after;
    if (target && (asChild || !isElementOfDocument(target->getXmlNode().parent()))) {
        parent = target->getXmlNode();
    } else if (target) {
        parent = target->getXmlNode().parent();
        after = target->getXmlNode();
    } else {
        parent = getParentNodeForAddObject(false);
    }
    if (!parent) {
        error("No parent node found");
        return pugi::xml_node();
    }
    pugi::xml_node copy;
    {
        LmdSourceFiles::EditGroupScope group(*sourceFiles_);
        copy = after ? sourceFiles_->insertCopyAfter(parent, copied_.first_child(), after)
                     : sourceFiles_->appendCopy(parent, copied_.first_child());
        if (!copy) {
            error("Failed to paste the node");
            return copy;
        }
        sourceFiles_->updateNodeGuid(copy, true);
        assignIdsRecursive(copy);
    }
    show(copy, parent);
    runPartialSourceRecursive(copy, parent);
    return copy;
}

// --- Delete ---------------------------------------------------------------------------------------

void BlocksHelper::onBlockDelete(const std::shared_ptr<Block>& block) {
    if (!block)
        return;
    // A block whose element went away in a reload has nothing left to delete.
    if (!block->isAlive())
        return;
    deleteObject(block->getXmlNode());
}

void BlocksHelper::deleteObject(const pugi::xml_node& node) {
    if (!node) {
        error("No node found");
        return;
    }
    const pugi::xml_node parent = node.parent();
    if (!isElementOfDocument(parent)) {
        error("No parent node found");
        return;
    }
    // Selection and gizmo let go first, and the attribute panel commits, before the element goes.
    if (gizmoDetach_)
        gizmoDetach_();
    if (clearSelectedObjects_)
        clearSelectedObjects_();
    if (releaseAttributes_)
        releaseAttributes_();
    Block::selectedBlock.reset();
    if (!sourceFiles_)
        return;
    sourceFiles_->removeChild(parent, node);
    pugi::xml_document* document = getSourceXml_ ? getSourceXml_() : nullptr;
    if (!document)
        return;
    // The whole game is run again (a removed object takes its children, scripts and physics with
    // it), on the level that was shown.
    if (stopRendering_)
        stopRendering_(true);
    if (setXmlSourceString_)
        setXmlSourceString_(XmlUtils::getXmlString(*document));
    const std::string level = getCurLevel_ ? getCurLevel_() : "";
    if (!updateScript_)
        return;
    updateScript_(false, [this, level] {
        pugi::xml_document* current = getSourceXml_ ? getSourceXml_() : nullptr;
        if (current)
            if (Workflow* tree = workflow())
                tree->loadXml(current->document_element());
        if (!level.empty() && setLevel_)
            setLevel_(level);
        if (stopRendering_)
            stopRendering_(false);
    });
}

// --- Dropping a palette template --------------------------------------------------------------------

pugi::xml_node BlocksHelper::dropTemplate(const pugi::xml_node& target, const std::string& blockName,
                                          const std::string& category, int index, bool sceneDrop, ImVec2 screenPos) {
    if (!sourceFiles_ || !isElementOfDocument(target) || blockName.empty())
        return pugi::xml_node();
    pugi::xml_node node;
    {
        LmdSourceFiles::EditGroupScope group(*sourceFiles_);
        node = sourceFiles_->appendChild(target, blockName.c_str());
        if (!node)
            return node;
        // Later steps override earlier ones: schema defaults, the template file, a fresh id, a
        // fresh name.
        bool hasName = false;
        if (scriptParser_ && scriptParser_->hasSchema()) {
            const auto defaults = scriptParser_->getCodeSchema()->getCommandAttributeInfo(blockName, &hasName);
            std::vector<std::pair<std::string, std::string>> sorted(defaults.begin(), defaults.end());
            std::sort(sorted.begin(), sorted.end());
            for (const auto& value : sorted)
                sourceFiles_->setAttribute(node, value.first.c_str(), value.second);
        }
        if (pugi::xml_node root = BlockDefaultsTemplate::getTemplateRoot(blockName)) {
            for (pugi::xml_attribute a = root.first_attribute(); a; a = a.next_attribute())
                sourceFiles_->setAttribute(node, a.name(), a.value());
            for (pugi::xml_node child = root.first_child(); child; child = child.next_sibling()) {
                if (child.type() != pugi::node_element)
                    continue;
                const pugi::xml_node copy = sourceFiles_->appendCopy(node, child);
                assignIdsRecursive(copy);
            }
        }
        sourceFiles_->setAttribute(node, "id", Lumenda3DUtils::getNextId());
        if (hasName) {
            sourceFiles_->setAttribute(node, "name", sourceFiles_->getNextAutoName(LmdValueParser::toLower(blockName)));
        }
        if (registerXmlNode_)
            registerXmlNode_(node);
        if (sceneDrop && is3DModelCategory(category) && convert2DTo3D_) {
            const Ogre::Vector3 at = convert2DTo3D_(screenPos);
            sourceFiles_->setAttribute(node, "x", at.x);
            sourceFiles_->setAttribute(node, "y", at.y);
            sourceFiles_->setAttribute(node, "z", at.z);
        }
        // The element entered last; it moves to its place unless that is the end.
        const int count = elementIndexOf(node);
        if (index < count)
            Block::moveNodeToIndex(*sourceFiles_, target, node, index);
        // A new child is never hidden in a closed block.
        if (target.attribute("isCollapse").as_bool(false))
            sourceFiles_->setAttribute(target, "isCollapse", false);
    }
    pugi::xml_node parent = target;
    show(node, parent);
    runPartialSourceRecursive(node, parent);
    return node;
}

} // namespace Lumenda3D
