// Runtime templates for export: the administrator adds them, editors list and download them;
// archives that are not runtime templates are refused at the door.
#include <zip.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "AdminCommands.h"
#include "CloudBackendTest.h"
#include "RuntimeTemplateStore.h"

namespace Lumenda3D::Cloud::test {
namespace {

// A ZIP of (name, bytes) entries written to `path`; returns its bytes.
std::string writeZip(const std::string& path, const std::vector<std::pair<std::string, std::string>>& entries) {
    int err = 0;
    zip_t* zip = zip_open(path.c_str(), ZIP_CREATE | ZIP_TRUNCATE, &err);
    EXPECT_NE(zip, nullptr);
    for (const auto& [name, bytes] : entries) {
        zip_source_t* src = zip_source_buffer(zip, bytes.data(), bytes.size(), 0);
        EXPECT_GE(zip_file_add(zip, name.c_str(), src, ZIP_FL_ENC_RAW), 0) << name;
    }
    EXPECT_EQ(zip_close(zip), 0);
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

struct AdminRun {
    int code;
    std::string out, err;
};

AdminRun admin(const CloudConfig& config, const std::vector<std::string>& args) {
    std::istringstream in;
    std::ostringstream out, err;
    const int code = AdminCommands::run(config, args, in, out, err);
    return {code, out.str(), err.str()};
}

using RuntimeTemplates = CloudBackendTest;

TEST_P(RuntimeTemplates, AdministratorAddsThemAndEditorsListAndDownloadTheNewestFirst) {
    const int port = startServer().port();
    const CloudConfig& config = services().config();
    const std::string v1 = writeZip(dir_.path() + "/w1.zip", {{"lumenda3d-player.exe", "MZ one"}, {"media/a", "a"}});
    const std::string v2 = writeZip(dir_.path() + "/w2.zip", {{"lumenda3d-player.exe", "MZ two"}});
    const std::string lx = writeZip(dir_.path() + "/l.zip", {{"lumenda3d-player", "\x7f" "ELF"}});
    AdminRun added = admin(config, {"add-runtime-template", "--platform", "windows", "--version", "1.0.0", "--archive",
                                    dir_.path() + "/w1.zip"});
    ASSERT_EQ(added.code, 0) << added.err;
    EXPECT_NE(added.out.find(RuntimeTemplateStore::sha256Hex(v1)), std::string::npos);
    ASSERT_EQ(admin(config, {"add-runtime-template", "--platform", "linux", "--version", "3.0", "--archive",
                             dir_.path() + "/l.zip"})
                  .code,
              0);
    ASSERT_EQ(admin(config, {"add-runtime-template", "--platform", "windows", "--version", "1.1.0", "--archive",
                             dir_.path() + "/w2.zip"})
                  .code,
              0);

    Reply list = api().get("/api/runtime-templates/windows");
    ASSERT_EQ(list.status, 200) << list.body;
    EXPECT_EQ(list.json["platform"], "windows");
    ASSERT_EQ(list.json["templates"].size(), 2u);
    const nlohmann::json& newest = list.json["templates"][0];
    EXPECT_EQ(newest["version"], "1.1.0");
    EXPECT_EQ(newest["sha256"], RuntimeTemplateStore::sha256Hex(v2));
    EXPECT_EQ(newest["size"], v2.size());
    EXPECT_EQ(newest["path"], "/api/runtime-templates/windows/1.1.0/archive.zip");
    EXPECT_EQ(newest["url"], "http://127.0.0.1:" + std::to_string(port) + newest["path"].get<std::string>());
    EXPECT_EQ(list.json["templates"][1]["version"], "1.0.0");

    Reply archive = api().get("/api/runtime-templates/windows/1.0.0/archive.zip");
    ASSERT_EQ(archive.status, 200);
    EXPECT_EQ(archive.body, v1);
    EXPECT_EQ(archive.header("Content-Type"), "application/zip");
    EXPECT_EQ(archive.header("X-Content-SHA256"), RuntimeTemplateStore::sha256Hex(v1));
    EXPECT_EQ(api().get("/api/runtime-templates/linux/3.0/archive.zip").body, lx);

    // Uploading a version again makes it the newest; removing one takes it off the list.
    ASSERT_EQ(admin(config, {"add-runtime-template", "--platform", "windows", "--version", "1.0.0", "--archive",
                             dir_.path() + "/w1.zip"})
                  .code,
              0);
    EXPECT_EQ(api().get("/api/runtime-templates/windows").json["templates"][0]["version"], "1.0.0");
    EXPECT_EQ(admin(config, {"remove-runtime-template", "windows", "1.1.0"}).code, 0);
    EXPECT_EQ(admin(config, {"remove-runtime-template", "windows", "1.1.0"}).code, 1);
    EXPECT_EQ(api().get("/api/runtime-templates/windows").json["templates"].size(), 1u);
    const AdminRun listed = admin(config, {"list-runtime-templates"});
    EXPECT_NE(listed.out.find("windows\t1.0.0"), std::string::npos) << listed.out;
    EXPECT_NE(listed.out.find("linux\t3.0"), std::string::npos);

    EXPECT_EQ(api().get("/api/runtime-templates/windows/1.1.0/archive.zip").status, 404);
    EXPECT_EQ(api().get("/api/runtime-templates/windows/..%2F..%2Fx/archive.zip").status, 404);
    Reply unknown = api().get("/api/runtime-templates/amiga");
    EXPECT_EQ(unknown.status, 404);
    EXPECT_EQ(unknown.json["code"], "not_found");
}

TEST_P(RuntimeTemplates, APlatformWithoutTemplatesListsNone) {
    startServer();
    Reply list = api().get("/api/runtime-templates/windows");
    ASSERT_EQ(list.status, 200);
    EXPECT_TRUE(list.json["templates"].empty());
}

INSTANTIATE_TEST_SUITE_P(Backends, RuntimeTemplates, ::testing::Values("sqlite", "postgresql"), backendName);

TEST(AdminCommands, RuntimeTemplatesThatAreNotRuntimesAreRefused) {
    TempDir dir;
    const CloudConfig config = testConfig("sqlite:" + dir.path() + "/cloud.sqlite3");
    auto add = [&](const std::string& platform, const std::string& version, const std::string& file) {
        return admin(config, {"add-runtime-template", "--platform", platform, "--version", version, "--archive", file});
    };
    std::ofstream(dir.path() + "/plain.zip") << "just text";
    writeZip(dir.path() + "/linux-player.zip", {{"lumenda3d-player.exe", "\x7f" "ELF"}});
    writeZip(dir.path() + "/no-player.zip", {{"readme.txt", "hello"}});
    writeZip(dir.path() + "/nested.zip", {{"bin/lumenda3d-player.exe", "MZ"}});
    writeZip(dir.path() + "/escape.zip", {{"lumenda3d-player.exe", "MZ"}, {"../evil", "x"}});
    writeZip(dir.path() + "/good.zip", {{"lumenda3d-player.exe", "MZ"}});

    AdminRun r = add("windows", "1", dir.path() + "/plain.zip");
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.err.find("not a ZIP archive"), std::string::npos) << r.err;
    for (const char* file : {"/linux-player.zip", "/no-player.zip", "/nested.zip"}) {
        r = add("windows", "1", dir.path() + file);
        EXPECT_EQ(r.code, 1) << file;
        EXPECT_NE(r.err.find("needs lumenda3d-player.exe, a Windows program"), std::string::npos) << r.err;
    }
    EXPECT_EQ(add("linux", "1", dir.path() + "/no-player.zip").code, 0);   // the Linux layout is the exporter's
    r = add("windows", "1", dir.path() + "/escape.zip");
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.err.find("unsafe path"), std::string::npos) << r.err;
    EXPECT_EQ(add("windows", "1", dir.path() + "/missing.zip").code, 1);
    EXPECT_EQ(add("dos", "1", dir.path() + "/good.zip").code, 2);
    EXPECT_EQ(add("windows", "../1", dir.path() + "/good.zip").code, 2);
    EXPECT_EQ(add("windows", "", dir.path() + "/good.zip").code, 2);
    EXPECT_EQ(add("windows", "2.0", dir.path() + "/good.zip").code, 0);

    CloudServices services(config);
    ASSERT_EQ(services.runtimeTemplates().list("windows").size(), 1u);
    EXPECT_EQ(services.runtimeTemplates().list("windows")[0].version, "2.0");
}

} // namespace
} // namespace Lumenda3D::Cloud::test
