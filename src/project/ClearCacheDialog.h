#pragma once
// The Clear Cache dialog: what to clear ("Downloaded assets", "Saved games, settings and
// auto-saves"), then "Clear" or "Cancel" (Escape). "Clear" hands the two choices to the editor,
// which asks once more before anything is deleted; the login is never part of it.
#include <functional>
#include <string>

#include "project/ProjectDialog.h"

namespace Lumenda3D {

class ClearCacheDialog : public ProjectDialog {
public:
    // Its slot in AllUI.
    static constexpr const char* kName = "clearCacheDialog";
    static constexpr const char* kTitle = "Clear Cache###clearCacheDialog";
    static constexpr const char* kAssetsLabel = "Downloaded assets##clearCache";
    static constexpr const char* kSavedLabel = "Saved games, settings and auto-saves##clearCache";
    static constexpr const char* kClearLabel = "Clear##clearCache";
    static constexpr const char* kCancelLabel = "Cancel##clearCache";

    // (clearAssets, clearSaved)
    using OnClear = std::function<void(bool, bool)>;

    explicit ClearCacheDialog(const std::string& name = kName);

    void draw() override;

    // Opens with downloaded assets chosen and saved data not: the choice that loses nothing.
    void show();
    void hide() { open_ = false; }
    void setOnClear(OnClear callback) { onClear_ = std::move(callback); }


private:
    bool clearAssets_ = true;
    bool clearSaved_ = false;
    OnClear onClear_;
};

} // namespace Lumenda3D
