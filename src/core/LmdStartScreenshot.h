#pragma once
// The editor's --screenshot FILE: once the first document has loaded and a few frames have
// settled, the window as the user sees it is written to FILE as a PNG and the editor quits. It
// is how a machine without a desktop shows that the editor starts and draws (tools/setup.sh run
// under Xvfb). A file that cannot be written is reported on stderr and ends the run with exit
// code 1.
#include <string>

#include "core/LmdEditorObserver.h"

namespace Lumenda3D {

class Lumenda3DEditor;

class LmdStartScreenshot : public LmdEditorObserver {
public:
    // Frames drawn after the document has loaded before the picture is taken.
    static constexpr int kSettleFrames = 10;

    LmdStartScreenshot(Lumenda3DEditor& editor, std::string path);
    void frameRendered() override;
    // Whether the picture was written (false before, and after a failure).
    bool written() const { return written_; }
    bool failed() const { return failed_; }

private:
    Lumenda3DEditor& editor_;
    std::string path_;
    int settled_ = 0;
    bool written_ = false;
    bool failed_ = false;
};

} // namespace Lumenda3D
