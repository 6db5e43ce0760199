#include "ExportPages.h"
#include "common/FreshUserTest.h"
#include "exchange/JW3iPodWriter.h"
#include "exchange/iPodWriter.h"
#include "platform/base/Localization.h"
#include "platform/settings/UserDefaults.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QTemporaryDir>

namespace {

const QString kHeader = QStringLiteral("<?xml encoding=\"UTF16\"?>\n");

// The text of a file that must start with the bytes FF FE and hold little-endian UTF-16.
QString readUtf16(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QStringLiteral("<missing>");
    const QByteArray bytes = file.readAll();
    if (!bytes.startsWith("\xff\xfe") || bytes.size() % 2 != 0)
        return QStringLiteral("<not UTF-16 with a byte-order mark>");
    QString text;
    for (qsizetype i = 2; i < bytes.size(); i += 2)
        text.append(QChar(char16_t(quint8(bytes[i]) | quint8(bytes[i + 1]) << 8)));
    return text;
}

// Every file below @p folder, relative, folders ending in "/".
QStringList filesIn(const QString &folder)
{
    QStringList names;
    QDirIterator it(folder, QDir::AllEntries | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        names << path.mid(folder.size() + 1) + (it.fileInfo().isDir() ? QStringLiteral("/") : QString());
    }
    names.sort();
    return names;
}

QVariantMap note(const QString &title, const QString &text)
{
    return {{QStringLiteral("Title"), title}, {QStringLiteral("NoteString"), text}};
}

class iPodWriterTest : public FreshUserTest
{
protected:
    void SetUp() override
    {
        FreshUserTest::SetUp();
        Localization::install();
        m_notes = m_player.path() + QStringLiteral("/Notes");
        QDir().mkpath(m_notes);
    }

