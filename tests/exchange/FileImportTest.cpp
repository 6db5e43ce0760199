#include "common/FreshUserTest.h"
#include "common/TestImages.h"
#include "exchange/FileImport.h"
#include "model/JWMemo.h"
#include "platform/archive/PropertyList.h"
#include "platform/richtext/TextAttachment.h"
#include "text/TextExport.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTextCursor>
#include <QTextDocument>

namespace {

class FileImportTest : public FreshUserTest
{
protected:
    QString write(const QString &relativePath, const QByteArray &bytes) const
    {
        const QString path = home() + QStringLiteral("/in/") + relativePath;
        QDir().mkpath(QFileInfo(path).absolutePath());
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
        return path;
    }
    QString folder(const QString &relativePath) const
    {
        const QString path = home() + QStringLiteral("/in/") + relativePath;
        QDir().mkpath(path);
        return path;
    }
    static QStringList titles(const MemoPtr &memo)
    {
        QStringList result;
        for (const MemoPtr &child : memo->children())
            result.append(child->title());
        return result;
    }
    static QString reasons(const FileImport &import)
    {
        QStringList lines;
        for (const FileImport::Skipped &skipped : import.skipped())
            lines.append(QFileInfo(skipped.path).fileName() + QStringLiteral(": ") + skipped.reason);
        return lines.join(u'\n');
    }
};

TEST_F(FileImportTest, foldersBecomeTreesWithTitleFilesAndFileFolderPairs)
{
    const QString trip = folder(QStringLiteral("Trip"));
    write(QStringLiteral("Trip/Trip.txt"), "Plans for the trip");
    write(QStringLiteral("Trip/a.TXT"), "Packing list");
    write(QStringLiteral("Trip/Day.txt"), "The first day");
    write(QStringLiteral("Trip/Day/Hotel.rtf"), "{\\rtf1 Room {\\b 12}}");
    write(QStringLiteral("Trip/Photos/notes.pdf"), "%PDF-1.4");
    write(QStringLiteral("Trip/.hidden/secret.txt"), "not for import");
    QFile::link(trip, trip + QStringLiteral("/Day/back"));

    FileImport import;
    const MemoPtr memo = import.newMemoWithContentOfFile(trip);
    ASSERT_TRUE(memo);
    // The title file gives the folder its text and is a child as well.
    EXPECT_EQ(memo->plainText(), QStringLiteral("Plans for the trip"));
    EXPECT_EQ(titles(memo), QStringList({"a", "Day", "Trip"}));
    const MemoPtr day = memo->children()[1];
    EXPECT_EQ(day->plainText(), QStringLiteral("The first day"));
    ASSERT_EQ(titles(day), QStringList({"Hotel"}));
    EXPECT_EQ(day->children()[0]->plainText(), QStringLiteral("Room 12"));
    // The folder of nothing importable, the link back up and the PDF are named, nothing else.
    EXPECT_EQ(reasons(import),
        QStringLiteral("back: it leads back into a folder that holds it\n"
                       "notes.pdf: this kind of file cannot be imported\n"
                       "Photos: nothing in it can be imported"));
    EXPECT_FALSE(import.newMemoFrom_folder(folder(QStringLiteral("Trip/Photos"))));
}

TEST_F(FileImportTest, filesAreReadByTheirKindAndRefusedWithAReason)
{
    FileImport import;
    // A blank line before the signature makes it plain text, not an outline.
    const MemoPtr plain = import.newMemoWithContentOfFile(
        write(QStringLiteral("outline.txt"), "\n>>NTP2---------\n>>NOTE-----------------------------------------"));
    ASSERT_TRUE(plain);
    EXPECT_TRUE(plain->children().empty());
    EXPECT_EQ(plain->title(), QStringLiteral("outline"));

    QVariantMap page{{QStringLiteral("title"), QStringLiteral("Kept title")}, {QStringLiteral("open"), true}};
    const MemoPtr pageFile = import.newMemoWithContentOfFile(
        write(QStringLiteral("12.jw3page"), PropertyList::toData(page, PropertyList::Format::Xml).value()));
    ASSERT_TRUE(pageFile);
    EXPECT_EQ(pageFile->title(), QStringLiteral("Kept title"));
    EXPECT_TRUE(pageFile->protectWithPassword());
    EXPECT_FALSE(pageFile->isPlainTextMemo());
    EXPECT_FALSE(import.newMemoWithContentOfFile(
        write(QStringLiteral("open.jw2note"), PropertyList::toData(page, PropertyList::Format::Xml).value())));

    const QByteArray png = encodedImage({4, 3}, Qt::red);
    const MemoPtr picture = import.newMemoWithContentOfFile(write(QStringLiteral("Map.png"), png));
    ASSERT_TRUE(picture);
    QTextDocument document;
    ASSERT_TRUE(TextExport::setRTFDData(document, picture->memoData()).ok());
    const auto attachments = TextAttachments::all(document);
    ASSERT_EQ(attachments.size(), 1);
    EXPECT_EQ(attachments[0].second.fileName, QStringLiteral("Map.png"));
    EXPECT_EQ(attachments[0].second.bytes, png);
    EXPECT_EQ(picture->title(), QStringLiteral("Map"));

    EXPECT_FALSE(import.newMemoWithContentOfFile(write(QStringLiteral("data.txt"), QByteArray("ab\0cd", 5))));
    EXPECT_FALSE(import.newMemoWithContentOfFile(write(QStringLiteral("fake.png"), "not a picture")));
    EXPECT_FALSE(import.newMemoWithContentOfFile(write(QStringLiteral("letter.doc"), "no Word document")));
    const QString why = reasons(import);
    EXPECT_TRUE(why.contains(QStringLiteral("data.txt: it holds binary data"))) << why.toStdString();
    EXPECT_TRUE(why.contains(QStringLiteral("fake.png: it is not a picture"))) << why.toStdString();
    EXPECT_TRUE(why.contains(QStringLiteral("letter.doc: "))) << why.toStdString();
}

TEST_F(FileImportTest, folderArraysAreAllOrNothingAndCancellingStopsEverything)
{
    write(QStringLiteral("set/a.txt"), "A");
    folder(QStringLiteral("set/sub"));
    write(QStringLiteral("set/sub/b.txt"), "B");
    FileImport import;
    const auto pages = import.memoArrayWithContentsOfFolder(home() + QStringLiteral("/in/set"));
    ASSERT_TRUE(pages);
    EXPECT_EQ(pages->size(), 2);
    write(QStringLiteral("set/c.pdf"), "%PDF");
    EXPECT_FALSE(import.memoArrayWithContentsOfFolder(home() + QStringLiteral("/in/set")));
    EXPECT_TRUE(import.memoArrayWithContentsOfFolder(home() + QStringLiteral("/in/set/a.txt"))->isEmpty());

    for (int i = 0; i < 10; ++i)
        write(QStringLiteral("many/%1.txt").arg(i), "text");
    qint64 seen = 0;
    FileImport cancelled([&](qint64 files, qint64) {
        seen = files;
        return files < 3;
    });
    EXPECT_FALSE(cancelled.newMemoWithContentOfFile(home() + QStringLiteral("/in/many")));
    EXPECT_TRUE(cancelled.wasCancelled());
    EXPECT_EQ(seen, 3);
    EXPECT_EQ(FileImport::measure({home() + QStringLiteral("/in/many")}).files, 10);
}

} // namespace

