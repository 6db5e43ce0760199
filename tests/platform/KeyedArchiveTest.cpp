#include "common/TestDataFiles.h"
#include "platform/archive/ArchivedObject.h"
#include "platform/archive/KeyedArchiver.h"
#include "platform/archive/KeyedUnarchiver.h"
#include "platform/archive/PropertyList.h"

#include <QDateTime>
#include <QPoint>
#include <QTimeZone>
#include <QUrl>
#include <QUuid>

#include <cmath>
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

TEST(KeyedArchiverTest, optionsChooseImmutableContainersAndWrappedStringsAndData)
{
    KeyedArchiver::Options options;
    options.mutableContainers = false;
    options.wrapStrings = true;
    options.wrapData = true;
    const QVariantMap root{{"k", QVariantList{"s", QByteArray("d")}}};
    const QByteArray bytes = archived(root, options);
    const QVariantList objects = parsedArchive(bytes).value("$objects").toList();
    QStringList classNames;
    for (const QVariant &object : objects)
        classNames.append(object.toMap().value("$classname").toString());
    classNames.removeAll(QString());
    EXPECT_EQ(classNames, (QStringList{"NSMutableString", "NSMutableData", "NSArray", "NSDictionary"}));
    // Dictionary keys stay plain strings; the value string is wrapped.
    EXPECT_TRUE(objects.contains("k"));
    EXPECT_FALSE(objects.contains("s"));
    EXPECT_EQ(unarchived(bytes), QVariant(root));
}

TEST(KeyedArchiverTest, writesEqualConstantsOnceAndKeepsTheirTypesApart)
{
    QVariantList list;
    for (int i = 0; i < 1000; ++i)
        list.append("shared");
    list << 1 << qint64(1) << 1u << 1.0 << true << QVariant() << QVariant::fromValue(nullptr)
         << QVariant::fromValue(nullptr);
    const QVariantList objects = parsedArchive(archived(list)).value("$objects").toList();
    // $null, the array, "shared", 1, 1.0, true, NSNull and its class, the array's class.
    EXPECT_EQ(objects.size(), 9);
    const QVariantList refs = objects.at(1).toMap().value("NS.objects").toList();
    ASSERT_EQ(refs.size(), 1008);
    EXPECT_EQ(refs.at(0), refs.at(999));
    EXPECT_EQ(refs.at(1000), refs.at(1002));
    EXPECT_NE(refs.at(1000), refs.at(1003));
    EXPECT_NE(refs.at(1003), refs.at(1004));
    EXPECT_EQ(refs.at(1005), uid(0));
    EXPECT_EQ(refs.at(1006), refs.at(1007));
}

