#include "common/QtPrinters.h"
#include "platform/archive/ArchivedObject.h"
#include "platform/archive/KeyedArchiver.h"
#include "platform/archive/KeyedUnarchiver.h"
#include "platform/archive/PropertyList.h"

#include <gtest/gtest.h>

#include <QDateTime>
#include <QTimeZone>

#include <limits>

namespace {

QVariant uid(quint64 value)
{
    return QVariant::fromValue(PropertyListUid{value});
}

QVariantMap classDescription(const QStringList &chain)
{
    return {{"$classname", chain.first()}, {"$classes", QVariant(chain).toList()}};
}

/** A hand-made archive around @p objects (slot 0 "$null" is added). */
QByteArray archiveOf(QVariantList objects, const QVariantMap &top = {{"root", uid(1)}})
{
    objects.prepend("$null");
    const QVariantMap archive{
        {"$archiver", "NSKeyedArchiver"}, {"$version", qint64(100000)}, {"$top", top}, {"$objects", objects}};
    return PropertyList::toData(archive, PropertyList::Format::Binary).valueOr({});
}

QVariantMap parsedArchive(const QByteArray &bytes)
{
    return PropertyList::fromData(bytes).valueOr({}).toMap();
}

QDateTime utc(int year, int month, int day, int hour = 0, int minute = 0, int second = 0, int msec = 0)
{
    return QDateTime(QDate(year, month, day), QTime(hour, minute, second, msec), QTimeZone::utc());
}

QByteArray archived(const QVariant &root, const KeyedArchiver::Options &options = {})
{
    auto bytes = KeyedArchiver(options).archivedDataWithRootObject(root);
    EXPECT_TRUE(bytes.ok()) << bytes.errorMessage().toStdString();
    return bytes.valueOr({});
}

QVariant unarchived(const QByteArray &bytes)
{
    auto value = KeyedUnarchiver::unarchiveObjectWithData(bytes);
    EXPECT_TRUE(value.ok()) << value.errorMessage().toStdString();
    return value.valueOr({});
}

QVariantMap memo(qint64 id, const QString &title, const QVariantList &children)
{
    return {{"memoID", id}, {"title", title}, {"locked", false}, {"protectWithPassword", id % 2 == 0},
        {"createdAt", utc(2010, 6, 1, 12)}, {"modifiedAt", utc(2011, 2, 3, 4, 5, 6, 789)},
        {"plainText", QStringLiteral("Text of %1\n\u00E9\U0001F600").arg(title)},
        {"imageDataArray", QVariantList{QByteArray("\xFF\xD8 jpeg", 7), QByteArray()}}, {"children", children}};
}

QVariantMap syncTree()
{
    QVariantMap clip = memo(3, "Clip", {});
    clip.remove("imageDataArray");
    clip.insert("webURLStr", "https://example.org/");
    clip.insert("webArchive", QByteArray("bplist00 web archive bytes"));
    return memo(1, "Sync", {memo(2, "Child", {clip}), memo(4, "", {})});
}

// The desktop's sync form of a memo dictionary: one slot per object, keys
// before values, each class described after the first object that uses it.
TEST(KeyedArchiverTest, writesTheDesktopsLayoutForAMemoDictionary)
{
    const QVariantMap root{{"memoID", 12}, {"title", "Shopping"}, {"locked", false},
        {"modifiedAt", utc(2010, 6, 1, 12)}, {"children", QVariantList{}}};
    const QByteArray bytes = archived(root);
    ASSERT_TRUE(bytes.startsWith("bplist00"));
    QVariantMap archive = parsedArchive(bytes);
    const QVariantList objects = archive.take("$objects").toList();
    EXPECT_EQ(archive,
        (QVariantMap{{"$archiver", "NSKeyedArchiver"}, {"$version", 100000}, {"$top", QVariantMap{{"root", uid(1)}}}}));

    // Keys come out sorted: children, locked, memoID, modifiedAt, title.
    const QVariantList expected{
        "$null",
        QVariantMap{{"NS.keys", QVariantList{uid(2), uid(3), uid(4), uid(5), uid(6)}},
            {"NS.objects", QVariantList{uid(7), uid(9), uid(10), uid(11), uid(13)}}, {"$class", uid(14)}},
        "children",
        "locked",
        "memoID",
        "modifiedAt",
        "title",
        QVariantMap{{"NS.objects", QVariantList{}}, {"$class", uid(8)}},
        classDescription({"NSMutableArray", "NSArray", "NSObject"}),
        false,
        qint64(12),
        QVariantMap{{"NS.time", 297086400.0}, {"$class", uid(12)}},
        classDescription({"NSDate", "NSObject"}),
        "Shopping",
        classDescription({"NSMutableDictionary", "NSDictionary", "NSObject"}),
    };
    EXPECT_EQ(objects, expected);
}

TEST(KeyedArchiveRoundTripTest, memoTreeSurvivesAndRewritesToTheSameBytes)
{
    const QVariantMap tree = syncTree();
    for (auto format : {PropertyList::Format::Binary, PropertyList::Format::Xml}) {
        KeyedArchiver::Options options;
        options.format = format;
        const QByteArray bytes = archived(tree, options);
        const QVariant back = unarchived(bytes);
        EXPECT_EQ(back, QVariant(tree));
        EXPECT_EQ(archived(back, options), bytes);
    }
}

TEST(KeyedUnarchiverTest, sharedObjectsAreDecodedOnceAndStayShared)
{
    // 60 levels of [next, next]: 2^60 paths, 61 objects.
    QVariantList objects;
    const int levels = 60;
    for (int i = 0; i < levels; ++i)
        objects.append(QVariantMap{{"NS.objects", QVariantList{uid(i + 2), uid(i + 2)}}, {"$class", uid(levels + 2)}});
    objects.append("leaf");
    objects.append(classDescription({"NSArray", "NSObject"}));
    const QVariant tree = unarchived(archiveOf(objects));
    const QVariantList rewritten = parsedArchive(archived(tree)).value("$objects").toList();
    EXPECT_EQ(rewritten.size(), levels + 3);
}

struct BadArchive
{
    const char *name;
    const char *expectedMessage;
    QByteArray bytes;
};

class MalformedKeyedArchiveTest : public ::testing::TestWithParam<BadArchive>
{ };

TEST_P(MalformedKeyedArchiveTest, failsWithAMessage)
{
    const auto result = KeyedUnarchiver::unarchiveObjectWithData(GetParam().bytes);
    EXPECT_FALSE(result.ok());
    EXPECT_TRUE(result.errorMessage().contains(QString::fromUtf8(GetParam().expectedMessage)))
        << result.errorMessage().toStdString();
}

QVariantMap objectOf(QVariantMap fields, quint64 classUid)
{
    fields.insert("$class", uid(classUid));
    return fields;
}

std::vector<BadArchive> badArchives()
{
    const QVariantMap array = classDescription({"NSArray", "NSObject"});
    const auto toData = [](const QVariant &value) {
        return PropertyList::toData(value, PropertyList::Format::Binary).valueOr({});
    };
    const int levels = KeyedUnarchiver::maximumDepth + 10;
    QVariantList deep;
    for (int i = 0; i < levels; ++i)
        deep.append(objectOf({{"NS.objects", QVariantList{uid(i + 2)}}}, levels + 2));
    deep << "bottom" << array;
    return {
        {"notAPropertyList", "property list", QByteArray("bplist00\x01\x02", 10)},
        {"rootIsAnArray", "not a dictionary", toData(QVariantList{1})},
        {"noObjects", "\"$objects\"", toData(QVariantMap{{"$top", QVariantMap{}}})},
        {"noRoot", "neither \"root\"", archiveOf({"x"}, {{"other", uid(1)}})},
        {"uidOutOfRange", "object 99", archiveOf({"x"}, {{"root", uid(99)}})},
        {"classIsNotAReference", "\"$class\"", archiveOf({QVariantMap{{"$class", 2}}, array})},
        {"classIsNotADescription", "not a class description", archiveOf({objectOf({}, 2), "NSArray"})},
        {"classOutOfRange", "does not exist", archiveOf({objectOf({}, 1000)})},
        {"rootIsAClassDescription", "is a class description", archiveOf({array})},
        {"arrayContainsItself", "cycle", archiveOf({objectOf({{"NS.objects", QVariantList{uid(1)}}}, 2), array})},
        {"tooDeep", "too deeply", archiveOf(deep)},
        {"objectsNotAnArrayInArray", "not an array", archiveOf({objectOf({{"NS.objects", uid(0)}}, 2), array})},
        {"inlineElement", "other than references", archiveOf({objectOf({{"NS.objects", QVariantList{1}}}, 2), array})},
        {"keysWithoutValues", "1 keys",
            archiveOf({objectOf({{"NS.keys", QVariantList{uid(3)}}, {"NS.objects", QVariantList{}}}, 2),
                classDescription({"NSDictionary", "NSObject"}), "k"})},
        {"timeIsAString", "NS.time",
            archiveOf({objectOf({{"NS.time", "soon"}}, 2), classDescription({"NSDate", "NSObject"})})},
        {"timeIsNotFinite", "out of range",
            archiveOf({objectOf({{"NS.time", std::numeric_limits<double>::infinity()}}, 2),
                classDescription({"NSDate", "NSObject"})})},
        {"shortUuid", "16 bytes",
            archiveOf({objectOf({{"NS.uuidbytes", QByteArray("abc")}}, 2), classDescription({"NSUUID", "NSObject"})})},
        {"stringWithoutText", "NS.string",
            archiveOf({objectOf({{"NS.string", 5}}, 2), classDescription({"NSMutableString", "NSObject"})})},
    };
}

INSTANTIATE_TEST_SUITE_P(robustness, MalformedKeyedArchiveTest, ::testing::ValuesIn(badArchives()),
    [](const auto &info) { return std::string(info.param.name); });

} // namespace
