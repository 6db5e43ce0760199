#include "ArchiveTool.h"
#include "common/FreshUserTest.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

namespace {

QJsonObject dumpObject(const QString &relativePath, ArchiveTool::Format format = ArchiveTool::Format::Detect)
{
    const auto json = ArchiveTool::dump(FreshUserTest::testDataPath(relativePath), format);
    EXPECT_TRUE(json.ok()) << json.errorMessage().toStdString();
    return json.ok() ? QJsonDocument::fromJson(json.value()).object() : QJsonObject();
}

TEST(ArchiveToolTest, aPropertyListShowsItsValuesWithTaggedBytesAndDates)
{
    const QJsonObject root = dumpObject(QStringLiteral("plist/cpython-testdata.bin.plist"));
    EXPECT_EQ(root.value(QStringLiteral("aString")).toString(), QStringLiteral("Doodah"));
    EXPECT_EQ(root.value(QStringLiteral("aDate")).toObject().value(QStringLiteral("$date")).toString(),
              QStringLiteral("2004-10-26T10:33:33.000Z"));
    EXPECT_EQ(root.value(QStringLiteral("someData")).toObject().value(QStringLiteral("$data")).toString(),
              QString::fromLatin1(QByteArray("<binary gunk>").toBase64()));
    // Beyond 2^53 a JSON number would lose digits.
    EXPECT_EQ(root.value(QStringLiteral("aBigInt2")).toString(), QStringLiteral("9223372036854775852"));
}

TEST(ArchiveToolTest, aTypedStreamShowsClassesVersionsAndSharedObjectsOnce)
{
    const QJsonObject root = dumpObject(QStringLiteral("typedstream/crabstep-NSString.typedstream"));
    EXPECT_EQ(root.value(QStringLiteral("$typedstream")).toObject().value(QStringLiteral("byteOrder")).toString(),
              QStringLiteral("little"));
    const QJsonObject string
        = root.value(QStringLiteral("groups")).toArray().at(0).toObject().value(QStringLiteral("@")).toObject();
    EXPECT_EQ(string.value(QStringLiteral("$class")).toString(), QStringLiteral("NSString"));
    EXPECT_EQ(string.value(QStringLiteral("$version")).toInt(), 1);
    EXPECT_EQ(string.value(QStringLiteral("$superclasses")).toArray(), QJsonArray{QStringLiteral("NSObject 0")});
    EXPECT_EQ(string.value(QStringLiteral("groups")).toArray().at(0).toObject().value(QStringLiteral("+")).toString(),
              QStringLiteral("Hello, world"));

    // The colour list repeats one class hundreds of times; every object still prints.
    const auto colours = ArchiveTool::dump(FreshUserTest::testDataPath(QStringLiteral("typedstream/Emacs.clr")),
                                           ArchiveTool::Format::Detect);
    ASSERT_TRUE(colours.ok()) << colours.errorMessage().toStdString();
    EXPECT_GE(colours.value().count("\"LightGreen\""), 1);
}

TEST(ArchiveToolTest, aKeyedArchiveIsDecodedUnlessAPlainPropertyListIsAskedFor)
{
    const QString file = QStringLiteral("keyedarchive/nskeyedarchiver-go-dict.bin.plist");
    const QJsonObject keyed = dumpObject(file);
    const QJsonObject root = keyed.value(QStringLiteral("$top")).toObject().value(QStringLiteral("$0")).toObject();
    EXPECT_EQ(root.value(QStringLiteral("string")).toString(), QStringLiteral("string"));
    EXPECT_EQ(root.value(QStringLiteral("array")).toArray().at(1).toString(), QStringLiteral("Hello, World!"));

    const QJsonObject raw = dumpObject(file, ArchiveTool::Format::PropertyList);
    EXPECT_TRUE(raw.value(QStringLiteral("$objects")).isArray());
}

TEST(ArchiveToolTest, unreadableInputIsAnErrorThatNamesTheFile)
{
    QTemporaryDir folder;
    const QString garbage = folder.filePath(QStringLiteral("garbage.bin"));
    QFile file(garbage);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("\x04\x0bstreamtyped\x81");
    file.close();

    const auto typed = ArchiveTool::dump(garbage, ArchiveTool::Format::Detect);
    EXPECT_FALSE(typed.ok());
    EXPECT_TRUE(typed.errorMessage().contains(garbage));
    EXPECT_FALSE(ArchiveTool::dump(garbage, ArchiveTool::Format::KeyedArchive).ok());
    EXPECT_FALSE(ArchiveTool::formatFromName(QStringLiteral("yaml")).ok());
    EXPECT_FALSE(ArchiveTool::convert(garbage, QStringLiteral("xml"), folder.filePath(QStringLiteral("out"))).ok());
    EXPECT_FALSE(QFile::exists(folder.filePath(QStringLiteral("out"))));
}

TEST(ArchiveToolTest, convertWritesEitherFormWithTheSameValues)
{
    QTemporaryDir folder;
    const QString source = FreshUserTest::testDataPath(QStringLiteral("plist/cpython-testdata.xml.plist"));
    const QString binary = folder.filePath(QStringLiteral("out.bplist"));
    const QString xml = folder.filePath(QStringLiteral("out.plist"));
    ASSERT_TRUE(ArchiveTool::convert(source, QStringLiteral("binary"), binary).ok());
    ASSERT_TRUE(ArchiveTool::convert(binary, QStringLiteral("xml"), xml).ok());
    EXPECT_FALSE(ArchiveTool::convert(source, QStringLiteral("json"), xml).ok());

    EXPECT_EQ(ArchiveTool::dump(binary, ArchiveTool::Format::Detect).value(),
              ArchiveTool::dump(source, ArchiveTool::Format::Detect).value());
    EXPECT_EQ(ArchiveTool::dump(xml, ArchiveTool::Format::Detect).value(),
              ArchiveTool::dump(source, ArchiveTool::Format::Detect).value());
}

} // namespace
