#include "util/FileManagerUtility.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

namespace {

void writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

TEST(FileManagerUtilityTest, CopiesAFolderWithEverythingInside)
{
    QTemporaryDir temp;
    const QString from = temp.filePath(QStringLiteral("from"));
    ASSERT_TRUE(QDir().mkpath(from + QStringLiteral("/Note Data/Unused Files")));
    writeFile(from + QStringLiteral("/JW3Data.jw3datastore"), "tree");
    writeFile(from + QStringLiteral("/Note Data/1.jw3page"), "page");
    writeFile(from + QStringLiteral("/.hidden"), "hidden");
    ASSERT_TRUE(QFile::link(QStringLiteral("JW3Data.jw3datastore"), from + QStringLiteral("/link")));

    const QString to = temp.filePath(QStringLiteral("to"));
    ASSERT_TRUE(FileManagerUtility::copyFolderAndContents(from, to).ok());
    EXPECT_EQ(contents(to + QStringLiteral("/Note Data/1.jw3page")), "page");
    EXPECT_EQ(contents(to + QStringLiteral("/.hidden")), "hidden");
    EXPECT_TRUE(QFileInfo(to + QStringLiteral("/Note Data/Unused Files")).isDir());
    EXPECT_TRUE(QFileInfo(to + QStringLiteral("/link")).isSymLink());

    EXPECT_FALSE(FileManagerUtility::copyFolderAndContents(from, to).ok()) << "never copies over a folder";
    EXPECT_FALSE(FileManagerUtility::copyFolderAndContents(
        temp.filePath(QStringLiteral("none")), temp.filePath(QStringLiteral("x")))
                     .ok());
}

TEST(FileManagerUtilityTest, RenamesAsideWithoutTakingAnExistingName)
{
    QTemporaryDir temp;
    ASSERT_TRUE(QDir().mkpath(temp.filePath(QStringLiteral("a"))));
    ASSERT_TRUE(QDir().mkpath(temp.filePath(QStringLiteral("b"))));
    auto first = FileManagerUtility::changeFileNameOfPath(temp.filePath(QStringLiteral("a")), QStringLiteral("Old"));
    ASSERT_TRUE(first.ok());
    EXPECT_EQ(first.value(), temp.filePath(QStringLiteral("Old")));
    auto second = FileManagerUtility::changeFileNameOfPath(temp.filePath(QStringLiteral("b")), QStringLiteral("Old"));
    ASSERT_TRUE(second.ok());
    EXPECT_EQ(second.value(), temp.filePath(QStringLiteral("Old 2")));
    EXPECT_FALSE(
        FileManagerUtility::changeFileNameOfPath(temp.filePath(QStringLiteral("gone")), QStringLiteral("x")).ok());
}

TEST(FileManagerUtilityTest, ReadsTheNumberANameStartsWith)
{
    const std::pair<const char *, double> cases[] = {
        {"12", 12},
        {"12_mobile", 12},
        {" 7abc", 7},
        {"-3", -3},
        {"1.5", 1.5},
        {"2e3x", 2000},
        {"2e", 2},
        {"abc", 0},
        {"", 0},
        {".", 0},
        {"+", 0},
        {"Unused Files", 0},
        {"007", 7},
    };
    for (const auto &[text, expected] : cases)
        EXPECT_DOUBLE_EQ(FileManagerUtility::leadingNumber(QString::fromUtf8(text)), expected) << text;
}

} // namespace
