#include "engine/editing/LmdAutoSaver.h"

#include "TestDataRoot.h"
#include "base/LmdLog.h"
#include "engine/document/LmdGameDocument.h"
#include "engine/editing/LmdSourceFiles.h"
#include "services/FileManager.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sys/wait.h>
#include <unistd.h>

using namespace Lumenda3D;
using namespace std::chrono_literals;

namespace {

class AutoSaverTest : public test::DataRootTest {
protected:
    LmdAutoSaver::Clock::time_point t0 = LmdAutoSaver::Clock::now();
};

std::function<std::string()> textOf(const std::string& xml) {
    return [xml] { return xml; };
}

} // namespace

TEST_F(AutoSaverTest, WritesAFewSecondsAfterTheLastChangeButNotNever) {
    LmdAutoSaver saver;
    saver.setEnabled(true);
    saver.setDelays(3s, 30s);
    saver.setProjectName("Racer");
    int produced = 0;
    auto produce = [&] {
        ++produced;
        return std::string("<KiteBench3D/>");
    };
    saver.noteChange(t0);
    saver.update(produce, t0 + 1s);
    saver.noteChange(t0 + 2s);
    saver.update(produce, t0 + 4s);  // only 2 s since the last change
    EXPECT_EQ(produced, 0);
    saver.update(produce, t0 + 5s);
    EXPECT_EQ(produced, 1);
    saver.flush(produce);
    EXPECT_EQ(produced, 1);  // nothing changed since
    ASSERT_TRUE(saver.backupExists());
    auto snapshot = saver.loadBackup();
    ASSERT_TRUE(snapshot);
    EXPECT_EQ(snapshot->xml, "<KiteBench3D/>");
    EXPECT_EQ(snapshot->projectName, "Racer");
    EXPECT_NEAR(static_cast<double>(snapshot->timestamp), static_cast<double>(std::time(nullptr)), 5.0);

    // A run of changes that never pauses still gets a backup after the longest delay.
    for (int s = 10; s < 45; ++s) {
        saver.noteChange(t0 + std::chrono::seconds(s));
        saver.update(produce, t0 + std::chrono::seconds(s));
    }
    EXPECT_EQ(produced, 2);
}

TEST_F(AutoSaverTest, DisabledWritesNothing) {
    LmdAutoSaver saver;
    saver.setDelays(0s, 0s);
    saver.noteChange(t0);
    saver.update(textOf("<KiteBench3D/>"), t0 + 10s);
    saver.flush(textOf("<KiteBench3D/>"));
    EXPECT_FALSE(saver.backupExists());
}

TEST_F(AutoSaverTest, DismissedBackupStaysUntilCleared) {
    LmdAutoSaver saver;
    saver.setEnabled(true);
    saver.setDelays(0s, 0s);
    saver.noteChange(t0);
    saver.flush(textOf("<KiteBench3D><Level name=\"one\"/></KiteBench3D>"));
    saver.dismissBackup();
    EXPECT_FALSE(saver.backupExists());
    EXPECT_TRUE(saver.dismissedBackupExists());
    EXPECT_FALSE(saver.loadBackup());

    // New backups are written beside it; the dismissed one stays restorable.
    saver.noteChange(t0);
    saver.flush(textOf("<KiteBench3D><Level name=\"two\"/></KiteBench3D>"));
    EXPECT_TRUE(saver.backupExists());
    auto dismissed = saver.loadDismissedBackup();
    ASSERT_TRUE(dismissed);
    EXPECT_NE(dismissed->xml.find("one"), std::string::npos);

    saver.clearBackups();
    EXPECT_FALSE(saver.backupExists());
    EXPECT_FALSE(saver.dismissedBackupExists());
    EXPECT_FALSE(saver.loadDismissedBackup());
}

TEST_F(AutoSaverTest, ABackupLeftByACrashIsNotOverwritten) {
    {
        LmdAutoSaver crashed;
        crashed.setEnabled(true);
        crashed.setDelays(0s, 0s);
        crashed.noteChange(t0);
        crashed.flush(textOf("<KiteBench3D><Level name=\"lost work\"/></KiteBench3D>"));
    }
    LmdAutoSaver next;  // the next session, editing before the user answered the recovery dialog
    next.setEnabled(true);
    next.setDelays(0s, 0s);
    next.noteChange(t0);
    next.flush(textOf("<KiteBench3D/>"));
    auto kept = next.loadDismissedBackup();
    ASSERT_TRUE(kept);
    EXPECT_NE(kept->xml.find("lost work"), std::string::npos);
    EXPECT_EQ(next.loadBackup()->xml, "<KiteBench3D/>");
}

