#include "ArchiveTool.h"
#include "common/FreshUserTest.h"
#include "platform/base/AtomicFileWriter.h"
#include "platform/archive/PropertyList.h"

#include <QDir>
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
    const auto colours = ArchiveTool::dump(
        FreshUserTest::testDataPath(QStringLiteral("typedstream/Emacs.clr")), ArchiveTool::Format::Detect);
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

QByteArray fileBytes(const QString &path)
{
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << path.toStdString();
    return file.readAll();
}

TEST(ArchiveToolTest, textReadsRtfFilesRtfdFoldersFlatRtfdAndPageFiles)
{
    const auto folder = ArchiveTool::text(
        FreshUserTest::testDataPath(QStringLiteral("rtfd/openthesaurus-readme_en.rtfd")), ArchiveTool::TextForm::Plain);
    ASSERT_TRUE(folder.ok()) << folder.errorMessage().toStdString();
    EXPECT_TRUE(folder.value().contains("If you see a security warning during installation"));
    EXPECT_FALSE(folder.value().contains("\xef\xbf\xbc")) << "attachment characters are left out";
    EXPECT_TRUE(folder.value().endsWith('\n'));

    const QString flatPath = FreshUserTest::testDataPath(QStringLiteral("rtfd/flat/km-styledtext-example1.flatrtfd"));
    const auto flat = ArchiveTool::text(flatPath, ArchiveTool::TextForm::Plain);
    ASSERT_TRUE(flat.ok()) << flat.errorMessage().toStdString();
    EXPECT_EQ(flat.value().trimmed(), QByteArray("ExampleRTFText1"));

    const auto rtf
        = ArchiveTool::text(FreshUserTest::testDataPath(QStringLiteral("rtfd/MouseWarpBug-README.rtfd/TXT.rtf")),
            ArchiveTool::TextForm::Plain);
    ASSERT_TRUE(rtf.ok()) << rtf.errorMessage().toStdString();
    EXPECT_TRUE(rtf.value().startsWith("This program demonstrates an issue"));

    // A page file keeps its text as flattened RTFD under "memoData".
    QTemporaryDir temporary;
    const QString page = temporary.filePath(QStringLiteral("12.jw3page"));
    const auto plist = PropertyList::toData(QVariantMap{{QStringLiteral("title"), QStringLiteral("Example")},
                                                {QStringLiteral("memoData"), fileBytes(flatPath)}},
        PropertyList::Format::Xml);
    ASSERT_TRUE(plist.ok());
    ASSERT_TRUE(AtomicFileWriter::writeFile(page, plist.value()).ok());
    const auto html = ArchiveTool::text(page, ArchiveTool::TextForm::Html);
    ASSERT_TRUE(html.ok()) << html.errorMessage().toStdString();
    EXPECT_TRUE(html.value().contains("<html")) << html.value().left(200).toStdString();
    EXPECT_TRUE(html.value().contains("ExampleRTFText1"));
    EXPECT_TRUE(html.value().contains("font-weight")) << "the sample is bold";
}

TEST(ArchiveToolTest, textWritesAttachmentsUnderTheirNamesAndRejectsOtherFiles)
{
    QTemporaryDir temporary;
    const QString package = FreshUserTest::testDataPath(QStringLiteral("rtfd/openthesaurus-finishup_en.rtfd"));
    const QString out = temporary.filePath(QStringLiteral("files"));
    const auto text = ArchiveTool::text(package, ArchiveTool::TextForm::Plain, out);
    ASSERT_TRUE(text.ok()) << text.errorMessage().toStdString();
    EXPECT_EQ(QDir(out).entryList(QDir::Files, QDir::Name),
        (QStringList{
            QStringLiteral("Dictionary_44.png"), QStringLiteral("FAQ_44.png"), QStringLiteral("success.pdf")}));
    for (const QString &name : QDir(out).entryList(QDir::Files))
        EXPECT_EQ(fileBytes(QDir(out).filePath(name)), fileBytes(QDir(package).filePath(name))) << name.toStdString();

    const auto plist = ArchiveTool::text(
        FreshUserTest::testDataPath(QStringLiteral("plist/Website.webloc")), ArchiveTool::TextForm::Plain);
    EXPECT_FALSE(plist.ok());
    EXPECT_TRUE(plist.errorMessage().contains(QStringLiteral("Website.webloc")));
    EXPECT_FALSE(
        ArchiveTool::text(temporary.filePath(QStringLiteral("missing.rtf")), ArchiveTool::TextForm::Plain).ok());
    EXPECT_FALSE(ArchiveTool::text(temporary.path(), ArchiveTool::TextForm::Plain).ok()) << "a folder without TXT.rtf";
}

} // namespace
