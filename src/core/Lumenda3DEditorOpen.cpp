// The person's way into a project: the Open Project dialog's lists and its opening of a local
// project by name or a cloud project by id, with the login a cloud project may need.
#include "core/Lumenda3DEditor.h"

#include <nlohmann/json.hpp>

#include "base/LmdLog.h"
#include "engine/document/LmdGameDocument.h"
#include "project/OpenResourceDialog.h"
#include "project/ProjectPictures.h"
#include "project/ProjectTemplateDialog.h"
#include "services/ApiConfig.h"
#include "services/MyHttpClient.h"
#include "engine/editing/LmdSourceFiles.h"
#include "services/AuthenticationFlowManager.h"
#include "services/AuthenticationManager.h"
#include "services/LocalStorage.h"
#include "services/ResourceLoader.h"
#include "ui/AllUI.h"

namespace Lumenda3D {

namespace {

// The projects of the cloud list answer ({"resources": [<metadata>...]}); entries without an id
// are left out.
std::vector<OpenResourceDialog::CloudProject> parseCloudList(const std::string& answer) {
    std::vector<OpenResourceDialog::CloudProject> projects;
    const nlohmann::json json = nlohmann::json::parse(answer, nullptr, false);
    if (!json.is_object() || !json.contains("resources") || !json["resources"].is_array())
        return projects;
    for (const nlohmann::json& entry : json["resources"]) {
        if (!entry.is_object())
            continue;
        OpenResourceDialog::CloudProject project;
        if (entry.contains("resource_id") && entry["resource_id"].is_string())
            project.id = entry["resource_id"].get<std::string>();
        if (entry.contains("resource_name") && entry["resource_name"].is_string())
            project.name = entry["resource_name"].get<std::string>();
        if (ResourceLoader::isValidResourceId(project.id))
            project.thumbnail = "/api/resources/" + project.id + "/thumbnail";
        if (!project.id.empty())
            projects.push_back(std::move(project));
    }
    return projects;
}

} // namespace

void Lumenda3DEditor::runInBackground(const std::string& name, std::function<void()> work, std::function<void()> done) {
    jobs.start(
        name,
        [work = std::move(work)](LmdJobService::Context&) {
            work();
            return LmdJobService::Result{true, ""};
        },
        nullptr, [done = std::move(done)](LmdJobService::State, const std::string&) { done(); });
}

std::shared_ptr<ProjectPictures> Lumenda3DEditor::projectPictures() {
    if (projectPictures_)
        return projectPictures_;
    projectPictures_ = std::make_shared<ProjectPictures>();
    projectPictures_->setRunner([this](std::function<void()> work, std::function<void()> done) {
        runInBackground("project pictures", std::move(work), std::move(done));
    });
    projectPictures_->setFetch([](const std::string& address, std::function<void(const std::string&)> done) {
        ResourceLoader::getInstance().loadPicture(address, [address, done](bool ok, const std::string& bytes,
                                                                           const std::string& error) {
            if (!ok)
                LmdLog::message("No picture for the project lists: " + error);
            done(ok ? bytes : std::string());
        });
    });
    return projectPictures_;
}

void Lumenda3DEditor::setupOpenDialog() {
    auto dialog = allUI ? allUI->getPanel<OpenResourceDialog>() : nullptr;
    if (!dialog)
        return;
    dialog->setPictures(projectPictures());
    dialog->setLocalProjects([] { return LocalStorage::listProjects(); });
    dialog->setCloudLister([](OpenResourceDialog::CloudListDone done) {
        if (!AuthenticationManager::getInstance().isAuthenticated()) {
            done(false, {}, "Log in to see your cloud projects. A project id opens without the list.");
            return;
        }
        ResourceLoader::getInstance().listResources(
            [done](bool success, const std::string& data, const std::string& error) {
                if (!success)
                    done(false, {}, "Your cloud projects could not be listed: " + error);
                else
                    done(true, parseCloudList(data), "");
            });
    });
    dialog->setOnOpenLocal([this](const std::string& name, OpenResourceDialog::Done done) {
        std::string error;
        openLocalProjectHeadless(name, error);
        done(error);
    });
    dialog->setOnOpenCloud([this](const std::string& id, OpenResourceDialog::Done done) {
        openCloudProjectForPerson(id, false, std::move(done));
    });
    commands.add({"file.openProject", "Open Project", {"Ctrl+O"}, [this] { return !isRunning(); }, "",
                  [dialog] { dialog->show(); }});
}

void Lumenda3DEditor::setupTemplateDialog() {
    auto dialog = allUI ? allUI->getPanel<ProjectTemplateDialog>() : nullptr;
    if (!dialog)
        return;
    dialog->setPictures(projectPictures());
    dialog->setOnTemplateSelected([this](const ProjectTemplate& chosen) { onTemplateSelected(chosen); });
    dialog->setFetcher([this](ProjectTemplateDialog::FetchDone done) {
        std::shared_ptr<MyHttpClient> http = getHttpClient();
        const std::string base = ApiConfig::getApiBaseUrl();
        if (!http || base.empty()) {
            done(false, {}, "");
            return;
        }
        http->get(base + "/templates.php", [done](const HttpResponse& response) {
            LmdLog::message(std::string("Templates response received. isOk=") + (response.isOk() ? "true" : "false") +
                            " size=" + std::to_string(response.body.size()));
            LmdLog::message("Templates JSON (first 200 chars): " + response.body.substr(0, 200));
            if (!response.isOk()) {
                done(false, {}, "Failed to fetch templates. (Status: " + std::to_string(response.status) + ")");
                return;
            }
            std::vector<ProjectTemplate> templates;
            if (!ProjectTemplateDialog::parseTemplates(response.body, templates)) {
                LmdLog::message("Templates response is not an array!");
                done(false, {}, "Failed to fetch templates: the server's answer was not a list.");
                return;
            }
            done(true, templates, "");
        });
    });
    commands.add({"file.newProject", "New Project", {"Ctrl+N"}, [this] { return !isRunning(); }, "",
                  [this, dialog] {
                      resetProjectMetadata();
                      updateWindowTitle();
                      dialog->show();
                  }});
}

void Lumenda3DEditor::showTemplateDialog() {
    if (allUI)
        if (auto dialog = allUI->getPanel<ProjectTemplateDialog>())
            dialog->show();
}

void Lumenda3DEditor::onTemplateSelected(const ProjectTemplate& chosen) {
    std::string id = chosen.id == "simple" ? "10401" : chosen.id;
    if (id == "empty") {
        loadScript(LmdGameDocument::kEmptyGameXml, false);
        if (sourceFiles)
            sourceFiles->regenerateProjectGuid();
        markXmlPersisted();
        return;
    }
    std::shared_ptr<MyHttpClient> http = getHttpClient();
    const std::string server = ApiConfig::getServerUrl();
    if (!http || server.empty()) {
        LmdLog::message("HTTP client not available");
        showErrorMessage("The template \"" + chosen.name + "\" cannot be loaded: no server is configured.");
        return;
    }
    const std::string name = chosen.name;
    http->get(server + "/editor/data/6/" + id + "/src.xml", [this, name](const HttpResponse& response) {
        if (!response.isOk()) {
            LmdLog::message("Failed to load template (Status: " + std::to_string(response.status) + ")");
            showErrorMessage("The template \"" + name + "\" could not be loaded: " +
                             (response.error.empty() ? "status " + std::to_string(response.status) : response.error));
            return;
        }
        // A template is a new project with an identity of its own; it counts as saved until the
        // person changes it.
        onResourceLoaded(response.body);
        if (sourceFiles)
            sourceFiles->regenerateProjectGuid();
        markXmlPersisted();
    });
}

void Lumenda3DEditor::openCloudProjectForPerson(const std::string& resourceId, bool retried,
                                                std::function<void(const std::string&)> done) {
    LmdLog::message("Opening cloud project " + resourceId);
    auto load = [this, resourceId, retried, done] {
        if (!cloudResourceLoader_) {
            done("Cloud projects cannot be opened in this editor.");
            return;
        }
        cloudResourceLoader_(resourceId, [this, resourceId, retried, done](bool success, const std::string& xml,
                                                                         const std::string& text) {
            if (success && !xml.empty()) {
                std::string why;
                pugi::xml_document probe;
                if (!LmdGameDocument::parse(xml, probe, &why)) {
                    done("Could not open project " + resourceId + ": its document is not valid XML (" + why + ").");
                    return;
                }
                onProjectOpened(xml, resourceId, "", text);
                done("");
                return;
            }
            // A lapsed session gets one login and one more try; a second refusal is reported.
            if (!success && !retried && AuthenticationFlowManager::isAuthenticationError(text) &&
                AuthenticationFlowManager::getInstance().hasLoginPrompt()) {
                openCloudProjectForPerson(resourceId, true, done);
                return;
            }
            done("Could not open project " + resourceId + ": " +
                 (success ? std::string("it has no document.") : text));
        });
    };
    // A published game opens without a login; when the editor can ask for one, it asks first
    // (not without a server: the load then says that none is configured).
    AuthenticationFlowManager& flow = AuthenticationFlowManager::getInstance();
    if (flow.hasLoginPrompt() && !ApiConfig::getServerUrl().empty() &&
        (retried || !AuthenticationManager::getInstance().isAuthenticated()))
        flow.checkLogin(load, true);
    else
        load();
}

} // namespace Lumenda3D
