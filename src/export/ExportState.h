#pragma once
// One export in flight: what it was asked for, its work folders and how it reports. Every stage's
// callback holds a shared pointer to it, so it lives until the last callback has run.
//
// A target's packaging step (LocalExportService::PackageStep) receives it after the shared
// stages: templateDir, packagePath, assetsDir and appJson are then ready, and the step ends the
// export with exactly one call of finish() or fail().
#include <memory>
#include <string>

#include "export/ExportService.h"

namespace Lumenda3D {

class Lumenda3DEngine;
class MyHttpClient;

struct ExportState {
    Lumenda3DEngine* engine = nullptr;
    std::shared_ptr<MyHttpClient> client;
    std::string xml;
    std::string outputPath; // the deliverable's absolute path
    ExportService::Options options;
    ExportService::Platform target = ExportService::Platform::Linux;
    std::string workDir;     // the work folder in the cache, emptied at the start
    std::string compileDir;  // "compile" in the work folder
    std::string assetsDir;   // "assets" in the work folder
    std::string packagePath; // "bin.dat" in the work folder
    std::string templateDir; // the runtime template, once it is up to date
    std::string appJson;     // buildAppJson of the options, once the assets are gathered
    ExportService::Progress progress;
    ExportService::Done done;
    bool ended = false;

    void report(float fraction, const std::string& text) const {
        if (progress)
            progress(fraction, text);
    }
    // Logs "LocalExportService: " and the text and calls done with (false, text). The work folder
    // stays for the next export to delete.
    void fail(const std::string& text);
    // Reports "Done" at 1.0, logs the line `logPrefix` + path, and calls done with (true, path).
    void finish(const std::string& path, const std::string& logPrefix = "LocalExportService: export complete -> ");
};

} // namespace Lumenda3D
