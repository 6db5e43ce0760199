#include "ExportPages.h"
#include "common/FreshUserTest.h"
#include "exchange/PlainTextHierarchy.h"
#include "model/JWMemo.h"

#include <gtest/gtest.h>

#include <QDirIterator>
#include <QFile>
#include <QMap>
#include <QTemporaryDir>

namespace {

// Every file below @p folder by its relative path, with its contents; folders end in "/".
QMap<QString, QByteArray> contentsOf(const QString &folder)
{
    QMap<QString, QByteArray> contents;
    QDirIterator it(folder, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        const QString name = path.mid(folder.size() + 1);
        QFile file(path);
        if (it.fileInfo().isDir())
            contents.insert(name + u'/', {});
        else if (file.open(QIODevice::ReadOnly))
            contents.insert(name, file.readAll());
    }
    return contents;
}

class PlainTextHierarchyTest : public FreshUserTest
{
protected:
    QTemporaryDir m_folder;
};

TEST_F(PlainTextHierarchyTest, writesTheSubtreeAndReplacesItOnASecondExport)
{
    MemoPtr hotel = page(QStringLiteral("Hotel"), QStringLiteral("Room 12\nbreakfast at 7"));
    MemoPtr trip = page(QStringLiteral("Trip"), QStringLiteral("Plans"),
        {page(QStringLiteral("Day one"), QStringLiteral("Museum"), {hotel}),
            page(QStringLiteral("Day two"), QString())});

    ASSERT_TRUE(PlainTextHierarchy::exportMemosASPlainText(*trip, m_folder.path()).ok());
    QMap<QString, QByteArray> expected{{"Trip.txt", "Plans"}, {"Trip/", {}}, {"Trip/Day one.txt", "Museum"},
        {"Trip/Day one/", {}}, {"Trip/Day one/Hotel.txt", "Room 12\nbreakfast at 7"}, {"Trip/Day two.txt", ""}};
    EXPECT_EQ(contentsOf(m_folder.path()), expected);

    hotel->setMemoDataWithPlainText(QStringLiteral("Room 14 \u65e5\u672c"));
    ASSERT_TRUE(PlainTextHierarchy::exportMemosASPlainText(*trip, m_folder.path()).ok());
    expected["Trip/Day one/Hotel.txt"] = "Room 14 \xe6\x97\xa5\xe6\x9c\xac";
    EXPECT_EQ(contentsOf(m_folder.path()), expected);

    // A title passed in names the top page's file and folder.
    QTemporaryDir other;
    ASSERT_TRUE(PlainTextHierarchy::exportMemosASPlainText(*trip, other.path(), QStringLiteral("Trip_backup")).ok());
    EXPECT_TRUE(contentsOf(other.path()).contains(QStringLiteral("Trip_backup/Day one/Hotel.txt")));
}

TEST_F(PlainTextHierarchyTest, oddTitlesBecomeNamesInsideTheFolder)
{
    const QString longTitle(200, QChar(0xe9)); // 400 bytes in UTF-8
    MemoPtr notes = page(QStringLiteral("Notes"), QStringLiteral("n"),
        {page(QStringLiteral("1/2 done"), QStringLiteral("half")), page(QString(), QStringLiteral("empty")),
            page(QStringLiteral("."), QStringLiteral("dot")),
            page(QStringLiteral(".."), QStringLiteral("up"), {page(QStringLiteral("Inner"), QStringLiteral("in"))}),
            page(longTitle, QStringLiteral("long"))});

    ASSERT_TRUE(PlainTextHierarchy::exportMemosASPlainText(*notes, m_folder.path()).ok());
    const QString cut(118, QChar(0xe9)); // 236 bytes: with ".txt", 240
    // "", "." and ".." are all "Untitled": as in any export without unique names, the last one wins.
    const QMap<QString, QByteArray> expected{{"Notes.txt", "n"}, {"Notes/", {}}, {"Notes/1-2 done.txt", "half"},
        {"Notes/Untitled.txt", "up"}, {"Notes/Untitled/", {}}, {"Notes/Untitled/Inner.txt", "in"},
        {QStringLiteral("Notes/") + cut + QStringLiteral(".txt"), "long"}};
    EXPECT_EQ(contentsOf(m_folder.path()), expected);
}

TEST_F(PlainTextHierarchyTest, failsWhenAChildFolderCannotBeMade)
{
    MemoPtr trip
        = page(QStringLiteral("Trip"), QStringLiteral("t"), {page(QStringLiteral("Day"), QStringLiteral("d"))});
    ASSERT_TRUE(QFile(m_folder.filePath(QStringLiteral("Trip"))).open(QIODevice::WriteOnly));

    const Status status = PlainTextHierarchy::exportMemosASPlainText(*trip, m_folder.path());
    EXPECT_FALSE(status.ok());
    EXPECT_TRUE(status.errorMessage().contains(QStringLiteral("Trip"))) << qPrintable(status.errorMessage());
    EXPECT_FALSE(PlainTextHierarchy::exportMemosASPlainText(*trip, m_folder.filePath(QStringLiteral("none"))).ok());
}

} // namespace
