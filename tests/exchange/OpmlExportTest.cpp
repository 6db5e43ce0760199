#include "ExportPages.h"
#include "common/FreshUserTest.h"
#include "common/TestDataFiles.h"
#include "exchange/OpmlExport.h"
#include "exchange/XslTransform.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QHostAddress>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QUrl>
#include <QXmlStreamReader>

namespace {

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    ASSERT_EQ(file.write(bytes), bytes.size());
}

// Each outline as "<depth> <text> | <note>", in document order.
QStringList outlines(const QByteArray &opml)
{
    QStringList found;
    QXmlStreamReader reader(opml);
    int depth = 0;
    while (reader.readNext() != QXmlStreamReader::EndDocument && !reader.hasError()) {
        if (reader.isStartElement() && reader.name() == QLatin1StringView("outline")) {
            const QXmlStreamAttributes attributes = reader.attributes();
            found.append(
                QStringLiteral("%1 %2 | %3")
                    .arg(depth)
                    .arg(attributes.value(QLatin1StringView("text")), attributes.value(QLatin1StringView("_note"))));
            ++depth;
        } else if (reader.isEndElement() && reader.name() == QLatin1StringView("outline")) {
            --depth;
        }
    }
    if (reader.hasError())
        found.append(QStringLiteral("error: ") + reader.errorString());
    return found;
}

const QString kTitle = QStringLiteral("Café & <\"Bistro\">");

