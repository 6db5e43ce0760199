#include "ExportPages.h"
#include "common/FreshUserTest.h"
#include "exchange/PageExport.h"
#include "model/JWMemo.h"
#include "platform/richtext/Rtfd.h"
#include "platform/richtext/TextAttachment.h"
#include "platform/richtext/TextConverter.h"
#include "text/TextExport.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTextCursor>
#include <QTextDocument>

namespace {

QStringList entriesBelow(const QString &folder)
{
    QStringList entries;
    QDirIterator it(folder, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (it.hasNext())
        entries.append(it.next().mid(folder.size() + 1));
    entries.sort();
    return entries;
}

QString packageText(const QString &path)
{
    QTextDocument document;
    return Rtfd::readPackage(path, document) ? TextExport::string(document) : QStringLiteral("<unreadable>");
}

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

class PageExportTest : public FreshUserTest
{
protected:
    MemoPtr m_trip = page(QStringLiteral("Trip"), QStringLiteral("Plans"),
        {page(QStringLiteral("Day one"), QStringLiteral("Museum"),
             {page(QStringLiteral("Hotel"), QStringLiteral("Room 12"))}),
            page(QStringLiteral("Day two"), QStringLiteral("Beach"))});
    QTemporaryDir m_folder;
};

TEST_F(PageExportTest, rtfdHierarchyMakesUniqueNamesButReusesTheChildFolders)
{
    const QString f = m_folder.path();
    ASSERT_TRUE(PageExport::exportMemosASRTFD(*m_trip, f).ok());
    EXPECT_EQ(packageText(f + QStringLiteral("/Trip.rtfd")), QStringLiteral("Plans"));
    EXPECT_EQ(packageText(f + QStringLiteral("/Trip/Day one/Hotel.rtfd")), QStringLiteral("Room 12"));

    ASSERT_TRUE(PageExport::exportMemosASRTFD(*m_trip, f).ok());
    const QStringList top = QDir(f).entryList(QDir::AllEntries | QDir::NoDotAndDotDot, QDir::Name);
    EXPECT_EQ(top, QStringList({"Trip", "Trip.rtfd", "Trip_1.rtfd"}));
    EXPECT_EQ(packageText(f + QStringLiteral("/Trip/Day one/Hotel_1.rtfd")), QStringLiteral("Room 12"));
    EXPECT_FALSE(QFileInfo::exists(f + QStringLiteral("/Trip/Day one_1")));
}

TEST_F(PageExportTest, joinedExportsHoldTheSubtreeDepthFirst)
{
    const QString joined = QStringLiteral("Plans\nMuseum\nRoom 12\nBeach");
    const QString text = m_folder.filePath(QStringLiteral("trip.txt"));
    ASSERT_TRUE(PageExport::exportMemoToJoinedPlainText(*m_trip, text).ok());
    EXPECT_EQ(readAll(text), joined.toUtf8());

    const QString rtfd = m_folder.filePath(QStringLiteral("trip.rtfd"));
    ASSERT_TRUE(PageExport::exportMemoToJoinedRTFD(*m_trip, rtfd).ok());
    EXPECT_EQ(packageText(rtfd), joined);

    ASSERT_TRUE(PageExport::exportSingleMemoASPlainText(*m_trip, text).ok());
    EXPECT_EQ(readAll(text), QByteArray("Plans"));

    // Each page's picture comes along under its own name.
    for (const MemoPtr &child : m_trip->children()) {
        TextConverter converter;
        converter.setString(child->title());
        QTextCursor cursor(&converter.document());
        TextAttachments::insert(cursor, {QStringLiteral("a.png"), child->title().toUtf8(), {}});
        child->setMemoData(converter.RTFDData());
    }
    ASSERT_TRUE(PageExport::exportMemoToJoinedRTFD(*m_trip, rtfd).ok());
    EXPECT_EQ(readAll(rtfd + QStringLiteral("/a.png")), QByteArray("Day one"));
    EXPECT_EQ(readAll(rtfd + QStringLiteral("/a 2.png")), QByteArray("Day two"));

    const QString pdf = m_folder.filePath(QStringLiteral("trip.pdf"));
    ASSERT_TRUE(PageExport::exportMemoToJoinedPDF(*m_trip, pdf).ok());
    EXPECT_TRUE(readAll(pdf).startsWith("%PDF-"));
}

// The joined PDF holds the pages' texts depth first, as a reader extracts them.
TEST_F(PageExportTest, joinedPdfTextReadsInTreeOrder)
{
    const QString pdf = m_folder.filePath(QStringLiteral("trip.pdf"));
    ASSERT_TRUE(PageExport::exportMemoToJoinedPDF(*m_trip, pdf).ok());
    QProcess extract;
    extract.start(QStringLiteral("pdftotext"), {pdf, QStringLiteral("-")});
    if (!extract.waitForStarted())
        GTEST_SKIP() << "pdftotext (poppler-utils) is not installed";
    ASSERT_TRUE(extract.waitForFinished());
    const QString text = QString::fromUtf8(extract.readAllStandardOutput());
    qsizetype at = 0;
    for (const char *expected : {"Plans", "Museum", "Room 12", "Beach"}) {
        const qsizetype found = text.indexOf(QLatin1String(expected), at);
        EXPECT_GE(found, at) << expected << " in " << text.toStdString();
        at = std::max(found, at);
    }
}

TEST_F(PageExportTest, badPagesAreNamedTogetherWhileTheRestIsWritten)
{
    MemoPtr broken = page(QStringLiteral("Broken"), QStringLiteral("kept plain text"));
    broken->setMemoData(QByteArray("rtfd\0\0\0\0garbage", 15));
    MemoPtr blocked = page(QStringLiteral("Blocked"), QStringLiteral("b"), {page(QStringLiteral("Lost"), QString())});
    MemoPtr deep = page(QString(200, u'd'), QString());
    for (int level = 0; level < 1000; ++level)
        deep = page(QString(200, u'd'), QString::number(level), {deep});
    MemoPtr top = page(QStringLiteral("Top"), QStringLiteral("t"),
        {page(QString::fromUtf8("a/b\0c", 5), QStringLiteral("slash")),
            page(QString(2000, u'x'), QStringLiteral("long")), page(QStringLiteral("Twin"), QStringLiteral("1")),
            page(QStringLiteral("Twin"), QStringLiteral("2")), broken, blocked, deep});
    const QString out = m_folder.filePath(QStringLiteral("out"));
    ASSERT_TRUE(QDir().mkpath(out + QStringLiteral("/Top")));
    ASSERT_TRUE(QFile(out + QStringLiteral("/Top/Blocked")).open(QIODevice::WriteOnly)); // in the way of a folder

    const Status status = PageExport::exportMemoToPDF(*top, out);
    ASSERT_FALSE(status.ok());
    EXPECT_TRUE(status.errorMessage().contains(QStringLiteral("\"Broken\"")));
    EXPECT_TRUE(status.errorMessage().contains(QStringLiteral("pages below \"Blocked\" (1)")));
    EXPECT_TRUE(status.errorMessage().contains(QStringLiteral("pages below \"") + QString(59, u'd') + QChar(0x2026)));
    EXPECT_FALSE(status.errorMessage().contains(QStringLiteral("Twin"))) << qPrintable(status.errorMessage());

    const QStringList entries = entriesBelow(out);
    for (const char *name :
        {"Top.pdf", "Top/a-bc.pdf", "Top/Twin.pdf", "Top/Twin_1.pdf", "Top/Broken.pdf", "Top/Blocked.pdf"})
        EXPECT_TRUE(entries.contains(QLatin1String(name))) << name;
    EXPECT_TRUE(entries.contains(QStringLiteral("Top/") + QString(236, u'x') + QStringLiteral(".pdf")));
    for (const QString &entry : entries)
        EXPECT_TRUE(entry.endsWith(u".pdf") || QFileInfo(out + u'/' + entry).isDir() || entry == u"Top/Blocked")
            << qPrintable(entry); // nothing half-written left behind

    const QString joined = m_folder.filePath(QStringLiteral("deep.txt"));
    ASSERT_TRUE(PageExport::exportMemoToJoinedPlainText(*deep, joined).ok());
    EXPECT_EQ(readAll(joined).count('\n'), 1000);
    EXPECT_TRUE(readAll(joined).startsWith("999\n998\n"));
}

} // namespace
