#include "base/LmdPaths.h"

#include "TestDataRoot.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <string>

#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace Lumenda3D {
namespace {

// Sets or unsets environment variables for one test and puts the old values back afterwards.
class EnvGuard {
public:
    void set(const char* name, const std::string& value) {
        remember(name);
        setenv(name, value.c_str(), 1);
    }
    void unset(const char* name) {
        remember(name);
        unsetenv(name);
    }
    ~EnvGuard() {
        for (const auto& [name, value] : saved_) {
            if (value)
                setenv(name.c_str(), value->c_str(), 1);
            else
                unsetenv(name.c_str());
        }
    }

private:
    void remember(const char* name) {
        if (saved_.count(name))
            return;
        const char* old = std::getenv(name);
        saved_[name] = old ? std::optional<std::string>(old) : std::nullopt;
    }
    std::map<std::string, std::optional<std::string>> saved_;
};

class LmdPathsTest : public test::DataRootTest {
protected:
    EnvGuard env;
    fs::path home() const { return dataRoot.path() / "home"; }
    void useXdgOnly() {
        env.unset("LUMENDA3D_HOME");
        env.set("HOME", home().string());
        for (const char* name : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_STATE_HOME"})
            env.unset(name);
    }
};

TEST_F(LmdPathsTest, DataRootMovesEveryFolderAndIgnoresXdg) {
    env.set("XDG_CONFIG_HOME", "/elsewhere/config");
    env.set("XDG_CACHE_HOME", "/elsewhere/cache");
    const fs::path root = dataRoot.path();
    EXPECT_EQ(fs::path(LmdPaths::configDir()), root / "config");
    EXPECT_EQ(fs::path(LmdPaths::dataDir()), root / "data");
    EXPECT_EQ(fs::path(LmdPaths::projectsDir()), root / "data" / "projects");
    EXPECT_EQ(fs::path(LmdPaths::cacheDir()), root / "cache");
    EXPECT_EQ(fs::path(LmdPaths::stateDir()), root / "state");
    EXPECT_EQ(fs::path(LmdPaths::exportsDir()), root / "exports");

    // The root is read at each call, not remembered.
    env.set("LUMENDA3D_HOME", (root / "other").string());
    EXPECT_EQ(fs::path(LmdPaths::configDir()), root / "other" / "config");
}

TEST_F(LmdPathsTest, WithoutDataRootUsesHomeDefaults) {
    useXdgOnly();
    EXPECT_EQ(fs::path(LmdPaths::configDir()), home() / ".config" / "Lumenda3D");
    EXPECT_EQ(fs::path(LmdPaths::dataDir()), home() / ".local" / "share" / "Lumenda3D");
    EXPECT_EQ(fs::path(LmdPaths::projectsDir()), home() / ".local" / "share" / "Lumenda3D" / "projects");
    EXPECT_EQ(fs::path(LmdPaths::cacheDir()), home() / ".cache" / "Lumenda3D");
    EXPECT_EQ(fs::path(LmdPaths::stateDir()), home() / ".local" / "state" / "Lumenda3D");
    EXPECT_EQ(fs::path(LmdPaths::exportsDir()), home() / "Documents" / "Lumenda3D" / "Exports");

    // An empty root counts as unset.
    env.set("LUMENDA3D_HOME", "");
    EXPECT_EQ(fs::path(LmdPaths::configDir()), home() / ".config" / "Lumenda3D");
}

TEST_F(LmdPathsTest, WithoutDataRootXdgVariablesWin) {
    useXdgOnly();
    const fs::path xdg = dataRoot.path() / "xdg";
    env.set("XDG_CONFIG_HOME", (xdg / "cfg").string());
    env.set("XDG_DATA_HOME", (xdg / "dat").string());
    env.set("XDG_CACHE_HOME", (xdg / "cch").string());
    env.set("XDG_STATE_HOME", (xdg / "stt").string());
    EXPECT_EQ(fs::path(LmdPaths::configDir()), xdg / "cfg" / "Lumenda3D");
    EXPECT_EQ(fs::path(LmdPaths::dataDir()), xdg / "dat" / "Lumenda3D");
    EXPECT_EQ(fs::path(LmdPaths::projectsDir()), xdg / "dat" / "Lumenda3D" / "projects");
    EXPECT_EQ(fs::path(LmdPaths::cacheDir()), xdg / "cch" / "Lumenda3D");
    EXPECT_EQ(fs::path(LmdPaths::stateDir()), xdg / "stt" / "Lumenda3D");
    // Exports have no XDG variable of their own.
    EXPECT_EQ(fs::path(LmdPaths::exportsDir()), home() / "Documents" / "Lumenda3D" / "Exports");
}

TEST_F(LmdPathsTest, EnsureDirCreatesParentsAndReportsBlockers) {
    const fs::path nested = dataRoot.path() / "x" / "y" / "z";
    std::string error;
    EXPECT_TRUE(LmdPaths::ensureDir(nested.string(), &error)) << error;
    EXPECT_TRUE(fs::is_directory(nested));
    EXPECT_TRUE(LmdPaths::ensureDir(nested.string(), &error)) << "an existing folder is fine";

    const fs::path file = dataRoot.path() / "plain";
    { std::ofstream(file) << "x"; }
    error.clear();
    EXPECT_FALSE(LmdPaths::ensureDir(file.string(), &error));
    EXPECT_FALSE(error.empty());
    EXPECT_FALSE(LmdPaths::ensureDir((file / "below").string(), &error));
    EXPECT_TRUE(fs::is_regular_file(file));
}

} // namespace
} // namespace Lumenda3D
