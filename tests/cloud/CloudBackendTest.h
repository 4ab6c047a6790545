#pragma once
// The fixture of the API tests, run once on SQLite and once on PostgreSQL ("sqlite" and
// "postgresql" in the test names). Each test gets a fresh database and a server on it in this
// process; on PostgreSQL the test is skipped, with the reason, when no cluster can be run here.
#include <gtest/gtest.h>

#include <memory>
#include <optional>

#include "CloudTestSupport.h"
#include "TempPostgres.h"

namespace Lumenda3D::Cloud::test {

class CloudBackendTest : public ::testing::TestWithParam<std::string> {
protected:
    void SetUp() override {
        if (GetParam() == "postgresql") {
            std::string whyNot;
            TempPostgres* pg = TempPostgres::shared(whyNot);
            if (!pg)
                GTEST_SKIP() << "PostgreSQL is not available: " << whyNot;
            database_ = pg->createDatabase();
        } else {
            database_ = "sqlite:" + dir_.path() + "/cloud.sqlite3";
        }
    }

    bool isPostgres() const { return GetParam() == "postgresql"; }
    const std::string& database() const { return database_; }

    // Starts the server (once) with the test settings, changed by `adjust`.
    template <class F>
    RunningServer& startServer(F&& adjust) {
        CloudConfig config = testConfig(database_);
        adjust(config);
        server_ = std::make_unique<RunningServer>(config);
        EXPECT_GT(server_->port(), 0);
        api_.emplace(server_->port());
        return *server_;
    }
    RunningServer& startServer() {
        return startServer([](CloudConfig&) {});
    }
    ApiClient& api() { return *api_; }
    CloudServices& services() { return server_->server().services(); }

    TempDir dir_;

private:
    std::string database_;
    std::unique_ptr<RunningServer> server_;
    std::optional<ApiClient> api_;
};

inline std::string backendName(const ::testing::TestParamInfo<std::string>& info) { return info.param; }

} // namespace Lumenda3D::Cloud::test