class OpmlExportTest : public FreshUserTest
{
protected:
    QStringList folderEntries() const
    {
        return QDir(m_folder.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
    }
    QString sheetFile(const QByteArray &templateBody, const QByteArray &topLevel = {})
    {
        const QString path = m_folder.filePath(QStringLiteral("sheet.xsl"));
        writeFile(path,
            "<xsl:stylesheet version=\"1.0\" xmlns:xsl=\"http://www.w3.org/1999/XSL/Transform\""
            " xmlns:exsl=\"http://exslt.org/common\" extension-element-prefixes=\"exsl\">"
                + topLevel + "<xsl:template match=\"/\">" + templateBody + "</xsl:template></xsl:stylesheet>");
        return path;
    }

    // The form feed is one of the characters XML cannot hold: the outline goes without it.
    MemoPtr m_trip = page(kTitle, QStringLiteral("Line one\nLine two"),
        {page(QStringLiteral("Day one"), QStringLiteral("Museum & lunch"), {page(QStringLiteral("Hotel"), QString())}),
            page(QStringLiteral("Day two"), QStringLiteral("Beach\f"))});
    QTemporaryDir m_folder;
};

TEST_F(OpmlExportTest, writesTheTreeAsNestedOutlinesAndRemovesTheTemporaryFile)
{
    const QString path = m_folder.filePath(QStringLiteral("trip.opml"));
    EXPECT_TRUE(OpmlExport::exportMemoToOPML(*m_trip, path));

    const QByteArray opml = readAll(path);
    EXPECT_EQ(opml, readTestData(QStringLiteral("opml/trip.opml")));
    EXPECT_EQ(outlines(opml),
        QStringList(
            {QStringLiteral("0 %1 | Line one\nLine two").arg(kTitle), QStringLiteral("1 Day one | Museum & lunch"),
                QStringLiteral("2 Hotel | "), QStringLiteral("1 Day two | Beach")}));
    EXPECT_EQ(folderEntries(), QStringList({QStringLiteral("trip.opml")}));
}

TEST_F(OpmlExportTest, aMissingStyleSheetWritesNothing)
{
    EXPECT_TRUE(
        OpmlExport::exportMemo(*m_trip, m_folder.filePath(QStringLiteral("trip.opml")), QStringLiteral("nothing")));
    EXPECT_TRUE(folderEntries().isEmpty());
}

TEST_F(OpmlExportTest, aSourceThatIsNotXmlLeavesTheTargetAsItWas)
{
    const QString target = m_folder.filePath(QStringLiteral("out.opml"));
    writeFile(target, "before");
    const QString sheet = XslTransform::styleSheetPath(QStringLiteral("plist2opml"));
    ASSERT_FALSE(sheet.isEmpty());

    EXPECT_FALSE(XslTransform::xslTransformWithXMLDocument("<plist><dict><key>Title</oops>", sheet, target));
    EXPECT_FALSE(XslTransform::xslTransformWithXMLDocument(QByteArray("\x89PNG\r\n\x1a\n", 8), sheet, target));
    EXPECT_FALSE(XslTransform::xslTransform(m_folder.filePath(QStringLiteral("absent.xml")), target, sheet));
    EXPECT_EQ(readAll(target), QByteArray("before"));
}

TEST_F(OpmlExportTest, textResultsAreWrittenAsTheyAre)
{
    const QString source = m_folder.filePath(QStringLiteral("in.xml"));
    writeFile(source, "<list><item>a &amp; b</item><item>ü</item></list>");
    const QString sheet = sheetFile("<xsl:for-each select=\"list/item\"><xsl:value-of select=\".\"/>;</xsl:for-each>",
        "<xsl:output method=\"text\" encoding=\"UTF-8\"/>");

    const QString target = m_folder.filePath(QStringLiteral("out.txt"));
    ASSERT_TRUE(XslTransform::xslTransform(source, target, sheet));
    EXPECT_EQ(readAll(target), QByteArray("a & b;\xc3\xbc;"));
}

TEST_F(OpmlExportTest, sheetsCannotReachTheNetworkOrWriteFiles)
{
    QTcpServer server;
    ASSERT_TRUE(server.listen(QHostAddress::LocalHost));
    const QString written = m_folder.filePath(QStringLiteral("written.txt"));
    const QByteArray fileUrl = QUrl::fromLocalFile(written).toEncoded();
    const QByteArray attempts[] = {
        "<x><xsl:copy-of select=\"document('http://127.0.0.1:" + QByteArray::number(server.serverPort())
            + "/a')\"/></x>",
        "<x><exsl:document href=\"" + fileUrl + "\" method=\"text\">stolen</exsl:document></x>",
        "<x><xsl:document href=\"" + fileUrl + "\" method=\"text\">stolen</xsl:document></x>",
    };
    const QString target = m_folder.filePath(QStringLiteral("out.xml"));
    for (const QByteArray &attempt : attempts) {
        SCOPED_TRACE(attempt.toStdString());
        EXPECT_FALSE(XslTransform::xslTransformWithXMLDocument("<doc/>", sheetFile(attempt), target));
        EXPECT_FALSE(QFile::exists(target));
        EXPECT_FALSE(QFile::exists(written));
    }
    EXPECT_FALSE(server.waitForNewConnection(50));
}

TEST_F(OpmlExportTest, sourcesThatDeclareEntitiesAreRefused)
{
    const QString secret = m_folder.filePath(QStringLiteral("secret.txt"));
    writeFile(secret, "SECRET");
    // 50 kB referred to 2,000 times would make 100 MB of title.
    QByteArray manyReferences;
    for (int i = 0; i < 2000; ++i)
        manyReferences += "&big;";
    const QByteArray sources[] = {
        "<!DOCTYPE plist [<!ENTITY s SYSTEM \"" + QUrl::fromLocalFile(secret).toEncoded()
            + "\">]><plist><dict><key>Title</key><string>x&s;</string></dict></plist>",
        "<!DOCTYPE plist [<!ENTITY big \"" + QByteArray(50000, 'a') + "\">]><plist><dict><key>Title</key><string>"
            + manyReferences + "</string></dict></plist>",
    };
    const QString sheet = XslTransform::styleSheetPath(QStringLiteral("plist2opml"));
    for (const QByteArray &source : sources)
        EXPECT_FALSE(XslTransform::transformedData(source, sheet).ok());
    // Character references need no declaration.
    const Result<QByteArray> plain = XslTransform::transformedData(
        "<!DOCTYPE plist><plist><dict><key>Title</key><string>&#233;&amp;</string></dict></plist>", sheet);
    ASSERT_TRUE(plain.ok());
    EXPECT_TRUE(plain.value().contains("<outline text=\"\xc3\xa9&amp;\"/>"));
}

} // namespace
