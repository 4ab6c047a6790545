// The administrator's command line on a SQLite database: accounts, quotas and the refusals of
// bad usage. (Templates and releases are checked with the pages that show them.)
#include <gtest/gtest.h>

#include <sstream>

#include "AdminCommands.h"
#include "CloudServices.h"
#include "CloudTestSupport.h"

namespace Lumenda3D::Cloud::test {
namespace {

struct AdminRun {
    int code;
    std::string out, err;
};

AdminRun admin(const CloudConfig& config, const std::vector<std::string>& args, const std::string& input = "") {
    std::istringstream in(input);
    std::ostringstream out, err;
    const int code = AdminCommands::run(config, args, in, out, err);
    return {code, out.str(), err.str()};
}

TEST(AdminCommands, CreateUserResetPasswordAndQuota) {
    TempDir dir;
    const CloudConfig config = testConfig("sqlite:" + dir.path() + "/cloud.sqlite3");
    EXPECT_EQ(admin(config, {"create-user", "teacher"}, "first password\n").code, 0);
    AdminRun taken = admin(config, {"create-user", "Teacher"}, "another one\n");
    EXPECT_EQ(taken.code, 1);
    EXPECT_NE(taken.err.find("taken"), std::string::npos);
    EXPECT_EQ(admin(config, {"create-user", "pupil"}, "short\n").code, 1);
    EXPECT_EQ(admin(config, {"create-user", "../x"}, "long enough\n").code, 1);

    CloudServices services(config);
    auto user = services.accounts().findByName("teacher");
    ASSERT_TRUE(user);
    EXPECT_TRUE(services.hasher().verify(user->passwordHash, "first password"));
    EXPECT_EQ(admin(config, {"reset-password", "teacher"}, "second password\r\n").code, 0);
    user = services.accounts().findByName("teacher");
    EXPECT_TRUE(services.hasher().verify(user->passwordHash, "second password"));
    EXPECT_EQ(admin(config, {"reset-password", "nobody"}, "second password\n").code, 1);

    EXPECT_EQ(admin(config, {"set-quota", "teacher", "500"}).code, 0);
    EXPECT_EQ(services.accounts().findByName("teacher")->quotaBytes, std::int64_t(500) << 20);
    EXPECT_EQ(admin(config, {"set-quota", "teacher", "unlimited"}).code, 0);
    EXPECT_EQ(services.quotaOf(*services.accounts().findByName("teacher")), -1);
    EXPECT_EQ(admin(config, {"set-quota", "teacher", "default"}).code, 0);
    EXPECT_EQ(services.quotaOf(*services.accounts().findByName("teacher")), config.defaultQuotaBytes);
    EXPECT_EQ(admin(config, {"set-quota", "teacher", "-5"}).code, 2);
}

TEST(AdminCommands, BadUsageIsRefusedWithTheUsage) {
    TempDir dir;
    const CloudConfig config = testConfig("sqlite:" + dir.path() + "/cloud.sqlite3");
    for (const std::vector<std::string>& args :
         std::vector<std::vector<std::string>>{{"explode"},
                                               {"create-user"},
                                               {"add-template", "--id", "x"},
                                               {"add-template", "--id", "a/b", "--name", "n", "--xml", "/x"},
                                               {"add-asset", "scripts", "/etc/hosts"},
                                               {"register-release", "--platform"}}) {
        AdminRun r = admin(config, args);
        EXPECT_EQ(r.code, 2) << args[0];
        EXPECT_NE(r.err.find("Usage"), std::string::npos);
    }
    AdminRun missing = admin(config, {"add-template", "--id", "t", "--name", "T", "--xml", dir.path() + "/none.xml"});
    EXPECT_EQ(missing.code, 1);
    EXPECT_NE(missing.err.find("cannot read"), std::string::npos);
    AdminRun badDb = admin(testConfig("sqlite:/nonexistent/folder/x.sqlite3"), {"list-templates"});
    EXPECT_EQ(badDb.code, 1);
    EXPECT_NE(badDb.err.find("cannot open"), std::string::npos);
}

} // namespace
} // namespace Lumenda3D::Cloud::test
