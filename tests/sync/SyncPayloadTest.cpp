#include "SyncTrees.h"

#include "platform/archive/ArchivedObject.h"
#include "platform/archive/KeyedArchiver.h"
#include "platform/archive/PropertyList.h"
#include "sync/SyncPayload.h"

#include <gtest/gtest.h>

namespace {

using SyncTrees::day;
using SyncTrees::entry;

QByteArray archived(const QVariant &root, KeyedArchiver::Options options = {})
{
    options.maximumDepth = 4000;
    auto data = KeyedArchiver(options).archivedDataWithRootObject(root);
    EXPECT_TRUE(data.ok()) << data.errorMessage().toStdString();
    return data.valueOr({});
}

QVariant uid(quint64 n)
{
    return QVariant::fromValue(PropertyListUid{n});
}

// A chain of @p levels pages written slot by slot: the archiver refuses to
// nest that deep, and a hostile phone need not.
QByteArray chainArchive(int levels)
{
    const QVariantMap dictionaryClass{{QStringLiteral("$classname"), QStringLiteral("NSDictionary")},
        {QStringLiteral("$classes"), QStringList{QStringLiteral("NSDictionary"), QStringLiteral("NSObject")}}};
    const QVariantMap arrayClass{{QStringLiteral("$classname"), QStringLiteral("NSArray")},
        {QStringLiteral("$classes"), QStringList{QStringLiteral("NSArray"), QStringLiteral("NSObject")}}};
    QVariantList objects{QStringLiteral("$null"), QStringLiteral("children"), dictionaryClass, arrayClass};
    for (int level = 0; level < levels; ++level) {
        const auto dictionary = quint64(objects.size());
        objects.append(
            QVariantMap{{QStringLiteral("$class"), uid(2)}, {QStringLiteral("NS.keys"), QVariantList{uid(1)}},
                {QStringLiteral("NS.objects"), QVariantList{uid(dictionary + 1)}}});
        objects.append(QVariantMap{{QStringLiteral("$class"), uid(3)},
            {QStringLiteral("NS.objects"), level + 1 < levels ? QVariantList{uid(dictionary + 2)} : QVariantList{}}});
    }
    const QVariantMap top{{QStringLiteral("$archiver"), QStringLiteral("NSKeyedArchiver")},
        {QStringLiteral("$version"), 100000}, {QStringLiteral("$top"), QVariantMap{{QStringLiteral("root"), uid(4)}}},
        {QStringLiteral("$objects"), objects}};
    return PropertyList::toData(top, PropertyList::Format::Binary).valueOr({});
}

void expectRefused(const QByteArray &data, const char *what)
{
    const auto decoded = SyncPayload::decode(data);
    ASSERT_FALSE(decoded.ok()) << what;
    EXPECT_TRUE(decoded.errorMessage().startsWith(QStringLiteral("The phone sent data that is not a page tree: ")))
        << decoded.errorMessage().toStdString();
}

TEST(SyncPayloadTest, RefusesWhatIsNoPageTree)
{
    expectRefused(QByteArray("bplist00 but nothing after"), "not an archive");
    expectRefused(archived(QVariantList{1, 2}), "root is a list");
    expectRefused(archived(QVariantMap{{QStringLiteral("children"), QStringLiteral("none")}}), "children not a list");
    expectRefused(archived(QVariantMap{{QStringLiteral("children"), QVariantList{QStringLiteral("page")}}}),
        "children hold a string");
    const QVariantMap good = entry(1, QStringLiteral("Group"), 0);
    for (const auto &[key, wrong] :
        std::initializer_list<std::pair<QString, QVariant>>{{QStringLiteral("locked"), QStringLiteral("yes")},
            {QStringLiteral("memoID"), QStringLiteral("12")}, {QStringLiteral("modifiedAt"), 12.5},
            {QStringLiteral("title"), 3}, {QStringLiteral("imageDataArray"), QVariantList{QStringLiteral("jpeg")}}}) {
        QVariantMap child = good;
        child.insert(key, wrong);
        QVariantMap root = good;
        root.insert(QStringLiteral("children"), QVariantList{child});
        expectRefused(archived(root), qPrintable(key));
    }
}

TEST(SyncPayloadTest, TakesThePhonesFormsOfValues)
{
    KeyedArchiver::Options wrapped;
    wrapped.wrapStrings = true;
    ArchivedObject calendarDate(QStringLiteral("NSCalendarDate"),
        {QStringLiteral("NSCalendarDate"), QStringLiteral("NSDate"), QStringLiteral("NSObject")});
    calendarDate.setInlineField(QStringLiteral("NS.time"), 600000000.0);
    QVariantMap root = entry(1, QStringLiteral("Group"), 0);
    root.insert(QStringLiteral("locked"), 1);
    root.insert(QStringLiteral("createdAt"), QVariant::fromValue(calendarDate));
    const auto decoded = SyncPayload::decode(archived(root, wrapped));
    ASSERT_TRUE(decoded.ok()) << decoded.errorMessage().toStdString();
    EXPECT_EQ(decoded.value().value(QStringLiteral("title")).toString(), QStringLiteral("Group")) << "wrapped string";
    EXPECT_TRUE(decoded.value().value(QStringLiteral("locked")).toBool());
    EXPECT_EQ(decoded.value().value(QStringLiteral("createdAt")).toDateTime(),
        QDateTime(QDate(2020, 1, 6), QTime(10, 40), QTimeZone::utc()));
}

TEST(SyncPayloadTest, NestingIsBoundedAtTwoHundredFiftySixPages)
{
    EXPECT_TRUE(SyncPayload::decode(chainArchive(SyncPayload::maximumPageDepth)).ok());
    expectRefused(chainArchive(SyncPayload::maximumPageDepth + 1), "257 pages deep");
    expectRefused(chainArchive(5000), "5,000 pages deep");

    QVariantMap deep;
    for (int level = 0; level < SyncPayload::maximumPageDepth; ++level)
        deep = QVariantMap{{QStringLiteral("children"), QVariantList{deep}}};
    EXPECT_FALSE(SyncPayload::validate(deep).ok());
    EXPECT_TRUE(SyncPayload::encode(deep.value(QStringLiteral("children")).toList().first().toMap()).ok());
}

TEST(SyncPayloadTest, LabelColourIsClearForPlainTitlesAndTranslucentOtherwise)
{
    for (const QColor &plain : {QColor(Qt::black), QColor(Qt::white), QColor(255, 0, 0, 0)})
        EXPECT_EQ(SyncPayload::labelColorString(plain), SyncPayload::colorString(QColor(0, 0, 0, 0)));
    const auto red = SyncPayload::colorFromString(SyncPayload::labelColorString(Qt::red));
    ASSERT_TRUE(red);
    EXPECT_EQ(red->red(), 255);
    EXPECT_NEAR(red->alphaF(), 0.65, 0.01);
    EXPECT_FALSE(SyncPayload::colorFromString(QStringLiteral("1 0 2")));
    EXPECT_FALSE(SyncPayload::colorFromString(QStringLiteral("red")));
}

} // namespace
