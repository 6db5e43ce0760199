#include "common/QtPrinters.h"
#include "platform/archive/BinaryPropertyList.h"
#include "platform/archive/PropertyList.h"

#include <gtest/gtest.h>

#include <QDateTime>
#include <QElapsedTimer>
#include <QtEndian>

#include <limits>

namespace {

QByteArray hex(const char *digits)
{
    return QByteArray::fromHex(digits);
}

// A binary property list put together by hand: the object table, the offset
// of each object in it (from the start of the file), the reference size.
QByteArray assembleAt(const QByteArray &objectTable, const QList<quint64> &offsets, int refSize, quint64 top = 0)
{
    QByteArray bytes = QByteArray("bplist00") + objectTable;
    const auto tableOffset = quint64(bytes.size());
    const int offsetSize = tableOffset > 0xFF ? 2 : 1;
    for (const quint64 offset : offsets) {
        if (offsetSize == 2)
            bytes += char(offset >> 8);
        bytes += char(offset & 0xFF);
    }
    QByteArray trailer(32, '\0');
    trailer[6] = char(offsetSize);
    trailer[7] = char(refSize);
    qToBigEndian<quint64>(quint64(offsets.size()), trailer.data() + 8);
    qToBigEndian<quint64>(top, trailer.data() + 16);
    qToBigEndian<quint64>(tableOffset, trailer.data() + 24);
    return bytes + trailer;
}

// The same, for objects stored one after the other.
QByteArray assemble(const QList<QByteArray> &objects, int refSize = 1, quint64 top = 0)
{
    QByteArray table;
    QList<quint64> offsets;
    for (const QByteArray &object : objects) {
        offsets.append(8 + quint64(table.size()));
        table += object;
    }
    return assembleAt(table, offsets, refSize, top);
}

struct Layout
{
    int offsetSize = 0;
    int refSize = 0;
    quint64 count = 0;
    QList<QByteArray> objects; // our writer stores objects in numbering order
};

Layout layoutOf(const QByteArray &bytes)
{
    const auto *trailer = reinterpret_cast<const uchar *>(bytes.constData() + bytes.size() - 32);
    Layout layout{trailer[6], trailer[7], qFromBigEndian<quint64>(trailer + 8), {}};
    const auto table = qFromBigEndian<quint64>(trailer + 24);
    const auto offsetAt = [&](quint64 i) {
        quint64 offset = 0;
        for (int b = 0; b < layout.offsetSize; ++b)
            offset = (offset << 8) | uchar(bytes[qsizetype(table + i * quint64(layout.offsetSize)) + b]);
        return offset;
    };
    for (quint64 i = 0; i < layout.count; ++i) {
        const quint64 end = i + 1 < layout.count ? offsetAt(i + 1) : table;
        layout.objects.append(bytes.mid(qsizetype(offsetAt(i)), qsizetype(end - offsetAt(i))));
    }
    return layout;
}

QByteArray written(const QVariant &value)
{
    const auto bytes = BinaryPropertyList::write(value);
    EXPECT_TRUE(bytes.ok()) << bytes.errorMessage().toStdString();
    return bytes.valueOr({});
}

QVariant nestedLists(int depth)
{
    QVariant value = QVariantList{};
    for (int i = 1; i < depth; ++i)
        value = QVariantList{value};
    return value;
}

TEST(BinaryPropertyListWriterTest, writesTheMemoDictionaryLikeThePlatform)
{
    // The platform's example, with the keys in QVariantMap order: memoID, title.
    const QByteArray bytes = written(QVariantMap{{"title", "Hi"}, {"memoID", 12}});
    EXPECT_EQ(bytes,
        hex("62706c6973743030"
            "d201020304"
            "566d656d6f4944"
            "557469746c65"
            "100c"
            "524869"
            "080d141a1c"
            "0000000000000101"
            "0000000000000005"
            "0000000000000000"
            "000000000000001f"));
}

struct ScalarCase
{
    const char *name;
    QVariant value;
    const char *bytes;
};

class BinaryScalarTest : public ::testing::TestWithParam<ScalarCase>
{ };

// Written as the only object, then read back.
TEST_P(BinaryScalarTest, takesTheSmallestPlatformFormAndReadsBack)
{
    const ScalarCase &scalar = GetParam();
    const QByteArray bytes = written(scalar.value);
    EXPECT_EQ(layoutOf(bytes).objects.value(0), hex(scalar.bytes));
    const auto back = BinaryPropertyList::read(bytes);
    ASSERT_TRUE(back.ok()) << back.errorMessage().toStdString();
    EXPECT_EQ(back.value(), scalar.value);
}

const QDateTime kJune2010(QDate(2010, 6, 1), QTime(12, 0), Qt::UTC);

INSTANTIATE_TEST_SUITE_P(forms, BinaryScalarTest,
    ::testing::Values(ScalarCase{"byte", qint64(255), "10ff"}, ScalarCase{"twoBytes", qint64(256), "110100"},
        ScalarCase{"fourBytes", qint64(65536), "1200010000"},
        ScalarCase{"eightBytes", qint64(4294967296), "130000000100000000"},
        ScalarCase{"minusOneTakesEightBytes", qint64(-1), "13ffffffffffffffff"},
        ScalarCase{"int64Min", std::numeric_limits<qint64>::min(), "138000000000000000"},
        ScalarCase{"uint64Max", std::numeric_limits<quint64>::max(),
            "14"
            "0000000000000000"
            "ffffffffffffffff"},
        ScalarCase{"true", true, "09"}, ScalarCase{"false", false, "08"},
        ScalarCase{"realAsFloat64", 0.5, "233fe0000000000000"}, ScalarCase{"date", kJune2010, "3341b1b52dc0000000"},
        ScalarCase{"dateKeepsMilliseconds", kJune2010.addMSecs(250), "3341b1b52dc0400000"},
        ScalarCase{"uidOneByte", QVariant::fromValue(PropertyListUid{5}), "8005"},
        ScalarCase{"uidTwoBytes", QVariant::fromValue(PropertyListUid{300}), "81012c"},
        ScalarCase{"uidFourBytes", QVariant::fromValue(PropertyListUid{70000}), "8300011170"},
        ScalarCase{"ascii", "abc", "53616263"},
        ScalarCase{"fifteenCharactersTakeALength", "abcdefghijklmno", "5f100f6162636465666768696a6b6c6d6e6f"},
        ScalarCase{"latinOneIsUtf16", "\u00E9", "6100e9"},
        ScalarCase{"emojiCountsTwoCodeUnits", "\U0001F600", "62d83dde00"}, ScalarCase{"emptyString", QString(), "50"},
        ScalarCase{"emptyData", QByteArray(), "40"},
        ScalarCase{"fifteenBytesOfData", QByteArray(15, '\x01'), "4f100f010101010101010101010101010101"},
        ScalarCase{"emptyArray", QVariantList{}, "a0"}, ScalarCase{"emptyDictionary", QVariantMap{}, "d0"}),
    [](const auto &info) { return std::string(info.param.name); });

TEST(BinaryPropertyListWriterTest, numbersObjectsDepthFirstWithKeysBeforeValues)
{
    const QVariantMap value{
        {"a", QVariantList{"x", "y"}},
        {"b", QVariantMap{{"c", "x"}}},
        {"d", "y"},
    };
    const Layout layout = layoutOf(written(value));
    ASSERT_EQ(layout.count, 9u);
    EXPECT_EQ(layout.objects[0], hex("d3010203040706")); // keys a b d; values: array, dict, "y"
    EXPECT_EQ(layout.objects[1], hex("5161"));
    EXPECT_EQ(layout.objects[4], hex("a20506")); // "x" and "y" are numbered inside the array
    EXPECT_EQ(layout.objects[7], hex("d10805")); // "c", then the shared "x"
}

TEST(BinaryPropertyListWriterTest, storesEqualScalarsOnceAndContainersEachTime)
{
    QVariantList value;
    for (int i = 0; i < 1000; ++i)
        value.append("shared");
    value << QVariantMap{} << QVariantMap{} << true << true << qint64(7) << quint64(7) << 7.0
          << QVariant::fromValue(PropertyListUid{7}) << QVariant::fromValue(PropertyListUid{7});
    // The array, "shared", two dictionaries, true, the integer 7, the real 7 and the UID 7.
    const Layout layout = layoutOf(written(value));
    EXPECT_EQ(layout.count, 8u);
    EXPECT_EQ(layout.refSize, 1);
}

TEST(BinaryPropertyListWriterTest, widensReferencesAndOffsetsOnlyWhenNeeded)
{
    QVariantList numbers;
    for (int i = 0; i < 254; ++i)
        numbers.append(qint64(i));
    EXPECT_EQ(layoutOf(written(numbers)).refSize, 1); // 255 objects
    numbers.append(qint64(254));
    EXPECT_EQ(layoutOf(written(numbers)).refSize, 2); // 256 objects need two bytes to count

    EXPECT_EQ(layoutOf(written(QByteArray(200, 'x'))).offsetSize, 1);
    const QByteArray large = written(QByteArray(300, 'x'));
    EXPECT_EQ(layoutOf(large).offsetSize, 2);
    EXPECT_EQ(large.left(8), "bplist00");
    EXPECT_EQ(large.right(32).left(6), QByteArray(6, '\0'));
}

TEST(BinaryPropertyListWriterTest, nestingIsCappedAtTheSameDepthTheReaderAccepts)
{
    const QByteArray deepest = written(nestedLists(BinaryPropertyList::kMaxDepth));
    EXPECT_TRUE(BinaryPropertyList::read(deepest).ok());
    const auto tooDeep = BinaryPropertyList::write(nestedLists(BinaryPropertyList::kMaxDepth + 1));
    EXPECT_FALSE(tooDeep.ok());
    EXPECT_TRUE(tooDeep.errorMessage().contains("nested")) << tooDeep.errorMessage().toStdString();
}

// Forms the writer never produces but other writers do.
TEST(BinaryPropertyListReaderTest, readsUnsignedShortFormsThe128BitFormFloat32AndFill)
{
    const std::pair<const char *, QVariant> cases[]{
        {"10ff", qint64(255)},
        {"12ffffffff", qint64(4294967295)},
        {"1400000000000000008000000000000000", quint64(1) << 63},
        {"14ffffffffffffffffffffffffffffffff", qint64(-1)},
        {"2240400000", 3.0},
        {"0f0f09", true},
    };
    for (const auto &[bytes, expected] : cases) {
        const auto read = BinaryPropertyList::read(assemble({hex(bytes)}));
        ASSERT_TRUE(read.ok()) << bytes << ": " << read.errorMessage().toStdString();
        EXPECT_EQ(read.value().typeId(), expected.typeId()) << bytes;
        EXPECT_EQ(read.value(), expected) << bytes;
    }
    EXPECT_FALSE(BinaryPropertyList::read(assemble({hex("1400000000000000010000000000000000")})).ok());
}

// Every level refers twice to the next: a few bytes per level, twice the
// values with each one.
QByteArray doublingLevels(int levels)
{
    QList<QByteArray> objects;
    for (int i = 0; i < levels; ++i)
        objects.append(QByteArray("\xA2") + char(i + 1) + char(i + 1));
    objects.append(hex("5161"));
    return assemble(objects);
}

TEST(BinaryPropertyListReaderTest, sharedContainersAreReadOnceAndShared)
{
    constexpr int kLevels = 10;
    const auto read = BinaryPropertyList::read(doublingLevels(kLevels));
    ASSERT_TRUE(read.ok()) << read.errorMessage().toStdString();
    QVariant first = read.value();
    QVariant last = read.value();
    for (int i = 0; i < kLevels; ++i) {
        first = first.toList().value(0);
        last = last.toList().value(1);
    }
    EXPECT_EQ(first, QVariant("a"));
    EXPECT_EQ(first.toString().constData(), last.toString().constData());
}

struct HostileCase
{
    const char *name;
    QByteArray bytes;
    const char *message;
};

class BinaryHostileInputTest : public ::testing::TestWithParam<HostileCase>
{ };

TEST_P(BinaryHostileInputTest, failsWithAMessageSayingWhy)
{
    QElapsedTimer timer;
    timer.start();
    const auto read = BinaryPropertyList::read(GetParam().bytes);
    EXPECT_LT(timer.elapsed(), 1000);
    ASSERT_FALSE(read.ok());
    EXPECT_TRUE(read.errorMessage().contains(QLatin1StringView(GetParam().message)))
        << read.errorMessage().toStdString();
}

QByteArray patched(QByteArray bytes, qsizetype at, char value)
{
    bytes[at < 0 ? bytes.size() + at : at] = value;
    return bytes;
}

QByteArray deepChain(int depth)
{
    QList<QByteArray> objects;
    for (int i = 1; i < depth; ++i)
        objects.append(QByteArray("\xA1") + char(i >> 8) + char(i & 0xFF));
    objects.append(hex("a0"));
    return assemble(objects, 2);
}

// The root lists 2000 objects whose offsets all point at one array of 2000
// references: four million values from a file of a few kilobytes.
QByteArray overlappingContainers()
{
    constexpr quint16 kCount = 2000;
    const auto arrayOf = [](quint16 count, const auto &reference) {
        QByteArray array = hex("af11") + QByteArray(2 + 2 * count, '\0');
        qToBigEndian<quint16>(count, array.data() + 2);
        for (quint16 i = 0; i < count; ++i)
            qToBigEndian<quint16>(reference(i), array.data() + 4 + 2 * i);
        return array;
    };
    const QByteArray root = arrayOf(kCount, [](quint16 i) { return quint16(i + 1); });
    const QByteArray shared = arrayOf(kCount, [](quint16) { return quint16(kCount + 1); });
    QList<quint64> offsets{8};
    for (int i = 0; i < kCount; ++i)
        offsets.append(8 + quint64(root.size()));
    offsets.append(8 + quint64(root.size() + shared.size()));
    return assembleAt(root + shared + hex("09"), offsets, 2);
}

// A thousand objects that all start at the same long run of fill bytes.
QByteArray objectsInOneRunOfFill()
{
    constexpr quint16 kCount = 1000;
    QByteArray root = hex("af11") + QByteArray(2 + 2 * kCount, '\0');
    qToBigEndian<quint16>(kCount, root.data() + 2);
    QList<quint64> offsets{8};
    for (quint16 i = 0; i < kCount; ++i) {
        qToBigEndian<quint16>(i + 1, root.data() + 4 + 2 * i);
        offsets.append(8 + quint64(root.size()));
    }
    return assembleAt(root + QByteArray(4 * kCount, '\x0f') + hex("09"), offsets, 2);
}

INSTANTIATE_TEST_SUITE_P(robustness, BinaryHostileInputTest,
    ::testing::Values(HostileCase{"tooShort", QByteArray("bplist00"), "too few"},
        HostileCase{"otherVersion", QByteArray("bplist15") + assemble({hex("09")}).mid(8), "signature"},
        HostileCase{"arrayContainingItself", assemble({hex("a100")}), "contains itself"},
        HostileCase{"cycleThroughADictionary", assemble({hex("d10102"), hex("516b"), hex("a100")}), "contains itself"},
        HostileCase{"nestedPastTheCap", deepChain(BinaryPropertyList::kMaxDepth + 1), "nested"},
        HostileCase{"arrayCountBeyondTheData", assemble({hex("af13000000ffffffff01")}), "runs past"},
        HostileCase{"referenceOutOfRange", assemble({hex("a105")}), "refers to object 5"},
        HostileCase{"topObjectOutOfRange", assemble({hex("09")}, 1, 3), "top object"},
        HostileCase{"referenceSizeZero", patched(assemble({hex("09")}), -32 + 7, 0), "1 to 8"},
        HostileCase{
            "offsetTableIntoTheTrailer", patched(assemble({hex("09")}), -32 + 15, 100), "runs into the trailer"},
        HostileCase{
            "offsetOutsideTheObjects", patched(assemble({hex("09"), hex("08")}), 11, 12), "outside the object table"},
        HostileCase{"keyThatIsNotAString", assemble({hex("d10102"), hex("1001"), hex("09")}), "not a string"},
        HostileCase{"nullMarker", assemble({hex("00")}), "marker 0x00"},
        HostileCase{"utf8StringMarker", assemble({hex("7141")}), "marker 0x71"},
        HostileCase{"notANumberDate", assemble({hex("337ff8000000000000")}), "date out of range"},
        HostileCase{"integerOfThirtyTwoBytes", assemble({hex("15")}), "integer of 32 bytes"},
        HostileCase{"uidOfSixteenBytes", assemble({hex("8f")}), "UID of 16 bytes"},
        HostileCase{"overlappingContainers", overlappingContainers(), "overlaps"},
        HostileCase{"objectsInOneRunOfFill", objectsInOneRunOfFill(), "overlaps"},
        HostileCase{"sharingThatExpandsTo2To60Values", doublingLevels(60), "expands"}),
    [](const auto &info) { return std::string(info.param.name); });

} // namespace
