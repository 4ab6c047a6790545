// What the test script asks of the editor: the conditions of "expect" and "until", and where a
// widget, block, object or drop place is on screen.
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
#include "blocks/Workflow.h"
#include "chrome/ErrorDialog.h"
#include "chrome/Tabs.h"
#include "chrome/ToastNotification.h"
#include "chrome/TopBar.h"
#include "core/Lumenda3DEditor.h"
#include "engine/app/LmdScreenProjector.h"
#include "engine/editing/LmdSourceFiles.h"
#include "engine/gizmo/LmdGizmo.h"
#include "engine/gizmo/LmdGizmo2D.h"
#include "engine/scene/LmdBase3D.h"
#include "project/LoginDialog.h"
#include "project/OpenResourceDialog.h"
#include "project/ProjectTemplateDialog.h"
#include "project/PublishDialog.h"
#include "project/RecoverFromCrashDialog.h"
#include "project/SaveProjectDialog.h"
#include "ui/AllUI.h"
#include "ui/ConfirmDialog.h"

namespace Lumenda3D {

using namespace testhook;
using Clock = std::chrono::steady_clock;

bool LmdEditorTestHook::evaluate(const std::vector<std::string>& words, size_t first, std::string& detail) {
    bool negate = false;
    if (first < words.size() && words[first] == "not") {
        negate = true;
        ++first;
    }
    if (first >= words.size()) {
        detail = "no condition";
        return false;
    }
    const std::string& what = words[first];
    const std::string argument = joined(words, first + 1);
    auto arg = [&](size_t i) { return first + i < words.size() ? words[first + i] : std::string(); };
    const std::shared_ptr<AllUI>& ui = editor_.allUI;
    bool result = false;
    std::string actual;

    if (what == "loaded") {
        result = editor_.getPlayStatus() != LmdRuntime::Loading;
        actual = "play status " + std::to_string(editor_.getPlayStatus());
    } else if (what == "playing") {
        result = editor_.isRunning();
        actual = result ? "playing" : "not playing";
    } else if (what == "edit-mode") {
        result = editor_.isEditMode;
        actual = result ? "edit mode" : "not edit mode";
    } else if (what == "tab") {
        actual = ui && ui->getPanel<Tabs>() ? ui->getPanel<Tabs>()->getCurrentTab() : "(no tabs)";
        result = actual == argument;
    } else if (what == "title") {
        actual = ui && ui->getPanel<TopBar>() ? ui->getPanel<TopBar>()->getProjectTitle() : "(no top bar)";
        result = actual == argument;
    } else if (what == "dirty") {
        result = editor_.isProjectDirty();
        actual = result ? "dirty" : "clean";
    } else if (what == "attr") {
        pugi::xml_node node = elementNamedOrTagged(editor_.getSourceXml(), arg(1));
        actual = node ? std::string(node.attribute(arg(2).c_str()).value()) : "(no element " + arg(1) + ")";
        result = node && actual == joined(words, first + 3);
    } else if (what == "elements") {
        const int count = countElementsNamed(editor_.getSourceXml(), arg(1));
        actual = std::to_string(count) + " element(s) named " + arg(1);
        result = count == std::atoi(arg(2).c_str());
    } else if (what == "asset") {
        // asset NAME: the asset library's grid shows NAME now.
        auto library = ui ? ui->getPanel<AssetLibraryPanel>() : nullptr;
        const std::vector<std::string> names = library ? library->visibleNames() : std::vector<std::string>();
        result = std::find(names.begin(), names.end(), arg(1)) != names.end();
        actual = library ? (result ? arg(1) + " shown" : "not shown; " + library->emptyGridMessage()) : "(no library)";
    } else if (what == "drop-place") {
        // drop-place tab LABEL|block NAME|field ATTRIBUTE|scene: that place is on screen now.
        float x = 0, y = 0;
        std::string why;
        result = findDropPlace(words, first + 1, x, y, why);
        actual = result ? "on screen" : why;
    } else if (what == "asset-thumbnail") {
        // asset-thumbnail NAME: the grid's cell NAME (a local asset of the kind shown) has its picture.
        auto library = ui ? ui->getPanel<AssetLibraryPanel>() : nullptr;
        result = library && library->getCatalog(library->getCurrentType()).getLocalThumbnail(arg(1)).id != nullptr;
        actual = result ? "a picture" : "no picture yet";
    } else if (what == "thumbnails-done") {
        // thumbnails-done: every thumbnail the asset library asked for is made (or failed).
        auto library = ui ? ui->getPanel<AssetLibraryPanel>() : nullptr;
        const size_t pending = library ? library->pendingThumbnails() : 0;
        result = library && pending == 0;
        actual = std::to_string(pending) + " thumbnail(s) pending";
    } else if (what == "objects") {
        // objects NAME COUNT: live scene objects of that name, as get_scene_info lists them.
        int count = 0;
        for (LmdBase3D* object : editor_.getObjectList())
            if (object->getName() == arg(1))
                ++count;
        actual = std::to_string(count) + " scene object(s) named " + arg(1);
        result = count == std::atoi(arg(2).c_str());
    } else if (what == "selected-block") {
        actual = Block::selectedBlock ? std::string(Block::selectedBlock->getXmlNode().attribute("name").value()) : "(none)";
        result = Block::selectedBlock && actual == arg(1);
    } else if (what == "vertices") {
        pugi::xml_node node = elementNamed(editor_.getSourceXml(), arg(1));
        int count = 0;
        for (pugi::xml_node v = node.child("VertexList").child("Vertex"); v; v = v.next_sibling("Vertex"))
            ++count;
        actual = std::to_string(count) + " moved vertices under " + arg(1);
        result = node && count == std::atoi(arg(2).c_str());
    } else if (what == "gizmo" || what == "gizmo2d") {
        std::string attached = "none";
        if (what == "gizmo" && editor_.getGizmo()->getObject())
            attached = editor_.getGizmo()->getObject()->getName();
        else if (what == "gizmo2d" && editor_.getGizmo2D()->getObject())
            attached = editor_.getGizmo2D()->getObject()->getName();
        actual = "attached to " + attached;
        result = attached == argument;
    } else if (what == "object") {
        // object NAME x|y|z VALUE: where the scene shows the object, to a hundredth.
        const int axis = arg(2) == "x" ? 0 : arg(2) == "y" ? 1 : arg(2) == "z" ? 2 : -1;
        actual = "no scene object named " + arg(1);
        for (LmdBase3D* object : editor_.getObjectList()) {
            if (object->getName() != arg(1) || axis < 0)
                continue;
            const float value = object->getWorldPosition()[axis];
            actual = arg(1) + " at " + arg(2) + " " + std::to_string(value);
            result = std::abs(value - float(std::atof(arg(3).c_str()))) < 0.01f;
        }
    } else if (what == "series") {
        // series NAME ATTR: the elements of that name, in document order, hold ATTR (0 when it is
        // missing) in even, non-zero steps, to a hundredth; a smart copy's repeated change.
        std::vector<float> values;
        if (pugi::xml_document* document = editor_.getSourceXml())
            for (const pugi::xpath_node& hit : document->select_nodes("//*[@name]"))
                if (arg(1) == hit.node().attribute("name").value())
                    values.push_back(hit.node().attribute(arg(2).c_str()).as_float(0.0f));
        for (float value : values)
            actual += (actual.empty() ? "" : " ") + std::to_string(value);
        result = values.size() >= 3 && std::abs(values[1] - values[0]) >= 0.01f;
        for (size_t i = 2; result && i < values.size(); ++i)
            result = std::abs((values[i] - values[i - 1]) - (values[1] - values[0])) < 0.01f;
    } else if (what == "origin-distance") {
        // origin-distance NAME I J VALUE: how far apart the scene shows the origins of the I-th and
        // J-th objects of that name (counted from 0 in the order they were made), to a hundredth.
        std::vector<LmdBase3D*> named;
        for (LmdBase3D* object : editor_.getObjectList())
            if (object->getName() == arg(1))
                named.push_back(object);
        std::sort(named.begin(), named.end(),
                  [](const LmdBase3D* a, const LmdBase3D* b) { return a->getXmlId() < b->getXmlId(); });
        const size_t i = size_t(std::atoi(arg(2).c_str())), j = size_t(std::atoi(arg(3).c_str()));
        actual = std::to_string(named.size()) + " scene object(s) named " + arg(1);
        if (i < named.size() && j < named.size()) {
            const float distance = named[i]->getWorldPosition().distance(named[j]->getWorldPosition());
            actual = "origins " + std::to_string(distance) + " apart";
            result = std::abs(distance - float(std::atof(arg(4).c_str()))) < 0.01f;
        }
    } else if (what == "object-pixel") {
        // object-pixel NAME r|g|b: at the middle of the object on screen, that channel is the
        // strongest by a clear margin (40 of 255).
        float x = 0, y = 0;
        std::vector<unsigned char> rgb;
        int width = 0, height = 0;
        const int channel = arg(2) == "r" ? 0 : arg(2) == "g" ? 1 : arg(2) == "b" ? 2 : -1;
        if (channel < 0 || !findObject(arg(1), x, y, actual)) {
            actual = channel < 0 ? "no channel " + arg(2) : actual;
        } else if (!editor_.readWindowPixels(rgb, width, height) || int(x) < 0 || int(y) < 0 || int(x) >= width ||
                   int(y) >= height) {
            actual = "the window could not be read there";
        } else {
            const unsigned char* p = &rgb[(size_t(y) * size_t(width) + size_t(x)) * 3];
            actual = arg(1) + " shows rgb " + std::to_string(p[0]) + " " + std::to_string(p[1]) + " " +
                     std::to_string(p[2]);
            result = p[channel] >= p[(channel + 1) % 3] + 40 && p[channel] >= p[(channel + 2) % 3] + 40;
        }
    } else if (what == "objects-as-marked") {
        std::vector<std::string> names;
        for (LmdBase3D* object : editor_.getObjectList())
            names.push_back(object->getName());
        std::sort(names.begin(), names.end());
        result = !markedObjects_.empty() && names == markedObjects_;
        actual = std::to_string(names.size()) + " objects, " + std::to_string(markedObjects_.size()) + " marked";
    } else if (what == "dialog") {
        if (arg(1) == "recover")
            result = ui && ui->getPanel<RecoverFromCrashDialog>() && ui->getPanel<RecoverFromCrashDialog>()->isOpen();
        else if (arg(1) == "error")
            result = ui && ui->getPanel<ErrorDialog>() && ui->getPanel<ErrorDialog>()->isOpen();
        else if (arg(1) == "confirm")
            result = ui && ui->getPanel<ConfirmDialog>() && ui->getPanel<ConfirmDialog>()->isOpen();
        else if (arg(1) == "save")
            result = ui && ui->getPanel<SaveProjectDialog>() && ui->getPanel<SaveProjectDialog>()->isOpen();
        else if (arg(1) == "open")
            result = ui && ui->getPanel<OpenResourceDialog>() && ui->getPanel<OpenResourceDialog>()->isOpen();
        else if (arg(1) == "template")
            result = ui && ui->getPanel<ProjectTemplateDialog>() && ui->getPanel<ProjectTemplateDialog>()->isOpen();
        else if (arg(1) == "login")
            result = ui && ui->getPanel<LoginDialog>() && ui->getPanel<LoginDialog>()->isOpen();
        else if (arg(1) == "publish")
            result = ui && ui->getPanel<PublishDialog>() && ui->getPanel<PublishDialog>()->isOpen();
        actual = std::string("dialog ") + arg(1) + (result ? " open" : " not open");
    } else if (what == "recover-message") {
        // recover-message TEXT: the recovery dialog's message holds TEXT.
        actual = ui && ui->getPanel<RecoverFromCrashDialog>() ? ui->getPanel<RecoverFromCrashDialog>()->getMessage()
                                                              : "(no recovery dialog)";
        result = !argument.empty() && actual.find(argument) != std::string::npos;
    } else if (what == "error") {
        actual = ui && ui->getPanel<ErrorDialog>() ? ui->getPanel<ErrorDialog>()->getCurrentText() : "(no error dialog)";
        result = actual.compare(0, argument.size(), argument) == 0 && !argument.empty();
    } else if (what == "toast") {
        if (ui && ui->getPanel<ToastNotification>())
            for (const std::string& text : ui->getPanel<ToastNotification>()->getTexts()) {
                actual += "[" + text + "]";
                result = result || text == argument;
            }
    } else if (what == "backup") {
        result = editor_.sourceFiles && editor_.sourceFiles->autoBackupExists();
        actual = result ? "a backup exists" : "no backup";
    } else if (what == "log") {
        std::lock_guard<std::mutex> lock(logMutex_);
        result = std::any_of(logLines_.begin(), logLines_.end(),
                             [&](const std::string& line) { return line.find(argument) != std::string::npos; });
        actual = result ? "logged" : "not logged";
    } else {
        detail = "unknown condition '" + what + "'";
        return false;
    }
    const bool holds = negate ? !result : result;
    if (!holds)
        detail = std::string(negate ? "not " : "") + joined(words, first) + " does not hold: " + actual;
    return holds;
}

bool LmdEditorTestHook::findWidget(const std::string& panel, const std::string& label, float& x, float& y,
                                   std::string& error) {
    std::shared_ptr<BaseUI> target = editor_.allUI ? editor_.allUI->getElementByName(panel) : nullptr;
    if (!target) {
        error = "no panel " + panel;
        return false;
    }
    ImVec2 min, max;
    if (!target->getItemRect(label, min, max)) {
        error = label + " is not drawn in " + panel;
        return false;
    }
    x = (min.x + max.x) * 0.5f;
    y = (min.y + max.y) * 0.5f;
    return true;
}

bool LmdEditorTestHook::findObject(const std::string& name, float& x, float& y, std::string& error) {
    for (LmdBase3D* object : editor_.getObjectList()) {
        if (object->getName() != name)
            continue;
        const Ogre::AxisAlignedBox bounds = object->getWorldBounds();
        const Ogre::Vector3 centre = bounds.isFinite() ? bounds.getCenter() : object->getWorldPosition();
        Ogre::Vector2 pixel;
        if (!editor_.getScreenProjector().toScreen(centre, pixel)) {
            error = name + " is not in view";
            return false;
        }
        x = pixel.x;
        y = pixel.y;
        return true;
    }
    error = "no scene object named " + name;
    return false;
}

bool LmdEditorTestHook::findBlockPlace(const std::string& kind, const std::string& name, float& x, float& y,
                                       std::string& error) {
    Workflow* workflow = editor_.getWorkflow();
    auto palette = editor_.allUI ? editor_.allUI->getPanel<BlocksPalette>() : nullptr;
    if (!workflow || !palette) {
        error = "the block panels are missing";
        return false;
    }
    if (kind == "scene") {
        const ImVec2 centre = editor_.getSceneCenterScreenPos();
        x = centre.x;
        y = centre.y;
        return true;
    }
    if (kind == "template") {
        BlockTemplate* entry = palette->findTemplate(name);
        if (!entry) {
            error = "no palette template " + name;
            return false;
        }
        // Its place in the last frame (show-template brings it into view).
        const ImVec2 min = entry->getScreenMin(), max = entry->getScreenMax();
        if (max.x <= min.x || !entry->getPreviewBlock()) {
            error = "the template " + name + " is not drawn yet";
            return false;
        }
        x = (min.x + max.x) * 0.5f;
        y = min.y + 12.0f;
        return true;
    }
    pugi::xml_node node = elementNamedOrTagged(editor_.getSourceXml(), name);
    std::shared_ptr<Block> block = node ? Block::getBlockById(node.attribute("id").as_int(-1)) : nullptr;
    if (!block) {
        error = "no block for " + name;
        return false;
    }
    if (!block->wasDrawnThisFrame()) {
        error = "the block " + name + " is not on screen";
        return false;
    }
    // The caption row: inside the block itself, not one of its children.
    x = block->windowPos.x + block->windowSize.x * 0.5f;
    y = block->windowPos.y + 10.0f;
    return true;
}

bool LmdEditorTestHook::findDropPlace(const std::vector<std::string>& words, size_t first, float& x, float& y,
                                      std::string& error) {
    const std::string kind = first < words.size() ? words[first] : "";
    const std::string name = first + 1 < words.size() ? words[first + 1] : "";
    if (kind == "tab")
        return findWidget(Workflow::kName, name, x, y, error);
    if (kind == "field")
        return findWidget("attributesEditor", "field:" + name, x, y, error);
    if (kind == "block" || kind == "scene")
        return findBlockPlace(kind, name, x, y, error);
    error = "no drop place \"" + kind + "\" (tab, block, field or scene)";
    return false;
}

} // namespace Lumenda3D
