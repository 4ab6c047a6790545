#pragma once
// The block operations that are not drags: add, duplicate, copy by the gizmo, copy and paste of
// blocks, and delete, from the context menu, the keyboard, the gizmo or an agent. Each works on
// the document first (through the document service, as one undo step), then on the block tree,
// and last on the running scene.
//
// It knows neither the engine nor the panels: the editor wires it with callbacks, any of which
// may be empty (the step is then skipped), so that it can be built and tested alone.
//
// Main thread only.
#include <imgui.h>

#include <functional>
#include <memory>
#include <string>

#include <OgreQuaternion.h>
#include <OgreVector.h>
#include <pugixml.hpp>

#include "blocks/SmartCopy.h"

namespace Lumenda3D {

class AllUI;
class Block;
class LmdSourceFiles;
class ScriptParser;
class Workflow;

class BlocksHelper {
public:
    // The live model of an element, as a copy by the gizmo needs it: its shape's bounds around
    // the pivot (without the object's own scale), and its transform relative to its parent.
    struct ModelBox {
        Ogre::Vector3 boxMin = Ogre::Vector3::ZERO, boxMax = Ogre::Vector3::ZERO;
        Ogre::Vector3 position = Ogre::Vector3::ZERO;
        Ogre::Vector3 scale = Ogre::Vector3::UNIT_SCALE;
        Ogre::Quaternion orientation = Ogre::Quaternion::IDENTITY;
        bool infinite = false;  // the box is infinite
    };

    void setUI(std::shared_ptr<AllUI> ui) { ui_ = std::move(ui); }
    void setScriptParser(std::shared_ptr<ScriptParser> parser) { scriptParser_ = std::move(parser); }
    void setSourceFiles(LmdSourceFiles* files) { sourceFiles_ = files; }
    // The tree that shows new and moved blocks; found in the UI when not set.
    void setWorkflow(Workflow* workflow) { workflow_ = workflow; }

    void setShowErrorCallback(std::function<void(const std::string&)> f) { showError_ = std::move(f); }
    void setRegisterXmlNodeCallback(std::function<void(pugi::xml_node&)> f) { registerXmlNode_ = std::move(f); }
    void setRunPartialSourceCallback(std::function<void(pugi::xml_node&, pugi::xml_node&)> f) { runPartialSource_ = std::move(f); }
    void setConvert2DTo3DCallback(std::function<Ogre::Vector3(ImVec2)> f) { convert2DTo3D_ = std::move(f); }
    void setGetSourceXmlCallback(std::function<pugi::xml_document*()> f) { getSourceXml_ = std::move(f); }
    void setGetCurLevelCallback(std::function<std::string()> f) { getCurLevel_ = std::move(f); }
    void setSetLevelCallback(std::function<void(const std::string&)> f) { setLevel_ = std::move(f); }
    void setUpdateScriptCallback(std::function<void(bool, std::function<void()>)> f) { updateScript_ = std::move(f); }
    void setGizmoDetachCallback(std::function<void()> f) { gizmoDetach_ = std::move(f); }
    void setClearSelectedObjectsCallback(std::function<void()> f) { clearSelectedObjects_ = std::move(f); }
    void setSetXmlSourceStringCallback(std::function<void(const std::string&)> f) { setXmlSourceString_ = std::move(f); }
    void setStopRenderingCallback(std::function<void(bool)> f) { stopRendering_ = std::move(f); }
    void setGetSelectedObjectCallback(std::function<void*()> f) { getSelectedObject_ = std::move(f); }
    void setGetSceneCenterScreenPosCallback(std::function<ImVec2()> f) { getSceneCenterScreenPos_ = std::move(f); }
    // The element id of the selected scene object, -1 without one (for "Add Child").
    void setGetSelectedObjectIdCallback(std::function<int()> f) { getSelectedObjectId_ = std::move(f); }
    // The live model of an element id; false when it has none (or no entity).
    void setGetModelBoxCallback(std::function<bool(int, ModelBox&)> f) { getModelBox_ = std::move(f); }
    // The attribute panel lets go of its block (it commits pending edits) before a delete.
    void setReleaseAttributesCallback(std::function<void()> f) { releaseAttributes_ = std::move(f); }

