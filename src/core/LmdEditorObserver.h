#pragma once
// Something that watches the running editor frame by frame and acts on it through the editor's
// public operations: the start screenshot (--screenshot) and, in the test build, the script
// driver. The editor owns its observers (Lumenda3DEditor::addObserver) and calls them on the main
// thread.
namespace Lumenda3D {

class LmdEditorObserver {
public:
    virtual ~LmdEditorObserver() = default;
    // Each frame after the engine's step, inside frameRenderingQueued: the window holds the
    // finished frame (captures read it). An exception is logged as a failure of the frame.
    virtual void frameRendered() {}
    // Each frame after it was shown. An exception leaves the frame, as a fault of the render
    // system would, and reaches the entry's loop.
    virtual void frameEnded() {}
};

} // namespace Lumenda3D
