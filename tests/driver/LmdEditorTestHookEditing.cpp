// The test script's editing verbs: play and stop, undo, set and select, copy and paste, the
// gizmos, 2D elements and the asset library's frame cost, through the editor's public operations.
#include "driver/LmdEditorTestHook.h"
#include "driver/LmdEditorTestHookSupport.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <unistd.h>
#include <sstream>
#include <stdexcept>
#include <utility>

#include <OgreLogManager.h>

#include "assets/AssetLibraryPanel.h"
#include "blocks/Block.h"
#include "blocks/BlockTemplate.h"
#include "blocks/BlocksPalette.h"
#include "chrome/Tabs.h"
#include "core/Lumenda3DEditor.h"
#include "engine/app/LmdScreenProjector.h"
#include "engine/editing/LmdSourceFiles.h"
#include "engine/gizmo/LmdGizmo.h"
#include "engine/gizmo/LmdGizmo2D.h"
#include "engine/scene/LmdBase2D.h"
#include "engine/scene/LmdBase3D.h"
#include "ui/AllUI.h"

namespace Lumenda3D {

using namespace testhook;
using Clock = std::chrono::steady_clock;

std::optional<bool> LmdEditorTestHook::startEditing(const std::vector<std::string>& w, std::string& error) {
    const std::string& verb = w[0];
    if (verb == "play") {
        editor_.play();
        return true;
    }
    if (verb == "stop") {
        editor_.stop(nullptr);
        return true;
    }
    if (verb == "undo") {
        editor_.doUndo();
        return true;
    }
    if (verb == "redo") {
        editor_.doRedo();
        return true;
    }
    if (verb == "tab") {
        if (!needs(w, 1))
            return false;
        if (auto tabs = editor_.allUI ? editor_.allUI->getPanel<Tabs>() : nullptr)
            tabs->selectTab(w[1]);
        return true;
    }
    if (verb == "set") {
        if (!needs(w, 3))
            return false;
        pugi::xml_node node = elementNamed(editor_.getSourceXml(), w[1]);
        if (!node || !editor_.sourceFiles) {
            fail("no element named " + w[1]);
            return false;
        }
        editor_.sourceFiles->setAttribute(node, w[2].c_str(), joined(w, 3));
        // The scene follows the document, as the attribute panel makes it.
        editor_.updateLuaAttribute(node.attribute("id").as_int(), w[2], joined(w, 3), "number");
        return true;
    }
    if (verb == "select") {
        if (!needs(w, 1))
            return false;
        pugi::xml_node node = elementNamedOrTagged(editor_.getSourceXml(), w[1]);
        if (!node) {
            fail("no element named " + w[1]);
            return false;
        }
        editor_.selectBlockByXmlId(node.attribute("id").as_int(), true);
        return true;
    }
    if (verb == "copy") {
        editor_.editorCopy(true);
        return true;
    }
    if (verb == "paste") {
        editor_.editorPaste(true, false, editor_.getSceneCenterScreenPos());
        return true;
    }
    if (verb == "show-template") {
        // show-template BLOCKNAME: the palette searches for its caption, so that it is on screen
        // a frame later.
        if (!needs(w, 1))
            return false;
        auto palette = editor_.allUI ? editor_.allUI->getPanel<BlocksPalette>() : nullptr;
        BlockTemplate* entry = palette ? palette->findTemplate(w[1]) : nullptr;
        if (!entry) {
            fail("no palette template " + w[1]);
            return false;
        }
        palette->setSelectedCategory("All");
        palette->setSearchText(entry->getDisplayName());
        return true;
    }
    if (verb == "library-cost") {
        // library-cost [reset]: print (or reset) the longest time the asset library held a frame.
        auto library = editor_.allUI ? editor_.allUI->getPanel<AssetLibraryPanel>() : nullptr;
        if (!library) {
            fail("no asset library");
            return false;
        }
        if (w.size() > 1 && w[1] == "reset") {
            library->resetFrameCost();
            return true;
        }
        char text[200];
        std::snprintf(text, sizeof text,
                      "library worst_frame_ms=%.2f worst_frame_cpu_ms=%.2f frames=%d over_4ms=%d pending_thumbnails=%zu "
                      "model_renders=%d worst_model_render_ms=%.2f",
                      library->getWorstFrameMs(), library->getWorstFrameCpuMs(), library->getMeasuredFrames(),
                      library->getFramesOverBudget(),
                      library->pendingThumbnails(),
                      library->getModelRenderer().renderCount(), library->getModelRenderer().worstRenderMs());
        report(text);
        return true;
    }
    if (verb == "click-object") {
        if (!needs(w, 1))
            return false;
        float x = 0, y = 0;
        return awaitQueued(findObject(w[1], x, y, error) &&
                               editor_.queueSyntheticClick(int(x), int(y), OgreBites::BUTTON_LEFT, 0.05f, error),
                           error);
    }
    if (verb == "gizmo-type") {
        if (needs(w, 1))
            editor_.getGizmo()->setGizmoType(std::atoi(w[1].c_str()));
        return true;
    }
    if (verb == "drag-gizmo") {
        if (!needs(w, 3))
            return false;
        const std::string& name = w[1];
        const int handle = name == "x" ? 0 : name == "y" ? 1 : name == "z" ? 2 : name == "centre" ? 3 : -1;
        Ogre::Vector2 from;
        if (handle < 0 || !editor_.getGizmo()->handlePoint(handle, editor_.getScreenProjector(), from)) {
            fail("the gizmo shows no handle " + name);
            return false;
        }
        const int toX = int(from.x + std::atof(w[2].c_str()));
        const int toY = int(from.y + std::atof(w[3].c_str()));
        return awaitQueued(
            editor_.queueSyntheticDrag(int(from.x), int(from.y), toX, toY, OgreBites::BUTTON_LEFT, 0.3f, error), error);
    }
    if (verb == "drag-vertex") {
        if (!needs(w, 3))
            return false;
        Ogre::Vector2 from;
        if (!editor_.getGizmo()->vertexPoint(std::atoi(w[1].c_str()), editor_.getScreenProjector(), from)) {
            fail("the gizmo shows no vertex " + w[1]);
            return false;
        }
        return awaitQueued(editor_.queueSyntheticDrag(int(from.x), int(from.y), int(from.x + std::atof(w[2].c_str())),
                                                      int(from.y + std::atof(w[3].c_str())), OgreBites::BUTTON_LEFT,
                                                      0.3f, error),
                           error);
    }
    if (verb == "click-element" || verb == "drag-gizmo2d") {
        // click-element NAME: the middle of a 2D element; drag-gizmo2d HANDLE DX DY: the 2D
        // gizmo's move handle or a corner (tl, tr, bl, br) dragged by (DX, DY) pixels.
        if (!needs(w, verb == "click-element" ? 1 : 3))
            return false;
        LmdRect2D rect;
        LmdGizmo2D::Handle handle = LmdGizmo2D::Handle::Move;
        if (verb == "click-element") {
            LmdBase2D* found = nullptr;
            for (LmdBase2D* element : editor_.get2DObjectList())
                if (element->getName() == w[1])
                    found = element;
            if (!found) {
                fail("no 2D element named " + w[1]);
                return false;
            }
            rect = found->getScreenRect();
        } else {
            if (!editor_.getGizmo2D()->getObject()) {
                fail("the 2D gizmo holds nothing");
                return false;
            }
            rect = editor_.getGizmo2D()->getObject()->getScreenRect();
            const std::string& name = w[1];
            handle = name == "tl" ? LmdGizmo2D::Handle::TopLeft
                     : name == "tr" ? LmdGizmo2D::Handle::TopRight
                     : name == "bl" ? LmdGizmo2D::Handle::BottomLeft
                     : name == "br" ? LmdGizmo2D::Handle::BottomRight
                                    : LmdGizmo2D::Handle::Move;
        }
        float x = 0, y = 0;
        LmdGizmo2D::handleCentre(rect, handle, x, y);
        const bool ok = verb == "click-element"
                            ? editor_.queueSyntheticClick(int(x), int(y), OgreBites::BUTTON_LEFT, 0.05f, error)
                            : editor_.queueSyntheticDrag(int(x), int(y), int(x + std::atof(w[2].c_str())),
                                                         int(y + std::atof(w[3].c_str())), OgreBites::BUTTON_LEFT,
                                                         0.3f, error);
        return awaitQueued(ok, error);
    }
    if (verb == "mark-objects") {
        markedObjects_.clear();
        for (LmdBase3D* object : editor_.getObjectList())
            markedObjects_.push_back(object->getName());
        std::sort(markedObjects_.begin(), markedObjects_.end());
        return true;
    }
    return std::nullopt;
}

} // namespace Lumenda3D
