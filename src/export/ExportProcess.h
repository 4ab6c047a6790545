#pragma once
// Runs a helper program of the export (ldd, tar, makensis, ...) with its arguments passed as they
// are (no shell, so names with spaces or quotes are safe), and collects what it printed.
#include <string>
#include <vector>

namespace Lumenda3D {

struct ExportProcess {
    struct Result {
        bool started = false; // false: the program could not be run at all (`output` says why)
        int exitCode = -1;    // the exit status; -1 when it was killed by a signal
        std::string output;   // standard output and standard error together
        bool ok() const { return started && exitCode == 0; }
    };

    // The path at which a program started with a secret reads it (a pipe, so the secret is never on
    // a command line, which every user can read in the process list, nor in a file).
    static constexpr const char* kSecretPath = "/dev/fd/3";

    // Runs argv[0] (looked up on PATH) and waits for it. `environment` entries ("NAME=value") are
    // added to this process's environment for the child. With `secret`, the child can read it at
    // kSecretPath (at most 60000 bytes).
    static Result run(const std::vector<std::string>& argv, const std::vector<std::string>& environment = {},
                      const std::string* secret = nullptr);
    // The last non-empty lines of a program's output joined by " | ": where it says what went wrong.
    static std::string lastLines(const std::string& output, std::size_t lines = 4);
    // Starts the program and does not wait for it (xdg-open); false when it could not be started.
    static bool launch(const std::vector<std::string>& argv);
    // The program's path on PATH, or "" when there is none.
    static std::string findOnPath(const std::string& program);
};

} // namespace Lumenda3D
