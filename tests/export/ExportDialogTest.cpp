// How a person and an agent start an export: the dialog's Export button runs the pipeline and
// shows its progress and result, and export_game's arguments are read into a target and options.
#include "export/ExportDialog.h"

#include "PanelTestSupport.h"
#include "TestDataRoot.h"
#include "base/LmdLog.h"
#include "export/ExportHost.h"
#include "export/ExportRequest.h"
#include "export/LocalExportService.h"
#include "export/TemplateManager.h"
#include "services/MyHttpClient.h"

#include <gtest/gtest.h>

namespace Lumenda3D {
namespace {

using Platform = ExportService::Platform;

class FakeHost : public ExportHost {
public:
    Lumenda3DEngine* exportEngine() override { return nullptr; }
    std::string exportDocumentXml() override { return xml; }
    std::string exportProjectName() override { return "Meadow Run"; }
    std::string xml = "<KiteBench3D/>";
};

class ExportDialogTest : public test::PanelTest {
protected:
    test::TestDataRoot dataRoot;
    std::shared_ptr<FakeHost> host = std::make_shared<FakeHost>();
    TemplateManager templates;
    LocalExportService service{templates};
    ExportDialog dialog{host, service};
    std::function<void()> draw = [this] { dialog.draw(); };
};

// Without an engine the pipeline stops at its first check: what matters here is that the dialog
// runs it and shows the outcome, whatever it is.
TEST_F(ExportDialogTest, ExportButtonRunsTheExportAndShowsItsOutcome) {
    LmdLog::setEchoToStderr(false);
    dialog.open(Platform::Linux);
    EXPECT_EQ(dialog.options.displayName, "Meadow Run") << "the project's name comes first";
    ui.frame(draw);
    ui.frame(draw);
    EXPECT_TRUE(isPopupOpen(ExportDialog::kPopupId));
    clickItem(dialog, ExportDialog::kExportLabel, draw);
    EXPECT_EQ(dialog.getPhase(), ExportDialog::Phase::Failed);
    EXPECT_EQ(dialog.getResultText(), "Engine/HTTP client not available for export.");
    EXPECT_EQ(dialog.getResultFolder(), "");

    // Close, and open again for another target: the form is back with its values.
    clickItem(dialog, ExportDialog::kCloseLabel, draw);
    EXPECT_FALSE(dialog.isOpen());
    dialog.open(Platform::Windows);
    EXPECT_EQ(dialog.getPhase(), ExportDialog::Phase::Editing);
    EXPECT_EQ(dialog.platform, Platform::Windows);
    EXPECT_EQ(dialog.options.displayName, "Meadow Run");
    LmdLog::setEchoToStderr(true);
}

TEST(ExportRequest, AgentArgumentsBecomeTargetAndOptionsOrASentenceOfWhatToDo) {
    ExportRequest request;
    std::string error;
    ASSERT_TRUE(ExportRequest::fromArguments(
        {{"platform", "windows"}, {"appName", "Racer"}, {"fullScreen", true}, {"versionCode", 7},
         {"windowsFormat", "installer"}, {"windowsDesktopShortcut", false},
         {"windowsSigning", {{"pfxPath", "/k/cert.pfx"}, {"password", "pw"}}}},
        request, error))
        << error;
    EXPECT_EQ(request.platform, Platform::Windows);
    EXPECT_EQ(request.options.displayName, "Racer");
    EXPECT_TRUE(request.options.fullScreen);
    EXPECT_EQ(request.options.versionCode, 7);
    EXPECT_EQ(request.options.versionName, "1.0");
    EXPECT_EQ(request.options.windowsFormat, ExportService::WindowsFormat::Installer);
    EXPECT_FALSE(request.options.desktopShortcut);
    EXPECT_TRUE(request.options.windowsSigning.wanted());
    EXPECT_EQ(request.options.windowsSigning.password, "pw");

    ASSERT_TRUE(ExportRequest::fromArguments({{"platform", "linux"}, {"appName", "G"}}, request, error));
    EXPECT_EQ(request.platform, Platform::Linux);
    EXPECT_FALSE(request.options.fullScreen);

    struct Case {
        nlohmann::json arguments;
        const char* says;
    };
    const Case refusals[] = {
        {{{"platform", "amiga"}, {"appName", "G"}}, "requires 'platform'"},
        {{{"platform", "mac"}, {"appName", "G"}}, "export for linux or windows"},
        {{{"platform", "linux"}}, "non-empty 'appName'"},
        {{{"platform", "linux"}, {"appName", "G"}, {"versionCode", 0}}, "1 to 2100000000"},
        {{{"platform", "linux"}, {"appName", "G"}, {"versionCode", "7"}}, "1 to 2100000000"},
        {{{"platform", "windows"}, {"appName", "G"}, {"windowsFormat", "msi"}}, "zip or installer"},
        {nlohmann::json::array(), "object of arguments"},
    };
    for (const Case& c : refusals) {
        request.options.displayName = "untouched";
        EXPECT_FALSE(ExportRequest::fromArguments(c.arguments, request, error)) << c.arguments.dump();
        EXPECT_NE(error.find(c.says), std::string::npos) << c.arguments.dump() << ": " << error;
        EXPECT_EQ(request.options.displayName, "untouched");
    }
}

} // namespace
} // namespace Lumenda3D
