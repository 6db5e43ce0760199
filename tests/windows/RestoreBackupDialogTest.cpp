#include "common/FreshUserTest.h"
#include "exchange/QuitBackup.h"
#include "model/DataStore.h"
#include "platform/settings/UserDefaults.h"
#include "windows/RestoreBackupDialog.h"

#include <gtest/gtest.h>

#include <QFileInfo>
#include <QLocale>
#include <QPushButton>
#include <QSignalSpy>
#include <QTreeWidget>

namespace {

class RestoreBackupDialogTest : public FreshUserTest
{
protected:
    void SetUp() override
    {
        FreshUserTest::SetUp();
        defaults().setValue(QStringLiteral("dataFolderPath"), folder());
        DataStore store;
        store.loadNoteData();
        ASSERT_TRUE(store.save().ok());
    }

    static UserDefaults &defaults() { return UserDefaults::standardUserDefaults(); }
    [[nodiscard]] QString folder() const { return home() + QStringLiteral("/Data Folder"); }

    static void waitUntilIdle(RestoreBackupDialog &dialog)
    {
        QSignalSpy finished(&dialog, &RestoreBackupDialog::finishedWork);
        if (dialog.isBusy()) {
            ASSERT_TRUE(finished.wait(10000));
        }
        ASSERT_FALSE(dialog.isBusy());
    }
};

TEST_F(RestoreBackupDialogTest, listsTheBackupsAndRestoresTheChosenOneIntoANewFolderItSwitchesTo)
{
    const QDateTime earlier(QDate(2026, 3, 28), QTime(23, 0), Qt::UTC);
    const QDateTime later(QDate(2026, 3, 29), QTime(1, 30), Qt::UTC);
    ASSERT_TRUE(QuitBackup::backUp(folder(), earlier).ok());
    ASSERT_TRUE(QuitBackup::backUp(folder(), later).ok());

    RestoreBackupDialog dialog(folder());
    dialog.show();
    waitUntilIdle(dialog);
    auto *list = dialog.findChild<QTreeWidget *>(QStringLiteral("backupList"));
    ASSERT_TRUE(list);
    ASSERT_EQ(list->topLevelItemCount(), 2);
    const QLocale locale;
    const QTreeWidgetItem *newest = list->topLevelItem(0);
    EXPECT_TRUE(newest->text(0).startsWith(locale.toString(later.toLocalTime().date(), QLocale::ShortFormat)))
        << newest->text(0).toStdString();
    EXPECT_EQ(newest->text(1), locale.formattedDataSize(dialog.backups().front().bytes));
    EXPECT_EQ(newest->text(2), locale.toString(dialog.backups().front().pageFiles));
    EXPECT_EQ(list->currentItem(), newest);

    const QString target = home() + QStringLiteral("/Restored");
    QString suggested;
    dialog.setQuestions(
        [&](const QString &suggestion) {
            suggested = suggestion;
            return target;
        },
        [](const QString &) { return true; });
    auto *restore = dialog.findChild<QPushButton *>(QStringLiteral("restoreButton"));
    ASSERT_TRUE(restore && restore->isEnabled());
    restore->click();
    waitUntilIdle(dialog);
    EXPECT_EQ(QFileInfo(suggested).absolutePath(), home());
    EXPECT_TRUE(QFileInfo(suggested).fileName().startsWith(QStringLiteral("Data Folder restored ")));
    EXPECT_TRUE(QFileInfo::exists(target + QStringLiteral("/JW3Data.jw3datastore")));
    EXPECT_EQ(defaults().stringForKey(QStringLiteral("dataFolderPath")), target);
    EXPECT_FALSE(dialog.isVisible());
}

} // namespace
