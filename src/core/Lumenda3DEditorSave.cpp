// Writing the open project: the local save and Save As, the step after a cloud create, the action
// waiting for a save, and the headless paths the agent tools use to save, create, open and start
// projects (no dialogs: every outcome is a sentence handed to the caller).
#include "core/Lumenda3DEditor.h"

#include <cctype>

#include <nlohmann/json.hpp>

#include "base/LmdLog.h"
#include "engine/document/LmdGameDocument.h"
#include "engine/editing/LmdSourceFiles.h"
#include "services/AuthenticationFlowManager.h"
#include "services/AuthenticationManager.h"
#include "services/LocalStorage.h"
#include "services/ResourceLoader.h"

namespace Lumenda3D {
namespace {

const char* const kLocalAssetsCloudRefusal =
    "Project uses local assets — it can only be saved locally, not to the cloud. Use save_project_as with a local "
    "target.";

// What an agent is told when a cloud call failed: the server's sentence, and for a session that
// has ended, what to do about it (nobody is there to log in on the agent's path).
std::string agentCloudFailure(const std::string& error, const std::string& notDone) {
    if (AuthenticationFlowManager::isAuthenticationError(error))
        return "Not logged in, or the login has ended — " + notDone +
               " Ask the user to log in to the Lumenda3D server, then call this tool again.";
    return error;
}

// What a failed local write says: the system's words first, then why (a full disk, a folder that
// cannot be made), and that the copy on disk was left as it was (writes are atomic).
std::string localSaveFailure(const std::string& reason) {
    if (reason.empty())
        return "Local save failed.";
    std::string why = reason;
    why[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(why[0])));
    return "Local save failed. " + why + ". Nothing on disk was changed.";
}

// Whether a project's text can become the document; `why` says what is wrong when it cannot.
bool documentLoads(const std::string& xml, std::string& why) {
    pugi::xml_document probe;
    return LmdGameDocument::parse(xml, probe, &why);
}

} // namespace

// --- Local save and Save As ----------------------------------------------------------------------

std::vector<unsigned char> Lumenda3DEditor::captureProjectThumbnail() {
    // Every project thumbnail is taken at the moment of saving, at this size.
    return captureSceneThumbnail(200, 130);
}

bool Lumenda3DEditor::performSaveLocal(const std::string& name, const std::string& xml, std::string* failure) {
    if (isAgentDrivenAction("save project"))
        return false;
    if (!LocalStorage::isFeatureAvailable())
        return false;
    std::string reason;
    if (!LocalStorage::writeProjectXml(name, xml, &reason)) {
        const std::string text = localSaveFailure(reason);
        showErrorMessage(text);
        if (failure)
            *failure = text;
        return false;
    }
    // A thumbnail that cannot be taken or written is no reason to fail the save.
    const std::vector<unsigned char> thumbnail = captureProjectThumbnail();
    if (!thumbnail.empty())
        LocalStorage::writeProjectThumbnail(name, thumbnail);
    if (sourceFiles)
        sourceFiles->clearAutoBackup();
    refreshHasDismissedSnapshot();
    markXmlPersisted();
    showToast("Project saved!", 3.0f);
    return true;
}

