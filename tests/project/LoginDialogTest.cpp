// The login dialog: typing the name and password and pressing Enter asks the server once, a
// refusal stays in the dialog, a success runs what waited for the login exactly once, and Escape
// drops it.
#include "PanelTestSupport.h"

#include "project/LoginDialog.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Lumenda3D;
using Lumenda3D::test::PanelTest;

namespace {

class LoginDialogTest : public PanelTest {
protected:
    LoginDialogTest() {
        dialog.setOnLogin([this](const std::string& user, const std::string& password, LoginDialog::Done done) {
            requests.push_back("login " + user + ":" + password);
            answer = std::move(done);
        });
        dialog.setOnRegister([this](const std::string& user, const std::string& password, LoginDialog::Done done) {
            requests.push_back("register " + user + ":" + password);
            answer = std::move(done);
        });
    }
    void openAndType(const std::string& user, const std::string& password) {
        dialog.show([this] { ++continued; });
        for (int i = 0; i < 3; ++i)
            ui.frame(draw);
        ui.type(user);
        ui.frame(draw);
        clickItem(dialog, LoginDialog::kPasswordField, draw);
        ui.type(password);
        ui.frame(draw);
    }

    LoginDialog dialog;
    std::function<void()> draw = [this] { dialog.draw(); };
    std::vector<std::string> requests;
    LoginDialog::Done answer;
    int continued = 0;
};

TEST_F(LoginDialogTest, EnterLogsInOnceAndASuccessRunsTheWaitingActionOnce) {
    openAndType("ann", "secret1");
    pressKey(Lumenda3D::test::kKeyEnter, draw);
    ASSERT_EQ(requests, std::vector<std::string>{"login ann:secret1"});
    EXPECT_TRUE(dialog.isBusy());
    pressKey(Lumenda3D::test::kKeyEnter, draw);
    EXPECT_EQ(requests.size(), 1u);
    answer(true, "");
    EXPECT_EQ(continued, 1);
    EXPECT_FALSE(dialog.isOpen());
    ui.frame(draw);
    EXPECT_FALSE(isPopupOpen(LoginDialog::kTitle));
    // A late second answer of the same request does not run it again.
    answer(true, "");
    EXPECT_EQ(continued, 1);
}

TEST_F(LoginDialogTest, ARefusalStaysInTheDialogAndAnotherTryWorks) {
    openAndType("ann", "wrong");
    clickItem(dialog, dialog.confirmButtonLabel(), draw);
    answer(false, "Wrong user name or password.");
    EXPECT_TRUE(dialog.isOpen());
    EXPECT_FALSE(dialog.isBusy());
    EXPECT_EQ(dialog.getStatusMessage(), "Wrong user name or password.");
    EXPECT_EQ(continued, 0);
    clickItem(dialog, dialog.confirmButtonLabel(), draw);
    answer(true, "");
    EXPECT_EQ(continued, 1);
}

TEST_F(LoginDialogTest, EmptyFieldsAreNotSentAndANewAccountIsRegistered) {
    dialog.show(nullptr);
    clickItem(dialog, dialog.confirmButtonLabel(), draw);
    EXPECT_TRUE(requests.empty());
    EXPECT_FALSE(dialog.getStatusMessage().empty());
    dialog.hide();
    openAndType("bob", "pw12345");
    clickItem(dialog, dialog.switchButtonLabel(), draw);
    EXPECT_TRUE(dialog.isRegistering());
    clickItem(dialog, dialog.confirmButtonLabel(), draw);
    EXPECT_EQ(requests, std::vector<std::string>{"register bob:pw12345"});
}

TEST_F(LoginDialogTest, EscapeDropsTheWaitingActionAndALateAnswerIsIgnored) {
    openAndType("ann", "secret1");
    clickItem(dialog, dialog.confirmButtonLabel(), draw);
    pressKey(Lumenda3D::test::kKeyEscape, draw);
    EXPECT_FALSE(dialog.isOpen());
    answer(true, "");
    EXPECT_EQ(continued, 0);
    EXPECT_FALSE(dialog.isOpen());
}

} // namespace
