#include "common/FreshUserTest.h"
#include "platform/settings/FolderPaths.h"
#include "platform/settings/UserDefaults.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {

using FolderPathsTest = FreshUserTest;

UserDefaults &defaults()
{
    return UserDefaults::standardUserDefaults();
}

TEST_F(FolderPathsTest, theDataFolderDefaultsToTheApplicationSupportFolderAndIsRemembered)
{
    ASSERT_FALSE(defaults().hasStoredValue("dataFolderPath"));

    const QString expected = dataHome() + "/Jotwell3";
    EXPECT_EQ(dataFolderPath(), expected);
    EXPECT_TRUE(QFileInfo(expected).isDir());
    EXPECT_EQ(defaults().stringForKey("dataFolderPath"), expected);

    // Remembered, so a later change of the XDG folders does not move the data.
    qputenv("XDG_DATA_HOME", (home() + "/elsewhere").toLocal8Bit());
    EXPECT_EQ(dataFolderPath(), expected);

    // A chosen folder is used and made.
    const QString chosen = home() + "/My Notes/Data";
    defaults().setValue("dataFolderPath", chosen);
    EXPECT_EQ(dataFolderPath(), chosen);
    EXPECT_TRUE(QFileInfo(chosen).isDir());
    EXPECT_EQ(dataFilePath(), chosen + "/JW3Data.jw3datastore");
    EXPECT_EQ(dataDictionaryFilePath(), chosen + "/JW3Data.jw3settings");
}

TEST_F(FolderPathsTest, theDocumentsFolderStandsInWhenApplicationSupportCannotBeMade)
{
    // A file where the data home should be: no folder can be made inside it.
    const QString blocked = home() + "/blocked";
    QFile file(blocked);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.close();
    qputenv("XDG_DATA_HOME", blocked.toLocal8Bit());

    const QString expected = documentsFolder() + "/Jotwell3";
    EXPECT_EQ(dataFolderPath(), expected);
    EXPECT_TRUE(QFileInfo(expected).isDir());
    EXPECT_EQ(defaults().stringForKey("dataFolderPath"), expected);
}

TEST_F(FolderPathsTest, pageFilesAreNamedByTheirIDInsideNoteData)
{
    const QString data = dataFolderPath();
    EXPECT_EQ(notePathForID(12), data + "/Note Data/12.jw3page");
    EXPECT_EQ(QFileInfo(notePathForID(3'000'000'000)).fileName(), "3000000000.jw3page");
    EXPECT_TRUE(QFileInfo(noteDataFolderPath()).isDir());

    EXPECT_EQ(trashFolderPath(), data + "/Note Data/Unused Files");
    EXPECT_TRUE(QFileInfo(trashFolderPath()).isDir());
}

} // namespace