bool Lumenda3DEditor::performCreateLocal(const std::string& name, const std::string& xml, std::string* failure) {
    auto setStatus = [this](const std::string& text) {
        if (saveDialogHooks_.setStatusMessage)
            saveDialogHooks_.setStatusMessage(text);
    };
    auto clearBusy = [this] {
        if (saveDialogHooks_.clearBusy)
            saveDialogHooks_.clearBusy();
    };
    if (isAgentDrivenAction("create a project")) {
        clearBusy();
        return false;
    }
    if (!LocalStorage::isFeatureAvailable()) {
        setStatus("Local save unavailable in this build.");
        clearBusy();
        return false;
    }
    setStatus("Saving...");
    std::string reason;
    if (!LocalStorage::writeProjectXml(name, xml, &reason)) {
        const std::string text = localSaveFailure(reason);
        setStatus(text);
        clearBusy();
        if (failure)
            *failure = text;
        return false;
    }
    const std::vector<unsigned char> thumbnail = captureProjectThumbnail();
    if (!thumbnail.empty())
        LocalStorage::writeProjectThumbnail(name, thumbnail);
    // The cloud identity stays: a cloud project saved as a local one is then in both places.
    localProjectName = name;
    projectName = name;
    if (sourceFiles) {
        sourceFiles->setAutoSaveProjectName(name);
        sourceFiles->clearAutoBackup();
    }
    refreshHasDismissedSnapshot();
    markXmlPersisted();
    updateWindowTitle();
    if (saveDialogHooks_.hide)
        saveDialogHooks_.hide();
    showToast("Project saved!", 3.0f);
    return true;
}

void Lumenda3DEditor::fireAfterSuccessfulSave() {
    if (!afterSaveCallback)
        return;
    // Cleared before it runs, so that the action may wait for another save.
    std::function<void()> action = std::move(afterSaveCallback);
    afterSaveCallback = nullptr;
    action();
}

void Lumenda3DEditor::applyCloudCreateSuccess(const std::string& responseJson, const std::string& name) {
    const nlohmann::json response = nlohmann::json::parse(responseJson, nullptr, false);
    std::string resourceId;
    if (response.is_object()) {
        const auto found = response.find("resource_id");
        if (found != response.end() && found->is_string())
            resourceId = found->get<std::string>();
    }
    // The local identity stays: a local project saved to the cloud is then in both places.
    cloudResourceId = resourceId;
    projectName = name;
    updateWindowTitle();
    if (sourceFiles) {
        sourceFiles->setAutoSaveProjectName(name);
        sourceFiles->clearAutoBackup();
        refreshHasDismissedSnapshot();
    }
    markXmlPersisted();
}

// --- Headless paths ------------------------------------------------------------------------------

void Lumenda3DEditor::saveProjectHeadless(HeadlessDone done) {
    const std::string xml = getSourceXmlString(false, true);
    if (cloudResourceId.empty() && localProjectName.empty()) {
        done(false, "The project has no save target yet — use save_project_as.");
        return;
    }
    if (localProjectName.empty() && sourceHasLocalAssets()) {
        done(false, kLocalAssetsCloudRefusal);
        return;
    }
    if (!localProjectName.empty()) {
        const std::string name = localProjectName;
        std::string failure;
        if (!performSaveLocal(name, xml, &failure)) {
            done(false, failure.empty() ? "Local save failed." : failure);
            return;
        }
        if (cloudResourceId.empty()) {
            done(true, "saved locally as '" + name + "'");
            return;
        }
        if (sourceHasLocalAssets()) {
            done(true, "saved locally as '" + name + "'; cloud copy skipped because the project uses local assets");
            return;
        }
    }
    if (!AuthenticationManager::getInstance().isAuthenticated()) {
        done(false, "Not logged in — the cloud project cannot be saved. Ask the user to log in.");
        return;
    }
    const std::string resourceId = cloudResourceId;
    const std::string resourceType = projectResourceType;
    const std::vector<unsigned char> thumbnail = captureProjectThumbnail();
    if (thumbnail.empty())
        LmdLog::message("WARNING: Thumbnail capture failed, saving without thumbnail");
    // No second try after a login here: nobody is there to log in.
    ResourceLoader::getInstance().saveResource(
        resourceId, xml,
        [this, resourceId, resourceType, xml, done](bool success, const std::string&, const std::string& error) {
            if (!success) {
                done(false, agentCloudFailure(error, "the cloud project was not saved; the changes are still in the "
                                                     "editor, unsaved.") );
                return;
            }
            // The text that reached the server is what counts as saved: edits made while the save
            // was on its way stay unsaved, and another project opened meanwhile is not touched.
            if (cloudResourceId == resourceId) {
                if (sourceFiles)
                    sourceFiles->clearAutoBackup();
                refreshHasDismissedSnapshot();
                markPersistedText(xml);
            }
            showToast(resourceType == "plugin" ? "Plugin saved!" : "Project saved!", 3.0f);
            done(true, "saved to the cloud (resource " + resourceId + ")");
        },
        thumbnail, resourceType, "");
}

