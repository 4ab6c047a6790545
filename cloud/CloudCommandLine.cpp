#include "CloudCommandLine.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <thread>
#include <unistd.h>

#include "AdminCommands.h"
#include "CloudLog.h"
#include "CloudServer.h"
#include "MediaSeeder.h"
#include "StorageError.h"

#ifndef LMD_VERSION
#define LMD_VERSION "0"
#endif
#ifndef LMD_CLOUD_MEDIA_DIR
#define LMD_CLOUD_MEDIA_DIR ""
#endif

namespace Lumenda3D::Cloud {
namespace {

namespace fs = std::filesystem;

bool toNumber(const std::string& text, long long minimum, long long maximum, long long& out) {
    try {
        std::size_t used = 0;
        out = std::stoll(text, &used);
        return used == text.size() && out >= minimum && out <= maximum;
    } catch (const std::exception&) {
        return false;
    }
}

std::string environment(const char* name) {
    const char* v = std::getenv(name);
    return v ? v : "";
}

// The media folder that seeds a new server: "media" beside the executable (an installed
// server), else the source tree's media folder (a developer build).
std::string defaultMediaDir() {
    std::error_code ec;
    const fs::path exe = fs::read_symlink("/proc/self/exe", ec);
    if (!ec) {
        const fs::path beside = exe.parent_path() / "media";
        if (fs::is_directory(beside / "examples", ec))
            return beside.string();
    }
    return LMD_CLOUD_MEDIA_DIR;
}

bool writePortFile(const std::string& path, int port) {
    const std::string temp = path + ".tmp-" + std::to_string(::getpid());
    {
        std::ofstream out(temp, std::ios::trunc);
        out << port << "\n";
        if (!out.flush())
            return false;
    }
    std::error_code ec;
    fs::rename(temp, path, ec);
    return !ec;
}

} // namespace

std::string CloudCommandLine::defaultDataDir() {
    const std::string home = environment("LUMENDA3D_HOME");
    if (!home.empty())
        return home + "/data/cloud";
    const std::string xdg = environment("XDG_DATA_HOME");
    if (!xdg.empty())
        return xdg + "/Lumenda3D/cloud";
    return environment("HOME") + "/.local/share/Lumenda3D/cloud";
}

std::string CloudCommandLine::usage() {
    return "Usage: lumenda3d-cloud [options]          serve the Lumenda3D cloud\n"
           "       lumenda3d-cloud admin [options] COMMAND ...   (lumenda3d-cloud admin help)\n"
           "Options:\n"
           "  --db DATABASE          sqlite:/path/file.sqlite3, a file path, or postgresql://user@host/db\n"
           "                         (default: sqlite under the data folder)\n"
           "  --data-dir DIR         the data folder (default: " + defaultDataDir() + ")\n"
           "  --listen HOST:PORT     where to listen (default 127.0.0.1:0, 0 = any free port)\n"
           "  --port-file FILE       write the port listened on into FILE\n"
           "  --public-url URL       the address people reach the server at, for links on pages\n"
           "  --media DIR            seed templates and public assets from DIR on an empty database\n"
           "  --no-seed              do not seed\n"
           "  --no-registration      only the administrator creates accounts\n"
           "  --trust-proxy          take the client address from X-Forwarded-For (behind a proxy)\n"
           "  --threads N            connections served at once (default 64)\n"
           "  --db-connections N     database connections per process (default 16)\n"
           "  --busy-timeout-ms N    SQLite: wait this long for the write lock (default 5000)\n"
           "  --max-document-mb N    largest project document (default 8)\n"
           "  --max-asset-mb N       largest asset file (default 32)\n"
           "  --quota-mb N           default storage per account for assets (default 200)\n"
           "  --keep-revisions N     revisions kept per project (default 50)\n"
           "  --session-days N       days a login lasts (default 30)\n"
           "  --login-attempts N     failed logins per user name in the window (default 5)\n"
           "  --login-window-s N     the window, in seconds (default 900)\n"
           "  --argon2-ops N --argon2-mem-kib N   password hashing cost (default 2 and 65536)\n"
           "  --help, --version\n";
}

bool CloudCommandLine::parse(const std::vector<std::string>& args, Parsed& out, std::string& error) {
    CloudConfig& c = out.config;
    std::string dataDir = defaultDataDir();
    c.mediaDir = defaultMediaDir();
    std::size_t i = 0;
    if (!args.empty() && args[0] == "admin") {
        out.mode = Mode::Admin;
        i = 1;
    }
    auto value = [&](const std::string& name, std::string& v) {
        if (i + 1 >= args.size()) {
            error = name + " needs a value";
            return false;
        }
        v = args[++i];
        return true;
    };
    auto number = [&](const std::string& name, long long minimum, long long maximum, long long& n) {
        std::string v;
        if (!value(name, v))
            return false;
        if (!toNumber(v, minimum, maximum, n)) {
            error = name + " needs a whole number from " + std::to_string(minimum) + " to " + std::to_string(maximum);
            return false;
        }
        return true;
    };
    for (; i < args.size(); ++i) {
        const std::string& a = args[i];
        long long n = 0;
        std::string v;
        if (a == "--help" || a == "-h") {
            out.mode = Mode::Help;
        } else if (a == "--version") {
            out.mode = Mode::Version;
        } else if (a == "--db") {
            if (!value(a, c.database))
                return false;
        } else if (a == "--data-dir") {
            if (!value(a, dataDir))
                return false;
        } else if (a == "--listen") {
            if (!value(a, v))
                return false;
            const auto colon = v.rfind(':');
            if (colon == std::string::npos || colon == 0 || !toNumber(v.substr(colon + 1), 0, 65535, n)) {
                error = "--listen needs HOST:PORT, such as 127.0.0.1:8080";
                return false;
            }
            c.host = v.substr(0, colon);
            c.port = static_cast<int>(n);
        } else if (a == "--port-file") {
            if (!value(a, c.portFile))
                return false;
        } else if (a == "--public-url") {
            if (!value(a, c.publicUrl))
                return false;
            while (!c.publicUrl.empty() && c.publicUrl.back() == '/')
                c.publicUrl.pop_back();
        } else if (a == "--media") {
            if (!value(a, c.mediaDir))
                return false;
        } else if (a == "--no-seed") {
            c.mediaDir.clear();
        } else if (a == "--no-registration") {
            c.allowRegistration = false;
        } else if (a == "--trust-proxy") {
            c.trustProxy = true;
        } else if (a == "--threads") {
            if (!number(a, 1, 1024, n))
                return false;
            c.threads = static_cast<std::size_t>(n);
        } else if (a == "--db-connections") {
            if (!number(a, 1, 512, n))
                return false;
            c.databaseConnections = static_cast<std::size_t>(n);
        } else if (a == "--busy-timeout-ms") {
            if (!number(a, 0, 600000, n))
                return false;
            c.busyTimeoutMs = static_cast<int>(n);
        } else if (a == "--max-document-mb") {
            if (!number(a, 1, 1024, n))
                return false;
            c.maxDocumentBytes = n << 20;
        } else if (a == "--max-asset-mb") {
            if (!number(a, 1, 1024, n))
                return false;
            c.maxAssetBytes = n << 20;
        } else if (a == "--quota-mb") {
            if (!number(a, 0, 1 << 30, n))
                return false;
            c.defaultQuotaBytes = n << 20;
        } else if (a == "--keep-revisions") {
            if (!number(a, 1, 100000, n))
                return false;
            c.keepRevisions = static_cast<int>(n);
        } else if (a == "--session-days") {
            if (!number(a, 1, 3650, n))
                return false;
            c.sessionDays = static_cast<int>(n);
        } else if (a == "--login-attempts") {
            if (!number(a, 1, 1000000, n))
                return false;
            c.loginAttemptsPerUser = static_cast<int>(n);
            c.loginAttemptsPerAddress = std::max<int>(c.loginAttemptsPerAddress, static_cast<int>(n) * 6);
        } else if (a == "--login-window-s") {
            if (!number(a, 1, 86400 * 7, n))
                return false;
            c.loginWindowSeconds = static_cast<int>(n);
        } else if (a == "--argon2-ops") {
            if (!number(a, 1, 100, n))
                return false;
            c.passwordCost.operations = static_cast<unsigned long long>(n);
        } else if (a == "--argon2-mem-kib") {
            if (!number(a, 8, 4 << 20, n))
                return false;
            c.passwordCost.memoryBytes = static_cast<std::size_t>(n) * 1024;
        } else if (out.mode == Mode::Admin && (a.empty() || a[0] != '-' || !out.adminArgs.empty())) {
            // The admin command and everything after it belong to the command.
            out.adminArgs.assign(args.begin() + static_cast<long>(i), args.end());
            break;
        } else {
            error = "unknown option " + a;
            return false;
        }
    }
    if (c.database.empty())
        c.database = "sqlite:" + dataDir + "/cloud.sqlite3";
    return true;
}

namespace {

int serve(const CloudCommandLine::Parsed& parsed) {
    const CloudConfig& config = parsed.config;
    if (!config.isPostgres()) {
        std::string path = config.database.rfind("sqlite:", 0) == 0 ? config.database.substr(7) : config.database;
        std::error_code ec;
        const fs::path parent = fs::path(path).parent_path();
        if (!parent.empty())
            fs::create_directories(parent, ec);
    }
    // SIGINT and SIGTERM end the server cleanly: a thread waits for them and stops the listener.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    std::signal(SIGPIPE, SIG_IGN);

    std::unique_ptr<CloudServer> server;
    try {
        server = std::make_unique<CloudServer>(config);
        MediaSeeder::seed(server->services(), config.mediaDir);
    } catch (const std::exception& e) {
        std::cerr << "lumenda3d-cloud: cannot start: " << e.what() << "\n";
        return 1;
    }
    const int port = server->bind();
    if (port < 0) {
        std::cerr << "lumenda3d-cloud: cannot listen on " << config.host << ":" << config.port
                  << " (the port is in use or not allowed)\n";
        return 3;
    }
    if (!config.portFile.empty() && !writePortFile(config.portFile, port)) {
        std::cerr << "lumenda3d-cloud: cannot write the port file " << config.portFile << "\n";
        return 1;
    }
    std::thread waiter([&server, signals]() mutable {
        int received = 0;
        sigwait(&signals, &received);
        CloudLog::info("stopping on signal " + std::to_string(received));
        server->stop();
    });
    std::cout << "lumenda3d-cloud listening on http://" << config.host << ":" << port << " (database: "
              << server->services().database().backend().name() << ")" << std::endl;
    CloudLog::info("listening on " + config.host + ":" + std::to_string(port));
    const bool ok = server->serve();
    // Wake the waiter if the listener ended on its own.
    pthread_kill(waiter.native_handle(), SIGTERM);
    waiter.join();
    return ok ? 0 : 1;
}

} // namespace

int CloudCommandLine::run(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    Parsed parsed;
    std::string error;
    if (!parse(args, parsed, error)) {
        std::cerr << "lumenda3d-cloud: " << error << "\n" << usage();
        return 2;
    }
    switch (parsed.mode) {
    case Mode::Help:
        std::cout << usage();
        return 0;
    case Mode::Version:
        std::cout << "lumenda3d-cloud " << LMD_VERSION << "\n";
        return 0;
    case Mode::Admin:
        return AdminCommands::run(parsed.config, parsed.adminArgs, std::cin, std::cout, std::cerr);
    case Mode::Serve:
        break;
    }
    return serve(parsed);
}

} // namespace Lumenda3D::Cloud
