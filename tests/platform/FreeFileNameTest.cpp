#include "common/QtPrinters.h"
#include "platform/base/FileSetAside.h"
#include "platform/base/FreeFileName.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QStringList>
#include <QSet>
#include <QTemporaryDir>

namespace {

TEST(FreeFileNameTest, theWantedNameOrTheFirstFreeOneOfTheSeries)
{
    const QSet<QString> used{"a", "a 2", "a 4"};
    const auto taken = [&used](const QString &name) {
        return used.contains(name);
    };
    const auto numbered = [](int n) {
        return QStringLiteral("a %1").arg(n);
    };
    EXPECT_EQ(FreeFileName::firstFree("b", numbered, 2, taken), "b");
    EXPECT_EQ(FreeFileName::firstFree("a", numbered, 2, taken), "a 3");
    EXPECT_EQ(FreeFileName::firstFree("a", numbered, 4, taken), "a 5");
}

TEST(FreeFileNameTest, filesAndDanglingLinksAreTaken)
{
    QTemporaryDir folder;
    const QString file = folder.filePath("file");
    const QString link = folder.filePath("link");
    EXPECT_FALSE(FreeFileName::isTaken(file));
    QFile(file).open(QIODevice::WriteOnly);
    ASSERT_TRUE(QFile::link(folder.filePath("nowhere"), link));
    EXPECT_TRUE(FreeFileName::isTaken(file));
    EXPECT_TRUE(FreeFileName::isTaken(link));
}

TEST(FreeFileNameTest, filesSetAsideTwiceInOneSecondKeepBoth)
{
    QTemporaryDir folder;
    const QString path = folder.filePath("data");
    QStringList aside;
    for (const char *content : {"first", "second"}) {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(content);
        file.close();
        const auto moved = FileSetAside::moveAside(path, "broken");
        ASSERT_TRUE(moved.has_value());
        aside.append(*moved);
    }
    EXPECT_NE(aside[0], aside[1]);
    for (int i = 0; i < 2; ++i) {
        QFile file(aside[i]);
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        EXPECT_EQ(file.readAll(), i == 0 ? "first" : "second");
    }
    // Unless the clock turned a second in between, the second one is numbered.
    if (aside[1].startsWith(aside[0])) {
        EXPECT_EQ(aside[1], aside[0] + "-2");
    }
    EXPECT_FALSE(QFile::exists(path));
}

} // namespace
