#pragma once
// What the assistant's panel needs from the editor it belongs to, and nothing more. The editor
// implements it in core/; tests give a document of their own.
#include <string>

namespace Lumenda3D {

class AiChatHost {
public:
    virtual ~AiChatHost() = default;
    // The game document as text with its node ids; `forStorage` leaves out the session marks
    // (_aiChange) as saving does. "" when there is no document.
    virtual std::string documentXml(bool forStorage) = 0;
    // Replaces the document with `xml` as one undoable step; nothing happens for "".
    virtual bool applyAiEditedXml(const std::string& xml) = 0;
    virtual std::string projectName() = 0;
    // A game is being played: the panel is hidden.
    virtual bool isGameRunning() = 0;
    // The left edge of the viewport (right of the block editor), in pixels.
    virtual float leftInset() = 0;
};

} // namespace Lumenda3D
