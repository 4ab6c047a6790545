#pragma once
// Base of every panel of the editor. A panel has a name (its element id), is initialised once
// after all its siblings exist, and draws itself in each interface frame. BaseUI also carries the
// layout rules every panel shares (the DPI rule, the mobile layout flag, the rectangle a panel
// occupied in the last frame, so that siblings can place themselves below or beside it) and the
// input helpers that edit std::string values directly.
//
// Main thread only, inside an ImGui frame for everything that draws.
#include <imgui.h>

#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <unordered_map>

namespace Lumenda3D {

class LmdCommandRegistry;

class BaseUI {
public:
    explicit BaseUI(std::string name);
    virtual ~BaseUI();
    BaseUI(const BaseUI&) = delete;
    BaseUI& operator=(const BaseUI&) = delete;

    const std::string& getName() const { return name_; }

    // Called once, after every panel of the container exists, so that lookups by name succeed.
    virtual void init() {}
    virtual void draw() {}
    // On the touch layout, drawn after the mobile panel: the floating buttons of the blocks
    // palette. Other panels have none.
    virtual void drawMobileFabOverlay() {}

    // A sibling panel by its element id ("topBar", "tabs", ...), through the container that owns
    // this panel; null when there is no such panel or no container.
    virtual std::shared_ptr<BaseUI> getElementByName(const std::string& name) const;
    template <class T>
    std::shared_ptr<T> getElement(const std::string& name) const {
        return std::dynamic_pointer_cast<T>(getElementByName(name));
    }
    // The sibling panel of class T, found under T::kName; null when absent or of another class.
    template <class T>
    std::shared_ptr<T> getPanel() const {
        return getElement<T>(T::kName);
    }
    // The commands the menu, the keyboard and the toolbar share, through the container; null
    // without one.
    virtual LmdCommandRegistry* getCommands() const;

    // Records the position and size of the current ImGui window as this panel's rectangle. Called
    // by a panel just before it ends its window or child, so that others read its edges.
    void calculateSize();
    ImVec2 getPosition() const { return position_; }
    ImVec2 getSize() const { return size_; }
    float getHeight() const { return size_.y; }
    float getBottom() const { return position_.y + size_.y; }

    // Layout numbers: a base value, multiplied by the DPI scale only when that scale is above 1.0.
    static float scaled(float base);
    static float getDpiScale() { return dpiScale_; }
    static void setDpiScale(float scale);

    // The touch layout of the editor; the desktop layout unless switched on.
    static bool isMobileMode() { return mobileMode_; }
    static void setMobileMode(bool mobile) { mobileMode_ = mobile; }
    // Told true when a text field becomes active in the touch layout and false when it is left,
    // so that the platform can show and hide its on-screen keyboard. May be empty.
    static void setOnVirtualKeyboard(std::function<void(bool show)> callback);

    // Where a widget of this panel, named by its full label ("Play##topBar"), was drawn in the
    // current (or, between frames, the last) frame. False when it was not drawn then. This is how
    // synthetic input finds a button without reading pixels.
    bool getItemRect(const std::string& label, ImVec2& min, ImVec2& max) const;
    ImVec2 getItemCenter(const std::string& label) const;

    // `text` shortened at a character boundary and ended with "..." so that it
    // fits `maxWidth` in the current font; unchanged when it fits.
    static std::string fitText(const std::string& text, float maxWidth);

protected:
    friend class AllUI;

    // ImGui allows one open popup per level: opening a second one closes the first. A modal of
    // the editor is therefore opened only when no other popup is up at this level; a dialog with
    // something to show calls this each frame until it returns true.
    static bool openPopupWhenFree(const char* title);
    // A modal popup centred on the display, `baseWidth` wide by the DPI rule (0: fits its content),
    // growing downward with its content. Call EndPopup when it returns true.
    static bool beginPopupModal(const char* title, float baseWidth = 0.0f, ImGuiWindowFlags flags = 0);
    // One frame of a dialog's modal: while `open`, opens it when free and begins it (true: draw the
    // body, then EndPopup); once hidden, closes the popup it left up, or it would keep the editor
    // from input. `shown` remembers whether the popup was up in an earlier frame.
    static bool beginModalWhileOpen(const char* title, float baseWidth, bool open, bool& shown);
    // Whether `key` went down in this frame (a held key's repeats do not count): a dialog's Enter
    // and Escape, wherever its keyboard focus is.
    static bool keyPressedOnce(ImGuiKey key);

    // Text fields over std::string: the string grows as the user types (no fixed buffer). `callback`
    // receives every event other than the resize. They return true when the text changed.
    bool inputText(const char* label, std::string& text, ImGuiInputTextFlags flags = 0,
                   ImGuiInputTextCallback callback = nullptr, void* userData = nullptr);
    bool inputTextMultiline(const char* label, std::string& text, const ImVec2& size = ImVec2(0, 0),
                            ImGuiInputTextFlags flags = 0, ImGuiInputTextCallback callback = nullptr,
                            void* userData = nullptr);
    // An integer field kept within [minValue, maxValue].
    bool inputInt(const char* label, int& value, int step = 1, int minValue = std::numeric_limits<int>::min(),
                  int maxValue = std::numeric_limits<int>::max());
    // A button drawn as a tab: highlighted while `active`. Returns true on a click.
    bool tabButton(const char* label, bool active, const ImVec2& size = ImVec2(0, 0));
    // ImGui::Button that also records where it was drawn.
    bool button(const char* label, const ImVec2& size = ImVec2(0, 0));
    // Records the last item under `label` (for widgets drawn with ImGui directly).
    void recordItem(const char* label);

private:
    struct ItemRect {
        ImVec2 min, max;
        int frame = -1;
    };
    void notifyKeyboard();

    std::string name_;
    BaseUI* owner_ = nullptr;  // the container; it clears this before it lets the panel go
    ImVec2 position_{0, 0};
    ImVec2 size_{0, 0};
    std::unordered_map<std::string, ItemRect> items_;

    static float dpiScale_;
    static bool mobileMode_;
};

} // namespace Lumenda3D
