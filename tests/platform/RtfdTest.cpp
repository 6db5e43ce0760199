#include "common/FreshUserTest.h"
#include "common/TestImages.h"
#include "platform/richtext/FileWrapper.h"
#include "platform/richtext/PointSizes.h"
#include "platform/richtext/Rtfd.h"
#include "platform/richtext/TextAttachment.h"
#include "platform/richtext/TextConverter.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QTemporaryDir>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QtEndian>

namespace {

QByteArray fileBytes(const QString &path)
{
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << path.toStdString();
    return file.readAll();
}

QByteArray word(quint32 value)
{
    char buffer[4];
    qToLittleEndian(value, buffer);
    return QByteArray(buffer, 4);
}

QByteArray pngBytes(QColor colour, QSize size = QSize(6, 4))
{
    return encodedImage(size, colour);
}

QString textOf(const QTextDocument &document)
{
    return document.toRawText().remove(QChar::ObjectReplacementCharacter);
}

QMap<QString, QByteArray> attachmentsOf(const QTextDocument &document)
{
    QMap<QString, QByteArray> files;
    for (const auto &entry : TextAttachments::all(document))
        files.insert(entry.second.fileName, entry.second.bytes);
    return files;
}

// "Hello " in bold 14 pt, a picture, " world" in italic, a second paragraph
// with a second picture.
void fillSample(QTextDocument &document)
{
    QTextCursor cursor(&document);
    QTextCharFormat bold;
    bold.setFontWeight(QFont::Bold);
    bold.setFontPointSize(PointSizes::qtFromStored(14));
    cursor.insertText("Hello ", bold);
    TextAttachments::insert(cursor, {"red.png", pngBytes(Qt::red), QSizeF(30, 20)});
    QTextCharFormat italic;
    italic.setFontItalic(true);
    cursor.insertText(" world", italic);
    cursor.insertBlock();
    cursor.insertText("Second ", QTextCharFormat());
    TextAttachments::insert(cursor, {"blue.png", pngBytes(Qt::blue), {}});
}

// --- the container -------------------------------------------------------

TEST(FileWrapperTest, thePlatformsFlatSampleReadsAndIsWrittenBackByteForByte)
{
    const QByteArray sample = fileBytes(FreshUserTest::testDataPath("rtfd/flat/km-styledtext-example1.flatrtfd"));
    const auto wrapper = FileWrapper::fromSerialized(sample);
    ASSERT_TRUE(wrapper.ok()) << wrapper.errorMessage().toStdString();
    EXPECT_EQ(wrapper.value().entryNames(), QStringList{"TXT.rtf"});
    const auto text = wrapper.value().fileContents("TXT.rtf");
    ASSERT_TRUE(text.has_value());
    EXPECT_EQ(text->size(), 356);
    EXPECT_TRUE(text->startsWith("{\\rtf1"));
    EXPECT_FALSE(wrapper.value().fileContents(".").has_value());

    // The "." entry records the time the platform wrote; with that time the
    // writer must reproduce the sample exactly.
    const quint32 recorded = qFromLittleEndian<quint32>(sample.constData() + sample.size() - 16);
    EXPECT_EQ(wrapper.value().serialized(recorded), sample);
}

TEST(FileWrapperTest, writesNamesThenSizesThenNodesWithTheAttributeTableLast)
{
    FileWrapper wrapper;
    wrapper.insert("TXT.rtf", FileWrapper::regularFile("{\\rtf1 x}"));
    wrapper.insert("a.png", FileWrapper::regularFile("PNG"));
    wrapper.insert(".", FileWrapper::regularFile("ignored"));

    QByteArray attributes = word(2);
    for (const QByteArray &name : {QByteArray("TXT.rtf"), QByteArray("a.png")})
        attributes += word(quint32(name.size())) + name + word(16) + word(1234) + word(0x1B6) + word(0) + word(0);
    const QByteArray expected = "rtfd" + word(0) + word(3) + word(3)       //
        + word(7) + "TXT.rtf" + word(5) + "a.png" + word(1) + "."          //
        + word(8 + 9) + word(8 + 3) + word(8 + quint32(attributes.size())) //
        + word(1) + word(9) + "{\\rtf1 x}" + word(1) + word(3) + "PNG" + word(1) + word(quint32(attributes.size()))
        + attributes;
    EXPECT_EQ(wrapper.serialized(1234), expected);
}

TEST(FileWrapperTest, readsPaddedFilesNestedFoldersAndLooksEntriesUpByName)
{
    const QByteArray padded = word(1) + word(0x80000000) + word(3) + word(5) + QByteArray(5, '\0') + "abc";
    const QByteArray inner = word(3) + word(1) + word(4) + "deep" + word(8 + 2) + word(1) + word(2) + "hi";
    const QByteArray preferred = word(1) + word(4) + "name";
    const QByteArray data = "rtfd" + word(0) + word(3) + word(3)                                       //
        + word(6) + "folder" + word(19) + "__@PreferredName@__" + word(8) + "file.bin"                 //
        + word(quint32(inner.size())) + word(quint32(preferred.size())) + word(quint32(padded.size())) //
        + inner + preferred + padded;
    const auto wrapper = FileWrapper::fromSerialized(data);
    ASSERT_TRUE(wrapper.ok()) << wrapper.errorMessage().toStdString();
    EXPECT_EQ(wrapper.value().entryNames(), (QStringList{"folder", "file.bin"}));
    EXPECT_EQ(wrapper.value().fileContents("file.bin"), QByteArray("abc"));
    const FileWrapper *folder = wrapper.value().entry("folder");
    ASSERT_NE(folder, nullptr);
    EXPECT_TRUE(folder->isDirectory());
    EXPECT_EQ(folder->fileContents("deep"), QByteArray("hi"));
    EXPECT_FALSE(wrapper.value().fileContents("folder").has_value());

    // A folder that wraps one regular file as ".." is that file.
    const QByteArray single
        = "rtfd" + word(0) + word(3) + word(1) + word(2) + ".." + word(8 + 4) + word(1) + word(4) + "solo";
    const auto file = FileWrapper::fromSerialized(single);
    ASSERT_TRUE(file.ok());
    EXPECT_FALSE(file.value().isDirectory());
    EXPECT_EQ(file.value().contents(), QByteArray("solo"));
}

TEST(FileWrapperTest, damagedContainersAreErrorsNeverCrashes)
{
    FileWrapper tree;
    tree.insert("TXT.rtf", FileWrapper::regularFile(QByteArray(40, 'r')));
    tree.insert("b.bin", FileWrapper::regularFile(QByteArray(10, 'b')));
    const QByteArray good = tree.serialized(0);
    ASSERT_TRUE(FileWrapper::fromSerialized(good).ok());
    for (qsizetype cut = 0; cut < good.size(); ++cut)
        EXPECT_FALSE(FileWrapper::fromSerialized(good.left(cut)).ok()) << "cut at " << cut;

    const QByteArray header = "rtfd" + word(0);
    EXPECT_FALSE(FileWrapper::fromSerialized(header + word(3) + word(0xFFFFFFF0)).ok()) << "absurd count";
    EXPECT_FALSE(FileWrapper::fromSerialized(header + word(1) + word(0xFFFFFFFF)).ok()) << "absurd length";
    EXPECT_FALSE(FileWrapper::fromSerialized(header + word(1) + word(0x80000000) + word(1) + word(0x7FFFFFFF)).ok());
    EXPECT_FALSE(FileWrapper::fromSerialized(header + word(9)).ok()) << "unknown node type";
    EXPECT_FALSE(FileWrapper::fromSerialized("rtfd" + word(1) + word(1) + word(0)).ok()) << "wrong magic word";

    // A recorded size one byte larger than its node.
    QByteArray wrongSize = good;
    const qsizetype sizeOffset = 8 + 8 + (4 + 7) + (4 + 5) + (4 + 1);
    qToLittleEndian(qFromLittleEndian<quint32>(wrongSize.constData() + sizeOffset) + 1, wrongSize.data() + sizeOffset);
    EXPECT_FALSE(FileWrapper::fromSerialized(wrongSize).ok());

    // Folders inside folders, deeper than allowed.
    QByteArray node = word(3) + word(0);
    for (int depth = 0; depth < FileWrapper::maxDepth + 1; ++depth)
        node = word(3) + word(1) + word(1) + "d" + word(quint32(node.size())) + node;
    const auto nested = FileWrapper::fromSerialized(header + node);
    EXPECT_FALSE(nested.ok());
    EXPECT_TRUE(nested.errorMessage().contains("deep"));
}

// --- RTFD ----------------------------------------------------------------

TEST(RtfdTest, everyRealPackageReadsWithItsTextAndByteIdenticalAttachments)
{
    struct Package
    {
        const char *folder;
        const char *startOfText;
        QStringList files;
    };
    const QList<Package> packages{
        {"Denoise-ReadMe.rtfd", "\n\ufffc\nDenoise\n", {"lena_noisy_small.png", "GMT 2 Classes.pdf"}},
        {"MouseWarpBug-README.rtfd",
            "This program demonstrates an issue with warping the mouse cursor programatically.\n",
            {"Pasted Graphic.tiff"}},
        {"openthesaurus-finishup_en.rtfd",
            "\ufffc\n\n(Un-)Install Succeeded\nOpenThesaurus German Dictionary Plugin\n"
            "Version: 2025.03.24 \u2014 OS X 10.11 to macOS 15\n\ufffc Launch Dictionary",
            {"success.pdf", "Dictionary_44.png", "FAQ_44.png"}},
        {"openthesaurus-readme_en.rtfd", "\ufffc\nIf you see a security warning during installation\n", {"tcc.png"}},
        {"solarized-description.rtfd", "", {}},
    };
    for (const Package &package : packages) {
        SCOPED_TRACE(package.folder);
        const QDir folder(FreshUserTest::testDataPath("rtfd/" + QLatin1String(package.folder)));
        QTextDocument document;
        const Status read = Rtfd::readPackage(folder.path(), document);
        ASSERT_TRUE(read.ok()) << read.errorMessage().toStdString();
        const QString text = document.toRawText().replace(QChar::ParagraphSeparator, QLatin1Char('\n'));
        EXPECT_TRUE(text.startsWith(QString::fromUtf8(package.startOfText))) << text.left(200).toStdString();
        // The attachment mark after each graphic is no text of its own.
        EXPECT_FALSE(text.contains(QChar(0xac)));
        // In the order of the text, each one object character, with the bytes of its file.
        const auto attachments = TextAttachments::all(document);
        ASSERT_EQ(attachments.size(), package.files.size());
        EXPECT_EQ(text.count(QChar::ObjectReplacementCharacter), attachments.size());
        for (qsizetype i = 0; i < attachments.size(); ++i) {
            EXPECT_EQ(attachments[i].second.fileName, package.files[i]);
            EXPECT_EQ(attachments[i].second.bytes, fileBytes(folder.filePath(package.files[i])));
        }
    }
}

TEST(RtfdTest, theFlatSampleAndPlainRtfReadButOtherBytesDoNot)
{
    QTextDocument document;
    const QByteArray flat = fileBytes(FreshUserTest::testDataPath("rtfd/flat/km-styledtext-example1.flatrtfd"));
    ASSERT_TRUE(Rtfd::isFlattenedRtfd(flat));
    ASSERT_TRUE(Rtfd::readFlattened(flat, document).ok());
    EXPECT_EQ(textOf(document).trimmed(), "ExampleRTFText1");

    ASSERT_TRUE(Rtfd::readFlattened("{\\rtf1\\ansi plain {\\b bold}}", document).ok());
    EXPECT_EQ(textOf(document), "plain bold");

    EXPECT_FALSE(Rtfd::readFlattened("hello", document).ok());
    EXPECT_TRUE(document.isEmpty()) << "a failed read leaves the document empty";
    FileWrapper noText;
    noText.insert("other.rtf", FileWrapper::regularFile("{\\rtf1 x}"));
    ASSERT_TRUE(Rtfd::readFlattened(flat, document).ok());
    const Status missing = Rtfd::readFlattened(noText.serialized(0), document);
    EXPECT_FALSE(missing.ok());
    EXPECT_TRUE(missing.errorMessage().contains("TXT.rtf"));
    EXPECT_TRUE(document.isEmpty());
}

TEST(RtfdTest, aDocumentSurvivesFlatteningWithFormattingAndAttachmentBytes)
{
    QTextDocument original;
    fillSample(original);
    const QByteArray flat = Rtfd::writeFlattened(original, 0);

    // TXT.rtf first, then the pictures once each, under their names.
    const auto wrapper = FileWrapper::fromSerialized(flat);
    ASSERT_TRUE(wrapper.ok());
    EXPECT_EQ(wrapper.value().entryNames(), (QStringList{"TXT.rtf", "red.png", "blue.png"}));
    EXPECT_TRUE(wrapper.value().fileContents("TXT.rtf")->contains("\\NeXTGraphic red.png"));

    QTextDocument back;
    ASSERT_TRUE(Rtfd::readFlattened(flat, back).ok());
    EXPECT_EQ(textOf(back), textOf(original));
    EXPECT_EQ(attachmentsOf(back), attachmentsOf(original));
    EXPECT_EQ(back.toRawText().indexOf(QChar::ObjectReplacementCharacter), 6);

    // What we write reads back into exactly the same bytes.
    EXPECT_EQ(Rtfd::writeFlattened(back, 0), flat);
}

TEST(RtfdTest, packagesAreWrittenWholeAndReplaceTheOldOneOnlyWhenComplete)
{
    QTemporaryDir temporary;
    const QString package = temporary.filePath("Note.rtfd");
    QTextDocument original;
    fillSample(original);
    ASSERT_TRUE(Rtfd::writePackage(original, package).ok());
    EXPECT_EQ(QDir(package).entryList(QDir::Files, QDir::Name), (QStringList{"TXT.rtf", "blue.png", "red.png"}));
    EXPECT_EQ(fileBytes(QDir(package).filePath("red.png")), pngBytes(Qt::red));

    QTextDocument back;
    ASSERT_TRUE(Rtfd::readPackage(package, back).ok());
    EXPECT_EQ(textOf(back), textOf(original));
    EXPECT_EQ(attachmentsOf(back), attachmentsOf(original));

    // Rewriting with other text drops files the new text no longer has.
    QTextDocument shorter;
    shorter.setPlainText("Only text");
    ASSERT_TRUE(Rtfd::writePackage(shorter, package).ok());
    EXPECT_EQ(QDir(package).entryList(QDir::Files), QStringList{"TXT.rtf"});
    EXPECT_EQ(QDir(temporary.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
        QStringList{"Note.rtfd"})
        << "no staging folder is left behind";

    // An attachment whose name would leave the folder fails before anything changes.
    QTextDocument hostile;
    QTextCursor cursor(&hostile);
    TextAttachments::insert(cursor, {"../escape.png", pngBytes(Qt::green), {}});
    EXPECT_FALSE(Rtfd::writePackage(hostile, package).ok());
    EXPECT_FALSE(QFile::exists(temporary.filePath("escape.png")));
    ASSERT_TRUE(Rtfd::readPackage(package, back).ok());
    EXPECT_EQ(textOf(back), "Only text");

    EXPECT_FALSE(Rtfd::readPackage(temporary.filePath("missing.rtfd"), back).ok());
    EXPECT_FALSE(Rtfd::writePackage(original, temporary.filePath("no/such/folder.rtfd")).ok());
}

// Recovering pages reads only their words; those must be the words the page shows.
TEST(RtfdTest, plainTextWithoutADocumentIsTheDocumentsText)
{
    QList<QByteArray> inputs = {
        "{\\rtf1 one\\par two\\line three\\tab four\\u8364? \\'e9}",
        "{\\rtf1 cr\\u13?\\u10?lf\\u13?cr\\u8233?ps\\u64976?frame\\par}",
        "{\\rtf1{\\trowd\\cellx100\\cellx200 a\\cell b\\cell\\row}after{\\pict\\pngblip 89504e47}\\par\\par}",
        "{\\rtf1 unterminated {\\b group",
    };
    for (const QString &folder : {QStringLiteral("rtf"), QStringLiteral("rtfd/flat")}) {
        const QDir dir(FreshUserTest::testDataPath(folder));
        for (const QString &name : dir.entryList(QDir::Files))
            inputs.append(fileBytes(dir.filePath(name)));
    }
    ASSERT_GT(inputs.size(), 10);
    for (const QByteArray &input : inputs) {
        SCOPED_TRACE(input.left(60).toStdString());
        TextConverter converter;
        ASSERT_TRUE(converter.setRTFDData(input).ok());
        const auto plain = Rtfd::plainTextOfFlattened(input);
        ASSERT_TRUE(plain.ok());
        EXPECT_EQ(plain.value(), converter.plainString());
    }
    EXPECT_FALSE(Rtfd::plainTextOfFlattened("no rtf").ok());
}

} // namespace
