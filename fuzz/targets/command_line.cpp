// The editor's command line (LmdCommandLine). Input: the arguments, separated by NUL.
//
// Properties: parsing never throws and answers only what it accepted: --mcp is one of its words
// (lower case), --mcp-port a port from 1024 to 65535 in plain decimal, flags are "1"; a refused
// option is an error in plain words and nothing else; options given again in the "--name=value"
// form parse to the same values.
#include <cctype>

#include "FuzzSupport.h"
#include "services/LmdCommandLine.h"

using namespace Lumenda3D;
using namespace Lumenda3D::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<std::string> args;
    size_t start = 0;
    for (size_t i = 0; i <= size; ++i) {
        if (i == size || data[i] == 0) {
            args.emplace_back(reinterpret_cast<const char*>(data) + start, i - start);
            start = i + 1;
        }
    }
    std::vector<char*> argv = {const_cast<char*>("lumenda3d")};
    for (std::string& arg : args)
        argv.push_back(arg.data());
    argv.push_back(nullptr);

    const LmdCommandLine line(static_cast<int>(argv.size()) - 1, argv.data());
    require(line.ok() == line.errors().empty() && line.ok() == line.errorText().empty(), "ok means no errors");
    for (const std::string& error : line.errors())
        require(!error.empty() && error.find('\n') == std::string::npos, "each error is one line");

    const std::string mcp = line.get("mcp", "\x01");
    static const std::vector<std::string> words = {"on", "off", "1", "0", "true", "false", "\x01"};
    require(std::find(words.begin(), words.end(), mcp) != words.end(), "--mcp is one of its words", excerpt(mcp));
    const std::string port = line.get("mcp-port", "");
    if (!port.empty()) {
        require(port.size() <= 5 && port[0] != '0' &&
                    std::all_of(port.begin(), port.end(), [](unsigned char c) { return std::isdigit(c); }),
                "--mcp-port is plain decimal", excerpt(port));
        const long n = std::stol(port);
        require(n >= 1024 && n <= 65535, "--mcp-port is a port from 1024 to 65535", port);
    }
    for (const char* flag : {"help", "version"}) {
        if (line.has(flag))
            require(line.get(flag, "") == "1", "a flag given is \"1\"", flag);
    }

    std::vector<std::string> again;
    if (mcp != "\x01")
        again.push_back("--mcp=" + mcp);
    if (!port.empty())
        again.push_back("--mcp-port=" + port);
    const LmdCommandLine reparsed(again);
    require(reparsed.ok() && reparsed.get("mcp", "\x01") == mcp && reparsed.get("mcp-port", "") == port,
            "accepted values parse again to themselves");
    return 0;
}
