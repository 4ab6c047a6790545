#pragma once
// A stand-in for the editor behind the agent tools: a real game document (LmdGameDocument, so
// ids and the agent form are the editor's own), the real command schema, and recorded calls for
// everything else.
#include <string>
#include <vector>

#include "engine/document/LmdGameDocument.h"
#include "engine/schema/CodeSchema.h"
#include "mcp/LmdMcpEditorAccess.h"

namespace Lumenda3D::test {

class FakeMcpEditor : public LmdMcpEditorAccess {
public:
    FakeMcpEditor() {
        schemaLoaded = schema.load(LMD_SOURCE_MEDIA_DIR "/codeSchema.xml");
    }

    bool load(const std::string& xml) { return document.setXmlSourceString(xml); }

    std::string getSourceXmlString(bool withIds, bool forStorage) override {
        return document.getSourceXmlString(withIds, forStorage);
    }
    int getPlayStatus() override { return playStatus; }
    bool applyAiEditedXml(const std::string& xml) override {
        ++applyCount;
        if (xml.empty() || refuseApply)
            return false;
        return document.setXmlSourceString(xml);
    }
    bool applyLiveEdits(const std::vector<LiveEdit>& edits, std::string& error) override {
        if (!liveError.empty()) {
            error = liveError;
            return false;
        }
        for (const LiveEdit& edit : edits) {
            pugi::xml_node node = document.getXmlNodeById(edit.xmlId);
            if (edit.remove)
                node.remove_attribute(edit.attribute.c_str());
            else
                (node.attribute(edit.attribute.c_str()) ? node.attribute(edit.attribute.c_str())
                                                        : node.append_attribute(edit.attribute.c_str()))
                    .set_value(edit.value.c_str());
        }
        document.markChanged();
        liveEdits.insert(liveEdits.end(), edits.begin(), edits.end());
        return true;
    }
    const CodeSchema* getSchema() override { return withSchema ? &schema : nullptr; }

    void play() override { ++playCount; }
    void runFor(double seconds) override { spanSeconds = seconds; }
    bool isSpanRunning() override { return spanRunning; }
    void stop() override { ++stopCount; }
    std::string getProjectName() override { return "Demo"; }
    std::string getResourceId() override { return "r-1"; }
    void getWindowSize(float& width, float& height) override {
        width = windowWidth;
        height = windowHeight;
    }
    bool isSyntheticInputActive() override { return inputActive; }
    std::vector<SceneObject> getSceneObjects() override { return objects; }
    GameState getGameState() override { return gameState; }
    std::vector<unsigned char> captureSceneThumbnail(int width, int height) override {
        return capture("scene", width, height);
    }
    std::vector<unsigned char> captureSceneFromView(int width, int height, const Point3& eye, const Point3& target) override {
        lastEye = eye;
        lastTarget = target;
        return capture("view", width, height);
    }
    std::vector<unsigned char> captureWindowContents(int width, int height) override {
        return capture("window", width, height);
    }
    void selectBlockByXmlId(int xmlId, bool) override { selected.push_back(xmlId); }

    bool queueSyntheticKeys(const std::vector<std::string>& names, float holdSeconds, std::string& error) override {
        keys = names;
        hold = holdSeconds;
        return accept(error);
    }
    bool queueSyntheticClick(int x, int y, OgreBites::ButtonType button, float holdSeconds, std::string& error) override {
        lastX = x;
        lastY = y;
        lastButton = button;
        hold = holdSeconds;
        return accept(error);
    }
    bool queueSyntheticDrag(int fromX, int fromY, int toX, int toY, OgreBites::ButtonType button, float seconds,
                            std::string& error) override {
        lastX = fromX;
        lastY = fromY;
        lastToX = toX;
        lastToY = toY;
        lastButton = button;
        hold = seconds;
        return accept(error);
    }
    bool queueSyntheticScroll(int x, int y, float amount, std::string& error) override {
        lastX = x;
        lastY = y;
        scrollAmount = amount;
        return accept(error);
    }
    bool queueSyntheticSequence(const std::vector<LmdInputStep>& steps, std::string& error) override {
        sequence = steps;
        return accept(error);
    }

    bool hasUnsavedChanges() override { return unsaved; }
    void saveProject(Done done) override { finish(std::move(done)); }
    void saveProjectAs(const std::string& name, bool, Done done) override {
        savedAs = name;
        finish(std::move(done));
    }
    void openProject(const std::string& nameOrId, bool, Done done) override {
        opened = nameOrId;
        finish(std::move(done));
    }
    void newProject(Done done) override { finish(std::move(done)); }
    std::vector<std::string> listLocalProjects() override { return {"Alpha", "Beta"}; }
    bool isLoggedIn() override { return loggedIn; }
    void fetchCloudProjects(Done done) override { finish(std::move(done)); }
    void fetchUserAssets(const std::string&, Done done) override { finish(std::move(done)); }
    bool importLocalAsset(const AssetImport& request, std::string& referenceOrError) override {
        referenceOrError = "local:" + (request.name.empty() ? std::string("file.png") : request.name);
        return true;
    }
    std::vector<std::string> listLocalAssets(const std::string& type) override {
        return type == "textures" ? std::vector<std::string>{"grass.png"} : std::vector<std::string>{};
    }
    void startExport(const nlohmann::json& options, Progress progress, Done done) override {
        exportOptions = options;
        exportProgress = std::move(progress);
        pending = std::move(done);
    }

    // Operations either finish at once (syncResult) or wait in `pending` for the test.
    void finish(Done done) {
        if (asynchronous)
            pending = std::move(done);
        else
            done(syncOk, syncMessage);
    }

    LmdGameDocument document;
    CodeSchema schema;
    bool schemaLoaded = false;
    bool withSchema = true;
    int playStatus = Stopped;
    bool refuseApply = false;
    int applyCount = 0;
    int playCount = 0;
    int stopCount = 0;
    float windowWidth = 1280.0f, windowHeight = 800.0f;
    bool inputActive = false;
    std::vector<SceneObject> objects;
    GameState gameState;
    std::vector<LiveEdit> liveEdits;
    std::string liveError;
    double spanSeconds = 0.0;
    bool spanRunning = false;
    std::vector<unsigned char> captureBytes = {0xFF, 0xD8, 0xFF, 0xD9};
    std::string lastCapture;
    int lastWidth = 0, lastHeight = 0;
    Point3 lastEye, lastTarget;
    std::vector<int> selected;
    std::string inputError; // non-empty: the engine refuses input with this text
    std::vector<std::string> keys;
    float hold = -1.0f;
    int lastX = -1, lastY = -1, lastToX = -1, lastToY = -1;
    OgreBites::ButtonType lastButton = OgreBites::BUTTON_LEFT;
    float scrollAmount = 0.0f;
    std::vector<LmdInputStep> sequence;
    bool unsaved = false;
    bool loggedIn = false;
    bool asynchronous = false;
    bool syncOk = true;
    std::string syncMessage = "Saved.";
    Done pending;
    std::string savedAs, opened;
    nlohmann::json exportOptions;
    Progress exportProgress;

private:
    std::vector<unsigned char> capture(const char* kind, int width, int height) {
        lastCapture = kind;
        lastWidth = width;
        lastHeight = height;
        return captureBytes;
    }
    bool accept(std::string& error) {
        error = inputError;
        return inputError.empty();
    }
};

} // namespace Lumenda3D::test
