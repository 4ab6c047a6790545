#pragma once
// The editor as the assistant's panel sees it (AiChatHost): the document service's text, the
// editor's applyAiEditedXml (one undoable step), the session's project name, play state, and the
// block editor's edge.
#include "ai/AiChatHost.h"

namespace Lumenda3D {

class Lumenda3DEditor;

class LmdEditorAiHost : public AiChatHost {
public:
    explicit LmdEditorAiHost(Lumenda3DEditor* editor) : editor_(editor) {}

    std::string documentXml(bool forStorage) override;
    bool applyAiEditedXml(const std::string& xml) override;
    std::string projectName() override;
    bool isGameRunning() override;
    float leftInset() override;

private:
    Lumenda3DEditor* editor_;
};

} // namespace Lumenda3D
