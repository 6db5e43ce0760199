#include "common/QtPrinters.h"
#include "util/PathUtility.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

using namespace PathUtility;

namespace {

class PathUtilityTest : public ::testing::Test
{
protected:
    QString path(const QString &name) const { return m_folder.filePath(name); }
    void touch(const QString &name) const
    {
        QFile file(path(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    }

    QTemporaryDir m_folder;
};

TEST_F(PathUtilityTest, freePathsStayAndTakenOnesCountUp)
{
    EXPECT_EQ(uniqueFileName(path("a.txt")), path("a.txt"));
    touch("a.txt");
    EXPECT_EQ(uniqueFileName(path("a.txt")), path("a_1.txt"));
    touch("a_1.txt");
    EXPECT_EQ(uniqueFileName(path("a.txt")), path("a_2.txt"));
    // Only the last extension counts.
    touch("b.tar.gz");
    EXPECT_EQ(uniqueFileName(path("b.tar.gz")), path("b.tar_1.gz"));
    EXPECT_EQ(uniqueFileName(QString()), QString());
    // A link to nothing still takes its name.
    ASSERT_TRUE(QFile::link(path("nowhere"), path("link.txt")));
    EXPECT_EQ(uniqueFileName(path("link.txt")), path("link_1.txt"));
}

TEST_F(PathUtilityTest, namesWithoutExtensionEndInADot)
{
    touch("notes");
    EXPECT_EQ(uniqueFileName(path("notes")), path("notes_1."));
    // A dot in a folder's name or at the start of the file's is no extension.
    ASSERT_TRUE(QDir(m_folder.path()).mkdir("dir.d"));
    touch("dir.d/file");
    EXPECT_EQ(uniqueFileName(path("dir.d/file")), path("dir.d/file_1."));
    touch(".profile");
    EXPECT_EQ(uniqueFileName(path(".profile")), path(".profile_1."));
    EXPECT_EQ(uniqueFileName(path("dir.d/")), path("dir_1.d"));
}

} // namespace
