#include "chrome/ToastNotification.h"

#include <algorithm>
#include <cfloat>

namespace Lumenda3D {

namespace {
constexpr float kMaxWidth = 420.0f;
constexpr float kMargin = 12.0f;
constexpr float kPadding = 10.0f;
constexpr float kGap = 6.0f;
} // namespace

ToastNotification::ToastNotification(const std::string& name) : BaseUI(name) {}

void ToastNotification::show(const std::string& text, float seconds) {
    if (!(seconds > 0.0f))
        seconds = kDefaultSeconds;
    toasts_.erase(std::remove_if(toasts_.begin(), toasts_.end(), [&](const Toast& t) { return t.text == text; }),
                  toasts_.end());
    toasts_.push_front(Toast{text, seconds, 0.0f});
    while (toasts_.size() > kMaxToasts)
        toasts_.pop_back();
}

std::vector<std::string> ToastNotification::getTexts() const {
    std::vector<std::string> texts;
    for (const Toast& toast : toasts_)
        texts.push_back(toast.text);
    return texts;
}

float ToastNotification::opacityOf(const Toast& toast) {
    const float fadeIn = toast.age / (kFadeSeconds * 0.5f);
    const float fadeOut = (toast.seconds - toast.age) / kFadeSeconds;
    return std::clamp(std::min(fadeIn, fadeOut), 0.0f, 1.0f);
}

void ToastNotification::draw() {
    const float delta = std::max(ImGui::GetIO().DeltaTime, 0.0f);
    for (Toast& toast : toasts_)
        toast.age += delta;
    toasts_.erase(std::remove_if(toasts_.begin(), toasts_.end(), [](const Toast& t) { return t.age >= t.seconds; }),
                  toasts_.end());
    if (toasts_.empty())
        return;

    const ImGuiViewport* viewport = ImGui::GetMainViewport();
    float y = viewport->Pos.y;
    for (const char* above : {"topBar", "tabs"})
        if (auto element = getElementByName(above))
            y = std::max(y, element->getBottom());
    y += scaled(kMargin);

    ImDrawList* drawList = ImGui::GetForegroundDrawList();
    ImFont* font = ImGui::GetFont();
    const float fontSize = ImGui::GetFontSize();
    const float padding = scaled(kPadding);
    const float wrapWidth = std::min(scaled(kMaxWidth), viewport->Size.x - 2 * scaled(kMargin)) - 2 * padding;
    const float centerX = viewport->Pos.x + viewport->Size.x * 0.5f;
    for (const Toast& toast : toasts_) {
        const float alpha = opacityOf(toast);
        const ImVec2 textSize = font->CalcTextSizeA(fontSize, FLT_MAX, wrapWidth, toast.text.c_str());
        const ImVec2 min(centerX - textSize.x * 0.5f - padding, y);
        const ImVec2 max(centerX + textSize.x * 0.5f + padding, y + textSize.y + 2 * padding);
        drawList->AddRectFilled(min, max, ImGui::GetColorU32(ImVec4(0.12f, 0.12f, 0.14f, 0.92f * alpha)),
                                scaled(6.0f));
        drawList->AddRect(min, max, ImGui::GetColorU32(ImVec4(0.45f, 0.45f, 0.5f, 0.8f * alpha)), scaled(6.0f));
        drawList->AddText(font, fontSize, ImVec2(min.x + padding, min.y + padding),
                          ImGui::GetColorU32(ImVec4(1.0f, 1.0f, 1.0f, alpha)), toast.text.c_str(), nullptr, wrapWidth);
        y = max.y + scaled(kGap);
    }
}

} // namespace Lumenda3D