TEST(KeyedArchiverTest, refusesValuesWithoutAnArchivedForm)
{
    QVariant deep = QVariantList{};
    for (int i = 0; i < KeyedArchiver::maximumDepth + 5; ++i)
        deep = QVariantList{deep};
    const KeyedArchiver archiver;
    EXPECT_FALSE(archiver.archivedDataWithRootObject(QPoint(1, 2)).ok());
    EXPECT_FALSE(archiver.archivedDataWithRootObject(QDateTime()).ok());
    EXPECT_FALSE(archiver.archivedDataWithRootObject(deep).ok());
    EXPECT_FALSE(archiver.archivedDataWithRootObject(QVariant::fromValue(ArchivedBackReference{3})).ok());
    ArchivedObject object("JWThing");
    object.setInlineField("bad", QPoint());
    EXPECT_FALSE(archiver.archivedDataWithRootObject(QVariant::fromValue(object)).ok());
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

TEST(KeyedArchiveRoundTripTest, edgeValuesSurvive)
{
    const QVariantMap values{
        {"empty", QString()},
        {"nonBmp", "\U0001D11E clef, \u00E4"},
        {"min", std::numeric_limits<qint64>::min()},
        {"max", std::numeric_limits<qint64>::max()},
        {"unsignedMax", std::numeric_limits<quint64>::max()},
        {"negatives", QVariantList{qint64(-1), qint64(-2), qint64(-1), qint64(255)}},
        {"negativeZero", -0.0},
        {"tiny", std::numeric_limits<double>::denorm_min()},
        {"before1970", utc(1900, 1, 1, 0, 0, 0, 250)},
        {"nested", QVariantList{QVariantList{}, QVariantMap{}, QVariantList{QVariantMap{{QString(), 0}}}}},
        {"url", QUrl("https://example.org/a%20b?q=\u00E9")},
        {"uuid", QUuid("{67c8770b-44f1-410a-ab9a-f9b5446f13ee}")},
        {"null", QVariant::fromValue(nullptr)},
        {"nil", QVariant()},
        {"emptyData", QByteArray()},
    };
    const QVariantMap back = unarchived(archived(values)).toMap();
    EXPECT_EQ(back, values);
    EXPECT_TRUE(std::signbit(back.value("negativeZero").toDouble()));

    const QVariantList nan = unarchived(archived(QVariantList{std::nan("")})).toList();
    ASSERT_EQ(nan.size(), 1);
    EXPECT_TRUE(std::isnan(nan.first().toDouble()));
}

TEST(KeyedArchiveRoundTripTest, genericObjectsKeepClassFieldsAndStorage)
{
    ArchivedObject font("NSFont");
    font.setField("NSName", "Menlo-Regular");
    font.setInlineField("NSSize", 11.0);
    font.setInlineField("$version", 2);
    ArchivedObject box("JWBox", {"JWBox", "JWView", "NSObject"});
    box.setInlineField("items", QVariantList{QVariant::fromValue(font), "x"});
    box.setField("font", QVariant::fromValue(font));

    const QByteArray bytes = archived(QVariant::fromValue(box));
    const QVariantList objects = parsedArchive(bytes).value("$objects").toList();
    const QVariantMap fontSlot = objects.at(objects.at(1).toMap().value("font").value<PropertyListUid>().value).toMap();
    EXPECT_EQ(fontSlot.value("NSSize"), QVariant(11.0));
    EXPECT_EQ(fontSlot.value("$$version"), QVariant(qint64(2)));
    EXPECT_TRUE(fontSlot.value("NSName").canConvert<PropertyListUid>());
    // Both copies of the font are one object.
    EXPECT_EQ(objects.at(1).toMap().value("items").toList().first(), objects.at(1).toMap().value("font"));

    EXPECT_EQ(unarchived(bytes).value<ArchivedObject>(), box);
}

TEST(KeyedUnarchiverTest, readsWrappedFormsSetsUrlsAndFallbackClasses)
{
    const QStringList myList{"JWList", "%JWList", "NSMutableArray", "NSArray", "NSObject"};
    const QByteArray bytes = archiveOf({
        QVariantMap{{"NS.objects", QVariantList{uid(3), uid(5), uid(7), uid(9), uid(12), uid(14)}}, {"$class", uid(2)}},
        classDescription(myList),
        QVariantMap{{"NS.string", uid(4)}, {"$class", uid(6)}},
        "by reference",
        QVariantMap{{"NS.bytes", QByteArray("old")}, {"$class", uid(6)}},
        classDescription({"NSMutableString", "NSString", "NSObject"}),
        QVariantMap{{"NS.objects", QVariantList{uid(4)}}, {"$class", uid(8)}},
        classDescription({"NSOrderedSet", "NSObject"}),
        QVariantMap{{"NS.base", uid(10)}, {"NS.relative", uid(11)}, {"$class", uid(16)}},
        QVariantMap{{"NS.base", uid(0)}, {"NS.relative", uid(15)}, {"$class", uid(16)}},
        "page.html",
        QVariantMap{{"NS.time", qint64(-31)}, {"NS.timezone", uid(0)}, {"$class", uid(13)}},
        classDescription({"NSCalendarDate", "NSDate", "NSObject"}),
        QVariantMap{{"$class", uid(17)}, {"$$key", true}},
        "https://a.example/dir/",
        classDescription({"NSURL", "NSObject"}),
        QVariantMap{{"$classname", "RichLink"}},
    });
    const QVariantList list = unarchived(bytes).toList();
    ASSERT_EQ(list.size(), 6);
    EXPECT_EQ(list.at(0), QVariant("by reference"));
    EXPECT_EQ(list.at(1), QVariant("old"));
    EXPECT_EQ(list.at(2), QVariant(QVariantList{"by reference"}));
    EXPECT_EQ(list.at(3), QVariant(QUrl("https://a.example/dir/page.html")));
    EXPECT_EQ(list.at(4), QVariant(utc(2000, 12, 31, 23, 59, 29)));
    const ArchivedObject link = list.at(5).value<ArchivedObject>();
    EXPECT_EQ(link.classChain(), QStringList{"RichLink"});
    EXPECT_EQ(link.fields(), (QVariantMap{{"$key", true}}));
}

TEST(KeyedUnarchiverTest, keepsDictionariesWithOtherKeysAsObjects)
{
    const QByteArray bytes = archiveOf({
        QVariantMap{{"NS.keys", QVariantList{uid(2), uid(3)}}, {"NS.objects", QVariantList{uid(3), uid(2)}},
            {"$class", uid(4)}},
        qint64(7),
        "seven",
        classDescription({"NSDictionary", "NSObject"}),
    });
    const ArchivedObject dictionary = unarchived(bytes).value<ArchivedObject>();
    EXPECT_EQ(dictionary.className(), "NSDictionary");
    EXPECT_EQ(dictionary.field("NS.keys"), QVariant(QVariantList{qint64(7), "seven"}));
    EXPECT_EQ(dictionary.field("NS.objects"), QVariant(QVariantList{"seven", qint64(7)}));
    EXPECT_EQ(unarchived(archived(QVariant::fromValue(dictionary))), QVariant::fromValue(dictionary));
}

// A child pointing at its parent is a cycle the value tree marks instead of following.
TEST(KeyedUnarchiverTest, marksBackReferencesAndWritesThemBack)
{
    const QByteArray bytes = archiveOf({
        QVariantMap{{"NSSubviews", uid(2)}, {"$class", uid(4)}},
        QVariantMap{{"NS.objects", QVariantList{uid(3)}}, {"$class", uid(5)}},
        QVariantMap{{"NSSuperview", uid(1)}, {"$class", uid(4)}},
        classDescription({"NSView", "NSResponder", "NSObject"}),
        classDescription({"NSArray", "NSObject"}),
    });
    const ArchivedObject view = unarchived(bytes).value<ArchivedObject>();
    const ArchivedObject child = view.field("NSSubviews").toList().value(0).value<ArchivedObject>();
    EXPECT_EQ(child.field("NSSuperview"), QVariant::fromValue(ArchivedBackReference{view.archiveUid()}));

    KeyedArchiver::Options options;
    options.mutableContainers = false;
    const QByteArray rewritten = archived(QVariant::fromValue(view), options);
    EXPECT_EQ(unarchived(rewritten), QVariant::fromValue(view));
    EXPECT_EQ(archived(unarchived(rewritten), options), rewritten);
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

QByteArray readTestFile(const QString &name)
{
    return readTestData("keyedarchive/" + name);
}

QVariant readArchive(const char *name)
{
    const QByteArray bytes = readTestFile(QString::fromLatin1(name));
    EXPECT_FALSE(bytes.isEmpty()) << name;
    return unarchived(bytes);
}

ArchivedObject objectIn(const QVariant &value, const char *key)
{
    return value.value<ArchivedObject>().field(QString::fromLatin1(key)).value<ArchivedObject>();
}

TEST(KeyedArchiveRealDataTest, readsArchivesOfFoundationValues)
{
    EXPECT_EQ(readArchive("nskeyedarchiver-go-dict.bin.plist"),
        QVariant(QVariantMap{
            {"int", qint64(1)}, {"string", "string"}, {"array", QVariantList{true, "Hello, World!", qint64(42)}}}));
    EXPECT_EQ(readArchive("nskeyedarchiver-go-nestedarrays.bin.plist"),
        QVariant(QVariantList{QVariantList{true}, QVariantList{qint64(42), true, "Hello, World!"}}));

    const auto top
        = KeyedUnarchiver::unarchiveTopLevelObjectsWithData(readTestFile("nskeyedarchiver-go-primitives.xml.plist"));
    ASSERT_TRUE(top.ok()) << top.errorMessage().toStdString();
    const QString hello = "Hello, World!";
    const QVariantList expected{qint64(1), qint64(1), 1.0, 1.5, QByteArray("asdfasdfadsfadsf"), true, hello, hello,
        hello, false, false, qint64(42)};
    ASSERT_EQ(top.value().size(), expected.size());
    for (qsizetype i = 0; i < expected.size(); ++i)
        EXPECT_EQ(top.value().value(QStringLiteral("$%1").arg(i)), expected.at(i)) << i;
}

TEST(KeyedArchiveRealDataTest, readsMessagePayloadsGenerically)
{
    const QVariant url = readArchive("imessage-payload-URL.plist");
    EXPECT_EQ(url.value<ArchivedObject>().field("richLinkIsPlaceholder"), QVariant(false));
    const ArchivedObject metadata = objectIn(url, "richLinkMetadata");
    EXPECT_EQ(metadata.classChain(), (QStringList{"LPLinkMetadata", "NSObject"}));
    EXPECT_EQ(metadata.field("URL"), QVariant(QUrl("https://chrissardegna.com/")));
    EXPECT_EQ(objectIn(QVariant::fromValue(metadata), "icon").field("MIMEType"), QVariant("image/vnd.microsoft.icon"));

    const QVariant freeform = readArchive("imessage-payload-Freeform.plist");
    const ArchivedObject collaboration
        = objectIn(QVariant::fromValue(objectIn(freeform, "richLinkMetadata")), "collaborationMetadata");
    EXPECT_EQ(collaboration.className(), "_SWCollaborationMetadata");
    QDateTime date;
    for (const QVariant &field : collaboration.fields()) {
        if (field.typeId() == QMetaType::QDateTime)
            date = field.toDateTime();
    }
    EXPECT_EQ(date, QDateTime::fromMSecsSinceEpoch(978307200000 + 695179243071, QTimeZone::utc()));

    const QVariantMap business = readArchive("imessage-payload-Business.plist").toMap();
    EXPECT_EQ(business.value("sessionIdentifier"),
        QVariant(QUuid::fromRfc4122(QByteArray::fromHex("71c8acaea002a923693872511a81dcd2"))));
    EXPECT_EQ(business.value("URL").toUrl().query(),
        QStringLiteral(
            "receivedMessage=33c309ab520bc2c76e99c493157ed578&replyMessage=6a991da615f2e75d4aa0de334e529024"));
    EXPECT_EQ(business.value("userInfo").toMap().value("caption"), QVariant("Yes, connect me with Goldman Sachs."));
}

TEST(KeyedArchiveRealDataTest, readsTerminalFontAndColour)
{
    const ArchivedObject font = readArchive("solarized-terminal-Font.bplist").value<ArchivedObject>();
    EXPECT_EQ(font.field("NSName"), QVariant("Menlo-Regular"));
    EXPECT_EQ(font.field("NSSize"), QVariant(11.0));
    EXPECT_TRUE(font.isInline("NSSize"));
    EXPECT_FALSE(font.isInline("NSName"));

    const QByteArray colourBytes = readTestFile("solarized-terminal-BackgroundColor.bplist");
    const ArchivedObject colour = unarchived(colourBytes).value<ArchivedObject>();
    EXPECT_EQ(colour.field("NSRGB"), QVariant(QByteArray("0.01592440531 0.1265209168 0.1596960127 0.96\0", 45)));
    // A flat object writes back slot for slot.
    EXPECT_EQ(parsedArchive(archived(QVariant::fromValue(colour))), parsedArchive(colourBytes));
}

class InterfaceFileTest : public ::testing::TestWithParam<std::pair<const char *, int>>
{ };

// Interface files: hundreds of objects of dozens of classes, shared objects
// and back references; they decode and write back stably.
TEST_P(InterfaceFileTest, decodesGenericallyAndRewritesStably)
{
    const QByteArray bytes = readTestFile(QString::fromLatin1(GetParam().first));
    EXPECT_EQ(parsedArchive(bytes).value("$objects").toList().size(), GetParam().second);
    const auto top = KeyedUnarchiver::unarchiveTopLevelObjectsWithData(bytes);
    ASSERT_TRUE(top.ok()) << top.errorMessage().toStdString();
    const ArchivedObject data = top.value().value("IB.objectdata").value<ArchivedObject>();
    EXPECT_EQ(data.className(), "NSIBObjectData");
    EXPECT_FALSE(data.field("NSObjectsKeys").toList().isEmpty());

    const auto first = KeyedArchiver().archivedDataWithTopLevelObjects(top.value());
    ASSERT_TRUE(first.ok()) << first.errorMessage().toStdString();
    const auto again = KeyedUnarchiver::unarchiveTopLevelObjectsWithData(first.value());
    ASSERT_TRUE(again.ok()) << again.errorMessage().toStdString();
    const auto second = KeyedArchiver().archivedDataWithTopLevelObjects(again.value());
    ASSERT_TRUE(second.ok()) << second.errorMessage().toStdString();
    EXPECT_EQ(second.value(), first.value());
}

INSTANTIATE_TEST_SUITE_P(realData, InterfaceFileTest,
    ::testing::Values(std::make_pair("webarchiveextractor-MainMenu-keyedobjects.nib", 621),
        std::make_pair("denoise-MainMenu-keyedobjects.nib", 344)),
    [](const auto &info) { return info.index == 0 ? std::string("webArchiveExtractor") : std::string("denoise"); });

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
        {"objectsNotAnArray", "\"$objects\"", toData(QVariantMap{{"$top", QVariantMap{}}, {"$objects", 1}})},
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
