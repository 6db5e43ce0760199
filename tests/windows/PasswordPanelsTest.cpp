#include "common/FreshUserTest.h"
#include "platform/base/Localization.h"
#include "util/PagePassword.h"
#include "util/PasswordKeychain.h"
#include "windows/ConfirmPassPanelController.h"
#include "windows/SetPassPanelController.h"

#include <QDialogButtonBox>
#include <QLineEdit>
#include <QMainWindow>
#include <QPointer>
#include <QPushButton>
#include <QTest>

namespace {

class PasswordPanelsTest : public FreshUserTest
{
protected:
    void SetUp() override
    {
        FreshUserTest::SetUp();
        Localization::install();
        window.show();
    }

    static void type(QDialog &panel, int field, const QString &text)
    {
        QLineEdit *edit = panel.findChildren<QLineEdit *>().at(field);
        edit->clear();
        QTest::keyClicks(edit, text);
    }
    static void click(QDialog &panel, QDialogButtonBox::StandardButton button = QDialogButtonBox::Ok)
    {
        panel.findChild<QDialogButtonBox *>()->button(button)->click();
    }
    // Runs @p sheet on the window, counting its answers.
    void run(ConfirmPassPanelController &sheet)
    {
        sheet.setConfirmedAction([this] { ++confirmed; });
        sheet.setCanceledAction([this] { ++cancelled; });
        sheet.runAsSheetForWindow(&window);
    }

    QMainWindow window;
    int confirmed = 0;
    int cancelled = 0;
};

TEST_F(PasswordPanelsTest, theConfirmSheetStaysUntilThePasswordIsRight)
{
    savePasswordToDefault(QStringLiteral("opensesame"));
    QPointer<ConfirmPassPanelController> sheet = new ConfirmPassPanelController;
    run(*sheet);
    EXPECT_EQ(sheet->windowModality(), Qt::WindowModal);
    type(*sheet, 0, QStringLiteral("wrong"));
    click(*sheet);
    EXPECT_EQ(sheet->message(), QStringLiteral("Password is wrong"));
    EXPECT_TRUE(sheet->isVisible());
    QTest::qWait(0);
    EXPECT_EQ(confirmed + cancelled, 0);

    // Only the first eight characters count.
    type(*sheet, 0, QStringLiteral("opensesaXYZ"));
    click(*sheet);
    EXPECT_FALSE(sheet->isVisible());
    EXPECT_EQ(confirmed, 0); // the action runs as its own step
    QTest::qWait(0);
    EXPECT_EQ(confirmed, 1);
    QTRY_VERIFY(sheet.isNull()); // it lets itself go
}

TEST_F(PasswordPanelsTest, cancellingRunsTheCancelledActionAndAKeptSheetCanAskAgain)
{
    savePasswordToDefault(QStringLiteral("secret"));
    ConfirmPassPanelController sheet;
    sheet.setNeedToRelease(false);
    run(sheet);
    type(sheet, 0, QStringLiteral("nope"));
    click(sheet, QDialogButtonBox::Cancel);
    QTest::qWait(0);
    EXPECT_EQ(cancelled, 1);

    sheet.runAsSheetForWindow(&window);
    EXPECT_EQ(sheet.message(), QStringLiteral("Enter your password"));
    EXPECT_TRUE(sheet.findChild<QLineEdit *>()->text().isEmpty());
    type(sheet, 0, QStringLiteral("secret"));
    click(sheet);
    QTest::qWait(0);
    EXPECT_EQ(confirmed, 1);
}

TEST_F(PasswordPanelsTest, changingThePasswordChecksTheOldOneAndTheNewOneTwice)
{
    // No password yet: the old one may be left empty.
    auto *first = new SetPassPanelController;
    first->runAsSheetForWindow(&window);
    type(*first, 1, QStringLiteral("alpha123"));
    type(*first, 2, QStringLiteral("alpha123"));
    click(*first);
    EXPECT_TRUE(passwordMatchesHash(QStringLiteral("alpha123"), passwordFromDefault()));

    SetPassPanelController change;
    change.setNeedToRelease(false);
    change.runAsSheetForWindow(&window);
    type(change, 0, QStringLiteral("wrong"));
    type(change, 1, QStringLiteral("beta"));
    type(change, 2, QStringLiteral("beta"));
    click(change);
    EXPECT_EQ(change.message(), QStringLiteral("Old password is wrong"));
    type(change, 0, QStringLiteral("alpha123"));
    type(change, 2, QStringLiteral("betta"));
    click(change);
    EXPECT_EQ(change.message(), QStringLiteral("New password is wrong"));
    EXPECT_TRUE(passwordMatchesHash(QStringLiteral("alpha123"), passwordFromDefault()));

    // An empty new password takes the protection password away.
    type(change, 1, QString());
    type(change, 2, QString());
    click(change);
    EXPECT_FALSE(change.isVisible());
    EXPECT_EQ(passwordFromDefault(), QString());
}

TEST_F(PasswordPanelsTest, aTargetTakesTheNewHashAndNothingIsKeptWithoutAKeyring)
{
    std::optional<std::optional<QString>> answer;
    SetPassPanelController panel;
    panel.setNeedToRelease(false);
    panel.setServiceName(QStringLiteral("Jotwell3"));
    panel.setTarget([&](std::optional<QString> hash) { answer = hash; });
    panel.runAsSheetForWindow(&window);
    type(panel, 1, QStringLiteral("gamma"));
    type(panel, 2, QStringLiteral("gamma"));
    click(panel);
    ASSERT_TRUE(answer.has_value() && answer->has_value());
    EXPECT_TRUE(passwordMatchesHash(QStringLiteral("gamma"), **answer));
    EXPECT_EQ(passwordFromDefault(), QString()); // the target has it, not the preferences
    // Without a keyring service nothing is found and nothing is filed.
    EXPECT_EQ(
        PasswordKeychain::passwordFromKeychain(QStringLiteral("Jotwell3"), PasswordKeychain::userName()), QString());
    EXPECT_FALSE(PasswordKeychain::changeKeychainPassword(
        QStringLiteral("Jotwell3"), QStringLiteral("me"), QStringLiteral("x")));

    panel.runAsSheetForWindow(&window);
    click(panel, QDialogButtonBox::Cancel);
    ASSERT_TRUE(answer.has_value());
    EXPECT_FALSE(answer->has_value());
}

} // namespace
