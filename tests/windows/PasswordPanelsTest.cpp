#include "common/FreshUserTest.h"
#include "platform/base/Localization.h"
#include "util/PagePassword.h"
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

TEST_F(PasswordPanelsTest, theConfirmSheetStaysUntilThePasswordIsRightAndAKeptOneAsksAfresh)
{
    savePasswordToDefault(QStringLiteral("opensesame"));
    QPointer<ConfirmPassPanelController> sheet = new ConfirmPassPanelController;
    run(*sheet);
    EXPECT_EQ(sheet->windowModality(), Qt::WindowModal);
    type(*sheet, 0, QStringLiteral("wrong"));
    click(*sheet);
    EXPECT_EQ(sheet->message(), QStringLiteral("Password is wrong"));
    EXPECT_TRUE(sheet->isVisible());
    type(*sheet, 0, QStringLiteral("opensesame"));
    click(*sheet);
    EXPECT_FALSE(sheet->isVisible());
    EXPECT_EQ(confirmed, 0); // the action runs as its own step
    QTest::qWait(0);
    EXPECT_EQ(confirmed, 1);
    QTRY_VERIFY(sheet.isNull()); // it lets itself go

    ConfirmPassPanelController kept;
    kept.setNeedToRelease(false);
    run(kept);
    type(kept, 0, QStringLiteral("nope"));
    click(kept, QDialogButtonBox::Cancel);
    QTest::qWait(0);
    EXPECT_EQ(cancelled, 1);
    kept.runAsSheetForWindow(&window);
    EXPECT_EQ(kept.message(), QStringLiteral("Enter your password"));
    EXPECT_TRUE(kept.findChild<QLineEdit *>()->text().isEmpty());
}

TEST_F(PasswordPanelsTest, changingThePasswordChecksTheOldOneAndTheNewOneTwice)
{
    savePasswordToDefault(QStringLiteral("alpha123"));
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

} // namespace