    QTemporaryDir m_player;
    QString m_notes;
    JW3iPodWriter m_writer;
};

TEST_F(iPodWriterTest, longNotesAreWrittenInPartsWhoseNamesSortInOrder)
{
    // 4100 characters with the header: 2000, 2000 and 100, no padding.
    const QString text(4100 - kHeader.size(), u'a');
    m_writer.writeDataAsNote(note(QStringLiteral("Long"), text), m_notes);
    EXPECT_EQ(filesIn(m_notes), QStringList({"Long1.txt", "Long2.txt", "Long3.txt"}));
    EXPECT_EQ(readUtf16(m_notes + QStringLiteral("/Long3.txt")), QString(100, u'a'));
    EXPECT_EQ(readUtf16(m_notes + QStringLiteral("/Long1.txt")) + readUtf16(m_notes + QStringLiteral("/Long2.txt"))
            + readUtf16(m_notes + QStringLiteral("/Long3.txt")),
        kHeader + text);

    // From 18001 characters on, one zero pads the numbers below 10.
    m_writer.writeDataAsNote(note(QStringLiteral("Nine"), QString(18000 - kHeader.size(), u'b')), m_notes);
    m_writer.writeDataAsNote(note(QStringLiteral("Ten"), QString(18001 - kHeader.size(), u'c')), m_notes);
    const QStringList files = filesIn(m_notes);
    EXPECT_TRUE(files.contains("Nine9.txt") && !files.contains("Nine10.txt")) << files.join(u' ').toStdString();
    EXPECT_TRUE(files.contains("Ten01.txt") && files.contains("Ten09.txt") && files.contains("Ten10.txt")
        && !files.contains("Ten1.txt"))
        << files.join(u' ').toStdString();
    EXPECT_EQ(readUtf16(m_notes + QStringLiteral("/Ten10.txt")), QStringLiteral("c"));
}

TEST_F(iPodWriterTest, aPageTreeGoesIntoTheNotesFolderAsUtf16Files)
{
    ASSERT_FALSE(m_writer.isiPodReady());
    MemoPtr trip = page(QStringLiteral("Trip"), QString(),
        {page(QStringLiteral("1/2 day"), QStringLiteral("Museum \u65e5")), page(QStringLiteral("Empty"), QString())});
    m_writer.writeData(trip->dictionaryRepresentation());
    EXPECT_TRUE(filesIn(m_notes).isEmpty()) << "no player folder chosen yet";

    m_writer.setiPodPath(m_notes + u'/');
    ASSERT_TRUE(m_writer.isiPodReady());
    m_writer.writeData(trip->dictionaryRepresentation());
    // The empty parent has a folder only; an empty page without children still gets its file.
    EXPECT_EQ(filesIn(m_notes), QStringList({"Trip/", "Trip/1-2 day.txt", "Trip/Empty.txt"}));
    EXPECT_EQ(readUtf16(m_notes + QStringLiteral("/Trip/1-2 day.txt")), kHeader + QStringLiteral("Museum \u65e5"));
    EXPECT_EQ(readUtf16(m_notes + QStringLiteral("/Trip/Empty.txt")), kHeader);

    // The folder is kept in the defaults file at once.
    UserDefaults saved(UserDefaults::standardFilePath());
    EXPECT_EQ(saved.stringForKey(QStringLiteral("iPodPath")), m_notes + u'/');
}

TEST_F(iPodWriterTest, longNotesAreCutIntoCardsAtLineBreaksNearTheLimit)
{
    const QVariantMap exact = note(QStringLiteral("T"), QString(1000, u'x'));
    EXPECT_EQ(m_writer.divideOneMemoAtReturnCode(exact), QList<QVariantMap>{exact});

    const auto pieces = [this](const QString &text) {
        QStringList result;
        for (const QVariantMap &piece : m_writer.divideOneMemoAtReturnCode(note(QStringLiteral("T"), text)))
            result << piece.value("Title").toString() + u':' + piece.value("Status").toString() + u':'
                    + QString::number(piece.value("NoteString").toString().size());
        return result;
    };
    EXPECT_EQ(pieces(QString(1001, u'x')), QStringList({"T-1:JW3 :1000", "T-2:JW3 :1"}));
    // A line break at 850 ends the first card; one at 799 lies before the window and does not.
    const QString breakInWindow = QString(850, u'x') + u'\n' + QString(400, u'y');
    EXPECT_EQ(pieces(breakInWindow), QStringList({"T-1:JW3 :851", "T-2:JW3 :400"}));
    const QString breakBeforeWindow = QString(799, u'x') + u'\n' + QString(400, u'y');
    EXPECT_EQ(pieces(breakBeforeWindow), QStringList({"T-1:JW3 :1000", "T-2:JW3 :200"}));
    // Line ends are made "\n" first: 1001 characters with a CR LF become one card of 1000.
    EXPECT_EQ(pieces(QString(500, u'x') + QStringLiteral("\r\n") + QString(499, u'y')), QStringList({"T-1:JW3 :1000"}));
}

TEST_F(iPodWriterTest, anotherFolderReceivesOneVCardFileOfEveryPage)
{
    const QString contacts = m_player.path() + QStringLiteral("/Contacts");
    QDir().mkpath(contacts);
    m_writer.setiPodPath(contacts);
    QVariantMap list = note(QStringLiteral("List"), QStringLiteral("a\r\nb\rc\nd %1"));
    list.insert(QStringLiteral("Date"), QStringLiteral("2024-05-01"));
    list.insert(QStringLiteral("Children"), QVariantList{note(QStringLiteral("Sub"), QStringLiteral("e"))});
    m_writer.writeData(list);

    const QString card1 = QStringLiteral("BEGIN:VCARD\r\nVERSION:3.0\r\nN:JW3 List;;;;\r\nFN:JW3 List\r\n"
                                         "X-NOTE-DATE:2024-05-01\r\nNOTE:a\\nb\\nc\\nd %1\r\nEND:VCARD\r\n");
    const QString card2 = QStringLiteral("BEGIN:VCARD\r\nVERSION:3.0\r\nN:JW3 Sub;;;;\r\nFN:JW3 Sub\r\n"
                                         "X-NOTE-DATE:\r\nNOTE:e\r\nEND:VCARD\r\n");
    EXPECT_EQ(filesIn(contacts), QStringList{"List.vcf"});
    EXPECT_EQ(readUtf16(contacts + QStringLiteral("/List.vcf")), card1 + card2);
}

TEST_F(iPodWriterTest, theBaseWriterKeepsAnExistingFolderInItsOwnPropertyList)
{
    iPodWriter writer;
    writer.setiPodPath(m_player.path() + QStringLiteral("/missing"));
    EXPECT_EQ(writer.iPodPath(), QString());
    writer.setiPodPath(m_notes);
    EXPECT_EQ(writer.iPodPath(), m_notes);
    EXPECT_TRUE(QFileInfo::exists(dataHome() + QStringLiteral("/Brindle/iPodData.plist")));
    EXPECT_EQ(m_writer.iPodPath(), QString()) << "the application's writer keeps its own";

    writer.writeData({{QStringLiteral("Title"), QStringLiteral("Old")}, {QStringLiteral("Memo"), QStringLiteral("m")},
        {QStringLiteral("NoteString"), QStringLiteral("ignored")}});
    EXPECT_EQ(readUtf16(m_notes + QStringLiteral("/Old.txt")), kHeader + u'm');
}

TEST_F(iPodWriterTest, theChooserStartsAtTheStoredFolderElseAVolumesNotesOrContacts)
{
    QTemporaryDir volumes;
    const QString media = volumes.path() + QStringLiteral("/media");
    const QString run = volumes.path() + QStringLiteral("/run");
    for (const char *folder : {"/media/A stick", "/media/B player/Contacts", "/run/C player/Notes"})
        QDir().mkpath(volumes.path() + QString::fromLatin1(folder));
    const QStringList roots{media, run};

    EXPECT_EQ(m_writer.initialFolderForChooser({}), QDir::homePath());
    EXPECT_EQ(m_writer.initialFolderForChooser(roots), media + QStringLiteral("/B player/Contacts"));
    QDir().mkpath(media + QStringLiteral("/B player/Notes"));
    EXPECT_EQ(m_writer.initialFolderForChooser(roots), media + QStringLiteral("/B player/Notes"));
    EXPECT_EQ(m_writer.initialFolderForChooser({run, media}), run + QStringLiteral("/C player/Notes"));

    m_writer.setiPodPath(m_notes);
    EXPECT_EQ(m_writer.initialFolderForChooser(roots), m_notes);
    QDir(m_notes).removeRecursively();
    EXPECT_EQ(m_writer.initialFolderForChooser(roots), media + QStringLiteral("/B player/Notes"));
}

} // namespace
