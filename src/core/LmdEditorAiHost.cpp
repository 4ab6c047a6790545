#include "core/LmdEditorAiHost.h"

#include "blocks/Workflow.h"
#include "core/Lumenda3DEditor.h"
#include "engine/editing/LmdSourceFiles.h"
#include "ui/AllUI.h"

namespace Lumenda3D {

std::string LmdEditorAiHost::documentXml(bool forStorage) {
    return editor_->sourceFiles ? editor_->sourceFiles->getMainSourceFileString(true, forStorage) : std::string();
}

bool LmdEditorAiHost::applyAiEditedXml(const std::string& xml) { return editor_->applyAiEditedXml(xml); }

std::string LmdEditorAiHost::projectName() { return editor_->projectName; }

bool LmdEditorAiHost::isGameRunning() { return editor_->isRunning(); }

float LmdEditorAiHost::leftInset() {
    auto workflow = editor_->allUI ? editor_->allUI->getPanel<Workflow>() : nullptr;
    if (!workflow || workflow->getSize().x <= 0)
        return 0.0f;
    return workflow->getPosition().x + workflow->getSize().x;
}

} // namespace Lumenda3D
