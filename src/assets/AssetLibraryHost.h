#pragma once
// What the asset library needs from the editor: the document, new blocks, the scene under the
// pointer, the running game, messages and background work. The editor implements it in core/;
// tests give a document of their own.
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <imgui.h>
#include <pugixml.hpp>

namespace Lumenda3D {

class AssetLibraryHost {
public:
    virtual ~AssetLibraryHost() = default;

    // The open game document; null when there is none.
    virtual pugi::xml_document* getSourceXml() = 0;
    // Creates a block in the current level with the attributes; its xml id as text, "" on failure.
    virtual std::string createBlock(const std::string& command, const std::map<std::string, std::string>& attributes) = 0;
    // A name not used in the document yet: base, base1, base2...
    virtual std::string getNextAutoName(const std::string& base) = 0;
    // The node of an xml id; empty when there is none.
    virtual pugi::xml_node getXmlNodeById(int xmlId) = 0;
    // Writes an attribute of a node (document first, then the running game).
    virtual void setAttribute(int xmlId, const std::string& attribute, const std::string& value) = 0;
    // Sends an attribute to the running scene object only (the document already holds it).
    virtual void updateLuaAttribute(int xmlId, const std::string& attribute, const std::string& value) = 0;
    // Edits between these are one undo step; calls nest.
    virtual void beginEditGroup() = 0;
    virtual void endEditGroup() = 0;
    // The command's attributes in the schema's order: (name, type), e.g. ("fileName", "modelFilePicker").
    virtual std::vector<std::pair<std::string, std::string>> attributesOf(const std::string& command) = 0;
    // Whether the schema gives the command a "texture" attribute.
    virtual bool commandSupportsTexture(const std::string& command) = 0;
    // The scene point under a screen position (on the ground plane where nothing is hit).
    virtual void convert2DTo3D(ImVec2 screen, float& x, float& y, float& z) = 0;
    // The xml id of the 3D object whose entity is first under the screen point; -1 for none.
    virtual int objectUnderScreenPoint(ImVec2 screen) = 0;
    // The xml id of the outermost model object that `xmlId` is part of; -1 when it is its own.
    virtual int wholeModelOf(int xmlId) = 0;
    // Switches an object's bounding box on or off.
    virtual void showBoundingBox(int xmlId, bool on) = 0;
    // Makes the engine read the local store again (a file was imported or deleted).
    virtual void refreshLocalAssets() = 0;
    // True when the screen point is over the 3D view (not over a panel).
    virtual bool isOverScene(ImVec2 screen) = 0;
    // A short message (toast) and the modal error dialog.
    virtual void showToast(const std::string& text) = 0;
    virtual void showError(const std::string& text) = 0;
    // Runs `work` on another thread, then `done` on the main thread.
    virtual void runInBackground(std::function<void()> work, std::function<void()> done) = 0;
    // Plays a sound file for a preview; an empty path stops the preview. False when it cannot.
    virtual bool previewSound(const std::string& path) = 0;
    // Files dropped on the window since the last call.
    virtual std::vector<std::string> takeDroppedFiles() = 0;
    // Whether the person is logged in to the Lumenda3D server.
    virtual bool isLoggedIn() = 0;
};

} // namespace Lumenda3D
