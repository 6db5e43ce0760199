#include "common/FreshUserTest.h"
#include "common/TestImages.h"
#include "text/AttachmentExport.h"
#include "text/AttributedText.h"
#include "text/TextExport.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTextCursor>
#include <QTextDocument>

namespace {

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

class TextExportTest : public FreshUserTest
{
protected:
    void SetUp() override
    {
        FreshUserTest::SetUp();
        QTextCursor cursor(&m_document);
        QTextCharFormat bold;
        bold.setFontWeight(QFont::Bold);
        cursor.insertText(QStringLiteral("Title"), bold);
        cursor.insertText(QStringLiteral("\nA picture: "));
        TextAttachments::insert(cursor, {QStringLiteral("red.png"), encodedImage(QSize(4, 4), Qt::red), {}});
        cursor.insertText(QStringLiteral(" and") + QChar::LineSeparator + QStringLiteral("a file "));
        TextAttachments::insert(cursor, {QStringLiteral("notes.pdf"), QByteArray("%PDF-1.4 stub"), {}});
    }

    QTextDocument m_document;
};

TEST_F(TextExportTest, rtfLeavesOutAttachmentsAndUnreadableRtfLeavesAnEmptyText)
{
    QTextDocument copy;
    ASSERT_TRUE(TextExport::setRTFData(copy, TextExport::RTFData(m_document)));
    EXPECT_EQ(copy.toPlainText().left(5), QStringLiteral("Title"));
    EXPECT_FALSE(AttributedText::hasAttachment(copy));
    EXPECT_FALSE(TextExport::setRTFData(copy, "not rtf at all"));
    EXPECT_TRUE(copy.isEmpty());
}

TEST_F(TextExportTest, replacingTheWholeTextIsOneUndoStepInTheFirstCharactersFormat)
{
    const QString before = m_document.toRawText();
    TextExport::replaceCharactersWithString(m_document, QStringLiteral("New\ntext"));
    EXPECT_EQ(m_document.toPlainText(), QStringLiteral("New\ntext"));
    EXPECT_EQ(m_document.blockCount(), 2);
    QTextCursor cursor(&m_document);
    cursor.setPosition(6);
    EXPECT_EQ(cursor.charFormat().fontWeight(), QFont::Bold);
    EXPECT_FALSE(AttributedText::hasAttachment(m_document));
    m_document.undo();
    EXPECT_EQ(m_document.toRawText(), before);

    // Text taking the place of a picture does not become one.
    QTextDocument picture;
    QTextCursor start(&picture);
    TextAttachments::insert(start, {QStringLiteral("a.png"), encodedImage(QSize(2, 2), Qt::blue), {}});
    TextExport::replaceCharactersWithString(picture, QStringLiteral("words"));
    EXPECT_EQ(picture.toPlainText(), QStringLiteral("words"));
    EXPECT_TRUE(AttributedText::attachments(picture).isEmpty());
}

TEST_F(TextExportTest, plainTextFileIsUtf8WithTheDocumentsBreaks)
{
    const QString expected
        = QStringLiteral("Title\nA picture: \uFFFC and") + QChar::LineSeparator + QStringLiteral("a file \uFFFC");
    EXPECT_EQ(TextExport::string(m_document), expected);

    const QString path = home() + QStringLiteral("/text.txt");
    ASSERT_TRUE(writeFile(path, "old"));
    ASSERT_TRUE(TextExport::saveAsPlainUTF8TextFile(m_document, path));
    EXPECT_EQ(readAll(path), expected.toUtf8());

    const Status failed = TextExport::saveAsPlainUTF8TextFile(m_document, home() + QStringLiteral("/no/such/a.txt"));
    EXPECT_FALSE(failed);
    EXPECT_TRUE(failed.errorMessage().contains(QStringLiteral("no/such/a.txt")));
}

TEST_F(TextExportTest, pdfHasOnePageAsTallAsTheTextOrSeveralForALongOne)
{
    const QString path = home() + QStringLiteral("/text.pdf");
    ASSERT_TRUE(TextExport::saveAsPDFToFile(m_document, path));
    const QByteArray pdf = readAll(path);
    const QRegularExpression page(QStringLiteral("/Type\\s*/Page\\b"));
    const QRegularExpression mediaBox(QStringLiteral("/MediaBox\\s*\\[\\s*0\\s+0\\s+([\\d.]+)\\s+([\\d.]+)"));
    EXPECT_EQ(QString::fromLatin1(pdf).count(page), 1);
    const auto box = mediaBox.match(QString::fromLatin1(pdf));
    ASSERT_TRUE(box.hasMatch());
    EXPECT_NEAR(box.captured(1).toDouble(), 595, 1);
    EXPECT_GT(box.captured(2).toDouble(), 20);
    EXPECT_LT(box.captured(2).toDouble(), 400);

    QTextDocument longText;
    longText.setPlainText(QStringLiteral("A line of a long text.\n").repeated(2000));
    ASSERT_TRUE(TextExport::saveAsPDFToFile(longText, path));
    EXPECT_GE(QString::fromLatin1(readAll(path)).count(page), 2);

    EXPECT_FALSE(TextExport::saveAsPDFToFile(m_document, home() + QStringLiteral("/missing/out.pdf")));
}

TEST_F(TextExportTest, attachmentsAreExportedWithTheirBytesUnderFreeNames)
{
    const auto attachments = AttributedText::attachments(m_document);
    ASSERT_EQ(attachments.size(), 2);
    const QString single = home() + QStringLiteral("/single.png");
    ASSERT_TRUE(AttachmentExport::exportAttachment(attachments[0], single));
    EXPECT_EQ(readAll(single), attachments[0].bytes);
    EXPECT_FALSE(AttachmentExport::exportAttachment(TextAttachment{QStringLiteral("x"), {}, {}}, single));
    EXPECT_EQ(readAll(single), attachments[0].bytes);

    // A name taken in the folder, an attachment shown twice, a name reaching outside.
    const QString folder = home() + QStringLiteral("/export");
    ASSERT_TRUE(QDir().mkpath(folder));
    ASSERT_TRUE(writeFile(folder + QStringLiteral("/red.png"), "keep me"));
    QTextCursor cursor(&m_document);
    cursor.setPosition(17);
    cursor.setPosition(18, QTextCursor::KeepAnchor);
    const QTextDocumentFragment picture(cursor);
    cursor.movePosition(QTextCursor::End);
    cursor.insertFragment(picture);
    TextAttachments::insert(cursor, {QStringLiteral("../escape.txt"), QByteArray("inside"), {}});

    const auto written = AttachmentExport::exportEveryAttachment(m_document, folder);
    ASSERT_TRUE(written) << written.errorMessage().toStdString();
    EXPECT_EQ(written.value().size(), 3);
    EXPECT_EQ(readAll(folder + QStringLiteral("/red.png")), QByteArray("keep me"));
    EXPECT_EQ(readAll(written.value().value(0)), attachments[0].bytes);
    EXPECT_NE(written.value().value(0), folder + QStringLiteral("/red.png"));
    EXPECT_EQ(readAll(folder + QStringLiteral("/notes.pdf")), QByteArray("%PDF-1.4 stub"));
    EXPECT_EQ(readAll(folder + QStringLiteral("/escape.txt")), QByteArray("inside"));
    EXPECT_FALSE(QFile::exists(home() + QStringLiteral("/escape.txt")));

    EXPECT_FALSE(AttachmentExport::exportEveryAttachment(m_document, home() + QStringLiteral("/nowhere")));
}

} // namespace