void Lumenda3DEditor::createProjectHeadless(const std::string& name, bool local, HeadlessDone done) {
    const std::string xml = getSourceXmlString(false, true);
    if (!LocalStorage::isValidProjectName(name)) {
        done(false, "Invalid project name: " + name);
        return;
    }
    if (local) {
        std::string failure;
        if (performCreateLocal(name, xml, &failure))
            done(true, "saved locally as '" + name + "'");
        else
            done(false, failure.empty() ? "Local save failed." : failure);
        return;
    }
    if (sourceHasLocalAssets()) {
        done(false, kLocalAssetsCloudRefusal);
        return;
    }
    if (!AuthenticationManager::getInstance().isAuthenticated()) {
        done(false, "Not logged in — cannot save to the cloud. Ask the user to log in.");
        return;
    }
    const std::vector<unsigned char> thumbnail = captureProjectThumbnail();
    if (thumbnail.empty())
        LmdLog::message("WARNING: Thumbnail capture failed, creating without thumbnail");
    ResourceLoader::getInstance().createResource(
        name, xml,
        [this, name, xml, done](bool success, const std::string& data, const std::string& error) {
            if (!success) {
                done(false, agentCloudFailure(error, "the cloud project was not created; the project is still in "
                                                     "the editor, unsaved."));
                return;
            }
            projectResourceType = "project";
            applyCloudCreateSuccess(data, name);
            // What reached the server counts as saved; edits made meanwhile stay unsaved.
            markPersistedText(xml);
            showToast("Project saved!", 3.0f);
            done(true, "created cloud project '" + name + "' (resource " + cloudResourceId + ")");
        },
        thumbnail, "project");
}

void Lumenda3DEditor::newProjectHeadless() {
    resetProjectMetadata();
    updateWindowTitle();
    loadScript(LmdGameDocument::kEmptyGameXml, false);
    markXmlPersisted();
}

bool Lumenda3DEditor::openLocalProjectHeadless(const std::string& name, std::string& error) {
    std::string xml;
    if (!LocalStorage::readProjectXml(name, xml)) {
        error = "Local project not found: " + name;
        return false;
    }
    // A document that cannot load would leave the old document under the new project's name.
    std::string why;
    if (!documentLoads(xml, why)) {
        error = "Local project '" + name + "' cannot be opened: its document is not valid XML (" + why + ").";
        return false;
    }
    const nlohmann::json metadata = {{"local", true}, {"name", name}};
    onProjectOpened(xml, "", name, metadata.dump());
    return true;
}

void Lumenda3DEditor::openCloudProjectHeadless(const std::string& resourceId, HeadlessDone done) {
    if (!cloudResourceLoader_) {
        done(false, "Cloud projects cannot be opened in this editor.");
        return;
    }
    cloudResourceLoader_(resourceId, [this, resourceId, done](bool success, const std::string& xml,
                                                              const std::string& text) {
        if (!success) {
            done(false, agentCloudFailure(text, "cloud project " + resourceId + " was not opened."));
            return;
        }
        if (xml.empty()) {
            done(false, "Cloud project " + resourceId + " has no document, so it was not opened.");
            return;
        }
        std::string why;
        if (!documentLoads(xml, why)) {
            done(false, "Cloud project " + resourceId + " cannot be opened: its document is not valid XML (" +
                            why + ").");
            return;
        }
        onProjectOpened(xml, resourceId, "", text);
        done(true, "opened '" + projectName + "'");
    });
}

} // namespace Lumenda3D
