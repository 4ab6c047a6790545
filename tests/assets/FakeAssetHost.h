#pragma once
// An editor for the asset library's tests: a document of its own, blocks appended to it with
// fresh ids, a "scene" of objects by screen column, background work run at once, and every
// message kept.
#include <map>
#include <set>
#include <string>
#include <vector>

#include "assets/AssetLibraryHost.h"

namespace Lumenda3D::test {

class FakeAssetHost : public AssetLibraryHost {
public:
    explicit FakeAssetHost(const char* xml = "<Game><Level name=\"main\"/></Game>") { load(xml); }
    void load(const char* xml) {
        document.load_string(xml);
        // Elements without an id get one above those the test wrote.
        int id = 50;
        for (const pugi::xpath_node& hit : document.select_nodes("//*"))
            if (!hit.node().attribute("id"))
                hit.node().append_attribute("id").set_value(++id);
        nextId = 100;
    }

    pugi::xml_document* getSourceXml() override { return &document; }
    std::string createBlock(const std::string& command, const std::map<std::string, std::string>& attributes) override {
        pugi::xml_node node = document.document_element().append_child(command.c_str());
        node.append_attribute("id").set_value(++nextId);
        for (const auto& [name, value] : attributes)
            node.append_attribute(name.c_str()).set_value(value.c_str());
        created.push_back(command);
        return std::to_string(nextId);
    }
    std::string getNextAutoName(const std::string& base) override {
        for (int i = 1;; ++i) {
            const std::string name = base + std::to_string(i);
            if (!document.find_node([&](pugi::xml_node n) { return name == n.attribute("name").value(); }))
                return name;
        }
    }
    pugi::xml_node getXmlNodeById(int xmlId) override {
        return document.find_node([xmlId](pugi::xml_node n) { return n.attribute("id").as_int(-1) == xmlId; });
    }
    void setAttribute(int xmlId, const std::string& attribute, const std::string& value) override {
        pugi::xml_node node = getXmlNodeById(xmlId);
        (node.attribute(attribute.c_str()) ? node.attribute(attribute.c_str()) : node.append_attribute(attribute.c_str()))
            .set_value(value.c_str());
        liveUpdates.push_back(std::to_string(xmlId) + " " + attribute + "=" + value);
    }
    void updateLuaAttribute(int xmlId, const std::string& attribute, const std::string& value) override {
        liveUpdates.push_back(std::to_string(xmlId) + " " + attribute + "=" + value);
    }
    void beginEditGroup() override { ++groupDepth; }
    void endEditGroup() override {
        if (--groupDepth == 0)
            ++undoSteps;
    }
    std::vector<std::pair<std::string, std::string>> attributesOf(const std::string& command) override {
        std::vector<std::pair<std::string, std::string>> attributes{{"name", "string"}};
        if (textured.count(command))
            attributes.emplace_back("texture", "string");
        const auto found = fileFields.find(command);
        if (found != fileFields.end())
            attributes.push_back(found->second);
        return attributes;
    }
    bool commandSupportsTexture(const std::string& command) override { return textured.count(command) != 0; }
    void convert2DTo3D(ImVec2 screen, float& x, float& y, float& z) override {
        x = screen.x / 100.0f;
        y = 0.0f;
        z = screen.y / 100.0f;
    }
    int objectUnderScreenPoint(ImVec2 screen) override {
        const auto found = sceneColumns.find(static_cast<int>(screen.x));
        return found == sceneColumns.end() ? -1 : found->second;
    }
    int wholeModelOf(int xmlId) override {
        const auto found = wholeModels.find(xmlId);
        return found == wholeModels.end() ? -1 : found->second;
    }
    void showBoundingBox(int xmlId, bool on) override {
        if (on)
            boxes.insert(xmlId);
        else
            boxes.erase(xmlId);
    }
    void refreshLocalAssets() override { ++localRefreshes; }
    bool isOverScene(ImVec2 screen) override { return screen.x >= sceneLeft; }
    void showToast(const std::string& text) override { toasts.push_back(text); }
    void showError(const std::string& text) override { errors.push_back(text); }
    void runInBackground(std::function<void()> work, std::function<void()> done) override {
        work();
        done();
    }
    bool previewSound(const std::string& path) override {
        previews.push_back(path);
        return true;
    }
    std::vector<std::string> takeDroppedFiles() override {
        std::vector<std::string> files;
        files.swap(dropped);
        return files;
    }
    bool isLoggedIn() override { return loggedIn; }

    pugi::xml_document document;
    int nextId = 100;
    std::set<std::string> textured = {"Box", "Sphere", "Model"};
    // The file or picture field of a command, as the schema types it.
    std::map<std::string, std::pair<std::string, std::string>> fileFields = {
        {"Model", {"fileName", "modelFilePicker"}}, {"LoadSound", {"fileName", "soundFilePicker"}},
        {"Image2D", {"picture", "picture"}},        {"Material", {"picture", "picture"}}};
    int groupDepth = 0;
    int undoSteps = 0;  // edit groups closed at the outermost level
    std::map<int, int> sceneColumns;  // screen x -> xml id of the object there
    std::map<int, int> wholeModels;   // part -> whole model
    std::set<int> boxes;
    std::vector<std::string> created, liveUpdates, toasts, errors, previews, dropped;
    int localRefreshes = 0;
    float sceneLeft = 400.0f;
    bool loggedIn = false;
};

} // namespace Lumenda3D::test
