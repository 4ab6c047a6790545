#pragma once
// A modal question: a title, a message, the confirming button, optionally a second answer (as
// "Save" / "Don't Save"), and always "Cancel" (Escape does the same). Each answer closes the
// dialog and then calls its callback once. Questions asked while one is on screen wait their turn.
#include <deque>
#include <functional>
#include <string>

#include "ui/BaseUI.h"

namespace Lumenda3D {

class ConfirmDialog : public BaseUI {
public:
    // Its slot in AllUI.
    static constexpr const char* kName = "confirmDialog";
    static constexpr const char* kPopupId = "###confirmDialog";
    static constexpr const char* kConfirmId = "##confirmDialogConfirm";
    static constexpr const char* kSecondId = "##confirmDialogSecond";
    static constexpr const char* kCancelLabel = "Cancel##confirmDialogCancel";

    explicit ConfirmDialog(const std::string& name = kName);

    void draw() override;

    // Callbacks may be empty.
    void show(const std::string& title, const std::string& message, std::function<void()> onConfirm,
              const std::string& confirmLabel = "OK", std::function<void()> onCancel = {});
    // With a second answer between the confirming one and "Cancel".
    void show(const std::string& title, const std::string& message, std::function<void()> onConfirm,
              const std::string& confirmLabel, std::function<void()> onSecond, const std::string& secondLabel,
              std::function<void()> onCancel = {});

    bool isOpen() const { return !queue_.empty(); }
    size_t getPendingCount() const { return queue_.size(); }
    std::string getCurrentTitle() const { return queue_.empty() ? std::string() : queue_.front().title; }
    std::string getCurrentMessage() const { return queue_.empty() ? std::string() : queue_.front().message; }

    // The widget labels of the question on screen, for input that aims at them.
    std::string confirmButtonLabel() const;
    std::string secondButtonLabel() const;

private:
    struct Question {
        std::string title;
        std::string message;
        std::string confirmLabel;
        std::string secondLabel;  // empty: no second answer
        std::function<void()> onConfirm;
        std::function<void()> onSecond;
        std::function<void()> onCancel;
    };
    enum class Answer { None, Confirm, Second, Cancel };

    std::deque<Question> queue_;
};

} // namespace Lumenda3D
