#include "engine/logic/LmdScriptHost.h"

#include "base/LmdLog.h"

namespace Lumenda3D {

void LmdScriptHost::print(const std::string& text) {
    LmdLog::message(text, LogLevel::Normal);
}

} // namespace Lumenda3D
