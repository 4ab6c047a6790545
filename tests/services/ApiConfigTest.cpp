// Where the product's server is: the configuration text first, the environment for what it
// leaves out, production unless development is named.
#include "services/ApiConfig.h"

#include <gtest/gtest.h>

#include <cstdlib>

using namespace Lumenda3D;

namespace {

class ApiConfigTest : public ::testing::Test {
protected:
    ~ApiConfigTest() override {
        unsetenv(ApiConfig::kEnvironmentVariable);
        unsetenv(ApiConfig::kServerVariable);
        ApiConfig::init("");
    }
};

TEST_F(ApiConfigTest, TextWinsOverTheEnvironment) {
    setenv(ApiConfig::kServerVariable, "https://env.example", 1);
    ApiConfig::init(R"({"environment":"development","serverUrl":"https://text.example//"})");
    EXPECT_EQ(ApiConfig::getEnvironment(), ApiConfig::Development);
    EXPECT_EQ(ApiConfig::getServerUrl(), "https://text.example");
    EXPECT_EQ(ApiConfig::getApiBaseUrl(), "https://text.example/api");
    EXPECT_EQ(ApiConfig::getTexturesUrl(), "https://text.example/api/assets");
    EXPECT_EQ(ApiConfig::getAssetsBaseUrl(), "https://text.example/assets");

    ApiConfig::init(R"({"environment":"development"})");
    EXPECT_EQ(ApiConfig::getServerUrl(), "https://env.example");
}

TEST_F(ApiConfigTest, WithoutConfigurationItIsProductionWithoutAServer) {
    unsetenv(ApiConfig::kEnvironmentVariable);
    unsetenv(ApiConfig::kServerVariable);
    ApiConfig::init("");
    EXPECT_EQ(ApiConfig::getEnvironment(), ApiConfig::Production);
    EXPECT_EQ(ApiConfig::getApiBaseUrl(), "");
    EXPECT_EQ(ApiConfig::getTexturesUrl(), "");
    EXPECT_EQ(ApiConfig::getAssetsBaseUrl(), "");

    setenv(ApiConfig::kEnvironmentVariable, "development", 1);
    ApiConfig::init("not json");  // ignored, with a line in the log
    EXPECT_EQ(ApiConfig::getEnvironment(), ApiConfig::Development);
    ApiConfig::init(R"({"serverUrl": 7})");  // a wrong type counts as no text
    EXPECT_EQ(ApiConfig::getServerUrl(), "");
}

} // namespace