TEST_F(AutoSaverTest, DamagedBackupsReadAsNone) {
    const AutoSaveSnapshot good{"<KiteBench3D/>", "P", 1700000000};
    const std::string encoded = LmdAutoSaver::encode(good);
    auto decoded = LmdAutoSaver::decode(encoded);
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->xml, good.xml);
    EXPECT_EQ(decoded->timestamp, good.timestamp);
    for (const std::string& bad : {std::string(), std::string("garbage"), encoded.substr(0, encoded.size() - 3),
                                   encoded + "extra", std::string("Lumenda3D auto-save backup 1\n[1,2]\n")})
        EXPECT_FALSE(LmdAutoSaver::decode(bad)) << bad;

    ASSERT_TRUE(FileManager::writeFileAtomic(LmdAutoSaver::pendingPath(), encoded.substr(0, 40)));
    LmdAutoSaver saver;
    EXPECT_TRUE(saver.backupExists());
    EXPECT_FALSE(saver.loadBackup());
}

TEST_F(AutoSaverTest, AFailedWriteIsLoggedOnceAndLosesNothing) {
    std::vector<std::string> critical;
    LmdLog::setEchoToStderr(false);
    int sink = LmdLog::addSink([&](const std::string& m, LogLevel l) {
        if (l == LogLevel::Critical)
            critical.push_back(m);
    });
    // The backup folder cannot be created: a file stands where it should be.
    std::filesystem::create_directories(std::filesystem::path(LmdAutoSaver::backupFolder()).parent_path());
    std::ofstream(LmdAutoSaver::backupFolder()) << "in the way";

    LmdAutoSaver saver;
    saver.setEnabled(true);
    saver.setDelays(0s, 0s);
    for (int i = 0; i < 3; ++i) {
        saver.noteChange(t0);
        saver.flush(textOf("<KiteBench3D/>"));
    }
    LmdLog::removeSink(sink);
    LmdLog::setEchoToStderr(true);
    ASSERT_EQ(critical.size(), 1u);
    EXPECT_NE(critical[0].find("Auto-save could not write the backup"), std::string::npos);
    EXPECT_FALSE(saver.backupExists());
}

TEST_F(AutoSaverTest, KilledWriterLeavesTheLastCompleteBackupReadable) {
    // A child process writes ever larger backups as fast as it can; it is killed at a random
    // moment, several times, and each time what is on disk must decode.
    for (int attempt = 0; attempt < 5; ++attempt) {
        pid_t pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            LmdAutoSaver saver;
            saver.setEnabled(true);
            saver.setDelays(0s, 0s);
            std::string xml = "<KiteBench3D>";
            for (int i = 0;; ++i) {
                xml += "<Box name=\"b" + std::to_string(i) + "\" />";
                saver.noteChange();
                saver.flush([&] { return xml + "</KiteBench3D>"; });
            }
        }
        usleep(static_cast<useconds_t>(20000 + attempt * 15000));
        kill(pid, SIGKILL);
        int status = 0;
        waitpid(pid, &status, 0);
        LmdAutoSaver reader;
        if (!reader.backupExists())
            continue;  // killed before the first rename
        auto snapshot = reader.loadBackup();
        ASSERT_TRUE(snapshot) << "attempt " << attempt;
        pugi::xml_document parsed;
        EXPECT_TRUE(LmdGameDocument::parse(snapshot->xml, parsed));
    }
}

TEST_F(AutoSaverTest, TheServiceBacksUpTheStoredFormAfterEdits) {
    LmdGameDocument doc;
    ASSERT_TRUE(doc.setXmlSourceString("<KiteBench3D><Level name=\"Main\"/></KiteBench3D>"));
    LmdSourceFiles files;
    files.attachDocument(&doc);
    files.setAutoSaveEnabled(true);
    files.autoSaver().setDelays(0s, 0s);
    files.setAutoSaveProjectName("Demo");
    files.update();
    files.flushAutoSave();
    EXPECT_FALSE(files.autoBackupExists());  // nothing was edited yet

    files.appendChild(doc.root().child("Level"), "Box");
    files.update();
    files.flushAutoSave();
    auto snapshot = files.loadAutoBackup();
    ASSERT_TRUE(snapshot);
    EXPECT_EQ(snapshot->xml, doc.getSourceXmlString(false, true));
    EXPECT_EQ(snapshot->projectName, "Demo");

    files.clearAutoBackup();  // after a save
    files.update();
    files.flushAutoSave();
    EXPECT_FALSE(files.autoBackupExists());
    EXPECT_FALSE(files.hasDismissedAutoBackup());
}
