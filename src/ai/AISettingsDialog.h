#pragma once
// The assistant's settings: for each provider its API key (added, tested, removed), its base URL
// (an OpenAI-compatible server needs one and no key), its model; and the order in which the
// providers are tried. "Test connection" makes one small request with what is typed and says what
// came back. Keys are written to the persisted settings only, never shown again in full, never
// logged.
#include <map>
#include <memory>
#include <string>

#include "ui/BaseUI.h"

namespace Lumenda3D {

class AISettingsDialog : public BaseUI {
public:
    static constexpr const char* kName = "aiSettingsDialog";

    AISettingsDialog() : BaseUI(kName) {}

    void show();
    bool isVisible() const { return visible_; }
    void draw() override;

    // The dialog's actions, as its buttons run them.
    void saveProvider(const std::string& providerId);
    void removeKey(const std::string& providerId);
    void testConnection(const std::string& providerId);
    void moveProvider(const std::string& providerId, int delta);

    struct Draft {
        std::string key;
        std::string baseUrl;
        std::string model;
        std::string status;   // what the last action or test said
        bool testing = false;
        bool statusOk = false;
    };
    Draft& draft(const std::string& providerId) { return drafts_[providerId]; }

private:
    void drawProvider(const std::string& providerId, int position, int count);

    std::map<std::string, Draft> drafts_;
    bool visible_ = false;
    bool openRequested_ = false;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

} // namespace Lumenda3D
