#pragma once
// The server's log: one line per event on standard error, with a UTC time stamp. Nothing secret
// (passwords, tokens, documents) is ever written to it.
#include <string>

namespace Lumenda3D::Cloud {

class CloudLog {
public:
    static void info(const std::string& line);
    static void error(const std::string& line);
    // Tests silence the log of servers they run in-process.
    static void setQuiet(bool quiet);
};

} // namespace Lumenda3D::Cloud
