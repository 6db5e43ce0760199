#include "common/FreshUserTest.h"
#include "exchange/CalendarImport.h"
#include "model/JWMemo.h"
#include "text/TextExport.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QTextBlock>
#include <QTextDocument>

namespace {

class CalendarImportTest : public FreshUserTest
{
protected:
    MemoPtr importFile(const QString &name, const QByteArray &bytes) const
    {
        const QString path = home() + u'/' + name;
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
        file.close();
        return name.endsWith(QLatin1StringView(".ics")) ? CalendarImport::newMemoFrom_ics(path)
                                                        : CalendarImport::newMemoFrom_html(path);
    }
};

TEST_F(CalendarImportTest, FirstEventOfARealCalendar)
{
    const MemoPtr memo = CalendarImport::newMemoFrom_ics(testDataPath(QStringLiteral("ics/discourse_no_dtend.ics")));
    ASSERT_TRUE(memo);
    EXPECT_EQ(memo->title(), QStringLiteral("2019-01-17 openLab"));
    // Folds become white space that HTML collapses, a fold inside a "\n"
    // escape leaves its "n", the escaped ";" completes "&hellip;", and the
    // body runs on to the end of the event; the second event is not read.
    const QString expected = QStringLiteral(
        "Zwei FH-Studentinnen (Anne und Caro) haben sich die Bar angesch aut und wollen wiederkommen. "
        "Ich habe sie zu diesem Discourse eingeladen . Otto baute mit dem Laserdrucker ein Gehäuse für ein "
        "DMX Interface. nEs gab die Ve\u2026 SUMMARY:2019-01-17 openLab URL:/c/machbar/calendar");
    EXPECT_EQ(memo->plainText(), expected);
    QTextDocument stored;
    ASSERT_TRUE(TextExport::setRTFDData(stored, memo->memoData()));
    EXPECT_EQ(TextExport::string(stored), expected);
}

TEST_F(CalendarImportTest, EscapesAreRemovedInOrder)
{
    // "icsReturnCode" goes first, so the backslash before it and the "n"
    // after it meet as an escape and go too; a doubled backslash goes whole.
    const auto event = CalendarImport::firstEvent(QStringLiteral(
        "BEGIN:VEVENT\r\nsummary:Trip\r\nDESCRIPTION:a\\nb\\\\c x\\icsReturnCoden y\\, z\r\nend:VEVENT\r\n"));
    ASSERT_TRUE(event);
    EXPECT_EQ(event->title, QStringLiteral("Trip"));
    EXPECT_EQ(event->body, QStringLiteral("abc x y, z"));

    // Old Mac line ends end the summary too; the body is read as HTML.
    const MemoPtr memo = importFile(QStringLiteral("mac.ics"),
        "BEGIN:VEVENT\rSUMMARY:Caf\xc3\xa9\rDESCRIPTION:<b>Bold</b> &amp;\\n more\rEND:VEVENT\r");
    ASSERT_TRUE(memo);
    EXPECT_EQ(memo->title(), QStringLiteral("Café"));
    EXPECT_EQ(memo->plainText(), QStringLiteral("Bold & more"));
}

TEST_F(CalendarImportTest, EventsWithoutSummaryOrDescription)
{
    const MemoPtr noDescription = importFile(QStringLiteral("a.ics"), "BEGIN:VEVENT\nSUMMARY:Dentist\nEND:VEVENT\n");
    ASSERT_TRUE(noDescription);
    EXPECT_EQ(noDescription->title(), QStringLiteral("Dentist"));
    EXPECT_EQ(noDescription->plainText(), QString());

    const MemoPtr noSummary = importFile(QStringLiteral("b.ics"), "DESCRIPTION:Bring the insurance card\nEND:VEVENT");
    ASSERT_TRUE(noSummary);
    EXPECT_EQ(noSummary->plainText(), QStringLiteral("Bring the insurance card"));
    EXPECT_EQ(noSummary->title(), JWMemo::titleFromText(noSummary->plainText()));

    EXPECT_FALSE(importFile(QStringLiteral("c.ics"), "BEGIN:VEVENT\nEND:VEVENT\n"));
}

TEST_F(CalendarImportTest, UnreadableFilesGiveNoPage)
{
    EXPECT_FALSE(CalendarImport::newMemoFrom_ics(home() + QStringLiteral("/missing.ics")));
    EXPECT_FALSE(CalendarImport::newMemoFrom_html(home() + QStringLiteral("/missing.html")));
    QByteArray binary;
    for (int i = 0; i < 256; ++i)
        binary.append(char(i));
    EXPECT_FALSE(importFile(QStringLiteral("binary.ics"), binary + "SUMMARY:x\nDESCRIPTION:y\nEND:"));
}

TEST_F(CalendarImportTest, HtmlKeepsTablesLinksAndItsCharset)
{
    const MemoPtr memo = importFile(QStringLiteral("Trip plan.v2.html"),
        "<html><head><title>Ignored</title></head><body><p>See <a href=\"https://example.org/a\">the site</a></p>"
        "<table><tr><td>Monday</td><td>Museum</td></tr><tr><td>Tuesday</td><td>Beach</td></tr></table>"
        "</body></html>");
    ASSERT_TRUE(memo);
    EXPECT_EQ(memo->title(), QStringLiteral("Trip plan.v2"));
    QTextDocument document;
    ASSERT_TRUE(TextExport::setRTFDData(document, memo->memoData()));
    const QString text = TextExport::string(document);
    EXPECT_EQ(memo->plainText(), text);
    for (const char *word : {"See the site", "Monday", "Museum", "Tuesday", "Beach"})
        EXPECT_TRUE(text.contains(QLatin1StringView(word))) << word << " missing from " << text.toStdString();
    QString linked;
    for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
        for (auto it = block.begin(); !it.atEnd(); ++it) {
            if (it.fragment().charFormat().anchorHref() == QLatin1StringView("https://example.org/a"))
                linked += it.fragment().text();
        }
    }
    EXPECT_EQ(linked, QStringLiteral("the site"));

    const MemoPtr latin1 = importFile(QStringLiteral("latin.htm"),
        "<meta http-equiv=\"Content-Type\" content=\"text/html; charset=iso-8859-1\"><p>Caf\xe9</p>");
    ASSERT_TRUE(latin1);
    EXPECT_EQ(latin1->plainText(), QStringLiteral("Café"));
}

} // namespace