    // --- Operations ---------------------------------------------------------------------------
    // A new element of `command` in the scene: under the selected object (isChild) or the current
    // level, placed under `screenPos` unless it is a child.
    void addObject(const pugi::xml_node& command, ImVec2 screenPos, bool isChild);
    // Removes the element and rebuilds the game and the tree, keeping the level shown.
    void deleteObject(const pugi::xml_node& node);
    // A new element of `command` inside `block` (the root with an empty block).
    void onBlockAdd(const std::shared_ptr<Block>& block, const pugi::xml_node& command);
    // A copy right behind the block, moved by one block size in `direction` ("Same", "Left",
    // "Right", "Up", "Down", "Forward", "Backward").
    void onBlockDuplicate(const std::shared_ptr<Block>& block, const std::string& direction);
    void onBlockDelete(const std::shared_ptr<Block>& block);
    // The gizmo's copy: `count` copies, each one object length along `direction` (an axis of the
    // object, signed) from the one before; the last is selected. Blocks without a live model are
    // duplicated in place once. Each call is one undo step.
    void onBlockCopy(const std::shared_ptr<Block>& block, const Ogre::Vector3& direction, int count);
    // The same with the smart copy (see SmartCopy): edge to edge, repeating the change the user
    // made by hand to the newest copy; with auto scale each copy is a little taller or shorter.
    void onBlockSmartCopy(const std::shared_ptr<Block>& block, const Ogre::Vector3& direction, int count);
    // Ends the smart copy session (a change of selection), unless a copy is under way.
    void resetSmartCopySession() { smartCopy_.reset(); }
    void setSmartCopyAutoScale(bool on) { smartCopy_.setAutoScale(on); }
    bool getSmartCopyAutoScale() const { return smartCopy_.getAutoScale(); }
    const SmartCopy& smartCopy() const { return smartCopy_; }

    // Copy and paste of blocks. The copy is a deep copy of its own that outlives reloads.
    bool copyBlock(const std::shared_ptr<Block>& block);
    bool hasCopiedBlock() const { return static_cast<bool>(copied_.first_child()); }
    // Pastes behind `target` (or into it, asChild; into the root without a target) with fresh ids
    // and guids. The new element, empty on failure.
    pugi::xml_node pasteBlock(const std::shared_ptr<Block>& target, bool asChild);

    // A palette template dropped on `target` (an element of the document): a new element with the
    // schema's defaults, the type's template file, a fresh id and name, moved to child position
    // `index`; placed under the pointer when dropped on the scene and it is a 3D model or light.
    // One undo step; a closed target is opened. The new element, empty when nothing was made.
    pugi::xml_node dropTemplate(const pugi::xml_node& target, const std::string& blockName,
                                const std::string& category, int index, bool sceneDrop, ImVec2 screenPos);

    // --- Helpers ------------------------------------------------------------------------------
    void assignIdsRecursive(const pugi::xml_node& node);
    void runPartialSourceRecursive(pugi::xml_node& node, pugi::xml_node& parent);
    pugi::xml_node getParentNodeForAddObject(bool useSelected);
    bool isFreeBlockPosition(const pugi::xml_node& parent);
    static Ogre::Vector3 getPositionOffset(const std::string& direction, bool is3D, const Ogre::Vector3& size);
    bool is3DModelBlock(const pugi::xml_node& node) const;
    bool is2DModelBlock(const pugi::xml_node& node) const;
    static bool is3DModelCategory(const std::string& category) { return category == "3D Models" || category == "Light"; }
    static bool is2DModelCategory(const std::string& category) { return category == "2D Models"; }

private:
    pugi::xml_node createFromCommand(pugi::xml_node parent, const pugi::xml_node& command, bool place,
                                     ImVec2 screenPos);
    pugi::xml_node duplicateAfter(const pugi::xml_node& node);
    void performCopyOperation(const std::shared_ptr<Block>& block, const Ogre::Vector3& direction, int count,
                              bool smart);
    // One copy of `from` (an element whose live model is `source`), written into the document.
    // Gives the copy as it is made, the id of its snapshot -1 when nothing was copied.
    SmartCopy::Snapshot copyOnce(const pugi::xml_node& from, const SmartCopy::Snapshot& source, const ModelBox& box,
                                 const Ogre::Vector3& direction, bool smart, pugi::xml_node& copy);
    std::string categoryOf(const pugi::xml_node& node) const;
    void show(const pugi::xml_node& node, const pugi::xml_node& parent);
    Workflow* workflow() const;
    void error(const std::string& text) const;

    std::shared_ptr<AllUI> ui_;
    std::shared_ptr<ScriptParser> scriptParser_;
    LmdSourceFiles* sourceFiles_ = nullptr;
    Workflow* workflow_ = nullptr;
    pugi::xml_document copied_;
    SmartCopy smartCopy_;

    std::function<void(const std::string&)> showError_;
    std::function<void(pugi::xml_node&)> registerXmlNode_;
    std::function<void(pugi::xml_node&, pugi::xml_node&)> runPartialSource_;
    std::function<Ogre::Vector3(ImVec2)> convert2DTo3D_;
    std::function<pugi::xml_document*()> getSourceXml_;
    std::function<std::string()> getCurLevel_;
    std::function<void(const std::string&)> setLevel_;
    std::function<void(bool, std::function<void()>)> updateScript_;
    std::function<void()> gizmoDetach_;
    std::function<void()> clearSelectedObjects_;
    std::function<void(const std::string&)> setXmlSourceString_;
    std::function<void(bool)> stopRendering_;
    std::function<void*()> getSelectedObject_;
    std::function<ImVec2()> getSceneCenterScreenPos_;
    std::function<int()> getSelectedObjectId_;
    std::function<bool(int, ModelBox&)> getModelBox_;
    std::function<void()> releaseAttributes_;
};

} // namespace Lumenda3D
