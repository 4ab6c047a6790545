// The editor's project session: what is open and whether it changed since it was saved or loaded,
// the title, the first document at start, opening a project, and the offer to recover a backup
// that a crash left behind.
#include "core/Lumenda3DEditor.h"

#include <filesystem>
#include <fstream>
#include <sstream>

#include <OgreDataStream.h>
#include <OgreException.h>
#include <OgreResourceGroupManager.h>
#include <OgreRoot.h>

#include "base/LmdLog.h"
#include "chrome/Tabs.h"
#include "chrome/TopBar.h"
#include "engine/document/LmdGameDocument.h"
#include "engine/editing/LmdSourceFiles.h"
#include "project/RecoverFromCrashDialog.h"
#include "services/ApiConfig.h"
#include "services/AuthenticationFlowManager.h"
#include "services/AuthenticationManager.h"
#include "services/ResourceLoader.h"
#include "ui/AllUI.h"

namespace Lumenda3D {

// --- Session -------------------------------------------------------------------------------------

void Lumenda3DEditor::onProjectOpened(const std::string& xml, const std::string& resourceId, const std::string& name,
                                      const std::string& metadataJson) {
    // A new project starts a new conversation with the assistant here once the chat panel exists.
    applyOpenedProject(resourceId, name, metadataJson);
    onResourceLoaded(xml);
    updateWindowTitle();
    if (sourceFiles)
        sourceFiles->setAutoSaveProjectName(projectName);
}

void Lumenda3DEditor::markXmlPersisted() {
    markPersistedText(getSourceXmlString(false, true));
}

bool Lumenda3DEditor::isProjectDirty() {
    return isDirtyText(getSourceXmlString(false, true));
}

void Lumenda3DEditor::updateWindowTitle() {
    if (!allUI)
        return;
    if (auto topBar = allUI->getPanel<TopBar>())
        topBar->setProjectTitle(projectTitle());
}

bool Lumenda3DEditor::projectHasLocalAssets() const {
    return sourceHasLocalAssets();
}

// --- Opening -------------------------------------------------------------------------------------

bool Lumenda3DEditor::readInitialDocument(std::string& text, bool& fromGameFile) {
    fromGameFile = false;
    if (!pendingGameFile.empty()) {
        std::ifstream file(pendingGameFile, std::ios::binary);
        std::error_code ec;
        if (file && !std::filesystem::is_directory(pendingGameFile, ec)) {
            std::ostringstream content;
            content << file.rdbuf();
            text = content.str();
            fromGameFile = true;
            return true;
        }
        showErrorMessage("Cannot read the game file " + pendingGameFile);
    }
    // "src.xml" of the default resource group: the starting project.
    if (!Ogre::Root::getSingletonPtr() || !Ogre::ResourceGroupManager::getSingletonPtr())
        return false;
    try {
        Ogre::DataStreamPtr stream = Ogre::Root::getSingleton().openFileStream("src.xml", Ogre::RGN_DEFAULT);
        if (!stream)
            return false;
        text = stream->getAsString();
        return true;
    } catch (const Ogre::FileNotFoundException&) {
        return false;
    }
}

void Lumenda3DEditor::loadInitialProject() {
    runGuarded("loadInitialProject", [&] {
        std::string text;
        bool fromGameFile = false;
        const bool found = readInitialDocument(text, fromGameFile);
        bool content = false;
        if (!found) {
            loadScript(LmdGameDocument::kEmptyGameXml, false);
        } else {
            pugi::xml_document probe;
            if (probe.load_string(text.c_str(), pugi::parse_default))
                content = static_cast<bool>(probe.child(LmdGameDocument::kRootElement).first_child());
            const std::filesystem::path path(pendingGameFile);
            if (fromGameFile)
                setGameDir(std::filesystem::absolute(path).parent_path().string());
            // A game named on the command line opens as an unsaved project named after its file.
            if (loadScript(text, false) && fromGameFile) {
                projectName = path.stem().string();
                markXmlPersisted();
                updateWindowTitle();
                if (sourceFiles)
                    sourceFiles->setAutoSaveProjectName(projectName);
            }
        }
        if (allUI)
            if (auto tabs = allUI->getPanel<Tabs>())
                tabs->setTabOnChangeCallback([this](const std::string& tab) { return onTabChange(tab); });
        offerCrashRecoveryIfNeeded(!content);
        if (pendingResourceId.empty()) {
            // Quietly takes up a session stored at an earlier start, and asks the server in the
            // background whether it still holds (one it ended is forgotten); nobody is asked.
            AuthenticationFlowManager::getInstance().checkLogin(
                [] { AuthenticationManager::getInstance().verifySession(nullptr); }, false);
        } else {
            const std::string resourceId = pendingResourceId;
            pendingResourceId.clear();
            loadResourceById(resourceId, false);
        }
        initEvents();
    });
}

Lumenda3DEditor::CloudResourceLoader Lumenda3DEditor::defaultCloudResourceLoader() {
    return [](const std::string& resourceId, ResourceLoadedCallback done) {
        ResourceLoader::getInstance().loadResource(resourceId, std::move(done));
    };
}

void Lumenda3DEditor::loadResourceById(const std::string& resourceId, bool retried) {
    LmdLog::message("Opening cloud project " + resourceId);
    auto load = [this, resourceId, retried] {
        ResourceLoadedCallback done = [this, resourceId, retried](bool success, const std::string& xml,
                                                                  const std::string& text) {
            if (success && !xml.empty()) {
                onProjectOpened(xml, resourceId, "", text);
                return;
            }
            // A lapsed session gets one more try, through the login; a second refusal is reported.
            if (!success && !retried && AuthenticationFlowManager::isAuthenticationError(text) &&
                AuthenticationFlowManager::getInstance().hasLoginPrompt()) {
                loadResourceById(resourceId, true);
                return;
            }
            showErrorMessage("Could not open project " + resourceId + ": " + (success ? std::string() : text));
        };
        if (cloudResourceLoader_)
            cloudResourceLoader_(resourceId, std::move(done));
        else
            done(false, "", "the cloud service is not available");
    };
    // The login comes first when the editor can ask for one. Without a way to ask, the load goes
    // ahead anyway: a published game opens without a login, and anything else is refused by the
    // server with a sentence that says a login is needed. Without a server there is nothing to
    // log in to: the load says so at once.
    AuthenticationFlowManager& flow = AuthenticationFlowManager::getInstance();
    if (flow.hasLoginPrompt() && !ApiConfig::getServerUrl().empty())
        flow.checkLogin(load, true);
    else
        load();
}

void Lumenda3DEditor::onResourceLoaded(const std::string& xml) {
    if (xml.empty())
        return;
    if (!loadScript(xml, false))
        return;
    isEditMode = true;
    if (allUI)
        if (auto tabs = allUI->getPanel<Tabs>())
            tabs->setCurrentTab(Tabs::kScene);
    markXmlPersisted();
}

// --- Crash recovery ------------------------------------------------------------------------------

void Lumenda3DEditor::refreshHasDismissedSnapshot() {
    hasDismissedSnapshot = sourceFiles ? sourceFiles->hasDismissedAutoBackup() : false;
}

void Lumenda3DEditor::offerCrashRecoveryIfNeeded(bool showTemplatesAfter) {
    if (sourceFiles && sourceFiles->autoBackupExists()) {
        const std::optional<LmdSourceFiles::AutoSaveSnapshot> snapshot = sourceFiles->loadAutoBackup();
        if (snapshot && !snapshot->xml.empty()) {
            std::shared_ptr<RecoverFromCrashDialog> dialog = allUI ? allUI->getPanel<RecoverFromCrashDialog>() : nullptr;
            if (!dialog)
                return;
            const LmdSourceFiles::AutoSaveSnapshot backup = *snapshot;
            auto onRecover = [this, backup] {
                if (projectName != backup.projectName)
                    projectName = backup.projectName;
                updateWindowTitle();
                // Not marked as saved: it is unsaved work, and it has no storage of its own.
                loadScript(backup.xml, false);
                if (sourceFiles)
                    sourceFiles->setAutoSaveProjectName(projectName);
            };
            auto onDiscard = [this, showTemplatesAfter] {
                if (sourceFiles)
                    sourceFiles->dismissAutoBackup();
                refreshHasDismissedSnapshot();
                if (showTemplatesAfter)
                    showTemplateDialog();
            };
            dialog->show(backup.projectName, backup.timestamp, onRecover, onDiscard, backup.closedNormally);
            return;
        }
        if (snapshot) {
            // A backup without text is of no use.
            sourceFiles->clearAutoBackup();
        } else {
            // One that cannot be read may still hold the user's work: it is kept aside, and said.
            reportDamagedBackup(sourceFiles->setAsideDamagedAutoBackup(false), LmdAutoSaver::pendingPath());
        }
        refreshHasDismissedSnapshot();
    }
    if (showTemplatesAfter)
        showTemplateDialog();
}

void Lumenda3DEditor::reportDamagedBackup(const std::string& keptAs, const std::string& path) {
    if (keptAs.empty())
        showErrorMessage("The auto-save backup could not be read. It was left where it is: " + path);
    else
        showErrorMessage("The auto-save backup could not be read. It was kept as " + keptAs);
}

void Lumenda3DEditor::recoverLastAutoSave() {
    if (!sourceFiles)
        return;
    const std::optional<LmdSourceFiles::AutoSaveSnapshot> snapshot = sourceFiles->loadDismissedAutoBackup();
    if (!snapshot) {
        if (sourceFiles->hasDismissedAutoBackup()) {
            reportDamagedBackup(sourceFiles->setAsideDamagedAutoBackup(true), LmdAutoSaver::dismissedPath());
            refreshHasDismissedSnapshot();
        }
        return;
    }
    if (!snapshot->projectName.empty()) {
        projectName = snapshot->projectName;
        updateWindowTitle();
    }
    loadScript(snapshot->xml, false);
    sourceFiles->setAutoSaveProjectName(projectName);
}

} // namespace Lumenda3D
