#pragma once
// What the agent server's controller needs from the editor it belongs to, and nothing more: the
// access its tools act on, and a place for its toasts. The editor implements it; the agent server
// never includes the editor itself.
#include <memory>
#include <string>

namespace Lumenda3D {

class LmdMcpEditorAccess;

class LmdMcpHost {
public:
    virtual ~LmdMcpHost() = default;
    // The editor as the tools see it; made once, when the server starts for the first time.
    virtual std::unique_ptr<LmdMcpEditorAccess> makeMcpEditorAccess() = 0;
    // A short message for the person at the keyboard.
    virtual void showToast(const std::string& text, float seconds) = 0;
};

} // namespace Lumenda3D
