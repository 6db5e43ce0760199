// What reading a page tree straight from its bytes keeps as the archive had
// it (plain texts in UTF-8, dates in UTC, one notification registration for
// the tree), and that none of it shows: the pages answer, signal and write
// back as the pages that were written.
#include "common/FreshUserTest.h"
#include "RecordArchives.h"
#include "model/ArchivedGeometry.h"
#include "model/JWMemo.h"
#include "model/MemoCoding.h"
#include "platform/base/Localization.h"
#include "platform/base/NotificationCenter.h"
#include "platform/base/NotificationNames.h"
#include "platform/typedstream/ArchivedValues.h"

#include <gtest/gtest.h>

#include <QSignalSpy>

#include <bit>

namespace {

const RecordArchives<MemoPtr> kPages{MemoCoding::registerWith, MemoCoding::coder, MemoCoding::kClassVersion};

MemoPtr streamed(const QByteArray &bytes)
{
    auto read = kPages.unarchive(bytes);
    EXPECT_TRUE(read.ok()) << read.errorMessage().toStdString();
    return read.valueOr(nullptr);
}

MemoPtr page(const QString &title, const QString &text, const MemoPtr &parent = nullptr)
{
    MemoPtr memo = JWMemo::memo();
    memo->setTitle(title);
    memo->setPlainText(text);
    if (parent)
        parent->appendChild(memo);
    return memo;
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

TEST_F(MemoArchiveReadingTest, textsAndDatesKeptAsReadBehaveAsTheValuesThatWereWritten)
{
    const QString text = QStringLiteral("Grüße aus Köln");
    const QString shared = QStringLiteral("one object, two fields");
    const QDateTime created = QDateTime::fromSecsSinceEpoch(1'600'000'000).toLocalTime();
    MemoPtr root = page(QStringLiteral("Root"), QStringLiteral("r"));
    const MemoPtr older = page(QStringLiteral("Same"), text, root);
    const MemoPtr newer = page(QStringLiteral("Same"), shared, root);
    page(shared, QStringLiteral("other"), root);
    older->setCreatedAt(created);
    older->setModifiedAt(created);
    newer->setCreatedAt(created);
    newer->setModifiedAt(created.addSecs(60));
    const QByteArray bytes = kPages.archive(root);
    ASSERT_EQ(bytes.count("one object, two fields"), 1);

    const MemoPtr read = streamed(bytes);
    ASSERT_TRUE(read && read->children().size() == 3);
    EXPECT_EQ(kPages.archive(read), bytes) << "a string shared between fields stays one object";
    const MemoPtr a = read->children()[0];
    const MemoPtr b = read->children()[1];
    EXPECT_EQ(b->plainText().constData(), read->children()[2]->title().constData());
    EXPECT_EQ(a->plainText(), text);
    EXPECT_TRUE(a->containsWordInText(QStringLiteral("KÖLN")));
    EXPECT_FALSE(a->containsWordInText(QStringLiteral("Berlin")));
    // Ordered by date before either was asked for it.
    EXPECT_LT(a->compare(*b), 0);
    EXPECT_GT(b->compare(*a), 0);
    EXPECT_EQ(a->createdAt(), created);
    EXPECT_EQ(a->createdAt().timeSpec(), Qt::LocalTime);

    // Setting the same value changes nothing; a new one signals and is written.
    QSignalSpy textChanged(a.get(), &JWMemo::plainTextChanged);
    QSignalSpy dateChanged(a.get(), &JWMemo::modifiedAtChanged);
    a->setPlainText(text);
    a->setModifiedAt(created.toUTC());
    EXPECT_EQ(textChanged.count() + dateChanged.count(), 0);
    a->setPlainText(QStringLiteral("new text"));
    EXPECT_EQ(textChanged.count(), 1);
    EXPECT_EQ(streamed(kPages.archive(read))->children().front()->plainText(), QStringLiteral("new text"));
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
        page(QStringLiteral("p%1").arg(i), QString(), root);
    const MemoPtr read = streamed(kPages.archive(root));
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
    const auto watch = [&](const MemoPtr &p) {
        QObject::connect(p.get(), &JWMemo::openLeafChanged, &after, [&order, title = p->title()] { order << title; });
    };
    watch(read);
    for (const MemoPtr &p : read->children())
        watch(p);
    const auto post = [&](bool open) {
        order.clear();
        center.post(NotificationNames::JW3OpenNoteLeaf, nullptr, {{QStringLiteral("status"), open}});
        return order;
    };
    EXPECT_EQ(post(true), (QStringList{"before", "p0", "p1", "p2", "p3", "after"}));
    // A page gone is not notified; one made since is, after the others.
    read->takeChildAt(1).reset();
    EXPECT_EQ(post(false), (QStringList{"before", "p0", "p1", "p3", "after", "new"}));
}

TEST(ArchivedGeometryTest, readsAsGeometryStringsDoes)
{
    const auto same = [](double a, double b) {
        return std::bit_cast<quint64>(a) == std::bit_cast<quint64>(b);
    };
    for (const char *utf8 : {"{{48, 61}, {500, 500}}", "{-0, +5}", "{168.5, 328}", "{1e3, 2}", "--5 -+6",
             "{123456789012345, 1234567890123456}", "{ , }", "{5}", "{{-10, 20}, {30, 40}} trailing 9",
             "{\xd9\xa3, 4}"}) {
        const QString text = QString::fromUtf8(utf8);
        const QRectF wanted = GeometryStrings::rectFromString(text);
        const QSizeF wantedSize = GeometryStrings::sizeFromString(text);
        for (const QVariant &form : {QVariant(text), QVariant::fromValue(TypedStreamUtf8{utf8})}) {
            const QRectF r = ArchivedGeometry::rect(form);
            const QSizeF s = ArchivedGeometry::size(form);
            EXPECT_TRUE(same(r.x(), wanted.x()) && same(r.y(), wanted.y()) && same(r.width(), wanted.width())
                && same(r.height(), wanted.height()) && same(s.width(), wantedSize.width())
                && same(s.height(), wantedSize.height()))
                << utf8;
            EXPECT_EQ(ArchivedGeometry::range(form), GeometryStrings::rangeFromString(text)) << utf8;
        }
    }
    EXPECT_EQ(ArchivedGeometry::rect(QVariant()), QRectF());
    EXPECT_TRUE(ArchivedGeometry::isString(QVariant()));
    EXPECT_FALSE(ArchivedGeometry::isString(QVariant(12)));
}

} // namespace
