#pragma once
// What the agent tools need from the running editor and engine, and nothing more. The editor
// implements it (the document, the play state, captures, synthetic input, projects, assets and
// exports); tests implement it with a fake. Every operation is called on the main thread.
//
// Operations that may take time (cloud saves, opening a cloud project, listing cloud data,
// exports) report through a Done callback of (ok, message), on the main thread, either before
// they return (a local save) or on a later frame. They never show a dialog: the agent reads the
// message instead.
#include <functional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "engine/app/LmdInputStep.h"

namespace Lumenda3D {

class CodeSchema;

class LmdMcpEditorAccess {
public:
    // Engine play states, as getPlayStatus() gives them.
    enum PlayStatus { Stopped = 0, Playing = 1, Paused = 2, Running = 3, Loading = 4 };

    struct Point3 {
        float x = 0.0f, y = 0.0f, z = 0.0f;
    };

    // One live object of the scene.
    struct SceneObject {
        int xmlId = 0;              // the node id of its element
        std::string name;
        bool hasNode = false;       // whether it has a scene node (and so a position)
        Point3 position;            // world position of its scene node
        int cloneSerial = 0;        // a clone's own number (0: a document object)
        int cloneSourceSerial = 0;  // the clone number of what it was copied from (0: the element)
        Point3 rotation;            // degrees about x, y and z, relative to its parent
        Point3 scale{1.0f, 1.0f, 1.0f};
        bool visible = true;        // its own visibility flag
        bool hasVelocity = false;   // whether it has a physics body (and so a velocity)
        Point3 velocity;            // world units per second
    };

    // One element of the game's 2D layer.
    struct ScreenElement {
        int xmlId = 0;
        std::string name;
        std::string element;        // Text2D, Image2D, Rect2D, Button2D, Joystick
        std::string level;          // "" for an element shown on every level
        float x = 0.0f, y = 0.0f, width = 0.0f, height = 0.0f; // window pixels, as last drawn
        bool visible = true;        // its own flag
        bool shown = false;         // drawn now (visible, and of the level in view)
        std::string text;           // what it displays (texts and buttons)
    };

    // A game variable and its value.
    struct Variable {
        enum class Kind { Number, Boolean, Text } kind = Kind::Text;
        std::string name;
        double number = 0.0;
        bool boolean = false;
        std::string text;
    };

    // The state of the game beyond its 3D objects. While the game is stopped the level is the one
    // the editor shows, the time 0 and the variables empty.
    struct GameState {
        std::string level;
        double gameTime = 0.0;      // seconds of game time since the game started
        std::vector<Variable> variables;
        std::vector<ScreenElement> elements;
        bool audioDeviceOpen = false; // whether sound can be heard (else it is only checked and logged)
    };

    // One attribute change of a live edit.
    struct LiveEdit {
        int xmlId = 0;
        std::string attribute;
        std::string value;          // the new value, unless `remove`
        bool remove = false;        // the attribute goes (its default applies)
    };

    // What import_asset hands over.
    struct AssetImport {
        std::string sourcePath;     // absolute path of the file to copy
        std::string assetType;      // "models", "textures" or "sounds"
        std::string name;           // target file name; empty: the source's file name
        std::string thumbnailPath;  // optional thumbnail image; empty: none
        bool overwrite = false;
    };

    using Done = std::function<void(bool ok, const std::string& message)>;
    // Export progress, 0 to 1, with a short word on the current stage.
    using Progress = std::function<void(float fraction, const std::string& stage)>;

    virtual ~LmdMcpEditorAccess() = default;

    // --- Document ------------------------------------------------------------------------------
    // Lumenda3DEngine::getSourceXmlString: (true, false) is the agent form with a numeric id on
    // every element; "" when no game is open.
    virtual std::string getSourceXmlString(bool withIds, bool forStorage) = 0;
    // Lumenda3DEngine::getPlayStatus, see PlayStatus.
    virtual int getPlayStatus() = 0;
    // Lumenda3DEditor::applyAiEditedXml: false for an empty text, otherwise whether the reload
    // (which restarts the game) was taken.
    virtual bool applyAiEditedXml(const std::string& xml) = 0;
    // Writes the attribute changes into the document as one undo step and pushes them into the
    // scene and a running game, without a reload or restart (a Var's value also sets the running
    // variable). The caller has checked them; false with the reason for an element not there.
    virtual bool applyLiveEdits(const std::vector<LiveEdit>& edits, std::string& error) = 0;
    // The command schema the editor validates against (ScriptParser's); null without one.
    virtual const CodeSchema* getSchema() = 0;

