#pragma once
// The system clipboard through SDL. SDL's clipboard works only once its video subsystem is up
// (the editor's window brings it up). Without it, as in a headless run, the text is kept in this
// object instead, so that copy and paste inside the editor still work; other programs then don't
// see it. The same in-process text stands in when SDL refuses a call.
#include <string>

#include "ui/IClip.h"

namespace Lumenda3D {

class DefaultClip : public IClip {
public:
    void setText(const std::string& text) override;
    std::string getText() override;

    // Whether the system clipboard is reachable now (SDL's video subsystem is up).
    static bool hasSystemClipboard();

private:
    std::string localText_;
    bool localIsCurrent_ = false;  // the last setText could not reach the system clipboard
};

} // namespace Lumenda3D
