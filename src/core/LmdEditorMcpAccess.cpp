#include "core/LmdEditorMcpAccess.h"

#include <OgreSceneNode.h>

#include "base/LmdLog.h"
#include "core/Lumenda3DEditor.h"
#include "engine/editing/LmdSourceFiles.h"
#include "engine/scene/LmdBase2D.h"
#include "engine/scene/LmdBase3D.h"
#include "engine/scene/LmdScene.h"
#include "engine/scene/ScriptParser.h"
#include "export/ExportRequest.h"
#include "export/LocalExportService.h"
#include "services/AuthenticationFlowManager.h"
#include "services/AuthenticationManager.h"
#include "services/LocalStorage.h"
#include "services/ResourceLoader.h"

namespace Lumenda3D {

namespace {

constexpr const char* kNoEditorText = "The editor is not ready yet.";

// A cloud list's failure as the agent reads it: for a session that has ended, what to do next.
std::string listFailure(const std::string& error) {
    if (AuthenticationFlowManager::isAuthenticationError(error))
        return "Not logged in, or the login has ended — the cloud list cannot be fetched. Ask the user to log in to "
               "the Lumenda3D server, then call this tool again.";
    return error;
}

Ogre::Vector3 toVector(const LmdMcpEditorAccess::Point3& p) { return {p.x, p.y, p.z}; }
LmdMcpEditorAccess::Point3 toPoint(const Ogre::Vector3& v) { return {v.x, v.y, v.z}; }

LmdMcpEditorAccess::Variable toVariable(const std::string& name, const LmdScriptValue& value) {
    LmdMcpEditorAccess::Variable variable;
    variable.name = name;
    switch (value.type) {
    case LmdScriptValue::Type::Number:
        variable.kind = LmdMcpEditorAccess::Variable::Kind::Number;
        variable.number = value.number;
        break;
    case LmdScriptValue::Type::Boolean:
        variable.kind = LmdMcpEditorAccess::Variable::Kind::Boolean;
        variable.boolean = value.boolean;
        break;
    default: variable.text = value.text;
    }
    return variable;
}

} // namespace

LmdEditorMcpAccess::LmdEditorMcpAccess(Lumenda3DEditor* editor) : editor_(editor) {}

bool LmdEditorMcpAccess::noEditor(std::string& error) const {
    if (editor_)
        return false;
    error = kNoEditorText;
    return true;
}

// --- Document ----------------------------------------------------------------------------------

std::string LmdEditorMcpAccess::getSourceXmlString(bool withIds, bool forStorage) {
    return editor_ ? editor_->getSourceXmlString(withIds, forStorage) : std::string();
}

int LmdEditorMcpAccess::getPlayStatus() { return editor_ ? editor_->getPlayStatus() : Stopped; }

bool LmdEditorMcpAccess::applyAiEditedXml(const std::string& xml) {
    return editor_ && editor_->applyAiEditedXml(xml);
}

const CodeSchema* LmdEditorMcpAccess::getSchema() {
    if (!editor_ || !editor_->getScriptParser())
        return nullptr;
    const CodeSchema* schema = editor_->getScriptParser()->getCodeSchema();
    return schema && schema->isLoaded() ? schema : nullptr;
}

// --- Play and observation ----------------------------------------------------------------------

void LmdEditorMcpAccess::play() {
    if (editor_)
        editor_->play();
}

bool LmdEditorMcpAccess::applyLiveEdits(const std::vector<LiveEdit>& edits, std::string& error) {
    if (!editor_ || !editor_->sourceFiles) {
        error = kNoEditorText;
        return false;
    }
    for (const LiveEdit& edit : edits) {
        if (!editor_->getXmlNodeById(edit.xmlId)) {
            error = "no node with id " + std::to_string(edit.xmlId);
            return false;
        }
    }
    {
        LmdSourceFiles::EditGroupScope group(*editor_->sourceFiles);
        for (const LiveEdit& edit : edits) {
            const pugi::xml_node node = editor_->getXmlNodeById(edit.xmlId);
            if (edit.remove)
                editor_->sourceFiles->removeAttribute(node, edit.attribute.c_str());
            else
                editor_->sourceFiles->setAttribute(node, edit.attribute.c_str(), edit.value);
        }
    }
    for (const LiveEdit& edit : edits)
        editor_->pushAttributeLive(edit.xmlId, edit.attribute);
    return true;
}

void LmdEditorMcpAccess::runFor(double seconds) {
    if (editor_)
        editor_->runFor(seconds);
}

bool LmdEditorMcpAccess::isSpanRunning() { return editor_ && editor_->getSpanLeft() > 0.0; }

void LmdEditorMcpAccess::stop() {
    if (editor_)
        editor_->stop(nullptr);
}

std::string LmdEditorMcpAccess::getProjectName() { return editor_ ? editor_->projectName : std::string(); }

std::string LmdEditorMcpAccess::getResourceId() { return editor_ ? editor_->cloudResourceId : std::string(); }

void LmdEditorMcpAccess::getWindowSize(float& width, float& height) {
    width = height = 0.0f;
    if (!editor_)
        return;
    const Ogre::Vector2 size = editor_->getWindowSize();
    width = size.x;
    height = size.y;
}

bool LmdEditorMcpAccess::isSyntheticInputActive() { return editor_ && editor_->isSyntheticInputActive(); }

std::vector<LmdMcpEditorAccess::SceneObject> LmdEditorMcpAccess::getSceneObjects() {
    std::vector<SceneObject> out;
    if (!editor_)
        return out;
    for (LmdBase3D* object : editor_->getObjectList()) {
        if (!object)
            continue;
        SceneObject entry;
        entry.xmlId = object->getXmlId();
        entry.name = object->getName();
        if (Ogre::SceneNode* node = object->getNode()) {
            entry.hasNode = true;
            entry.position = toPoint(node->_getDerivedPosition());
        }
        entry.cloneSerial = object->getCloneSerial();
        entry.cloneSourceSerial = object->getCloneSourceSerial();
        entry.rotation = toPoint(object->getDesc().rotation);
        entry.scale = toPoint(object->getDesc().scale);
        entry.visible = object->isVisible();
        Ogre::Vector3 velocity;
        if (editor_->isRunning() && editor_->getGamePhysics().getVelocity(*object, velocity)) {
            entry.hasVelocity = true;
            entry.velocity = toPoint(velocity);
        }
        out.push_back(std::move(entry));
    }
    return out;
}

LmdMcpEditorAccess::GameState LmdEditorMcpAccess::getGameState() {
    GameState state;
    if (!editor_)
        return state;
    state.level = editor_->getCurLevel();
    state.audioDeviceOpen = !editor_->getSound().isSilent();
    if (editor_->isRunning()) {
        state.gameTime = editor_->getGameTime();
        for (const auto& [name, value] : editor_->getLogic().variables())
            state.variables.push_back(toVariable(name, value));
    }
    if (LmdScene* scene = editor_->getActiveScene()) {
        for (const LmdBase2D* element : scene->elements()) {
            ScreenElement entry;
            entry.xmlId = element->getXmlId();
            entry.name = element->getName();
            entry.element = element->getElement();
            entry.level = element->getLevel();
            const LmdRect2D& rect = element->getScreenRect();
            entry.x = rect.x;
            entry.y = rect.y;
            entry.width = rect.width;
            entry.height = rect.height;
            entry.visible = element->isVisible();
            entry.shown = scene->isShownNow(*element);
            entry.text = element->getText();
            state.elements.push_back(std::move(entry));
        }
    }
    return state;
}

std::vector<unsigned char> LmdEditorMcpAccess::captureSceneThumbnail(int width, int height) {
    return editor_ ? editor_->captureSceneThumbnail(width, height) : std::vector<unsigned char>();
}

std::vector<unsigned char> LmdEditorMcpAccess::captureSceneFromView(int width, int height, const Point3& eye,
                                                                    const Point3& target) {
    return editor_ ? editor_->captureSceneFromView(width, height, toVector(eye), toVector(target))
                   : std::vector<unsigned char>();
}

std::vector<unsigned char> LmdEditorMcpAccess::captureWindowContents(int width, int height) {
    return editor_ ? editor_->captureWindowContents(width, height) : std::vector<unsigned char>();
}

void LmdEditorMcpAccess::selectBlockByXmlId(int xmlId, bool scrollTo) {
    if (editor_)
        editor_->selectBlockByXmlId(xmlId, scrollTo);
}

// --- Synthetic input -----------------------------------------------------------------------------

bool LmdEditorMcpAccess::queueSyntheticKeys(const std::vector<std::string>& names, float holdSeconds,
                                            std::string& error) {
    return !noEditor(error) && editor_->queueSyntheticKeys(names, holdSeconds, error);
}

bool LmdEditorMcpAccess::queueSyntheticClick(int x, int y, OgreBites::ButtonType button, float holdSeconds,
                                             std::string& error) {
    return !noEditor(error) && editor_->queueSyntheticClick(x, y, button, holdSeconds, error);
}

bool LmdEditorMcpAccess::queueSyntheticDrag(int fromX, int fromY, int toX, int toY, OgreBites::ButtonType button,
                                            float seconds, std::string& error) {
    return !noEditor(error) && editor_->queueSyntheticDrag(fromX, fromY, toX, toY, button, seconds, error);
}

bool LmdEditorMcpAccess::queueSyntheticScroll(int x, int y, float amount, std::string& error) {
    return !noEditor(error) && editor_->queueSyntheticScroll(x, y, amount, error);
}

bool LmdEditorMcpAccess::queueSyntheticSequence(const std::vector<LmdInputStep>& steps, std::string& error) {
    return !noEditor(error) && editor_->queueSyntheticSequence(steps, error);
}

// --- Projects ------------------------------------------------------------------------------------

bool LmdEditorMcpAccess::hasUnsavedChanges() { return editor_ && editor_->isProjectDirty(); }

void LmdEditorMcpAccess::saveProject(Done done) {
    if (!editor_)
        return done(false, kNoEditorText);
    editor_->saveProjectHeadless(std::move(done));
}

void LmdEditorMcpAccess::saveProjectAs(const std::string& name, bool toCloud, Done done) {
    if (!editor_)
        return done(false, kNoEditorText);
    editor_->createProjectHeadless(name, !toCloud, std::move(done));
}

void LmdEditorMcpAccess::openProject(const std::string& nameOrId, bool fromCloud, Done done) {
    if (!editor_)
        return done(false, kNoEditorText);
    if (fromCloud)
        return editor_->openCloudProjectHeadless(nameOrId, std::move(done));
    std::string error;
    if (!editor_->openLocalProjectHeadless(nameOrId, error))
        return done(false, error);
    done(true, "opened '" + editor_->projectName + "'");
}

void LmdEditorMcpAccess::newProject(Done done) {
    if (!editor_)
        return done(false, kNoEditorText);
    editor_->newProjectHeadless();
    done(true, "started a new, empty project (not saved yet — use save_project_as to store it)");
}

std::vector<std::string> LmdEditorMcpAccess::listLocalProjects() { return LocalStorage::listProjects(); }

bool LmdEditorMcpAccess::isLoggedIn() { return AuthenticationManager::getInstance().isAuthenticated(); }

void LmdEditorMcpAccess::fetchCloudProjects(Done done) {
    ResourceLoader::getInstance().listResources([done](bool ok, const std::string& data, const std::string& error) {
        if (!ok)
            return done(false, listFailure(error));
        // The agent gets what it needs to open a project again: id, name, type, state, dates.
        const nlohmann::json answer = nlohmann::json::parse(data, nullptr, false);
        nlohmann::json projects = nlohmann::json::array();
        for (const nlohmann::json& item : answer.value("resources", nlohmann::json::array())) {
            if (!item.is_object())
                continue;
            nlohmann::json entry = nlohmann::json::object();
            for (const char* key : {"resource_id", "resource_name", "resource_type", "published", "revision",
                                    "updated_at"})
                if (item.contains(key))
                    entry[key] = item[key];
            projects.push_back(std::move(entry));
        }
        const nlohmann::json out = {{"projects", projects}, {"total", answer.value("total", projects.size())}};
        done(true, out.dump());
    });
}

void LmdEditorMcpAccess::fetchUserAssets(const std::string& assetType, Done done) {
    ResourceLoader::getInstance().listUserAssets(assetType,
                                                 [done](bool ok, const std::string& data, const std::string& error) {
                                                     done(ok, ok ? data : listFailure(error));
                                                 });
}

// --- Local assets --------------------------------------------------------------------------------

bool LmdEditorMcpAccess::importLocalAsset(const AssetImport& request, std::string& referenceOrError) {
    std::string error;
    const std::string stored =
        LocalStorage::importAsset(request.sourcePath, request.assetType, request.name, request.overwrite, error);
    if (stored.empty()) {
        referenceOrError = error;
        return false;
    }
    // The asset is in place either way; a thumbnail that cannot be taken only costs its picture.
    if (!request.thumbnailPath.empty() &&
        !LocalStorage::importThumbnailFromPath(request.assetType, stored, request.thumbnailPath, error))
        LmdLog::message("import_asset: no thumbnail for " + stored + ": " + error);
    // Scenes that already refer to the name (an overwrite, a reference written before the import)
    // read the new file.
    if (editor_)
        editor_->refreshLocalAssets();
    referenceOrError = "local:" + stored;
    return true;
}

std::vector<std::string> LmdEditorMcpAccess::listLocalAssets(const std::string& assetType) {
    return LocalStorage::listLocalAssets(assetType);
}

// --- Export --------------------------------------------------------------------------------------

void LmdEditorMcpAccess::startExport(const nlohmann::json& options, Progress progress, Done done) {
    std::string error;
    if (noEditor(error))
        return done(false, error);
    ExportRequest request;
    if (!ExportRequest::fromArguments(options, request, error))
        return done(false, error);
    LocalExportService::getInstance().exportFor(request.platform, editor_, editor_->getSourceXmlString(false, true),
                                                LocalExportService::defaultOutputPath(request.platform, request.options),
                                                request.options, std::move(progress), std::move(done));
}

} // namespace Lumenda3D
