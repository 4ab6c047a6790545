#pragma once
// A fresh, private data root for one test: LUMENDA3D_HOME points into a new temporary folder
// for the test's lifetime and is removed afterwards, so no test reads or writes the user's folders.
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>

#include <gtest/gtest.h>

namespace Lumenda3D::test {

class TestDataRoot {
public:
    TestDataRoot() {
        std::random_device rd;
        root_ = std::filesystem::temp_directory_path() /
                ("lmd-test-" + std::to_string(rd()) + "-" + std::to_string(rd()));
        std::filesystem::create_directories(root_);
        const char* old = std::getenv("LUMENDA3D_HOME");
        if (old) {
            hadOld_ = true;
            old_ = old;
        }
        setenv("LUMENDA3D_HOME", root_.c_str(), 1);
    }
    ~TestDataRoot() {
        if (hadOld_)
            setenv("LUMENDA3D_HOME", old_.c_str(), 1);
        else
            unsetenv("LUMENDA3D_HOME");
        std::error_code ec;
        std::filesystem::remove_all(root_, ec);
    }
    const std::filesystem::path& path() const { return root_; }

private:
    std::filesystem::path root_;
    bool hadOld_ = false;
    std::string old_;
};

// A test fixture base that gives every test its own data root.
class DataRootTest : public ::testing::Test {
protected:
    TestDataRoot dataRoot;
};

} // namespace Lumenda3D::test
