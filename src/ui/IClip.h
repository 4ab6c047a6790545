#pragma once
// Where the editor's clipboard text goes: the system clipboard in the editor (DefaultClip), or
// something else in tests and on other platforms.
#include <string>

namespace Lumenda3D {

class IClip {
public:
    virtual ~IClip() = default;
    virtual void setText(const std::string& text) = 0;
    // The text on the clipboard; empty when there is none.
    virtual std::string getText() = 0;
};

} // namespace Lumenda3D
