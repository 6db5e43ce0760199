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
    const QString from = temp.filePath("from");
    ASSERT_TRUE(QDir().mkpath(from + "/Note Data/Unused Files"));
    writeFile(from + "/JW3Data.jw3datastore", "tree");
    writeFile(from + "/Note Data/1.jw3page", "page");
    writeFile(from + "/.hidden", "hidden");
    ASSERT_TRUE(QFile::link("JW3Data.jw3datastore", from + "/link"));

    const QString to = temp.filePath("to");
    ASSERT_TRUE(FileManagerUtility::copyFolderAndContents(from, to).ok());
    EXPECT_EQ(contents(to + "/Note Data/1.jw3page"), "page");
    EXPECT_EQ(contents(to + "/.hidden"), "hidden");
    EXPECT_TRUE(QFileInfo(to + "/Note Data/Unused Files").isDir());
    EXPECT_TRUE(QFileInfo(to + "/link").isSymLink());

    EXPECT_FALSE(FileManagerUtility::copyFolderAndContents(from, to).ok()) << "never copies over a folder";
    EXPECT_FALSE(FileManagerUtility::copyFolderAndContents(temp.filePath("none"), temp.filePath("x")).ok());
}

TEST(FileManagerUtilityTest, RenamesAsideWithoutTakingAnExistingName)
{
    QTemporaryDir temp;
    ASSERT_TRUE(QDir().mkpath(temp.filePath("a")));
    ASSERT_TRUE(QDir().mkpath(temp.filePath("b")));
    auto first = FileManagerUtility::changeFileNameOfPath(temp.filePath("a"), "Old");
    ASSERT_TRUE(first.ok());
    EXPECT_EQ(first.value(), temp.filePath("Old"));
    auto second = FileManagerUtility::changeFileNameOfPath(temp.filePath("b"), "Old");
    ASSERT_TRUE(second.ok());
    EXPECT_EQ(second.value(), temp.filePath("Old 2"));
    EXPECT_FALSE(FileManagerUtility::changeFileNameOfPath(temp.filePath("gone"), "x").ok());
}

TEST(FileManagerUtilityTest, ReadsTheNumberANameStartsWith)
{
    const std::pair<const char *, double> cases[]{{"12", 12}, {"12_mobile", 12}, {" 7abc", 7}, {"-3", -3}, {"1.5", 1.5},
        {"2e3x", 2000}, {"2e", 2}, {"abc", 0}, {"", 0}, {".", 0}, {"+", 0}, {"Unused Files", 0}, {"007", 7}};
    for (const auto &[text, expected] : cases)
        EXPECT_DOUBLE_EQ(FileManagerUtility::leadingNumber(QString::fromUtf8(text)), expected) << text;
}

} // namespace
