#pragma once
// The running editor as the agent tools see it: every operation of LmdMcpEditorAccess forwarded
// to Lumenda3DEditor, its engine and the local store. The tools call it on the main thread only.
#include "mcp/LmdMcpEditorAccess.h"

namespace Lumenda3D {

class Lumenda3DEditor;

class LmdEditorMcpAccess : public LmdMcpEditorAccess {
public:
    // Not owned; null makes every operation a harmless no-op (empty answers).
    explicit LmdEditorMcpAccess(Lumenda3DEditor* editor);

    std::string getSourceXmlString(bool withIds, bool forStorage) override;
    int getPlayStatus() override;
    bool applyAiEditedXml(const std::string& xml) override;
    const CodeSchema* getSchema() override;

    void play() override;
    void stop() override;
    std::string getProjectName() override;
    std::string getResourceId() override;
    void getWindowSize(float& width, float& height) override;
    bool isSyntheticInputActive() override;
    std::vector<SceneObject> getSceneObjects() override;
    GameState getGameState() override;
    bool applyLiveEdits(const std::vector<LiveEdit>& edits, std::string& error) override;
    void runFor(double seconds) override;
    bool isSpanRunning() override;
    std::vector<unsigned char> captureSceneThumbnail(int width, int height) override;
    std::vector<unsigned char> captureSceneFromView(int width, int height, const Point3& eye,
                                                    const Point3& target) override;
    std::vector<unsigned char> captureWindowContents(int width, int height) override;
    void selectBlockByXmlId(int xmlId, bool scrollTo) override;

    bool queueSyntheticKeys(const std::vector<std::string>& names, float holdSeconds, std::string& error) override;
    bool queueSyntheticClick(int x, int y, OgreBites::ButtonType button, float holdSeconds,
                             std::string& error) override;
    bool queueSyntheticDrag(int fromX, int fromY, int toX, int toY, OgreBites::ButtonType button, float seconds,
                            std::string& error) override;
    bool queueSyntheticScroll(int x, int y, float amount, std::string& error) override;
    bool queueSyntheticSequence(const std::vector<LmdInputStep>& steps, std::string& error) override;

    bool hasUnsavedChanges() override;
    void saveProject(Done done) override;
    void saveProjectAs(const std::string& name, bool toCloud, Done done) override;
    void openProject(const std::string& nameOrId, bool fromCloud, Done done) override;
    void newProject(Done done) override;
    std::vector<std::string> listLocalProjects() override;
    bool isLoggedIn() override;
    void fetchCloudProjects(Done done) override;
    void fetchUserAssets(const std::string& assetType, Done done) override;

    bool importLocalAsset(const AssetImport& request, std::string& referenceOrError) override;
    std::vector<std::string> listLocalAssets(const std::string& assetType) override;

    void startExport(const nlohmann::json& options, Progress progress, Done done) override;

private:
    bool noEditor(std::string& error) const;

    Lumenda3DEditor* editor_;
};

} // namespace Lumenda3D
