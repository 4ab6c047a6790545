// Authenticode signing with osslsigncode and a certificate made at test time with openssl: the
// signature verifies, a wrong password says so and leaves the file as it was, and the password
// never appears in what the signer reports.
#include <gtest/gtest.h>

#include "ExportTestSupport.h"
#include "export/ExportProcess.h"
#include "export/WindowsSigner.h"

namespace Lumenda3D::test {
namespace {

namespace fs = std::filesystem;

class WindowsSignerTest : public ::testing::Test {
protected:
    void SetUp() override {
        openssl_ = ExportProcess::findOnPath("openssl");
        verifier_ = ComponentManager::findProgram("osslsigncode");
        if (openssl_.empty() || verifier_.empty() || ComponentManager::findProgram("nsis").empty())
            GTEST_SKIP() << "openssl, osslsigncode and makensis are needed";
        const ExportProcess::Result key =
            ExportProcess::run({openssl_, "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", scratch_ / "key.pem",
                                        "-out", scratch_ / "cert.pem", "-subj", "/CN=Lumenda3D Test Publisher",
                                        "-days", "2", "-addext", "extendedKeyUsage=codeSigning"});
        ASSERT_TRUE(key.ok()) << key.output;
        const ExportProcess::Result pfx =
            ExportProcess::run({openssl_, "pkcs12", "-export", "-out", scratch_ / "cert.pfx", "-inkey", scratch_ / "key.pem",
                                        "-in", scratch_ / "cert.pem", "-passout", "pass:" + password_});
        ASSERT_TRUE(pfx.ok()) << pfx.output;
        makeStandInExe(scratch_ / "Game.exe");
    }

    WindowsSigner::Input input() {
        WindowsSigner::Input in;
        in.filePath = scratch_ / "Game.exe";
        in.description = "Space Race";
        in.options.certificatePath = scratch_ / "cert.pfx";
        in.options.password = password_;
        in.timestamp = false;   // no network in tests
        return in;
    }

    ExportProcess::Result verify(const std::string& file) {
        return ExportProcess::run({verifier_, "verify", "-CAfile", scratch_ / "cert.pem", "-in", file});
    }

    ScratchDir scratch_;
    std::string openssl_, verifier_;
    const std::string password_ = "s3cret pass";
};

TEST_F(WindowsSignerTest, SignedProgramVerifiesAgainstTheCertificate) {
    EXPECT_FALSE(verify(scratch_ / "Game.exe").ok());   // not signed yet
    std::string error;
    ASSERT_TRUE(WindowsSigner::sign(input(), error)) << error;
    const ExportProcess::Result checked = verify(scratch_ / "Game.exe");
    EXPECT_TRUE(checked.ok()) << checked.output;
    EXPECT_NE(checked.output.find("Signature verification: ok"), std::string::npos) << checked.output;
    EXPECT_NE(checked.output.find("Lumenda3D Test Publisher"), std::string::npos);
    for (const auto& e : fs::directory_iterator(scratch_.path()))
        EXPECT_EQ(e.path().filename().string().find(".signed-"), std::string::npos) << e.path();
}

TEST_F(WindowsSignerTest, WrongPasswordIsNamedAndTheFileStaysAsItWas) {
    const std::string before = readAll(scratch_ / "Game.exe");
    WindowsSigner::Input in = input();
    in.options.password = "not the password";
    std::string error;
    EXPECT_FALSE(WindowsSigner::sign(in, error));
    EXPECT_NE(error.find("password is wrong"), std::string::npos) << error;
    EXPECT_EQ(error.find("not the password"), std::string::npos);
    EXPECT_EQ(readAll(scratch_ / "Game.exe"), before);
    EXPECT_FALSE(verify(scratch_ / "Game.exe").ok());
    for (const auto& e : fs::directory_iterator(scratch_.path()))
        EXPECT_EQ(e.path().filename().string().find(".signed-"), std::string::npos) << e.path();
}

TEST_F(WindowsSignerTest, BadOptionsAreRefusedBeforeTheToolRuns) {
    WindowsSigner::Input in = input();
    std::string error;
    in.options.certificatePath = scratch_ / "missing.pfx";
    EXPECT_FALSE(WindowsSigner::sign(in, error));
    EXPECT_NE(error.find("does not exist"), std::string::npos) << error;
    in.options.certificatePath = "";
    EXPECT_FALSE(WindowsSigner::sign(in, error));
    EXPECT_NE(error.find("no certificate"), std::string::npos) << error;
    EXPECT_EQ(WindowsSigner::timestampUrlOf(in.options), WindowsSigner::kDefaultTimestampUrl);
    in = input();
    in.options.timestampUrl = "file:///etc/passwd";
    EXPECT_FALSE(WindowsSigner::sign(in, error));
    EXPECT_NE(error.find("timestamp server"), std::string::npos) << error;
    in = input();
    writeFile(scratch_ / "not-a.pfx", "plain text");
    in.options.certificatePath = scratch_ / "not-a.pfx";
    EXPECT_FALSE(WindowsSigner::sign(in, error));
    EXPECT_FALSE(error.empty());
    EXPECT_EQ(error.find(password_), std::string::npos);
}

// The secret reaches the child on a pipe, not on its command line.
TEST(ExportProcessSecret, SecretArrivesOnItsDescriptorAndOutputIsCaptured) {
    const std::string secret = "pass word $1 \"quoted\"";
    const ExportProcess::Result r = ExportProcess::run(
        {"sh", "-c", "cat /dev/fd/3; echo; cat /proc/$$/cmdline | tr '\\0' ' '; echo err >&2; exit 3"}, {}, &secret);
    EXPECT_TRUE(r.started);
    EXPECT_EQ(r.exitCode, 3);
    EXPECT_EQ(r.output.find(secret), 0u) << r.output;
    EXPECT_EQ(r.output.find(secret, 1), std::string::npos) << "the secret was on a command line: " << r.output;
    EXPECT_NE(r.output.find("err"), std::string::npos);

    EXPECT_EQ(ExportProcess::lastLines("a\n\nb\r\nc\n", 2), "b | c");
}

} // namespace
} // namespace Lumenda3D::test
