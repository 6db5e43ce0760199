#include "common/FreshUserTest.h"
#include "exchange/BookFile.h"
#include "model/JWMemo.h"
#include "model/MemoCoding.h"
#include "model/PageFile.h"
#include "platform/base/FileContents.h"
#include "platform/settings/FolderPaths.h"
#include "platform/archive/PropertyList.h"
#include "platform/typedstream/TypedStreamRegistry.h"
#include "platform/typedstream/TypedStreamWriter.h"
#include "platform/settings/UserDefaults.h"
#include "text/PageLinks.h"
#include "text/TextExport.h"
#include "text/TextLinks.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFileInfo>
#include <QSet>
#include <QTextCursor>
#include <QTextDocument>

#include <functional>

namespace {

QList<MemoPtr> pagesOf(const MemoPtr &root)
{
    QList<MemoPtr> pages;
    root->addSubMemosToArray(pages, false);
    return pages;
}

// The titles of @p memo and its subtree, children in brackets: "Trip[Day one, Day two[Hotel]]".
QString outline(const JWMemo &memo)
{
    QStringList children;
    for (const MemoPtr &child : memo.children())
        children.append(outline(*child));
    return children.isEmpty() ? memo.title() : memo.title() + u'[' + children.join(QStringLiteral(", ")) + u']';
}

MemoPtr page(const QString &title, const QString &text)
{
    MemoPtr memo = JWMemo::memo();
    memo->setTitle(title);
    memo->setMemoDataWithPlainText(text);
    return memo;
}

QByteArray plist(const QVariantMap &dictionary)
{
    return PropertyList::toData(dictionary, PropertyList::Format::Xml).valueOr({});
}

QByteArray archived(const QVariant &root)
{
    MemoCoding::registerWith(TypedStreamRegistry::shared());
    return TypedStreamWriter::archivedDataWithRootObject(root).valueOr({});
}

class BookFileTest : public FreshUserTest
{
protected:
    void SetUp() override
    {
        FreshUserTest::SetUp();
        // Pages of a folder in use.
        UserDefaults::standardUserDefaults().setValue(QStringLiteral("memoID"), 40);
        m_trip = page(QStringLiteral("Trip"), QStringLiteral("Plans for the trip"));
        m_dayOne = page(QStringLiteral("Day one"), QString());
        m_dayTwo = page(QStringLiteral("Day two"), QStringLiteral("Museum, then the lake"));
        m_hotel = page(QStringLiteral("Hotel"), QStringLiteral("Room 12, breakfast from seven"));
        m_trip->appendChild(m_dayOne);
        m_trip->appendChild(m_dayTwo);
        m_dayTwo->appendChild(m_hotel);

        // "Day one" links to "Hotel", to "Day two" in a window of its own, and to a page outside the book.
        QTextDocument document;
        document.setPlainText(QStringLiteral("Sleep at the hotel, see day two, and home."));
        TextLinks::setLinkToMemo(document, m_hotel->memoID(), false, {13, 5});
        TextLinks::setLinkToMemo(document, m_dayTwo->memoID(), true, {24, 7});
        TextLinks::setLinkToMemo(document, kOutsideID, false, {37, 4});
        m_dayOne->setPlainText(TextExport::string(document));
        m_dayOne->setMemoData(TextExport::RTFDData(document));
    }

    [[nodiscard]] QString bookPath() const { return home() + QStringLiteral("/trip.jw3book"); }

