#pragma once
// Help > About: the product's name and version, the libraries it is built on, and where this
// editor keeps its data. "OK", Enter or Escape closes it.
#include <string>

#include "ui/BaseUI.h"

namespace Lumenda3D {

class AboutDialog : public BaseUI {
public:
    // Its slot in AllUI.
    static constexpr const char* kName = "aboutDialog";
    static constexpr const char* kTitle = "About###aboutDialog";
    static constexpr const char* kOkLabel = "OK##about";

    explicit AboutDialog(const std::string& name = kName);

    void draw() override;
    void show() { open_ = true; }
    bool isOpen() const { return open_; }

    // "Lumenda3D 2.1.3", the first line of the dialog.
    static std::string heading();

private:
    bool open_ = false;
    bool shown_ = false;
};

} // namespace Lumenda3D
