#pragma once
// The editor's side of the asset library: its document, blocks, scene, sound, messages and
// background jobs, through AssetLibraryHost.
#include "assets/AssetLibraryHost.h"

namespace Lumenda3D {

class Lumenda3DEditor;

class LmdEditorAssetAccess : public AssetLibraryHost {
public:
    explicit LmdEditorAssetAccess(Lumenda3DEditor* editor) : editor_(editor) {}

    pugi::xml_document* getSourceXml() override;
    std::string createBlock(const std::string& command, const std::map<std::string, std::string>& attributes) override;
    std::string getNextAutoName(const std::string& base) override;
    pugi::xml_node getXmlNodeById(int xmlId) override;
    void setAttribute(int xmlId, const std::string& attribute, const std::string& value) override;
    void updateLuaAttribute(int xmlId, const std::string& attribute, const std::string& value) override;
    void beginEditGroup() override;
    void endEditGroup() override;
    std::vector<std::pair<std::string, std::string>> attributesOf(const std::string& command) override;
    bool commandSupportsTexture(const std::string& command) override;
    void convert2DTo3D(ImVec2 screen, float& x, float& y, float& z) override;
    int objectUnderScreenPoint(ImVec2 screen) override;
    int wholeModelOf(int xmlId) override;
    void showBoundingBox(int xmlId, bool on) override;
    void refreshLocalAssets() override;
    bool isOverScene(ImVec2 screen) override;
    void showToast(const std::string& text) override;
    void showError(const std::string& text) override;
    void runInBackground(std::function<void()> work, std::function<void()> done) override;
    bool previewSound(const std::string& path) override;
    std::vector<std::string> takeDroppedFiles() override;
    bool isLoggedIn() override;

private:
    Lumenda3DEditor* editor_;
};

} // namespace Lumenda3D
