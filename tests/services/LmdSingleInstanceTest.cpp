#include "services/LmdSingleInstance.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "TestDataRoot.h"
#include "base/LmdPaths.h"
#include "services/UrlUtils.h"

extern char** environ;

namespace Lumenda3D {
namespace {

using namespace std::chrono_literals;

// The test binary doubles as the second process: started with LMD_SI_CHILD set, it plays that
// part before any test runs and ends without reaching main().
//   forward: hands LMD_SI_PAYLOAD_HEX over; exit 0 when it went to a running instance
//   hold:    claims the instance, prints "ready", and waits to be killed
constexpr const char* kChildVariable = "LMD_SI_CHILD";
constexpr const char* kPayloadVariable = "LMD_SI_PAYLOAD_HEX";

std::string toHex(const std::string& bytes) {
    static const char digits[] = "0123456789abcdef";
    std::string out;
    for (unsigned char c : bytes) {
        out.push_back(digits[c >> 4]);
        out.push_back(digits[c & 15]);
    }
    return out;
}

std::string fromHex(const std::string& hex) {
    std::string out;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
        out.push_back(static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16)));
    return out;
}

[[maybe_unused]] const bool g_childRan = [] {
    const char* role = std::getenv(kChildVariable);
    if (!role)
        return false;
    const char* hex = std::getenv(kPayloadVariable);
    LmdSingleInstance instance;
    if (std::strcmp(role, "forward") == 0) {
        const bool primary = instance.acquireOrForward(fromHex(hex ? hex : ""), "");
        _exit(primary ? 3 : 0);
    }
    if (std::strcmp(role, "hold") == 0) {
        if (!instance.acquireOrForward("", ""))
            _exit(4);
        const char ready[] = "ready\n";
        if (::write(1, ready, sizeof ready - 1) < 0)
            _exit(5);
        for (;;)
            ::pause();
    }
    _exit(6);
}();

struct Child {
    pid_t pid = -1;
    int stdoutFd = -1;
};

// Starts this test binary as a child in the given role, with the data root of the test. The
// payload travels hex-encoded in the environment, so it must stay below 64 KiB.
Child spawnChild(const std::string& role, const std::string& payload = "") {
    std::vector<std::string> env;
    for (char** e = environ; *e; ++e)
        env.emplace_back(*e);
    env.push_back(std::string(kChildVariable) + "=" + role);
    env.push_back(std::string(kPayloadVariable) + "=" + toHex(payload));
    std::vector<char*> envp;
    for (std::string& entry : env)
        envp.push_back(entry.data());
    envp.push_back(nullptr);

    int out[2];
    EXPECT_EQ(::pipe2(out, O_CLOEXEC), 0);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    char arg0[] = "lumenda3d_tests";
    char* argv[] = {arg0, nullptr};
    Child child;
    EXPECT_EQ(posix_spawn(&child.pid, "/proc/self/exe", &actions, nullptr, argv, envp.data()), 0);
    posix_spawn_file_actions_destroy(&actions);
    ::close(out[1]);
    child.stdoutFd = out[0];
    return child;
}