    static constexpr qint64 kOutsideID = 987654;
    MemoPtr m_trip, m_dayOne, m_dayTwo, m_hotel;
};

TEST_F(BookFileTest, roundTripKeepsTreeAndTextsWithNewIDsAndLinksFollowingThem)
{
    // A plain text archived older than the page's rich text gives way to the rich text's.
    const QString tripText = m_trip->plainText();
    m_trip->setPlainText(QStringLiteral("older"));
    ASSERT_TRUE(BookFile::write(m_trip, bookPath()).ok());
    // The file: the archived tree, and each text under its page's ID.
    const QVariantMap file = PropertyList::fromData(FileContents::read(bookPath()).valueOr({})).valueOr({}).toMap();
    QStringList keys{QStringLiteral("rootMemo")};
    for (const MemoPtr &memo : pagesOf(m_trip))
        keys.append(QString::number(memo->memoID()));
    keys.sort();
    EXPECT_EQ(file.keys(), keys);
    EXPECT_EQ(file.value(QString::number(m_dayOne->memoID())).toByteArray(), m_dayOne->memoData());

    const auto read = BookFile::read(bookPath());
    ASSERT_TRUE(read.ok()) << read.errorMessage().toStdString();
    ASSERT_EQ(outline(*read.value()), QStringLiteral("Trip[Day one, Day two[Hotel]]"));
    const QList<MemoPtr> originals = pagesOf(m_trip);
    const QList<MemoPtr> pages = pagesOf(read.value());
    QSet<qint64> ids;
    for (const MemoPtr &memo : originals)
        ids.insert(memo->memoID());
    for (qsizetype i = 0; i < pages.size(); ++i) {
        const JWMemo &memo = *pages.at(i);
        SCOPED_TRACE(memo.title().toStdString());
        EXPECT_EQ(memo.plainText(), i == 0 ? tripText : originals.at(i)->plainText());
        // Texts without links to the book's pages come back byte for byte, formats and all.
        if (i != 1) {
            EXPECT_EQ(memo.memoData(), originals.at(i)->memoData());
        }
        EXPECT_TRUE(memo.isEdited() && !memo.isPlainTextMemo());
        EXPECT_FALSE(ids.contains(memo.memoID())) << memo.memoID();
        ids.insert(memo.memoID());
    }
    // The links of "Day one" lead to the new pages; the one out of the book stays.
    QTextDocument document;
    ASSERT_TRUE(TextExport::setRTFDData(document, pages.at(1)->memoData()).ok());
    EXPECT_EQ(TextExport::string(document), m_dayOne->plainText());
    const struct
    {
        const char *word;
        QString link;
    } links[] = {{"hotel", PageLinks::pageLink(pages.at(3)->memoID(), false)},
        {"day two", PageLinks::pageLink(pages.at(2)->memoID(), true)},
        {"home", PageLinks::pageLink(kOutsideID, false)}};
    for (const auto &link : links)
        EXPECT_EQ(document.find(QString::fromLatin1(link.word)).charFormat().anchorHref(), link.link) << link.word;
}

TEST_F(BookFileTest, aPageWithoutUsableTextTakesItsPlainTextNotAPageFileOfTheFolder)
{
    // This folder has page files under the book page's ID and the IDs it will get.
    const qint64 id = 77;
    const qint64 next = m_hotel->memoID() + 1; // the hotel is the last page made
    QDir().mkpath(QFileInfo(notePathForID(id)).absolutePath());
    QTextDocument stranger;
    stranger.setPlainText(QStringLiteral("Someone else's text"));
    for (const qint64 taken : {id, next, next + 1, next + 2})
        ASSERT_TRUE(PageFile::write(taken, {{QStringLiteral("memoData"), TextExport::RTFDData(stranger)}}).ok());

    m_hotel->setMemoID(id);
    const QByteArray tree = archived(QVariant::fromValue(m_hotel));
    for (const QVariant &entry : {QVariant(), QVariant(QStringLiteral("Room")), QVariant(QByteArray("no rtfd"))}) {
        SCOPED_TRACE(entry.toString().toStdString());
        QVariantMap book{{QStringLiteral("rootMemo"), tree}};
        if (entry.isValid())
            book.insert(QString::number(id), entry);
        const auto read = BookFile::readData(plist(book));
        ASSERT_TRUE(read.ok()) << read.errorMessage().toStdString();
        QTextDocument text;
        ASSERT_TRUE(TextExport::setRTFDData(text, read.value()->memoData()).ok());
        EXPECT_EQ(TextExport::string(text), QStringLiteral("Room 12, breakfast from seven"));
    }
}

TEST_F(BookFileTest, aBrokenBookGivesAClearErrorAndTakesNoIDs)
{
    const QByteArray book = BookFile::data(m_trip).valueOr({});
    QVariantMap withoutTree = PropertyList::fromData(book).valueOr({}).toMap();
    withoutTree.remove(QStringLiteral("rootMemo"));
    const QByteArray tree = archived(QVariant::fromValue(m_trip));
    const auto rootMemo = [](const QVariant &value) {
        return plist({{QStringLiteral("rootMemo"), value}});
    };
    const struct
    {
        const char *name;
        std::function<QByteArray()> bytes;
        const char *message;
    } cases[] = {
        {"text", [] { return QByteArray("Dear diary"); }, "not a book file"},
        {"truncated file", [&] { return book.left(book.size() / 2); }, "not a book file"},
        {"array", [] { return PropertyList::toData(QVariantList{1}, PropertyList::Format::Xml).valueOr({}); },
            "holds no dictionary"},
        {"no rootMemo", [&] { return plist(withoutTree); }, "no \"rootMemo\""},
        {"rootMemo is a string", [&] { return rootMemo(QStringLiteral("Trip")); }, "\"rootMemo\" is not data"},
        {"garbage rootMemo", [&] { return rootMemo(QByteArray("\x04\x0bstreamtyped\x81\xe8\x03junk")); },
            "pages cannot be read"},
        {"truncated rootMemo", [&] { return rootMemo(tree.left(tree.size() - 20)); }, "pages cannot be read"},
        {"rootMemo holds no page", [&] { return rootMemo(archived(QStringLiteral("Trip"))); }, "holds no page"},
        {"page under two parents",
            [&] {
                m_dayOne->appendChild(m_hotel);
                return rootMemo(archived(QVariant::fromValue(m_trip)));
            },
            "a page appears twice"},
    };
    const qint64 lastID = JWMemo::memo()->memoID();
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        const auto read = BookFile::readData(c.bytes());
        ASSERT_FALSE(read.ok());
        EXPECT_TRUE(read.errorMessage().contains(QLatin1String(c.message))) << read.errorMessage().toStdString();
    }
    EXPECT_EQ(JWMemo::memo()->memoID(), lastID + 1);

    const auto missing = BookFile::read(bookPath());
    ASSERT_FALSE(missing.ok());
    EXPECT_TRUE(missing.errorMessage().contains(bookPath())) << missing.errorMessage().toStdString();
}

} // namespace
