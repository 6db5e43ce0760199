// A data store that cannot be read loses no text: every page file holds its
// page's title and text, and the pages are rebuilt from them under
// "Recovered pages".
#include "DataFolder.h"
#include "model/PageFile.h"
#include "platform/settings/FolderPaths.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QRandomGenerator>

#include <map>

namespace {

using PageFileRecoveryTest = DataFolderTest;

TEST_F(PageFileRecoveryTest, PagesComeBackFromTheirFilesAfterTheDataStoreIsLost)
{
    qint64 alphaID = 0;
    {
        auto store = loadedStore();
        MemoPtr parent = store->rootMemo();
        for (const QString &title : {QStringLiteral("Alpha"), QStringLiteral("Beta"), QStringLiteral("Gamma")}) {
            MemoPtr page = JWMemo::memo();
            page->setTitle(title);
            page->setMemoDataWithPlainText(title + QStringLiteral(" text"));
            page->setCreatedAt(QDateTime(QDate(2020, 1, 2), QTime(8, 0), Qt::UTC));
            parent->appendChild(page);
            parent = page; // nested: recovery lays them out flat
            if (!alphaID)
                alphaID = page->memoID();
        }
        ASSERT_TRUE(store->save().ok());
    }
    // What the files hold, by ID: the pages must come back as this, in this order.
    std::map<qint64, QVariantMap> files;
    for (const QString &name : QDir(noteDataFolderPath()).entryList({QStringLiteral("*.jw3page")}))
        files[name.chopped(8).toLongLong()] = *PageFile::read(name.chopped(8).toLongLong());
    ASSERT_GE(files.size(), 3u);

    QByteArray noise(4096, '\0');
    QRandomGenerator(7).fillRange(reinterpret_cast<quint32 *>(noise.data()), noise.size() / 4);
    writeFile(dataFilePath(), noise);
    writeFile(noteDataFolderPath() + QStringLiteral("/999999.jw3page"), "garbage");

    auto store = loadedStore();
    EXPECT_TRUE(store->setAsideDataFile().startsWith(dataFilePath() + QStringLiteral(".unreadable-")));
    // A page of the new tree holds one of the old IDs: the old page is renumbered, not lost.
    const MemoPtr newcomer = JWMemo::memo();
    newcomer->setMemoID(alphaID);
    store->rootMemo()->appendChild(newcomer);

    auto recovered = store->recoverPagesFromPageFiles();
    ASSERT_TRUE(recovered.ok()) << recovered.errorMessage().toStdString();
    EXPECT_EQ(recovered.value().pages, qsizetype(files.size()));
    EXPECT_EQ(recovered.value().renumbered, 1);
    EXPECT_EQ(recovered.value().unreadable, 1);
    EXPECT_TRUE(store->setAsideDataFile().isEmpty()) << "its note has done its work";

    // Saved at once: a new start finds them flat under "Recovered pages", in ID order.
    store.reset();
    store = loadedStore();
    const MemoPtr parent = store->rootMemo()->children().back();
    EXPECT_EQ(parent->title(), QStringLiteral("Recovered pages"));
    ASSERT_EQ(parent->children().size(), files.size());
    auto file = files.cbegin();
    for (const MemoPtr &page : parent->children()) {
        const QVariantMap &expected = (file++)->second;
        EXPECT_TRUE(page->children().empty());
        EXPECT_EQ(page->title(), expected.value(QStringLiteral("title")).toString());
        EXPECT_EQ(page->memoData(), PageFile::memoDataIn(expected)) << page->title().toStdString();
        EXPECT_EQ(page->createdAt(), expected.value(QStringLiteral("createdAt")).toDateTime());
        EXPECT_NE(page->memoID(), alphaID) << "the ID in use stays with the new tree's page";
    }
}

} // namespace
