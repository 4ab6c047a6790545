// The Save As family of the File menu: Save As, saving a project as a plugin and back, renaming a
// cloud project. All of them go through the Save dialog, whose confirmation creates the new local
// project or cloud resource (or renames the cloud one).
#include "core/Lumenda3DEditor.h"

#include "engine/editing/LmdSourceFiles.h"
#include "project/SaveProjectDialog.h"
#include "services/AuthenticationFlowManager.h"
#include "services/AuthenticationManager.h"
#include "ui/AllUI.h"

namespace Lumenda3D {

namespace {
std::shared_ptr<SaveProjectDialog> saveDialogOf(const std::shared_ptr<AllUI>& ui) {
    return ui ? ui->getPanel<SaveProjectDialog>() : nullptr;
}
} // namespace

void Lumenda3DEditor::setupDialogCallbacks() {
    setupOpenDialog();
    setupTemplateDialog();
    setupPublishDialog();
    auto dialog = saveDialogOf(allUI);
    if (!dialog)
        return;
    dialog->setOnSave([this](const std::string& name, SaveProjectDialog::Target target) {
        onSaveDialogConfirmed(name, target == SaveProjectDialog::Target::Local);
    });
    std::weak_ptr<SaveProjectDialog> weak = dialog;
    setSaveDialogHooks({[weak](const std::string& message) {
                            if (auto d = weak.lock())
                                d->setStatusMessage(message);
                        },
                        [weak] {
                            if (auto d = weak.lock())
                                d->clearBusy();
                        },
                        [weak] {
                            if (auto d = weak.lock())
                                d->hide();
                        },
                        [weak](const std::string& message) {
                            if (auto d = weak.lock())
                                d->reopen(message);
                        }});

    auto plugin = [this] { return isPluginOpen(); };
    auto cloud = [this] { return hasCloudResource(); };
    commands.add({"file.saveProjectAs", "Save Project As...", {"Ctrl+Shift+S"}, [plugin] { return !plugin(); }, "",
                  [this] { onMenuSaveProjectAs(); }});
    commands.add({"file.savePluginAs", "Save Plugin As...", {}, plugin, "", [this] { onMenuSaveProjectAs(); }});
    commands.add({"file.saveProjectAsPlugin", "Save Project As Plugin...", {},
                  [plugin, cloud] { return !plugin() && cloud(); }, "", [this] { onMenuSaveProjectAsPlugin(); }});
    commands.add({"file.savePluginAsProject", "Save Plugin As Project...", {},
                  [plugin, cloud] { return plugin() && cloud(); }, "", [this] { onMenuSavePluginAsProject(); }});
    commands.add({"file.renameProject", "Rename Project", {}, [plugin, cloud] { return !plugin() && cloud(); }, "",
                  [this] { onMenuRenameProject(); }});
    commands.add({"file.renamePlugin", "Rename Plugin", {}, [plugin, cloud] { return plugin() && cloud(); }, "",
                  [this] { onMenuRenameProject(); }});
}

void Lumenda3DEditor::onMenuSaveProjectAs() {
    auto dialog = saveDialogOf(allUI);
    if (!dialog)
        return;
    saveDialogMode = 0;
    // A project kept on this computer, or one that uses this computer's assets, is offered Local.
    const bool local = !localProjectName.empty() || sourceHasLocalAssets();
    dialog->show(projectName, local ? SaveProjectDialog::Target::Local : SaveProjectDialog::Target::Cloud,
                 isPluginOpen() ? "Save Plugin As" : "Save Project As", true, "Save");
}

void Lumenda3DEditor::onMenuSaveProjectAsPlugin() {
    if (auto dialog = saveDialogOf(allUI)) {
        saveDialogMode = 1;
        dialog->show(projectName, SaveProjectDialog::Target::Cloud, "Save Project As Plugin", true, "Save");
    }
}

void Lumenda3DEditor::onMenuSavePluginAsProject() {
    if (auto dialog = saveDialogOf(allUI)) {
        saveDialogMode = 2;
        dialog->show(projectName, SaveProjectDialog::Target::Cloud, "Save Plugin As Project", true, "Save");
    }
}

void Lumenda3DEditor::onMenuRenameProject() {
    if (auto dialog = saveDialogOf(allUI)) {
        saveDialogMode = 3;
        dialog->show(projectName, SaveProjectDialog::Target::Cloud,
                     isPluginOpen() ? "Rename Plugin" : "Rename Project", false, "Rename");
    }
}

void Lumenda3DEditor::reopenSaveDialogAfterCancelledLogin() {
    // The person gave up the login a cloud save asked for: the dialog comes back as it was, so
    // that nothing typed is lost and another target can be chosen. Nothing was saved, so the
    // project keeps the identity it had.
    settleSaveAsIdentity(false);
    if (saveDialogHooks_.reopen)
        saveDialogHooks_.reopen(kSaveNeedsLogin);
}

void Lumenda3DEditor::onSaveDialogConfirmed(const std::string& name, bool local) {
    const std::string xml = getSourceXmlString(false, true);
    const bool rename = saveDialogMode == 3;
    if (!local && !rename && sourceHasLocalAssets()) {
        if (saveDialogHooks_.setStatusMessage)
            saveDialogHooks_.setStatusMessage(kLocalAssetsOnlyLocally);
        if (saveDialogHooks_.clearBusy)
            saveDialogHooks_.clearBusy();
        return;
    }
    if (rename) {
        // A rename is a cloud operation whatever the dialog's target says.
        if (saveDialogHooks_.hide)
            saveDialogHooks_.hide();
        if (AuthenticationManager::getInstance().isAuthenticated()) {
            performSave(cloudResourceId, xml, projectResourceType, name, false);
            return;
        }
        AuthenticationFlowManager::getInstance().checkLogin(
            [this, name] { performSave(cloudResourceId, getSourceXmlString(false, true), projectResourceType, name, false); },
            true, [this] { reopenSaveDialogAfterCancelledLogin(); });
        return;
    }
    // The copy gets an identity of its own. The text was taken before the new identity, so the
    // file written now still carries the old one; the document holds the new one from here on and
    // every later save writes it.
    renewIdentityForSaveAs();
    if (local) {
        settleSaveAsIdentity(performCreateLocal(name, xml));
        return;
    }
    std::string type = projectResourceType;
    if (saveDialogMode == 1)
        type = "plugin";
    else if (saveDialogMode == 2)
        type = "project";
    performCreate(name, xml, type, false);
}

void Lumenda3DEditor::renewIdentityForSaveAs() {
    if (!sourceFiles)
        return;
    const std::string previous = sourceFiles->getProjectGuid();
    sourceFiles->regenerateProjectGuid();
    // A second attempt after a failure keeps the identity the project had before the first.
    if (!saveAsIdentity_)
        saveAsIdentity_ = RenewedIdentity{previous, ""};
    saveAsIdentity_->renewed = sourceFiles->getProjectGuid();
}

void Lumenda3DEditor::settleSaveAsIdentity(bool saved) {
    if (!saveAsIdentity_)
        return;
    const RenewedIdentity identity = *saveAsIdentity_;
    saveAsIdentity_.reset();
    if (saved || !sourceFiles || sourceFiles->getProjectGuid() != identity.renewed)
        return;
    const bool wasDirty = isProjectDirty();
    sourceFiles->setProjectGuid(identity.previous);
    // Putting the identity back is not a change of the person's: a clean document stays clean.
    if (!wasDirty)
        markXmlPersisted();
}

} // namespace Lumenda3D
