#include "app/ApplicationAdaptor.h"
#include "app/CommandLine.h"
#include "common/QtPrinters.h"

#include <gtest/gtest.h>

#include <QDir>

namespace {

QStringList arguments(std::initializer_list<const char *> words)
{
    QStringList list{QStringLiteral("jotwell3")};
    for (const char *word : words)
        list << QString::fromUtf8(word);
    return list;
}

TEST(CommandLineTest, theToolkitsOwnOptionsArePassedOverWithTheirValues)
{
    const CommandLine options
        = CommandLine::parse(arguments({"-style", "Fusion", "--clip-text", "milk", "--style=Fusion", "-reverse",
            "-platform", "xcb", "--platformtheme", "gtk3", "-stylesheet=look.qss", "notes.txt", "--self-test"}));
    EXPECT_EQ(options.request.clipText, QStringLiteral("milk"));
    EXPECT_TRUE(options.selfTest);
    // The values of the toolkit's options are not taken for files to open.
    EXPECT_EQ(options.request.filesToOpen, QStringList{QDir::current().absoluteFilePath(QStringLiteral("notes.txt"))});

    // The desktop hands files over as URLs; an import takes its parent page.
    const CommandLine imported
        = CommandLine::parse(arguments({"--import", "--parent", "42", "file:///home/me/My%20notes", "b.txt"}));
    EXPECT_EQ(imported.request.importPaths,
        QStringList({QStringLiteral("/home/me/My notes"), QDir::current().absoluteFilePath(QStringLiteral("b.txt"))}));
    EXPECT_EQ(imported.request.importParentID, 42);
    EXPECT_TRUE(imported.request.isErrandOnly());

    // After "--" everything is a file, even what looks like the toolkit's.
    EXPECT_EQ(
        CommandLine::withoutToolkitOptions(arguments({"-reverse", "--", "-reverse"})), arguments({"--", "-reverse"}));
    // Only where the toolkit reads "=" is it a toolkit option.
    EXPECT_EQ(CommandLine::withoutToolkitOptions(arguments({"--platform=xcb"})), arguments({"--platform=xcb"}));
}

TEST(CommandLineDeathTest, anOptionThatIsNeitherOursNorTheToolkitsStopsTheStart)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT((void)CommandLine::parse(arguments({"-style", "Fusion", "--no-such-option"})),
        ::testing::ExitedWithCode(1), "no-such-option");
}

TEST(CommandLineTest, aRequestCrossesTheBusWhole)
{
    ApplicationRequest request;
    request.filesToOpen = {QStringLiteral("/a.txt"), QStringLiteral("/b.rtf")};
    request.linksToOpen = {QStringLiteral("jotwell3://pageid/4/")};
    request.clipText = QStringLiteral(""); // an empty text is still a clipping
    request.clipFile = QStringLiteral("/c.txt");
    request.importPaths = {QStringLiteral("/d")};
    request.importParentID = 7;
    const ApplicationRequest back = ApplicationAdaptor::requestFromMap(ApplicationAdaptor::requestToMap(request));
    EXPECT_EQ(back.filesToOpen, request.filesToOpen);
    EXPECT_EQ(back.linksToOpen, request.linksToOpen);
    EXPECT_FALSE(back.clipText.isNull());
    EXPECT_TRUE(back.clipURL.isEmpty());
    EXPECT_EQ(back.clipFile, request.clipFile);
    EXPECT_EQ(back.importPaths, request.importPaths);
    EXPECT_EQ(back.importParentID, 7);
    EXPECT_TRUE(ApplicationAdaptor::requestFromMap(ApplicationAdaptor::requestToMap({})).isEmpty());
}

} // namespace