namespace {

// A tree of the previous version takes new IDs; its page links follow them
// and keep their scheme, which holds a "3" of its own.
TEST_F(FileImportTest, earlierVersionTreesTakeNewIDsAndTheirLinksFollow)
{
    QTextDocument text;
    QTextCursor cursor(&text);
    QTextCharFormat link;
    link.setAnchor(true);
    link.setAnchorHref(QStringLiteral("Jotwell3://pageid/3/"));
    cursor.insertText(QStringLiteral("See the child"), link);
    const QVariantMap child{{QStringLiteral("ID"), 3}, {QStringLiteral("Title"), QStringLiteral("Child")},
        {QStringLiteral("NoteString"), QStringLiteral("child text")}};
    const QVariantMap parent{{QStringLiteral("ID"), 2}, {QStringLiteral("Title"), QStringLiteral("Parent")},
        {QStringLiteral("NoteData"), TextExport::RTFDData(text)}, {QStringLiteral("Children"), QVariantList{child}}};

    FileImport import;
    const MemoPtr memo = import.newMemoWithContentOfFile(
        write(QStringLiteral("tree.jw2"), PropertyList::toData(parent, PropertyList::Format::Xml).value()));
    ASSERT_TRUE(memo) << reasons(import).toStdString();
    ASSERT_EQ(titles(memo), QStringList{QStringLiteral("Child")});
    const MemoPtr imported = memo->children()[0];
    EXPECT_NE(imported->memoID(), 3);
    EXPECT_FALSE(memo->isPlainTextMemo());
    QTextDocument back;
    ASSERT_TRUE(TextExport::setRTFDData(back, memo->memoData()).ok());
    QTextCursor at(&back);
    at.setPosition(2);
    EXPECT_EQ(at.charFormat().anchorHref(), QStringLiteral("Jotwell3://pageid/%1/").arg(imported->memoID()));
}

} // namespace
