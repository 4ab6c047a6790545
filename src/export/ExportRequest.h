#pragma once
// An export as the export_game agent tool asks for it: its JSON arguments read into a target and
// the options, with a sentence for the agent when something is wrong.
#include <string>

#include <nlohmann/json.hpp>

#include "export/ExportService.h"

namespace Lumenda3D {

struct ExportRequest {
    ExportService::Platform platform = ExportService::Platform::Linux;
    ExportService::Options options;

    // False with `error` (what to do instead) for an unknown platform, a platform this editor
    // cannot build (mac), or a value out of range.
    static bool fromArguments(const nlohmann::json& arguments, ExportRequest& out, std::string& error);
};

} // namespace Lumenda3D