int waitExitCode(const Child& child) {
    int status = 0;
    if (::waitpid(child.pid, &status, 0) != child.pid)
        return -1;
    ::close(child.stdoutFd);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

bool waitForLine(const Child& child, const std::string& line) {
    std::string got;
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    while (got.find(line) == std::string::npos && std::chrono::steady_clock::now() < deadline) {
        pollfd fd{child.stdoutFd, POLLIN, 0};
        if (::poll(&fd, 1, 100) > 0) {
            char buffer[64];
            const ssize_t n = ::read(child.stdoutFd, buffer, sizeof buffer);
            if (n <= 0)
                break;
            got.append(buffer, static_cast<std::size_t>(n));
        }
    }
    return got.find(line) != std::string::npos;
}

std::vector<std::string> waitForPayloads(LmdSingleInstance& instance, std::size_t count) {
    std::vector<std::string> all;
    const auto deadline = std::chrono::steady_clock::now() + 5s;
    while (all.size() < count && std::chrono::steady_clock::now() < deadline) {
        for (std::string& payload : instance.takePending())
            all.push_back(std::move(payload));
        std::this_thread::sleep_for(2ms);
    }
    return all;
}

class LmdSingleInstanceTest : public test::DataRootTest {};

TEST_F(LmdSingleInstanceTest, PayloadOfTheEntryReadsBackWithParseQuery) {
    const std::unordered_map<std::string, std::string> values = {
        {"resId", "7 & co=%41+b/é"}, {"mcp", "on"}, {"ignored", "x"}};
    const std::string payload = LmdSingleInstance::buildPayload(values, {"resId", "mcp", "mcpPort"});
    EXPECT_EQ(payload.find("ignored"), std::string::npos);
    const auto back = UrlUtils::parseQuery(payload);
    ASSERT_EQ(back.size(), 3u);
    EXPECT_EQ(back.at("resId"), "7 & co=%41+b/é");
    EXPECT_EQ(back.at("mcp"), "on");
    EXPECT_EQ(back.at("mcpPort"), "");
}

TEST_F(LmdSingleInstanceTest, SecondProcessHandsOverByteForByteAndExitsZero) {
    LmdSingleInstance first;
    ASSERT_TRUE(first.acquireOrForward("", ""));
    EXPECT_EQ(first.socketPath(), (std::filesystem::path(LmdPaths::stateDir()) / "instance.sock").string());

    std::string binary;
    for (int i = 0; i < 40000; ++i)
        binary.push_back(static_cast<char>(i * 7 % 256));   // NULs, newlines, '&', '%' and more
    const std::string empties = LmdSingleInstance::buildPayload({}, {"resId", "mcp", "mcpPort"});

    EXPECT_EQ(waitExitCode(spawnChild("forward", binary)), 0);
    EXPECT_EQ(waitExitCode(spawnChild("forward", empties)), 0);

    // Received in the background, delivered in order when the main thread pumps.
    std::vector<std::string> delivered;
    first.setPayloadHandler([&](const std::string& payload) { delivered.push_back(payload); });
    const auto deadline = std::chrono::steady_clock::now() + 5s;
    while (delivered.size() < 2 && std::chrono::steady_clock::now() < deadline) {
        first.pump();
        std::this_thread::sleep_for(2ms);
    }
    ASSERT_EQ(delivered.size(), 2u);
    EXPECT_TRUE(delivered[0] == binary) << "payload changed on the way, size " << delivered[0].size();
    const auto keys = UrlUtils::parseQuery(delivered[1]);
    EXPECT_EQ(keys.size(), 3u);
    for (const auto& entry : keys)
        EXPECT_EQ(entry.second, "") << entry.first;

    // Released claims are free again; the socket file goes with them.
    first.shutdown();
    EXPECT_FALSE(std::filesystem::exists(first.socketPath()));
    EXPECT_EQ(waitExitCode(spawnChild("forward", "x")), 3);
}

TEST_F(LmdSingleInstanceTest, ClaimOfAKilledProcessDoesNotBlockTheNextStart) {
    Child holder = spawnChild("hold");
    ASSERT_TRUE(waitForLine(holder, "ready"));
    LmdSingleInstance probe;
    EXPECT_FALSE(probe.acquireOrForward("while alive", ""));   // the live holder takes it

    ::kill(holder.pid, SIGKILL);
    EXPECT_EQ(waitExitCode(holder), 128 + SIGKILL);
    const std::string socketPath = LmdSingleInstance::socketPathFor(LmdPaths::stateDir(), "");
    ASSERT_TRUE(std::filesystem::exists(socketPath));   // left behind by the crash

    LmdSingleInstance next;
    ASSERT_TRUE(next.acquireOrForward("", ""));
    EXPECT_EQ(waitExitCode(spawnChild("forward", "resId=9")), 0);
    EXPECT_EQ(waitForPayloads(next, 1), std::vector<std::string>{"resId=9"});
}

TEST_F(LmdSingleInstanceTest, SocketFileWithoutAnyOwnerIsReplaced) {
    // A socket bound and abandoned without its lock, as after a crash on a fresh machine.
    const std::string path = LmdSingleInstance::socketPathFor(LmdPaths::stateDir(), "");
    ASSERT_TRUE(LmdPaths::ensureDir(LmdPaths::stateDir()));
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, path.c_str());
    ASSERT_EQ(::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ::close(fd);

    LmdSingleInstance first;
    ASSERT_TRUE(first.acquireOrForward("", ""));
    LmdSingleInstance second;   // same process, separate claim attempt
    EXPECT_FALSE(second.acquireOrForward("mcp=off", ""));
    EXPECT_EQ(waitForPayloads(first, 1), std::vector<std::string>{"mcp=off"});
}

TEST_F(LmdSingleInstanceTest, DataRootTooLongForASocketFallsBackToAShortPath) {
    std::string deep = dataRoot.path().string();
    while (deep.size() < 150)
        deep += "/a-rather-long-folder-name";
    setenv("LUMENDA3D_HOME", deep.c_str(), 1);

    LmdSingleInstance first;
    ASSERT_TRUE(first.acquireOrForward("", ""));
    EXPECT_LT(first.socketPath().size(), sizeof(sockaddr_un::sun_path));
    EXPECT_EQ(first.socketPath().rfind("/tmp/lumenda3d-", 0), 0u) << first.socketPath();
    // Another root gets another short path; the same root always the same one.
    EXPECT_NE(LmdSingleInstance::socketPathFor(deep + "x", ""), first.socketPath());
    EXPECT_EQ(LmdSingleInstance::socketPathFor(LmdPaths::stateDir(), ""), first.socketPath());

    LmdSingleInstance second;
    EXPECT_FALSE(second.acquireOrForward("resId=1", ""));
    EXPECT_EQ(waitForPayloads(first, 1), std::vector<std::string>{"resId=1"});
    first.shutdown();
    EXPECT_FALSE(std::filesystem::exists(first.socketPath()));
    std::filesystem::remove(first.socketPath() + ".lock");
}

} // namespace
} // namespace Lumenda3D
