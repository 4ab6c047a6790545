#pragma once
// Short messages that come and go by themselves ("Project saved!", "Agent action blocked: ...").
// Toasts stack at the top centre of the view, under the bars, the newest on top; each lives for
// its seconds of interface time (the frames' delta time), fading in and out. They are drawn on
// ImGui's foreground layer, above every window and modal, and take no input.
#include <deque>
#include <string>
#include <vector>

#include "ui/BaseUI.h"

namespace Lumenda3D {

class ToastNotification : public BaseUI {
public:
    // Its slot in AllUI.
    static constexpr const char* kName = "toastNotification";
    static constexpr float kDefaultSeconds = 3.0f;
    static constexpr float kFadeSeconds = 0.4f;
    static constexpr size_t kMaxToasts = 5;

    struct Toast {
        std::string text;
        float seconds = kDefaultSeconds;  // how long it stays
        float age = 0.0f;                 // how long it has been up
    };

    explicit ToastNotification(const std::string& name = kName);

    void draw() override;

    // A new toast on top of the stack. Seconds that are not positive mean kDefaultSeconds. A toast
    // with the same text as one still up replaces it (it moves to the top and starts again). Beyond
    // kMaxToasts the oldest goes.
    void show(const std::string& text, float seconds = kDefaultSeconds);
    void clear() { toasts_.clear(); }

    // Newest first.
    const std::deque<Toast>& getToasts() const { return toasts_; }
    std::vector<std::string> getTexts() const;
    // Opacity of a toast: rises over its first kFadeSeconds / 2, falls over its last kFadeSeconds.
    static float opacityOf(const Toast& toast);

private:
    std::deque<Toast> toasts_;
};

} // namespace Lumenda3D
