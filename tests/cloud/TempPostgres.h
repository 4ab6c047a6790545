#pragma once
// A real PostgreSQL server for the tests: a new cluster made by Debian's initdb in a temporary
// folder, started by pg_ctl on a free loopback port, stopped and removed at the end. PostgreSQL
// refuses to run as root, so under root the cluster belongs to the "postgres" system user (made
// by Debian's postgresql package) and its tools run through runuser. Each test gets a database
// of its own.
#include <memory>
#include <string>

namespace Lumenda3D::Cloud::test {

class TempPostgres {
public:
    // The cluster of this test process, started at the first call; null with `whyNot` set when
    // PostgreSQL cannot be run here (not installed, no non-root user to run it as, start failed).
    static TempPostgres* shared(std::string& whyNot);
    // Stops the shared cluster, if one was started (at the end of the test program).
    static void shutdownShared();

    ~TempPostgres();

    // A new empty database; its connection URI.
    std::string createDatabase();
    // Stops and restarts the server (the data stays): for tests of a database that goes away.
    bool stop();
    bool start();
    int port() const { return port_; }

private:
    TempPostgres() = default;
    bool init(std::string& whyNot);
    // Runs a PostgreSQL tool as the cluster's owner; its output goes to the cluster's log.
    int tool(const std::string& commandLine) const;

    std::string dir_;
    std::string bin_;
    std::string runAs_;   // "" or "runuser -u postgres -- "
    int port_ = 0;
    int databases_ = 0;
    bool running_ = false;
};

} // namespace Lumenda3D::Cloud::test
