#pragma once
// The command line of lumenda3d-cloud:
//   lumenda3d-cloud [options]                  serve
//   lumenda3d-cloud admin [options] COMMAND     administer the database (see AdminCommands)
//   lumenda3d-cloud --help | --version
#include <string>
#include <vector>

#include "CloudConfig.h"

namespace Lumenda3D::Cloud {

class CloudCommandLine {
public:
    enum class Mode { Serve, Admin, Help, Version };
    struct Parsed {
        Mode mode = Mode::Serve;
        CloudConfig config;
        std::vector<std::string> adminArgs;   // the admin command and its own arguments
    };

    // False with `error` set for an unknown option or a bad value.
    static bool parse(const std::vector<std::string>& args, Parsed& out, std::string& error);
    static std::string usage();
    // The default data folder: $LUMENDA3D_HOME/data/cloud, else $XDG_DATA_HOME/Lumenda3D/cloud,
    // else ~/.local/share/Lumenda3D/cloud.
    static std::string defaultDataDir();

    // Runs the whole program; returns the exit code.
    static int run(int argc, char** argv);
};

} // namespace Lumenda3D::Cloud
