#include "project/LmdProjectSession.h"

#include "base/LmdLog.h"
#include "engine/document/LmdGameDocument.h"
#include "engine/editing/LmdSourceFiles.h"

#include <gtest/gtest.h>

using namespace Lumenda3D;

namespace {
struct LoggedLines {
    std::vector<std::string> lines;
    int handle;
    LoggedLines() {
        LmdLog::setEchoToStderr(false);
        handle = LmdLog::addSink([this](const std::string& m, LogLevel) { lines.push_back(m); });
    }
    ~LoggedLines() {
        LmdLog::removeSink(handle);
        LmdLog::setEchoToStderr(true);
    }
};
} // namespace

TEST(LmdProjectSession, OpeningAppliesArgumentsThenMetadata) {
    LmdProjectSession s;
    s.applyOpenedProject("77", "Racer", R"({"description":"Fast","category_id":"3","resource_type":"plugin",
                                           "view_source":false,"published":true})");
    EXPECT_EQ(s.cloudResourceId, "77");
    EXPECT_EQ(s.projectName, "Racer");
    EXPECT_EQ(s.projectDescription, "Fast");
    EXPECT_EQ(s.projectCategoryId, "3");
    EXPECT_TRUE(s.isPluginOpen());
    EXPECT_FALSE(s.projectViewSource);
    EXPECT_TRUE(s.projectPublished);
    EXPECT_EQ(s.projectTitle(), "Racer [Cloud]");

    // A local entry: the name key, else the name argument; never a cloud id.
    s.applyOpenedProject("12", "Arg name", R"({"local":true,"name":"Folder"})");
    EXPECT_EQ(s.localProjectName, "Folder");
    EXPECT_EQ(s.projectName, "Folder");
    EXPECT_EQ(s.cloudResourceId, "");
    EXPECT_EQ(s.projectTitle(), "Folder [Local]");
    s.applyOpenedProject("12", "Arg name", R"({"local":true})");
    EXPECT_EQ(s.localProjectName, "Arg name");

    // A cloud entry without a name takes resource_name; one with a name keeps it.
    s.applyOpenedProject("5", "", R"({"resource_name":"From server"})");
    EXPECT_EQ(s.projectName, "From server");
    s.applyOpenedProject("5", "Given", R"({"resource_name":"From server"})");
    EXPECT_EQ(s.projectName, "Given");

    // No metadata: every field at its default.
    s.applyOpenedProject("", "Plain", "");
    EXPECT_EQ(s.projectResourceType, "project");
    EXPECT_TRUE(s.projectViewSource);
    EXPECT_FALSE(s.projectPublished);
    EXPECT_EQ(s.projectTitle(), "Plain");
}

TEST(LmdProjectSession, BadMetadataIsLoggedAndKeepsWhatWasSet) {
    LoggedLines log;
    LmdProjectSession s;
    s.applyOpenedProject("9", "Game", "[1, 2]");  // not an object
    EXPECT_EQ(s.projectName, "Game");
    EXPECT_EQ(s.cloudResourceId, "9");
    s.applyOpenedProject("9", "Game", "{broken");
    s.applyOpenedProject("9", "Game", R"({"description":"kept","category_id":42})");  // wrong type
    EXPECT_EQ(s.projectDescription, "kept");
    ASSERT_EQ(log.lines.size(), 3u);
    for (const std::string& line : log.lines)
        EXPECT_EQ(line.rfind("Failed to parse resource metadata: ", 0), 0u) << line;
}

TEST(LmdProjectSession, TitlesAndPluginRule) {
    LmdProjectSession s;
    EXPECT_EQ(s.projectTitle(), "");
    s.cloudResourceId = "1";
    s.localProjectName = "x";
    EXPECT_EQ(s.projectTitle(), " [Local+Cloud]");  // an empty name keeps the suffix's blank
    s.projectResourceType = "Plugin";
    EXPECT_FALSE(s.isPluginOpen());
    s.resetProjectMetadata();
    EXPECT_FALSE(s.hasCloudResource());
    EXPECT_EQ(s.projectTitle(), "");
}

TEST(LmdProjectSession, DirtyMeansTheStoredTextDiffersFromTheLastSaved) {
    LmdGameDocument doc;
    ASSERT_TRUE(doc.setXmlSourceString("<KiteBench3D><Level name=\"Main\"><Box name=\"a\" x=\"1\"/></Level></KiteBench3D>"));
    LmdSourceFiles files;
    files.attachDocument(&doc);
    LmdProjectSession s;
    s.markPersistedText(doc.getSourceXmlString(false, true));
    EXPECT_FALSE(s.isDirtyText(doc.getSourceXmlString(false, true)));

    pugi::xml_node box = doc.root().child("Level").child("Box");
    files.setAttribute(box, "x", "2");
    EXPECT_TRUE(s.isDirtyText(doc.getSourceXmlString(false, true)));
    files.setAttribute(box, "x", "1");  // the same value again: clean
    EXPECT_FALSE(s.isDirtyText(doc.getSourceXmlString(false, true)));

    // Metadata and session marks are not part of the stored text.
    s.projectDescription = "new words";
    files.setAttribute(box, "_aiChange", "updated");
    EXPECT_FALSE(s.isDirtyText(doc.getSourceXmlString(false, true)));
}
