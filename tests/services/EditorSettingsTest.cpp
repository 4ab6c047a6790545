#include "services/EditorSettings.h"

#include "TestDataRoot.h"
#include "base/LmdLog.h"
#include "base/LmdPaths.h"
#include "services/DataPersist.h"
#include "services/FileManager.h"

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace fs = std::filesystem;

namespace Lumenda3D {
namespace {

const char* const kKey = "lmdEditor/settings";

class EditorSettingsTest : public test::DataRootTest {
protected:
    // Every test starts as a fresh editor start over its own empty data root.
    void SetUp() override { restart(); }

    static void restart() { EditorSettings::reloadForTesting(); }
    static EditorSettings& settings() { return EditorSettings::getInstance(); }

    static void store(const std::string& text) { ASSERT_TRUE(DataPersist::SavePersistText(kKey, text)); }
    static std::string stored() {
        std::string text;
        EXPECT_TRUE(DataPersist::LoadPersistText(kKey, text));
        return text;
    }
    static nlohmann::json storedJson() { return nlohmann::json::parse(stored(), nullptr, false); }

    static void expectDefaults() {
        EditorSettings& s = settings();
        EXPECT_TRUE(s.getBool("autoSaveEnabled", true));
        EXPECT_FALSE(s.getBool("mcpEnabled", false));
        EXPECT_EQ(s.getInt("mcpPort", 49222), 49222);
        EXPECT_EQ(s.getString("lastProject", "none"), "none");
        EXPECT_FALSE(s.isBool("autoSaveEnabled"));
    }
};

TEST_F(EditorSettingsTest, NoStoredTextGivesDefaultsAndWritesNothing) {
    expectDefaults();
    EXPECT_TRUE(fs::is_empty(dataRoot.path())) << "reading must not create folders or files";
}

TEST_F(EditorSettingsTest, UnusableStoredTextGivesDefaultsUntilTheFirstSet) {
    const std::vector<std::string> unusable = {"", "{not json", "[1, 2, 3]", "42", "\"text\"", "null",
                                               "{\"a\": 1} trailing", std::string("\xff\xfe{}", 4)};
    for (const auto& text : unusable) {
        SCOPED_TRACE(text);
        store(text);
        restart();
        expectDefaults();
        EXPECT_EQ(stored(), text) << "loading leaves the stored text alone";

        settings().setBool("mcpEnabled", true);
        EXPECT_EQ(storedJson(), nlohmann::json({{"mcpEnabled", true}}));
    }
}

TEST_F(EditorSettingsTest, SetValuesSurviveARestartAndEverySetWritesTheWholeStore) {
    settings().setBool("mcpEnabled", true);
    settings().setInt("mcpPort", 50123);
    settings().setString("lastProject", "Space \"Race\" \xc3\xa9");
    settings().setInt("negative", -7);
    // Later sets keep the earlier keys on disk, not just in memory.
    EXPECT_EQ(storedJson(), nlohmann::json({{"mcpEnabled", true},
                                            {"mcpPort", 50123},
                                            {"lastProject", "Space \"Race\" \xc3\xa9"},
                                            {"negative", -7}}));

    restart();
    EXPECT_TRUE(settings().getBool("mcpEnabled", false));
    EXPECT_TRUE(settings().isBool("mcpEnabled"));
    EXPECT_EQ(settings().getInt("mcpPort", 49222), 50123);
    EXPECT_EQ(settings().getInt("negative", 0), -7);
    EXPECT_EQ(settings().getString("lastProject", ""), "Space \"Race\" \xc3\xa9");

    // Overwriting a value, even with another type, replaces it.
    settings().setBool("mcpEnabled", false);
    settings().setInt("mcpPermRun", 2);
    restart();
    EXPECT_FALSE(settings().getBool("mcpEnabled", true));
    EXPECT_EQ(settings().getInt("mcpPermRun", 0), 2);
}

TEST_F(EditorSettingsTest, ValuesOfAnotherTypeGiveTheDefault) {
    store(R"({"one": 1, "zero": 0, "yes": true, "text": "5", "half": 2.5, "huge": 10000000000,
              "below": -10000000000, "null": null, "list": [1], "object": {"k": 1}})");
    restart();
    EditorSettings& s = settings();
    // A plain conversion would turn 1 into true, true into 1 and 2.5 into 2.
    EXPECT_FALSE(s.getBool("one", false));
    EXPECT_TRUE(s.getBool("zero", true));
    EXPECT_EQ(s.getInt("yes", 7), 7);
    EXPECT_EQ(s.getInt("text", 7), 7);
    EXPECT_EQ(s.getInt("half", 7), 7);
    EXPECT_EQ(s.getInt("huge", 7), 7);
    EXPECT_EQ(s.getInt("below", 7), 7);
    EXPECT_EQ(s.getString("one", "d"), "d");
    EXPECT_EQ(s.getString("yes", "d"), "d");
    for (const char* key : {"null", "list", "object"}) {
        SCOPED_TRACE(key);
        EXPECT_TRUE(s.getBool(key, true));
        EXPECT_EQ(s.getInt(key, 7), 7);
        EXPECT_EQ(s.getString(key, "d"), "d");
    }
    EXPECT_EQ(s.getInt("one", 7), 1);
    EXPECT_EQ(s.getString("text", "d"), "5");
}

TEST_F(EditorSettingsTest, IsBoolTellsAnOldBooleanFromALaterInt) {
    store(R"({"mcpPermRun": true, "mcpPermProjects": 1, "mcpPermInput": "true", "off": false})");
    restart();
    EditorSettings& s = settings();
    EXPECT_TRUE(s.isBool("mcpPermRun"));
    EXPECT_TRUE(s.isBool("off"));
    EXPECT_FALSE(s.isBool("mcpPermProjects"));
    EXPECT_FALSE(s.isBool("mcpPermInput"));
    EXPECT_FALSE(s.isBool("missing"));

    // The migration a reader does: read the old boolean, write the int back.
    s.setInt("mcpPermRun", s.getBool("mcpPermRun", false) ? 1 : 0);
    restart();
    EXPECT_FALSE(settings().isBool("mcpPermRun"));
    EXPECT_EQ(settings().getInt("mcpPermRun", 0), 1);
}

TEST_F(EditorSettingsTest, FailedSaveKeepsTheValueForThisRunAndNeverThrows) {
    ASSERT_TRUE(FileManager::writeFileAtomic(LmdPaths::configDir(), "a file where the folder should be"));
    LmdLog::setEchoToStderr(false);
    EXPECT_NO_THROW(settings().setBool("showAiPanel", false));
    LmdLog::setEchoToStderr(true);
    EXPECT_FALSE(settings().getBool("showAiPanel", true));

    // A string that is not valid UTF-8 must not make the write throw either.
    fs::remove(LmdPaths::configDir());
    EXPECT_NO_THROW(settings().setString("name", std::string("bad \xff\xfe bytes")));
    EXPECT_TRUE(storedJson().is_object());
    EXPECT_FALSE(storedJson().value("showAiPanel", true));
}

} // namespace
} // namespace Lumenda3D
