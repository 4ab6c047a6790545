// Writing the open project: the local save and Save As, the step after a cloud create, the action
// waiting for a save, and the headless paths the agent tools use to save, create, open and start
// projects (no dialogs: every outcome is a sentence handed to the caller).
#include "core/Lumenda3DEditor.h"

#include <nlohmann/json.hpp>

#include "engine/document/LmdGameDocument.h"
#include "engine/editing/LmdSourceFiles.h"
#include "services/LocalStorage.h"

namespace Lumenda3D {
namespace {

// Every project thumbnail is taken at the moment of saving, at this size.
constexpr int kThumbnailWidth = 200;
constexpr int kThumbnailHeight = 130;

const char* const kLocalAssetsCloudRefusal =
    "Project uses local assets — it can only be saved locally, not to the cloud. Use save_project_as with a local "
    "target.";

// Whether a project's text can become the document; `why` says what is wrong when it cannot.
bool documentLoads(const std::string& xml, std::string& why) {
    pugi::xml_document probe;
    return LmdGameDocument::parse(xml, probe, &why);
}

} // namespace

// --- Local save and Save As ----------------------------------------------------------------------

bool Lumenda3DEditor::performSaveLocal(const std::string& name, const std::string& xml) {
    if (isAgentDrivenAction("save project"))
        return false;
    if (!LocalStorage::isFeatureAvailable())
        return false;
    if (!LocalStorage::writeProjectXml(name, xml)) {
        showErrorMessage("Local save failed.");
        return false;
    }
    // A thumbnail that cannot be taken or written is no reason to fail the save.
    const std::vector<unsigned char> thumbnail = captureSceneThumbnail(kThumbnailWidth, kThumbnailHeight);
    if (!thumbnail.empty())
        LocalStorage::writeProjectThumbnail(name, thumbnail);
    if (sourceFiles)
        sourceFiles->clearAutoBackup();
    refreshHasDismissedSnapshot();
    markXmlPersisted();
    showToast("Project saved!", 3.0f);
    return true;
}

bool Lumenda3DEditor::performCreateLocal(const std::string& name, const std::string& xml) {
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
    if (!LocalStorage::writeProjectXml(name, xml)) {
        setStatus("Local save failed.");
        clearBusy();
        return false;
    }
    const std::vector<unsigned char> thumbnail = captureSceneThumbnail(kThumbnailWidth, kThumbnailHeight);
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
        if (!performSaveLocal(name, xml)) {
            done(false, "Local save failed.");
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
    // The cloud copy needs a login session, and this build has no login service. With one, the
    // copy is written here (saveResource with a fresh thumbnail; no second try after a login, as
    // nobody is there to log in), reporting "saved to the cloud (resource <id>)" or the error.
    done(false, "Not logged in — the cloud project cannot be saved. Ask the user to log in.");
}

void Lumenda3DEditor::createProjectHeadless(const std::string& name, bool local, HeadlessDone done) {
    const std::string xml = getSourceXmlString(false, true);
    if (!LocalStorage::isValidProjectName(name)) {
        done(false, "Invalid project name: " + name);
        return;
    }
    if (local) {
        if (performCreateLocal(name, xml))
            done(true, "saved locally as '" + name + "'");
        else
            done(false, "Local save failed.");
        return;
    }
    if (sourceHasLocalAssets()) {
        done(false, kLocalAssetsCloudRefusal);
        return;
    }
    // Creating a cloud resource needs a login session, and this build has no login service. With
    // one, the resource is created here (createResource, always of type "project"); its callback
    // sets the type, calls applyCloudCreateSuccess and reports
    // "created cloud project '<name>' (resource <id>)" or the error.
    done(false, "Not logged in — cannot save to the cloud. Ask the user to log in.");
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
        done(false, "Not logged in — cloud projects cannot be opened. Ask the user to log in.");
        return;
    }
    cloudResourceLoader_(resourceId, [this, resourceId, done](bool success, const std::string& xml,
                                                              const std::string& text) {
        if (!success || xml.empty()) {
            done(false, text);
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
