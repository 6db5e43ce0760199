#pragma once

#include "common/FreshUserTest.h"
#include "model/ApplicationTree.h"
#include "model/DataStore.h"
#include "model/DataStoreHost.h"
#include "platform/settings/UserDefaults.h"

#include <QFile>

#include <memory>

/** Records what the data store asks of the windows and the rest of the application. */
class StandInWindows : public DataStoreHost
{
public:
    [[nodiscard]] QList<qint64> openWindowRootIDs() const override { return open; }
    void openWindowWithID(qint64 memoID) override { open.append(memoID); }
    void showMainWindow() override { ++mainWindowShown; }
    [[nodiscard]] bool hasOpenWindow() const override { return !open.isEmpty(); }
    [[nodiscard]] bool isAnyWindowEdited() const override { return edited; }
    [[nodiscard]] bool isApplicationActive() const override { return active; }
    void closeAllWindows() override
    {
        open.clear();
        ++closedAll;
    }
    MemoPtr importOldUserDefaults() override
    {
        ++oldDefaultsImports;
        return olderVersionTree;
    }
    void revealInFileManager(const QString &path) override { revealed.append(path); }
    void reportProblem(const QString &message) override { problems.append(message); }

    QList<qint64> open;
    QStringList revealed;
    QStringList problems;
    int mainWindowShown = 0;
    int closedAll = 0;
    int oldDefaultsImports = 0;
    MemoPtr olderVersionTree; ///< what importOldUserDefaults() answers
    bool edited = true;
    bool active = false;
};

/**
 * A fresh user whose data folder is folder() (a name with a space, as users'
 * folders often have); the application's tree is let go after each test.
 */
class DataFolderTest : public FreshUserTest
{
protected:
    void SetUp() override
    {
        FreshUserTest::SetUp();
        defaults().setValue(QStringLiteral("dataFolderPath"), folder());
    }
    void TearDown() override
    {
        ApplicationTree::setRootMemo(nullptr);
        FreshUserTest::TearDown();
    }

    static UserDefaults &defaults() { return UserDefaults::standardUserDefaults(); }
    [[nodiscard]] QString folder() const { return home() + QStringLiteral("/Data Folder"); }

    /** A store that has loaded the data folder, asking @p windows, if any, what it needs of them. */
    static std::unique_ptr<DataStore> loadedStore(DataStoreHost *windows = nullptr)
    {
        auto store = std::make_unique<DataStore>();
        store->setHost(windows);
        store->loadNoteData();
        return store;
    }

    static void writeFile(const QString &path, const QByteArray &bytes)
    {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        ASSERT_EQ(file.write(bytes), bytes.size());
    }
};
