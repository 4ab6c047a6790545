#pragma once
// What the editor's cloud tests share. CloudTestServer: the real cloud server on a free loopback
// port with a fresh SQLite file, LUMENDA3D_SERVER pointing at it, and helpers that pump the
// cloud services' HTTP client (answers arrive only when the test pumps). CloudClientTest: that
// server, a private data root and an HTTP client of the test's own for the services.
#include <gtest/gtest.h>

#include <sqlite3.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "CloudTestSupport.h"
#include "TestDataRoot.h"
#include "services/ApiConfig.h"
#include "services/AuthenticationFlowManager.h"
#include "services/AuthenticationManager.h"
#include "services/MyHttpClient.h"
#include "services/ResourceLoader.h"

namespace Lumenda3D::test {

class CloudTestServer {
protected:
    CloudTestServer() {
        server_ = std::make_unique<Cloud::test::RunningServer>(
            Cloud::test::testConfig("sqlite:" + dir_.path() + "/cloud.sqlite3"));
        serverUrl_ = "http://127.0.0.1:" + std::to_string(server_->port());
        api_.emplace(server_->port());
        setenv(ApiConfig::kServerVariable, serverUrl_.c_str(), 1);
        ApiConfig::init("");
    }
    virtual ~CloudTestServer() {
        ResourceLoader::getInstance().cancelAll();
        AuthenticationFlowManager::getInstance().setLoginPrompt(nullptr);
        auth().setHttpClient(nullptr);
        auth().reload();
        unsetenv(ApiConfig::kServerVariable);
        ApiConfig::init("");
    }

    static AuthenticationManager& auth() { return AuthenticationManager::getInstance(); }
    static ResourceLoader& loader() { return ResourceLoader::getInstance(); }
    Cloud::test::ApiClient& api() { return *api_; }
    const std::string& serverUrl() const { return serverUrl_; }
    int port() const { return server_->port(); }
    Cloud::CloudServices& services() { return server_->server().services(); }

    // Pumps the client the cloud services use until `done` holds; false after `limit`.
    bool pumpUntil(const std::function<bool()>& done, std::chrono::milliseconds limit = std::chrono::seconds(10)) {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        while (!done()) {
            if (std::chrono::steady_clock::now() > deadline)
                return false;
            if (auto client = auth().getHttpClient())
                client->pump();
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        return true;
    }

    // Pumps an updater (and the client it was given) until its check has ended.
    template <class Updater>
    bool pumpUntilUpdater(Updater& updater, std::chrono::milliseconds limit = std::chrono::seconds(10)) {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        while (updater.isChecking()) {
            if (std::chrono::steady_clock::now() > deadline)
                return false;
            updater.pump();
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        return true;
    }

    // No request is queued, running or waiting for the pump.
    bool idle() const {
        auto client = auth().getHttpClient();
        return !client || client->outstanding() == 0;
    }

    // The outcome of one cloud call, filled by callback().
    struct Outcome {
        bool called = false;
        bool ok = false;
        std::string data;
        std::string error;
        int calls = 0;
    };
    ResourceLoader::Callback callback(Outcome& out) {
        return [&out](bool ok, const std::string& data, const std::string& error) {
            out.called = true;
            ++out.calls;
            out.ok = ok;
            out.data = data;
            out.error = error;
        };
    }
    Outcome wait(Outcome& out) {
        EXPECT_TRUE(pumpUntil([&] { return out.called; })) << "no answer came";
        return out;
    }

    // A user on the server, logged in there; the editor has no session yet.
    std::string registerUser(const std::string& name) { return api().registerUser(name); }
    // Registers `name` and gives the editor that session, as a stored login would.
    std::string logInAs(const std::string& name) {
        const std::string token = registerUser(name);
        EXPECT_TRUE(auth().storeSession(token, name));
        return token;
    }

    // Holds the database's write lock while it lives: writes answer 503 database_busy.
    class WriteLock {
    public:
        explicit WriteLock(const std::string& file) {
            if (sqlite3_open(file.c_str(), &db_) == SQLITE_OK)
                locked_ = sqlite3_exec(db_, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr) == SQLITE_OK;
        }
        ~WriteLock() {
            if (locked_)
                sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
            sqlite3_close(db_);
        }
        bool locked() const { return locked_; }

    private:
        sqlite3* db_ = nullptr;
        bool locked_ = false;
    };
    std::string databaseFile() const { return dir_.path() + "/cloud.sqlite3"; }

    Cloud::test::TempDir dir_;

private:
    std::unique_ptr<Cloud::test::RunningServer> server_;
    std::optional<Cloud::test::ApiClient> api_;
    std::string serverUrl_;
};

class CloudClientTest : public ::testing::Test, public CloudTestServer {
protected:
    CloudClientTest() {
        // After the data root: the client's cache lives under it.
        client_ = std::make_shared<MyHttpClient>();
        auth().setHttpClient(client_);
        auth().reload();
    }

    TestDataRoot dataRoot_;

private:
    std::shared_ptr<MyHttpClient> client_;
};

} // namespace Lumenda3D::test
