#pragma once
// The editor's command line: options in the forms "--name value" and "--name=value", and
// positional arguments (the first one is tried as a "Lumenda3DApp://" URL by the entry).
//
//   --mcp on|off|1|0|true|false   turn the agent (MCP) server on or off, and remember it
//   --mcp-port N                  the agent server's port, 1024 to 65535, remembered too
//   --screenshot FILE             the first project's window to FILE as a PNG, then exit
//   --help, -h                    print the usage and exit
//   --version                     print the version and exit
//   --                            everything after it is positional
//
// Parsing never throws and never exits: a misspelt option, a missing or a bad value is written
// to errors() in plain words and that option is left out, so get() returns the caller's default
// for it. The entry decides what to do (print errorText() and usage(), exit with code 2).
#include <string>
#include <unordered_map>
#include <vector>

namespace Lumenda3D {

class LmdCommandLine {
public:
    LmdCommandLine(int argc, char** argv);
    // The arguments without the program name (for tests and for tools that build their own list).
    explicit LmdCommandLine(const std::vector<std::string>& args);

    // Value of the option with this bare name ("mcp", "mcp-port"), else defaultValue.
    // Flags without a value (help, version) give "1" when given.
    std::string get(const std::string& key, const std::string& defaultValue) const;
    bool has(const std::string& key) const;

    const std::vector<std::string>& positional() const { return positional_; }

    bool ok() const { return errors_.empty(); }
    const std::vector<std::string>& errors() const { return errors_; }
    // All errors, one a line, without a trailing newline; empty when ok().
    std::string errorText() const;

    bool helpRequested() const { return has("help"); }
    bool versionRequested() const { return has("version"); }

    // The text printed for --help, ending with a newline.
    static std::string usage(const std::string& programName = "lumenda3d");

private:
    void parse(const std::vector<std::string>& args);
    // Checks and normalises an option's value; false with an error added when it is refused.
    bool acceptValue(const std::string& name, std::string& value);

    std::unordered_map<std::string, std::string> options_;
    std::vector<std::string> positional_;
    std::vector<std::string> errors_;
};

} // namespace Lumenda3D