    // --- Play and observation ------------------------------------------------------------------
    virtual void play() = 0;
    // LmdRuntime::runFor: exactly `seconds` of game time in fixed steps, then paused.
    virtual void runFor(double seconds) = 0;
    // Whether a span of runFor is still to play (also while its game is loading).
    virtual bool isSpanRunning() = 0;
    // Stops the game with an empty completion callback.
    virtual void stop() = 0;
    virtual std::string getProjectName() = 0;
    virtual std::string getResourceId() = 0;
    // The window's size in pixels: the space of send_input coordinates.
    virtual void getWindowSize(float& width, float& height) = 0;
    virtual bool isSyntheticInputActive() = 0;
    virtual std::vector<SceneObject> getSceneObjects() = 0;
    virtual GameState getGameState() = 0;
    // Captures as JPEG bytes, empty on failure. Width and height are caps; the aspect ratio is kept.
    virtual std::vector<unsigned char> captureSceneThumbnail(int width, int height) = 0;
    virtual std::vector<unsigned char> captureSceneFromView(int width, int height, const Point3& eye,
                                                            const Point3& target) = 0;
    virtual std::vector<unsigned char> captureWindowContents(int width, int height) = 0;
    // Lumenda3DEditor::selectBlockByXmlId.
    virtual void selectBlockByXmlId(int xmlId, bool scrollTo) = 0;

    // --- Synthetic input (false and `error` when the engine refuses) -----------------------------
    virtual bool queueSyntheticKeys(const std::vector<std::string>& names, float holdSeconds, std::string& error) = 0;
    virtual bool queueSyntheticClick(int x, int y, OgreBites::ButtonType button, float holdSeconds,
                                     std::string& error) = 0;
    virtual bool queueSyntheticDrag(int fromX, int fromY, int toX, int toY, OgreBites::ButtonType button,
                                    float seconds, std::string& error) = 0;
    virtual bool queueSyntheticScroll(int x, int y, float amount, std::string& error) = 0;
    virtual bool queueSyntheticSequence(const std::vector<LmdInputStep>& steps, std::string& error) = 0;

    // --- Projects (headless variants: no dialogs) ------------------------------------------------
    virtual bool hasUnsavedChanges() = 0;
    // Saves to the project's existing target; a project never saved fails with a sentence that
    // points to save_project_as.
    virtual void saveProject(Done done) = 0;
    virtual void saveProjectAs(const std::string& name, bool toCloud, Done done) = 0;
    // Opens a local project by name or a cloud project by resource id, discarding unsaved changes.
    virtual void openProject(const std::string& nameOrId, bool fromCloud, Done done) = 0;
    // Starts an empty project, discarding unsaved changes.
    virtual void newProject(Done done) = 0;
    // Names of the local projects.
    virtual std::vector<std::string> listLocalProjects() = 0;
    virtual bool isLoggedIn() = 0;
    // The cloud project list; the message of a success is its JSON text.
    virtual void fetchCloudProjects(Done done) = 0;
    // The user's uploaded cloud assets of one type; the message of a success is its JSON text.
    virtual void fetchUserAssets(const std::string& assetType, Done done) = 0;

    // --- Local assets ----------------------------------------------------------------------------
    // Copies the file into the local-assets sandbox. True with the reference ("local:<name>") in
    // `referenceOrError`, or false with the reason there.
    virtual bool importLocalAsset(const AssetImport& request, std::string& referenceOrError) = 0;
    // File names in the sandbox of one type ("models", "textures", "sounds").
    virtual std::vector<std::string> listLocalAssets(const std::string& assetType) = 0;

    // --- Export ------------------------------------------------------------------------------------
    // Runs an export with export_game's arguments as given. Reports progress while it runs and
    // finishes with the deliverable's absolute path (or download URL) as the message.
    virtual void startExport(const nlohmann::json& options, Progress progress, Done done) = 0;
};

} // namespace Lumenda3D
