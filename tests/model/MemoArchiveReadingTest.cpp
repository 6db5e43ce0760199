// What reading a page tree straight from its bytes keeps as the archive had
// it (plain texts in UTF-8, dates in UTC, one notification registration for
// the tree), and that none of it shows: the pages answer, signal and write
// back as the pages that were written.
#include "common/FreshUserTest.h"
#include "model/ArchivedGeometry.h"
#include "model/JWMemo.h"
#include "model/MemoCoding.h"
#include "platform/typedstream/ArchivedValues.h"
#include "platform/base/Localization.h"
#include "platform/base/NotificationCenter.h"
#include "platform/base/NotificationNames.h"
#include "platform/typedstream/TypedStreamDecoder.h"
#include "platform/typedstream/TypedStreamWriter.h"

#include <gtest/gtest.h>

#include <QSignalSpy>
#include <QTimeZone>

#include <bit>
#include <random>

namespace {

const TypedStreamRegistry &registry()
{
    static const TypedStreamRegistry r = [] {
        TypedStreamRegistry made = TypedStreamRegistry::withStandardClasses();
        MemoCoding::registerWith(made);
        return made;
    }();
    return r;
}

QByteArray archive(const MemoPtr &root)
{
    auto bytes = TypedStreamWriter::archivedDataWithRootObject(QVariant::fromValue(root), registry());
    EXPECT_TRUE(bytes.ok()) << bytes.errorMessage().toStdString();
    return bytes.valueOr({});
}

MemoPtr streamed(const QByteArray &bytes)
{
    auto value = TypedStreamDecoder::unarchiveObjectWithData(bytes, registry());
    EXPECT_TRUE(value.ok()) << value.errorMessage().toStdString();
    return value.valueOr({}).value<MemoPtr>();
}

MemoPtr page(const QString &title, const QString &text)
{
    MemoPtr memo = JWMemo::memo();
    memo->setTitle(title);
    memo->setPlainText(text);
    return memo;
}

// A page of each kind a data store holds: texts in several scripts, tags,
// colours, ranges, a window record, a web clip with an icon, a protected page.
MemoPtr richTree()
{
    MemoPtr root = page(QStringLiteral("Notes"), QStringLiteral("The root"));
    MemoPtr plain = page(QStringLiteral("Plain"), QStringLiteral("Just ASCII, line one\nline two"));
    plain->setTags({QStringLiteral("work"), QStringLiteral("später")});
    plain->setScrollRange({3, 14});
    plain->setSelectedRange({1, 0});
    MemoPtr scripts
        = page(QStringLiteral("Grüße"), QStringLiteral("Grüße, 日本語のメモ, emoji 😀, tab\tand NUL \0 end"));
    scripts->setTitleColor(QColor(200, 30, 40));
    scripts->setTitleCharacterColor(QColor(0, 0, 255));
    scripts->windowAttribute()->setWindowFrame(QRectF(48, 61, 500, 500));
    scripts->windowAttribute()->setDrawerSize(QSizeF(168.5, 328));
    scripts->windowAttribute()->setTabItems(QList<qint64>{1, 2});
    MemoPtr clip = page(QStringLiteral("Clip"), QString());
    clip->setWebURLStr(QStringLiteral("https://www.example.org/a"));
    auto icon = std::make_shared<TypedStreamObject>();
    icon->cls = std::make_shared<TypedStreamClass>(
        TypedStreamClass{"NSImage", 0, std::make_shared<TypedStreamClass>(TypedStreamClass{"NSObject", 0, nullptr})});
    TypedStreamValue flag;
    flag.kind = TypedStreamValue::Kind::Char;
    flag.integer = 1;
    icon->groups = {{"c", {flag}}};
    clip->setWebIconImage(QVariant::fromValue(ArchivedImage{icon, {}}));
    MemoPtr secret = page(QStringLiteral("Secret"), QStringLiteral("hidden text"));
    secret->setProtectWithPassword(true);
    secret->setLocked(true);
    plain->appendChild(secret);
    for (const MemoPtr &child : {plain, scripts, clip})
        root->appendChild(child);
    return root;
}

QList<MemoPtr> pagesOf(const MemoPtr &root)
{
    QList<MemoPtr> pages;
    root->addSubMemosToArray(pages, false);
    return pages;
}

class MemoArchiveReadingTest : public FreshUserTest
{
protected:
    void SetUp() override
    {
        FreshUserTest::SetUp();
        Localization::install();
    }
};

TEST_F(MemoArchiveReadingTest, aTreeReadsAndWritesBackAsItWasWritten)
{
    const MemoPtr original = richTree();
    const QByteArray bytes = archive(original);
    const MemoPtr read = streamed(bytes);
    ASSERT_TRUE(read);
    EXPECT_EQ(archive(read), bytes) << "written back, byte for byte";

    const QList<MemoPtr> a = pagesOf(read);
    const QList<MemoPtr> b = pagesOf(original);
    ASSERT_TRUE(a.size() == 5 && b.size() == 5);
    for (qsizetype i = 0; i < a.size(); ++i) {
        for (const char *key : {"memoID", "title", "plainText", "tags", "titleColor", "titleCharacterColor", "locked",
                 "protectWithPassword", "scrollRange", "selectedRange", "webURLStr", "createdAt", "modifiedAt",
                 "isLeaf"}) {
            EXPECT_EQ(a[i]->value(QLatin1String(key)), b[i]->value(QLatin1String(key))) << i << ' ' << key;
        }
        EXPECT_EQ(a[i]->createdAt().timeSpec(), Qt::LocalTime) << i;
        EXPECT_EQ(a[i]->windowAttribute()->windowFrame(), b[i]->windowAttribute()->windowFrame()) << i;
        EXPECT_EQ(a[i]->windowAttribute()->drawerSize(), b[i]->windowAttribute()->drawerSize()) << i;
    }
    EXPECT_EQ(a[4]->webIconImage().metaType(), QMetaType::fromType<ArchivedImage>());
}

TEST_F(MemoArchiveReadingTest, aPlainTextReadAsUtf8BehavesAsAString)
{
    const QString text = QStringLiteral("Grüße aus Köln");
    MemoPtr root = page(QStringLiteral("Root"), QStringLiteral("r"));
    root->appendChild(page(QStringLiteral("Child"), text));
    const QByteArray bytes = archive(root);
    const MemoPtr read = streamed(bytes);
    ASSERT_TRUE(read && read->children().size() == 1);
    const MemoPtr child = read->children().front();
    EXPECT_EQ(child->plainText(), text);
    EXPECT_TRUE(child->containsWordInText(QStringLiteral("KÖLN")));
    EXPECT_FALSE(child->containsWordInText(QStringLiteral("Berlin")));

    QSignalSpy changed(child.get(), &JWMemo::plainTextChanged);
    child->setPlainText(text);
    EXPECT_EQ(changed.count(), 0);
    child->setPlainText(QStringLiteral("new text"));
    EXPECT_EQ(changed.count(), 1);
    // Changed texts are written as any other.
    EXPECT_EQ(streamed(archive(read))->children().front()->plainText(), QStringLiteral("new text"));
}

TEST_F(MemoArchiveReadingTest, stringsSharedBetweenFieldsStaySharedWhenWrittenBack)
{
    // A text that is another page's title, and a page whose text is its title:
    // one object in the archive each, so one QString after reading.
    const QString shared = QStringLiteral("one object, two fields");
    MemoPtr root = page(QStringLiteral("Root"), QStringLiteral("r"));
    MemoPtr first = page(QStringLiteral("First"), shared);
    MemoPtr second = page(shared, QStringLiteral("other"));
    const QString own = QStringLiteral("title and text");
    MemoPtr third = page(own, own);
    for (const MemoPtr &child : {first, second, third})
        root->appendChild(child);
    const QByteArray bytes = archive(root);
    ASSERT_EQ(bytes.count("one object, two fields"), 1);
    ASSERT_EQ(bytes.count("title and text"), 1);

    const MemoPtr read = streamed(bytes);
    ASSERT_TRUE(read && read->children().size() == 3);
    EXPECT_EQ(read->children()[0]->plainText(), shared);
    EXPECT_EQ(read->children()[1]->title(), shared);
    EXPECT_EQ(read->children()[0]->plainText().constData(), read->children()[1]->title().constData());
    EXPECT_EQ(archive(read), bytes);
}

TEST_F(MemoArchiveReadingTest, datesReadInUtcAnswerInLocalTime)
{
    const QDateTime created = QDateTime::fromSecsSinceEpoch(1'600'000'000).toLocalTime();
    MemoPtr root = page(QStringLiteral("Root"), QStringLiteral("r"));
    MemoPtr older = page(QStringLiteral("Same"), QStringLiteral("a"));
    MemoPtr newer = page(QStringLiteral("Same"), QStringLiteral("b"));
    older->setCreatedAt(created);
    older->setModifiedAt(created);
    newer->setCreatedAt(created);
    newer->setModifiedAt(created.addSecs(60));
    root->appendChild(older);
    root->appendChild(newer);
    const MemoPtr read = streamed(archive(root));
    ASSERT_TRUE(read && read->children().size() == 2);
    const MemoPtr a = read->children()[0];
    const MemoPtr b = read->children()[1];
    // Ordered by date before either was asked for it.
    EXPECT_LT(a->compare(*b), 0);
    EXPECT_GT(b->compare(*a), 0);
    QSignalSpy changed(a.get(), &JWMemo::modifiedAtChanged);
    a->setModifiedAt(created.toUTC()); // the same moment: no change
    EXPECT_EQ(changed.count(), 0);
    EXPECT_EQ(a->createdAt(), created);
    EXPECT_EQ(a->createdAt().timeSpec(), Qt::LocalTime);
}

TEST_F(MemoArchiveReadingTest, pagesReadTogetherAreNotifiedInTheOrderTheyWereMade)
{
    NotificationCenter &center = NotificationCenter::defaultCenter();
    QStringList order;
    QObject before;
    center.addObserver(&before, NotificationNames::JW3OpenNoteLeaf, nullptr,
        [&order](const Notification &) { order << QStringLiteral("before"); });
    MemoPtr root = page(QStringLiteral("p0"), QString());
    for (int i = 1; i <= 3; ++i)
        root->appendChild(page(QStringLiteral("p%1").arg(i), QString()));
    const MemoPtr read = streamed(archive(root));
    ASSERT_TRUE(read);
    QObject after;
    MemoPtr madeDuringDelivery;
    center.addObserver(&after, NotificationNames::JW3OpenNoteLeaf, nullptr, [&](const Notification &) {
        order << QStringLiteral("after");
        if (!madeDuringDelivery) {
            // Opened at once, so that only the next notification (closing) changes it.
            madeDuringDelivery = JWMemo::memo();
            madeDuringDelivery->setOpenLeaf(true);
            QObject::connect(madeDuringDelivery.get(), &JWMemo::openLeafChanged, &after,
                [&order] { order << QStringLiteral("new"); });
        }
    });
    for (const MemoPtr &p : pagesOf(read)) {
        QObject::connect(p.get(), &JWMemo::openLeafChanged, &after, [&order, title = p->title()] { order << title; });
    }
    const auto post = [&](bool open) {
        order.clear();
        center.post(NotificationNames::JW3OpenNoteLeaf, nullptr, {{QStringLiteral("status"), open}});
        return order;
    };
    EXPECT_EQ(post(true), (QStringList{"before", "p0", "p1", "p2", "p3", "after"}));
    // A page gone is not notified; one made since is, after the others.
    MemoPtr gone = read->takeChildAt(1);
    gone.reset();
    EXPECT_EQ(post(false), (QStringList{"before", "p0", "p1", "p3", "after", "new"}));
    for (const MemoPtr &p : pagesOf(read))
        EXPECT_FALSE(p->openLeaf());
}

TEST(ArchivedGeometryTest, readsAsGeometryStringsDoes)
{
    const auto same = [](double a, double b) {
        return std::bit_cast<quint64>(a) == std::bit_cast<quint64>(b);
    };
    const auto check = [&](const QByteArray &utf8) {
        const QString text = QString::fromUtf8(utf8);
        const QRectF wanted = GeometryStrings::rectFromString(text);
        for (const QVariant &form : {QVariant(text), QVariant::fromValue(TypedStreamUtf8{utf8})}) {
            const QRectF r = ArchivedGeometry::rect(form);
            EXPECT_TRUE(same(r.x(), wanted.x()) && same(r.y(), wanted.y()) && same(r.width(), wanted.width())
                && same(r.height(), wanted.height()))
                << utf8.toStdString();
            const QSizeF s = ArchivedGeometry::size(form);
            EXPECT_TRUE(same(s.width(), GeometryStrings::sizeFromString(text).width())
                && same(s.height(), GeometryStrings::sizeFromString(text).height()))
                << utf8.toStdString();
            EXPECT_EQ(ArchivedGeometry::range(form), GeometryStrings::rangeFromString(text)) << utf8.toStdString();
        }
    };
    for (const char *text : {"{{48, 61}, {500, 500}}", "{{0, 0}, {0, 0}}", "{-0, +5}", "{168.5, 328}", "{1e3, 2}",
             "--5 -+6", "{123456789012345, 1234567890123456}", "{ , }", "{5}", "{-4, -1}",
             "{{-10, 20}, {30, 40}} trailing 9", "{\xd9\xa3, 4}", "{0007, 08}"})
        check(QByteArray(text));
    // And strings made of what geometry strings are made of, at random.
    std::mt19937 random(7);
    const QByteArray alphabet("0123456789-+{}, .eE");
    for (int n = 0; n < 3000; ++n) {
        QByteArray text;
        for (int length = int(random() % 24) + 1; length > 0; --length)
            text += alphabet[qsizetype(random() % alphabet.size())];
        check(text);
    }
    EXPECT_EQ(ArchivedGeometry::rect(QVariant()), QRectF());
    EXPECT_TRUE(ArchivedGeometry::isString(QVariant()));
    EXPECT_FALSE(ArchivedGeometry::isString(QVariant(12)));
}

} // namespace
