// The person's cloud operations: saving to and creating a cloud resource, publishing and taking a
// game down. Each answer arrives on a later frame; a session that has ended costs one login and one
// more try (isRetry), never more.
#include "core/Lumenda3DEditor.h"

#include "base/LmdLog.h"
#include "engine/editing/LmdSourceFiles.h"
#include "services/AuthenticationFlowManager.h"
#include "services/AuthenticationManager.h"
#include "services/ResourceLoader.h"
#include "ui/ConfirmDialog.h"
#include "project/PublishDialog.h"
#include "ui/AllUI.h"

namespace Lumenda3D {
void Lumenda3DEditor::performSave(const std::string& resourceId, const std::string& xml,
                                  const std::string& resourceType, const std::string& newName, bool isRetry) {
    if (isAgentDrivenAction("save project"))
        return;
    LmdLog::message("performSave: resourceId=" + resourceId + ", xmlSize=" + std::to_string(xml.size()));
    showToast("Saving...", 2.0f);
    const std::vector<unsigned char> thumbnail = captureProjectThumbnail();
    if (thumbnail.empty())
        LmdLog::message("WARNING: Thumbnail capture failed, saving without thumbnail");
    const bool rename = !newName.empty();
    ResourceLoader::getInstance().saveResource(
        resourceId, xml,
        [this, resourceId, xml, resourceType, newName, rename, isRetry](bool success, const std::string&,
                                                                         const std::string& error) {
            LmdLog::message(std::string("performSave callback: success=") + (success ? "true" : "false") +
                            ", error=" + error);
            if (success) {
                if (sourceFiles)
                    sourceFiles->clearAutoBackup();
                refreshHasDismissedSnapshot();
                // What reached the server is saved; edits made while it travelled are not.
                markPersistedText(xml);
                if (rename) {
                    projectName = newName;
                    updateWindowTitle();
                    if (sourceFiles)
                        sourceFiles->setAutoSaveProjectName(newName);
                    showToast("Renamed!", 3.0f);
                } else {
                    showToast(resourceType == "plugin" ? "Plugin saved!" : "Project saved!", 3.0f);
                }
                fireAfterSuccessfulSave();
                return;
            }
            if (!isRetry && AuthenticationFlowManager::isAuthenticationError(error)) {
                AuthenticationFlowManager::getInstance().checkLogin(
                    [this, resourceId, resourceType, newName] {
                        performSave(resourceId, getSourceXmlString(false, true), resourceType, newName, true);
                    },
                    true);
                return;
            }
            showErrorMessage((rename ? "Rename failed: " : "Save failed: ") + error);
            afterSaveCallback = nullptr;
        },
        thumbnail, resourceType, newName);
}

void Lumenda3DEditor::performCreate(const std::string& name, const std::string& xml, const std::string& resourceType,
                                    bool isRetry) {
    if (saveDialogHooks_.setStatusMessage)
        saveDialogHooks_.setStatusMessage("Saving...");
    const std::vector<unsigned char> thumbnail = captureProjectThumbnail();
    if (thumbnail.empty())
        LmdLog::message("WARNING: Thumbnail capture failed, creating without thumbnail");
    ResourceLoader::getInstance().createResource(
        name, xml,
        [this, name, xml, resourceType, isRetry](bool success, const std::string& data, const std::string& error) {
            if (success) {
                projectResourceType = resourceType.empty() ? "project" : resourceType;
                applyCloudCreateSuccess(data, name);
                markPersistedText(xml);
                settleSaveAsIdentity(true);
                if (saveDialogHooks_.hide)
                    saveDialogHooks_.hide();
                // The action waiting for a save stays pending: only a plain save runs it.
                showToast(resourceType == "plugin" ? "Plugin saved!" : "Project saved!", 3.0f);
                return;
            }
            if (!isRetry && AuthenticationFlowManager::isAuthenticationError(error)) {
                if (saveDialogHooks_.hide)
                    saveDialogHooks_.hide();
                AuthenticationFlowManager::getInstance().checkLogin(
                    [this, name, resourceType] { performCreate(name, getSourceXmlString(false, true), resourceType, true); },
                    true, [this] { reopenSaveDialogAfterCancelledLogin(); });
                return;
            }
            settleSaveAsIdentity(false);
            if (saveDialogHooks_.setStatusMessage)
                saveDialogHooks_.setStatusMessage("Save failed: " + error);
            if (saveDialogHooks_.clearBusy)
                saveDialogHooks_.clearBusy();
        },
        thumbnail, resourceType);
}

void Lumenda3DEditor::performPublish(const std::string& description, const std::string& category, bool viewSource,
                                     bool published, bool isRetry) {
    showToast("Publishing...", 2.0f);
    const std::vector<unsigned char> thumbnail = captureProjectThumbnail();
    ResourceLoader::getInstance().publishResource(
        cloudResourceId, getSourceXmlString(false, true), getAssetsXmlString(), description, category, viewSource,
        published,
        [this, description, category, viewSource, published, isRetry](bool success, const std::string&,
                                                                       const std::string& error) {
            if (success) {
                if (publishDialogHooks_.hide)
                    publishDialogHooks_.hide();
                // The published state is read from the metadata at the next open.
                showToast("Game published!", 3.0f);
                return;
            }
            if (!isRetry && AuthenticationFlowManager::isAuthenticationError(error)) {
                if (publishDialogHooks_.hide)
                    publishDialogHooks_.hide();
                AuthenticationFlowManager::getInstance().checkLogin(
                    [this, description, category, viewSource, published] {
                        performPublish(description, category, viewSource, published, true);
                    },
                    true);
                return;
            }
            if (publishDialogHooks_.setStatusMessage)
                publishDialogHooks_.setStatusMessage("Publish failed: " + error);
            else
                showErrorMessage("Publish failed: " + error);
        },
        thumbnail);
}

void Lumenda3DEditor::performUnpublish(bool isRetry) {
    showToast("Unpublishing...", 2.0f);
    ResourceLoader::getInstance().unpublishResource(
        cloudResourceId, [this, isRetry](bool success, const std::string&, const std::string& error) {
            if (success) {
                showToast("Project unpublished.", 3.0f);
                return;
            }
            if (!isRetry && AuthenticationFlowManager::isAuthenticationError(error)) {
                AuthenticationFlowManager::getInstance().checkLogin([this] { performUnpublish(true); }, true);
                return;
            }
            showErrorMessage("Unpublish failed: " + error);
        });
}

void Lumenda3DEditor::setupPublishDialog() {
    auto dialog = allUI ? allUI->getPanel<PublishDialog>() : nullptr;
    if (!dialog)
        return;
    dialog->setOnPublish([this](const std::string& description, const std::string& category, bool viewSource,
                                bool published) { performPublish(description, category, viewSource, published, false); });
    std::weak_ptr<PublishDialog> weak = dialog;
    setPublishDialogHooks({[weak](const std::string& message) {
                               if (auto d = weak.lock())
                                   d->setStatusMessage(message);
                           },
                           [weak] {
                               if (auto d = weak.lock())
                                   d->hide();
                           }});
    commands.add({"project.publish", "Publish", {}, [this] { return !isRunning(); }, "",
                  [this] { onMenuPublish(); }});
    commands.add({"project.unpublish", "Unpublish", {}, {}, "", [this] { onMenuUnpublish(); }});
}

void Lumenda3DEditor::onMenuPublish() {
    if (sourceHasLocalAssets()) {
        showErrorMessage("Project uses local assets. Replace them with cloud-hosted assets before publishing.");
        return;
    }
    if (!AuthenticationManager::getInstance().isAuthenticated()) {
        AuthenticationFlowManager::getInstance().checkLogin([this] { onMenuPublish(); }, true);
        return;
    }
    if (cloudResourceId.empty()) {
        showErrorMessage("Please save the project to the cloud before publishing.");
        return;
    }
    if (auto dialog = allUI ? allUI->getPanel<PublishDialog>() : nullptr)
        dialog->show(projectDescription, projectCategoryId, projectViewSource);
}

void Lumenda3DEditor::onMenuUnpublish() {
    if (!AuthenticationManager::getInstance().isAuthenticated()) {
        AuthenticationFlowManager::getInstance().checkLogin([this] { onMenuUnpublish(); }, true);
        return;
    }
    if (cloudResourceId.empty()) {
        showErrorMessage("Please save the project before unpublishing.");
        return;
    }
    if (!projectPublished) {
        showToast("Project is not published.", 3.0f);
        return;
    }
    if (auto dialog = allUI ? allUI->getPanel<ConfirmDialog>() : nullptr)
        dialog->show("Unpublish game",
                     "The game will be removed from the site and will no longer be publicly visible. You can "
                     "publish it again later.",
                     [this] { performUnpublish(false); }, "Unpublish");
}

} // namespace Lumenda3D
