#include "export/ExportState.h"

#include "base/LmdLog.h"

namespace Lumenda3D {

void ExportState::fail(const std::string& text) {
    LmdLog::message("LocalExportService: " + text);
    if (ended)
        return;
    ended = true;
    if (done)
        done(false, text);
}

void ExportState::finish(const std::string& path, const std::string& logPrefix) {
    if (ended)
        return;
    ended = true;
    report(1.0f, "Done");
    LmdLog::message(logPrefix + path);
    if (done)
        done(true, path);
}

} // namespace Lumenda3D
