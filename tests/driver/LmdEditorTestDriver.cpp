// Part of lumenda3d-testdriver only: installs the script driver (LmdEditorTestHook) into the editor
// at the start of its setup when the test environment variables ask for it. The product editor,
// lumenda3d, is built without this file.
#include "core/Lumenda3DEditor.h"
#include "driver/LmdEditorTestHook.h"

namespace {

const bool kInstalled = [] {
    Lumenda3D::Lumenda3DEditor::addSetupHook([](Lumenda3D::Lumenda3DEditor& editor) {
        editor.addObserver(Lumenda3D::LmdEditorTestHook::fromEnvironment(editor));
    });
    return true;
}();

} // namespace
