#include "LegacyBytes.h"

#include <gtest/gtest.h>

#include <QtEndian>

#include <cstring>
#include <limits>

namespace LegacyBytes {
namespace {

// Unix time of 2001-01-01 00:00:00 UTC, in milliseconds.
constexpr qint64 kReferenceDateMSecs = 978307200000LL;

const ClassLevel kNSObject{"NSObject", 0};

QByteArray u32(quint32 value)
{
    QByteArray bytes(4, '\0');
    qToLittleEndian(value, bytes.data());
    return bytes;
}

// The calendar format every date made by the platform's calendar-date class
// carries unless told otherwise. All dates share the one constant instance.
const QString kCalendarFormat = QStringLiteral("%Y-%m-%d %H:%M:%S %z");

void writeCalendarDate(TypedStreamBytes &stream, double seconds, bool zoneBeforeFormat)
{
    stream.beginCalendarDate(seconds);
    const auto format = [&] {
        stream.type("@");
        stream.shared(QStringLiteral("calendar format"), [&] { return stream.string(kCalendarFormat); });
    };
    // Dates made on one machine share its local time zone object. The zone
    // written before the format stands for data from another machine, so it
    // is another zone, without zone data.
    const auto zone = [&] {
        stream.type("@");
        if (zoneBeforeFormat) {
            stream.shared(QStringLiteral("zone Europe/Paris"),
                          [&] { return stream.timeZone(QStringLiteral("Europe/Paris")); });
        } else {
            stream.shared(QStringLiteral("zone Asia/Tokyo"), [&] {
                // The start of a compiled zone file: magic, version, then counts.
                QByteArray zoneData("TZif2");
                zoneData.append(39, '\0');
                return stream.timeZone(QStringLiteral("Asia/Tokyo"), zoneData);
            });
        }
    };
    if (zoneBeforeFormat) {
        zone();
        format();
    } else {
        format();
        zone();
    }
    stream.endObject();
}

void textObject(TypedStreamBytes &stream, const QString &text)
{
    stream.type("@");
    if (text.isEmpty())
        stream.emptyString();
    else
        stream.string(text);
}

void flag(TypedStreamBytes &stream, bool value)
{
    stream.type("c");
    stream.rawByte(value ? 1 : 0);
}

void single(TypedStreamBytes &stream, float value)
{
    stream.type("f");
    stream.real(value, true);
}

} // namespace

double secondsSinceReferenceDate(const QDateTime &utc)
{
    return double(utc.toMSecsSinceEpoch() - kReferenceDateMSecs) / 1000.0;
}

LegacyColor LegacyColor::deviceRGB(float r, float g, float b, float a)
{
    return {2, {r, g, b, a}};
}

LegacyColor LegacyColor::calibratedRGB(float r, float g, float b, float a)
{
    return {1, {r, g, b, a}};
}

LegacyColor LegacyColor::calibratedWhite(float white, float alpha)
{
    return {3, {white, alpha}};
}

LegacyColor LegacyColor::deviceWhite(float white, float alpha)
{
    return {4, {white, alpha}};
}

// --- TypedStreamBytes -------------------------------------------------------------

TypedStreamBytes::TypedStreamBytes()
{
    rawByte(4);
    m_bytes.append(char(11));
    m_bytes.append("streamtyped");
    integer(1000);
}

void TypedStreamBytes::rawByte(quint8 byte)
{
    m_bytes.append(char(byte));
}

void TypedStreamBytes::append16(qint16 value)
{
    char buffer[2];
    qToLittleEndian(value, buffer);
    m_bytes.append(buffer, 2);
}

void TypedStreamBytes::append32(qint32 value)
{
    char buffer[4];
    qToLittleEndian(value, buffer);
    m_bytes.append(buffer, 4);
}

void TypedStreamBytes::integer(qint64 value)
{
    if (value >= -110 && value <= 127) {
        rawByte(quint8(qint8(value)));
    } else if (value >= -32767 && value <= 32767) {
        rawByte(0x81);
        append16(qint16(value));
    } else if (value >= std::numeric_limits<qint32>::min() && value <= qint64(std::numeric_limits<quint32>::max())) {
        // Unsigned values above 2^31 take the same four bytes.
        rawByte(0x82);
        append32(qint32(quint32(value)));
    } else {
        ADD_FAILURE() << "typed streams have no form for the integer " << value << " (beyond 32 bits)";
    }
}

void TypedStreamBytes::real(double value, bool single)
{
    const double x = single ? double(float(value)) : value;
    // The archiver's whole-number test: the value goes through a float and
    // an int, and takes the integer form only if it comes back unchanged.
    qint32 candidate = 0;
    if (x >= -2147483646.0 && x < 2147483646.0) {
        const double throughFloat = double(float(x));
        candidate = throughFloat >= 2147483648.0 ? std::numeric_limits<qint32>::min() : qint32(throughFloat);
    }
    if (double(candidate) == x) {
        integer(candidate);
        return;
    }
    rawByte(0x83);
    if (single) {
        const float f = float(x);
        quint32 bits = 0;
        std::memcpy(&bits, &f, sizeof bits);
        char buffer[4];
        qToLittleEndian(bits, buffer);
        m_bytes.append(buffer, 4);
    } else {
        quint64 bits = 0;
        std::memcpy(&bits, &x, sizeof bits);
        char buffer[8];
        qToLittleEndian(bits, buffer);
        m_bytes.append(buffer, 8);
    }
}

void TypedStreamBytes::byteString(const QByteArray &bytes)
{
    integer(bytes.size());
    m_bytes.append(bytes);
}

void TypedStreamBytes::sharedString(const QByteArray &string)
{
    if (const auto found = m_strings.find(string); found != m_strings.end()) {
        integer(found->second - 110);
        return;
    }
    rawByte(0x84);
    byteString(string);
    m_strings.emplace(string, m_nextString++);
}

void TypedStreamBytes::cString(const QByteArray &string)
{
    if (const auto found = m_cStrings.find(string); found != m_cStrings.end()) {
        reference(found->second);
        return;
    }
    rawByte(0x84);
    // The C string takes its object number before its characters are written.
    m_cStrings.emplace(string, m_nextObject++);
    sharedString(string);
}

void TypedStreamBytes::nil()
{
    rawByte(0x85);
}

void TypedStreamBytes::reference(int objectIndex)
{
    integer(qint64(objectIndex) - 110);
}

void TypedStreamBytes::type(const QByteArray &types)
{
    sharedString(types);
}

void TypedStreamBytes::writeClassChain(const ClassChain &chain)
{
    for (const ClassLevel &level : chain) {
        if (const auto found = m_classes.find(level.name); found != m_classes.end()) {
            reference(found->second);
            return;
        }
        rawByte(0x84);
        sharedString(level.name);
        integer(level.version);
        m_classes.emplace(level.name, m_nextObject++);
    }
    nil(); // a root class ends the chain
}

int TypedStreamBytes::beginObject(const ClassChain &chain)
{
    rawByte(0x84);
    const int index = m_nextObject++; // before the classes of its chain
    writeClassChain(chain);
    ++m_openObjects;
    return index;
}

void TypedStreamBytes::endObject()
{
    if (m_openObjects <= 0)
        ADD_FAILURE() << "an object was ended that was never begun";
    --m_openObjects;
    rawByte(0x86);
}

int TypedStreamBytes::shared(const QString &identity, const std::function<int()> &write)
{
    if (const auto found = m_sharedObjects.find(identity); found != m_sharedObjects.end()) {
        reference(found->second);
        return found->second;
    }
    const int index = write();
    m_sharedObjects.emplace(identity, index);
    return index;
}

int TypedStreamBytes::string(const QString &text, const QByteArray &className)
{
    const int index = className == "NSMutableString"
        ? beginObject({{"NSMutableString", 1}, {"NSString", 1}, kNSObject})
        : beginObject({{className, 1}, kNSObject});
    type("+");
    byteString(text.toUtf8());
    endObject();
    return index;
}

int TypedStreamBytes::emptyString()
{
    return shared(QStringLiteral("empty string"), [this] { return string(QString()); });
}

int TypedStreamBytes::number(char objCType, qint64 value)
{
    const int index = beginObject({{"NSNumber", 0}, {"NSValue", 0}, kNSObject});
    type("*");
    cString(QByteArray(1, objCType));
    type(QByteArray(1, objCType));
    if (objCType == 'c' || objCType == 'C' || objCType == 'B')
        rawByte(quint8(value));
    else
        integer(value);
    endObject();
    return index;
}

int TypedStreamBytes::realNumber(char objCType, double value)
{
    const int index = beginObject({{"NSNumber", 0}, {"NSValue", 0}, kNSObject});
    type("*");
    cString(QByteArray(1, objCType));
    type(QByteArray(1, objCType));
    real(value, objCType == 'f');
    endObject();
    return index;
}

int TypedStreamBytes::data(const QByteArray &bytes, const QByteArray &className)
{
    const int index = className == "NSMutableData" ? beginObject({{"NSMutableData", 0}, {"NSData", 0}, kNSObject})
                                                   : beginObject({{className, 0}, kNSObject});
    type("i");
    integer(bytes.size());
    type("[" + QByteArray::number(bytes.size()) + "c]");
    m_bytes.append(bytes);
    endObject();
    return index;
}

int TypedStreamBytes::date(double secondsSinceReferenceDate)
{
    const int index = beginObject({{"NSDate", 0}, kNSObject});
    type("d");
    real(secondsSinceReferenceDate, false);
    endObject();
    return index;
}

int TypedStreamBytes::color(const LegacyColor &color)
{
    const int index = beginObject({{"NSColor", 0}, kNSObject});
    type("c");
    rawByte(quint8(color.kind));
    type(QByteArray(qsizetype(color.components.size()), 'f'));
    for (float component : color.components)
        real(component, true);
    endObject();
    return index;
}

int TypedStreamBytes::null()
{
    return shared(QStringLiteral("NSNull"), [this] {
        const int index = beginObject({{"NSNull", 0}, kNSObject});
        endObject();
        return index;
    });
}

int TypedStreamBytes::beginArray(qint64 count, bool isMutable)
{
    const int index = isMutable ? beginObject({{"NSMutableArray", 0}, {"NSArray", 0}, kNSObject})
                                : beginObject({{"NSArray", 0}, kNSObject});
    type("i");
    integer(count);
    return index;
}

int TypedStreamBytes::beginDictionary(qint64 count, bool isMutable)
{
    const int index = isMutable ? beginObject({{"NSMutableDictionary", 0}, {"NSDictionary", 0}, kNSObject})
                                : beginObject({{"NSDictionary", 0}, kNSObject});
    type("i");
    integer(count);
    return index;
}

int TypedStreamBytes::beginCalendarDate(double secondsSinceReferenceDate, qint64 classVersion)
{
    const int index = beginObject({{"NSCalendarDate", classVersion}, {"NSDate", 0}, kNSObject});
    type("d");
    real(secondsSinceReferenceDate, false);
    return index;
}

int TypedStreamBytes::timeZone(const QString &name, const QByteArray &zoneData)
{
    const int index = beginObject({{"NSTimeZone", 0}, kNSObject});
    type("@");
    string(name);
    if (!zoneData.isEmpty()) {
        type("@");
        data(zoneData);
    }
    endObject();
    return index;
}

// --- Application records ------------------------------------------------------------

ClassChain memoChain(qint64 version)
{
    return {{"JWMemo", version}, kNSObject};
}

int writeWindowAttribute(TypedStreamBytes &stream, const WindowAttributeRecord &w, qint64 version)
{
    const int index = stream.beginObject({{"JWWindowAttribute", version}, kNSObject});
    stream.type("@");
    stream.number('q', w.selectionID);
    stream.type("@");
    stream.string(w.windowFrame);
    flag(stream, w.showPageHandle);
    flag(stream, w.floating);
    flag(stream, w.showDrawer);
    stream.type("i");
    stream.integer(w.drawerEdge);
    stream.type("@");
    stream.string(w.drawerSize);
    flag(stream, w.iconized);
    stream.type("@");
    stream.string(w.iconWindowFrame);
    flag(stream, w.rulerIsVisible);
    flag(stream, w.continuousSpellChecking);
    flag(stream, w.iconWindowChangeAlphaValue);
    single(stream, w.iconWindowAlphaValue);
    single(stream, w.iconWindowAlphaValueAtPoint);
    flag(stream, w.iconWindowMoveSpaces);
    flag(stream, w.noteWindowChangeAlphaValue);
    single(stream, w.noteWindowAlphaValue);
    single(stream, w.noteWindowAlphaValueAtPoint);
    if (version >= 2) {
        stream.type("@");
        if (w.tabItems) {
            stream.beginArray(w.tabItems->size(), false);
            for (qint64 id : *w.tabItems) {
                stream.type("@");
                stream.number('q', id);
            }
            stream.endObject();
        } else {
            stream.nil();
        }
        stream.type("i");
        stream.integer(w.selectedTabIndex);
    }
    if (version >= 3) {
        stream.type("@");
        stream.string(w.windowFrameStr);
        stream.type("@");
        stream.string(w.iconFrameStr);
    }
    if (version >= 4) {
        stream.type("@");
        stream.string(w.webWindowFrame);
        flag(stream, w.showWebControlBar);
    }
    stream.endObject();
    return index;
}

int writeMemo(TypedStreamBytes &stream, const MemoRecord &r, qint64 version)
{
    const int index = stream.beginObject(memoChain(version));
    stream.type("@");
    stream.number(r.memoIDType, r.memoID);
    textObject(stream, r.title);

    stream.type("@");
    stream.beginArray(qint64(r.children.size()), true);
    for (const MemoRecord &child : r.children) {
        stream.type("@");
        writeMemo(stream, child, version);
    }
    stream.endObject();

    stream.type("@");
    writeCalendarDate(stream, r.createdAt, r.zoneBeforeFormat);
    stream.type("@");
    writeCalendarDate(stream, r.modifiedAt, r.zoneBeforeFormat);
    stream.type("@");
    stream.number('i', r.referenceNumber);

    stream.type("@");
    if (r.tags) {
        stream.beginArray(r.tags->size(), r.tagsMutable);
        for (const QString &tag : *r.tags) {
            stream.type("@");
            stream.string(tag);
        }
        stream.endObject();
    } else {
        stream.nil();
    }

    stream.type("@");
    stream.color(r.titleColor);
    stream.type("@");
    stream.number('c', r.locked ? 1 : 0);
    stream.type("@");
    stream.number('c', r.protectWithPassword ? 1 : 0);
    textObject(stream, r.plainText);
    stream.type("@");
    stream.string(r.scrollRange);
    stream.type("@");
    stream.string(r.selectedRange);
    stream.type("@");
    if (r.windowAttribute)
        writeWindowAttribute(stream, *r.windowAttribute);
    else
        stream.nil();

    if (version >= 2)
        flag(stream, r.scaleImages);
    if (version >= 3) {
        flag(stream, r.showRuler);
        flag(stream, r.showLineNumbers);
        stream.type("@");
        stream.color(r.titleCharacterColor);
    }
    if (version >= 4)
        flag(stream, r.verticalLayout);
    if (version >= 5) {
        textObject(stream, r.webURLStr);
        stream.type("@");
        stream.null(); // no site icon
    }
    stream.endObject();
    return index;
}

QByteArray dataStore(const MemoRecord &root, qint64 version)
{
    TypedStreamBytes stream;
    stream.type("@");
    writeMemo(stream, root, version);
    return stream.bytes();
}

QByteArray archivedColor(const LegacyColor &color)
{
    TypedStreamBytes stream;
    stream.type("@");
    stream.color(color);
    return stream.bytes();
}

// --- Flattened RTFD -------------------------------------------------------------------

QByteArray flattenedRtfd(const std::vector<RtfdFile> &files, quint32 modificationTime)
{
    // The "." entry describes every other entry and comes last.
    QByteArray attributes = u32(quint32(files.size()));
    for (const RtfdFile &file : files) {
        attributes += u32(quint32(file.name.size())) + file.name + u32(16);
        attributes += u32(modificationTime) + u32(0x1B6) + u32(0) + u32(0);
    }
    std::vector<RtfdFile> entries = files;
    entries.push_back({".", attributes});

    QByteArray names;
    QByteArray sizes;
    QByteArray nodes;
    for (const RtfdFile &entry : entries) {
        names += u32(quint32(entry.name.size())) + entry.name;
        const QByteArray node = u32(1) + u32(quint32(entry.contents.size())) + entry.contents;
        sizes += u32(quint32(node.size()));
        nodes += node;
    }
    return QByteArray("rtfd") + u32(0) + u32(3) + u32(quint32(entries.size())) + names + sizes + nodes;
}

QByteArray platformRtf(const QByteArray &cocoaVersion, const QByteArray &fontTable, const QByteArray &colorTable,
                       const QByteArray &body)
{
    QByteArray rtf = "{\\rtf1\\ansi\\ansicpg1252\\cocoartf" + cocoaVersion + "\n";
    rtf += "{\\fonttbl" + fontTable + "}\n";
    rtf += "{\\colortbl;\\red255\\green255\\blue255;" + colorTable + "}\n";
    rtf += "\\pard\\tx560\\tx1120\\tx1680\\tx2240\\tx2800\\tx3360\\tx3920\\tx4480\\tx5040\\tx5600\\tx6160\\tx6720"
           "\\ql\\qnatural\\pardirnatural\n";
    rtf += "\n" + body + "}";
    return rtf;
}

// --- XML property lists ----------------------------------------------------------------

QByteArray xmlEscaped(const QString &text)
{
    QByteArray escaped;
    for (char c : text.toUtf8()) {
        switch (c) {
        case '&':
            escaped += "&amp;";
            break;
        case '<':
            escaped += "&lt;";
            break;
        case '>':
            escaped += "&gt;";
            break;
        default:
            escaped += c;
        }
    }
    return escaped;
}

void XmlPlistDictionary::string(const QString &key, const QString &value)
{
    m_entries[key.toUtf8()] = "\t<string>" + xmlEscaped(value) + "</string>\n";
}

void XmlPlistDictionary::integer(const QString &key, qint64 value)
{
    m_entries[key.toUtf8()] = "\t<integer>" + QByteArray::number(value) + "</integer>\n";
}

void XmlPlistDictionary::boolean(const QString &key, bool value)
{
    m_entries[key.toUtf8()] = value ? "\t<true/>\n" : "\t<false/>\n";
}

void XmlPlistDictionary::date(const QString &key, const QDateTime &value)
{
    // Whole seconds in UTC: the writer drops fractions.
    m_entries[key.toUtf8()] =
        "\t<date>" + value.toUTC().toString(QStringLiteral("yyyy-MM-dd'T'HH:mm:ss'Z'")).toLatin1() + "</date>\n";
}

void XmlPlistDictionary::data(const QString &key, const QByteArray &value)
{
    // At depth 1: lines of 76 - 8 characters, each after one tab.
    const QByteArray base64 = value.toBase64();
    QByteArray lines = "\t<data>\n";
    for (qsizetype at = 0; at < base64.size(); at += 68)
        lines += "\t" + base64.mid(at, 68) + "\n";
    lines += "\t</data>\n";
    m_entries[key.toUtf8()] = lines;
}

void XmlPlistDictionary::stringArray(const QString &key, const QStringList &values)
{
    if (values.isEmpty()) {
        m_entries[key.toUtf8()] = "\t<array/>\n";
        return;
    }
    QByteArray lines = "\t<array>\n";
    for (const QString &value : values)
        lines += "\t\t<string>" + xmlEscaped(value) + "</string>\n";
    lines += "\t</array>\n";
    m_entries[key.toUtf8()] = lines;
}

QByteArray XmlPlistDictionary::text() const
{
    QByteArray xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                     "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                     "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                     "<plist version=\"1.0\">\n";
    if (m_entries.empty()) {
        xml += "<dict/>\n";
    } else {
        xml += "<dict>\n";
        // std::map orders the UTF-8 keys byte by byte, as the writer sorts them.
        for (const auto &[key, value] : m_entries)
            xml += "\t<key>" + xmlEscaped(QString::fromUtf8(key)) + "</key>\n" + value;
        xml += "</dict>\n";
    }
    xml += "</plist>\n";
    return xml;
}

} // namespace LegacyBytes
