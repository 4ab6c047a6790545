#include "TempPostgres.h"

#include <pqxx/pqxx>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <mutex>

#include "UnusedPort.h"

namespace Lumenda3D::Cloud::test {
namespace {

std::unique_ptr<TempPostgres> gShared;
std::string gWhyNot;
bool gTried = false;
std::mutex gMutex;

std::string findBin() {
    for (const char* v : {"17", "16", "15", "14", "13"}) {
        const std::string bin = std::string("/usr/lib/postgresql/") + v + "/bin";
        if (::access((bin + "/initdb").c_str(), X_OK) == 0 && ::access((bin + "/pg_ctl").c_str(), X_OK) == 0)
            return bin;
    }
    return "";
}

} // namespace

TempPostgres* TempPostgres::shared(std::string& whyNot) {
    std::lock_guard<std::mutex> lock(gMutex);
    if (!gTried) {
        gTried = true;
        std::unique_ptr<TempPostgres> pg(new TempPostgres());
        if (pg->init(gWhyNot))
            gShared = std::move(pg);
    }
    whyNot = gWhyNot;
    return gShared.get();
}

void TempPostgres::shutdownShared() {
    std::lock_guard<std::mutex> lock(gMutex);
    gShared.reset();
}

int TempPostgres::tool(const std::string& commandLine) const {
    const std::string command = runAs_ + bin_ + "/" + commandLine + " >>" + dir_ + "/tools.log 2>&1";
    return std::system(command.c_str());
}

bool TempPostgres::init(std::string& whyNot) {
    bin_ = findBin();
    if (bin_.empty()) {
        whyNot = "PostgreSQL's server tools (initdb, pg_ctl under /usr/lib/postgresql/<version>/bin) are not "
                 "installed: install Debian's postgresql package";
        return false;
    }
    char pattern[] = "/tmp/lmd-cloud-pg-XXXXXX";
    if (!::mkdtemp(pattern)) {
        whyNot = "cannot make a temporary folder for the cluster";
        return false;
    }
    dir_ = pattern;
    if (::geteuid() == 0) {
        const passwd* pw = ::getpwnam("postgres");
        if (!pw) {
            whyNot = "running as root and there is no 'postgres' user to run PostgreSQL as";
            return false;
        }
        if (::access("/usr/sbin/runuser", X_OK) != 0 && ::access("/sbin/runuser", X_OK) != 0) {
            whyNot = "running as root and runuser is missing";
            return false;
        }
        if (::chown(dir_.c_str(), pw->pw_uid, pw->pw_gid) != 0) {
            whyNot = "cannot give the cluster folder to the postgres user";
            return false;
        }
        runAs_ = "runuser -u postgres -- ";
    }
    port_ = Lumenda3D::test::unusedPort();
    if (tool("initdb -D " + dir_ + "/data -U postgres -A trust -E UTF8 --no-sync --no-instructions") != 0) {
        whyNot = "initdb failed (see " + dir_ + "/tools.log)";
        return false;
    }
    if (!start()) {
        whyNot = "the PostgreSQL server did not start (see " + dir_ + "/tools.log and " + dir_ + "/server.log)";
        return false;
    }
    return true;
}

bool TempPostgres::start() {
    // fsync off: the tests need speed, not durability across power cuts.
    running_ = tool("pg_ctl -D " + dir_ + "/data -l " + dir_ + "/server.log -w -t 60 -o \"-p " +
                    std::to_string(port_) + " -k " + dir_ + " -h 127.0.0.1 -F -c max_connections=200\" start") == 0;
    return running_;
}

bool TempPostgres::stop() {
    if (!running_)
        return true;
    running_ = !(tool("pg_ctl -D " + dir_ + "/data -w -t 60 -m fast stop") == 0);
    return !running_;
}

TempPostgres::~TempPostgres() {
    if (running_)
        tool("pg_ctl -D " + dir_ + "/data -w -t 60 -m immediate stop");
    if (!dir_.empty()) {
        std::error_code ec;
        std::filesystem::remove_all(dir_, ec);
    }
}

std::string TempPostgres::createDatabase() {
    const std::string name = "lmd_test_" + std::to_string(::getpid()) + "_" + std::to_string(++databases_);
    const std::string base = "postgresql://postgres@127.0.0.1:" + std::to_string(port_) + "/";
    pqxx::connection c(base + "postgres");
    pqxx::nontransaction tx(c);
    tx.exec("CREATE DATABASE " + name);
    return base + name;
}

} // namespace Lumenda3D::Cloud::test
