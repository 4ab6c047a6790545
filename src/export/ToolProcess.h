#pragma once
// Runs an outside program (makensis, osslsigncode) and waits for it. The program is started with
// execv, never through a shell, so no argument is ever interpreted; its standard output and error
// are captured together. A secret (a certificate password) can be handed over on a pipe that the
// program reads as /dev/fd/3, so it never appears in the process list, a file or a log.
#include <string>
#include <vector>

namespace Lumenda3D {

class ToolProcess {
public:
    struct Result {
        bool started = false;   // false: the program could not be run at all (see output)
        int exitCode = -1;      // the exit status; -1 when it was killed by a signal
        std::string output;     // standard output and error, interleaved as written
        bool ok() const { return started && exitCode == 0; }
    };

    // The path the secret is readable at in the child, for use in `args`.
    static constexpr const char* kSecretPath = "/dev/fd/3";

    // Runs `program` (an absolute path) with `args`. When `secret` is given, the child reads it
    // from kSecretPath. Output beyond `maxOutput` bytes is dropped (the start is kept).
    static Result run(const std::string& program, const std::vector<std::string>& args,
                      const std::string* secret = nullptr, std::size_t maxOutput = 1 << 20);

    // The last non-empty lines of a tool's output joined by " | ": where it says what went wrong.
    static std::string lastLines(const std::string& output, std::size_t lines = 4);

    // The full path of `name` on PATH (or under `extraDirs`, tried after PATH); "" when absent.
    static std::string findOnPath(const std::string& name, const std::vector<std::string>& extraDirs = {});
};

} // namespace Lumenda3D
