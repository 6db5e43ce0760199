#pragma once

// Byte builders for data folders as the original desktop platform wrote them:
// typed streams (the data store, the settings file, archived colours), the
// flattened RTFD of page texts and the XML property lists of page files.
//
// Everything here is written from the byte-level rules alone and shares no
// code with the application's encoders, so that a test built on it checks
// the application's readers against an independent idea of the bytes.
// Only little-endian ("streamtyped") streams are produced, as the
// platform's Intel machines wrote them.

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <map>
#include <optional>
#include <utility>
#include <vector>

namespace LegacyBytes {

/** One level of a class chain: the class name written into the stream and its class version. */
struct ClassLevel
{
    QByteArray name;
    qint64 version = 0;
};
/** A class and its superclasses, the class first and the root class last. */
using ClassChain = std::vector<ClassLevel>;

/** Seconds since 2001-01-01 00:00:00 UTC, the platform's reference date, for @p utc (milliseconds kept). */
[[nodiscard]] double secondsSinceReferenceDate(const QDateTime &utc);

/** A colour as the platform archives it: the colour-space kind and its components (0..1). */
struct LegacyColor
{
    qint8 kind = 2;             ///< 1 calibrated RGB, 2 device RGB, 3 calibrated white, 4 device white, 5 device CMYK
    std::vector<float> components; ///< r g b a, white alpha, or c m y k a

    [[nodiscard]] static LegacyColor deviceRGB(float r, float g, float b, float a = 1);
    [[nodiscard]] static LegacyColor calibratedRGB(float r, float g, float b, float a = 1);
    [[nodiscard]] static LegacyColor calibratedWhite(float white, float alpha = 1);
    [[nodiscard]] static LegacyColor deviceWhite(float white, float alpha = 1);
};

/**
 * A typed stream written byte by byte: the header, then whatever the caller
 * puts in, with the two reference tables (shared strings, objects) kept the
 * way the platform's archiver keeps them.
 *
 * Values are written in two steps, as in the stream: a group's type string
 * (type()), then the values it announces. The object helpers write one
 * object value each (84, the class chain, the object's groups, 86) and
 * answer the object-table number it took, so that a later position can
 * write a reference() to it, as the archiver does for an instance it
 * encodes twice.
 */
class TypedStreamBytes
{
public:
    /** Starts the stream with the header: version 4, "streamtyped", system version 1000. */
    TypedStreamBytes();

    [[nodiscard]] const QByteArray &bytes() const { return m_bytes; }

    // --- Primitive forms ---------------------------------------------------

    /** One raw byte, untagged (the form of 'c' values and of the head bytes). */
    void rawByte(quint8 byte);
    /** An integer in its shortest tagged form: one byte, 81 + int16 or 82 + int32. */
    void integer(qint64 value);
    /**
     * A float ('f', @p single) or double ('d'): the integer form when the
     * value survives the platform's whole-number test, else 83 and the
     * IEEE bytes.
     */
    void real(double value, bool single);
    /** An unshared byte string: length, then the bytes ('+' values). */
    void byteString(const QByteArray &bytes);
    /** A shared string: a reference when the string table has it, else 84 and the byte string. */
    void sharedString(const QByteArray &string);
    /** A C string ('*' values): an object reference when one with these characters was written, else a new one. */
    void cString(const QByteArray &string);
    /** 85: nil. */
    void nil();
    /** A reference to object-table entry @p objectIndex. */
    void reference(int objectIndex);
    /** The type string that begins a group. */
    void type(const QByteArray &types);

    // --- Objects -------------------------------------------------------------

    /** 84, the object's number, its class chain (references for classes already written); answers the number. */
    int beginObject(const ClassChain &chain);
    /** 86: the end of the current object. */
    void endObject();

    /**
     * Writes the instance called @p identity: the first time by running
     * @p write (which must write one object value and answer its number),
     * afterwards as a reference to that number.
     */
    int shared(const QString &identity, const std::function<int()> &write);

    /** An NSString (or @p className, e.g. "NSMutableString"), characters as UTF-8. */
    int string(const QString &text, const QByteArray &className = "NSString");
    /** The one empty string instance: literal the first time, referenced afterwards. */
    int emptyString();
    /** An NSNumber of integer type @p objCType (c C s S i I l L q Q); 'c'/'C' values are one raw byte. */
    int number(char objCType, qint64 value);
    /** An NSNumber of type 'f' or 'd'. */
    int realNumber(char objCType, double value);
    /** An NSData: 'i' length, then a "[Nc]" group with the bytes. */
    int data(const QByteArray &bytes, const QByteArray &className = "NSData");
    /** An NSDate: one 'd' group of seconds since the reference date. */
    int date(double secondsSinceReferenceDate);
    /** An NSColor as in LegacyColor. */
    int color(const LegacyColor &color);
    /** The NSNull singleton: literal the first time, referenced afterwards. */
    int null();

    /**
     * Begins an NSArray (or NSMutableArray with @p isMutable) of @p count
     * elements: the caller then writes one '@' group per element and ends
     * the object.
     */
    int beginArray(qint64 count, bool isMutable = true);
    /** Begins an NSDictionary or NSMutableDictionary: one '@' group per key, then one per value, entry after entry. */
    int beginDictionary(qint64 count, bool isMutable = true);

    /**
     * Begins an NSCalendarDate: its 'd' group of seconds; the caller then
     * writes the calendar format and the time zone (in the order the archive
     * is to have) and ends the object.
     */
    int beginCalendarDate(double secondsSinceReferenceDate, qint64 classVersion = 0);
    /** An NSTimeZone: the zone name as an NSString, followed by an NSData of zone data when there is some. */
    int timeZone(const QString &name, const QByteArray &zoneData = {});

private:
    void writeClassChain(const ClassChain &chain);
    void append16(qint16 value);
    void append32(qint32 value);

    QByteArray m_bytes;
    std::map<QByteArray, int> m_strings;      // shared string -> string-table number
    std::map<QByteArray, int> m_classes;      // class name -> object-table number
    std::map<QByteArray, int> m_cStrings;     // C string characters -> object-table number
    std::map<QString, int> m_sharedObjects;   // identity -> object-table number
    int m_nextString = 0;
    int m_nextObject = 0;
    int m_openObjects = 0;
};

/** The class chain "JWMemo" @p version -> "NSObject" 0. */
[[nodiscard]] ClassChain memoChain(qint64 version);

/** A "JWWindowAttribute" record, field by field, in its archived forms. */
struct WindowAttributeRecord
{
    qint64 selectionID = 0;
    QString windowFrame = QStringLiteral("{{48, 61}, {500, 500}}");
    bool showPageHandle = true;
    bool floating = false;
    bool showDrawer = false;
    qint64 drawerEdge = 0;
    QString drawerSize = QStringLiteral("{168, 328}");
    bool iconized = false;
    QString iconWindowFrame = QStringLiteral("{{0, 0}, {0, 0}}");
    bool rulerIsVisible = false;
    bool continuousSpellChecking = true;
    bool iconWindowChangeAlphaValue = false;
    float iconWindowAlphaValue = 1;
    float iconWindowAlphaValueAtPoint = 1;
    bool iconWindowMoveSpaces = false;
    bool noteWindowChangeAlphaValue = false;
    float noteWindowAlphaValue = 1;
    float noteWindowAlphaValueAtPoint = 1;
    std::optional<QList<qint64>> tabItems; ///< nil when empty
    qint64 selectedTabIndex = 0;
    QString windowFrameStr = QStringLiteral("{{48, 61}, {500, 500}}");
    QString iconFrameStr = QStringLiteral("{{0, 0}, {0, 0}}");
    QString webWindowFrame = QStringLiteral("{{0, 0}, {0, 0}}");
    bool showWebControlBar = true;
};

/**
 * Writes @p record as a JWWindowAttribute object of class version
 * @p version (1 to 4: 18, 20, 22 or 24 groups).
 */
int writeWindowAttribute(TypedStreamBytes &stream, const WindowAttributeRecord &record, qint64 version = 4);

/** A "JWMemo" record and its subtree, in its archived forms. */
struct MemoRecord
{
    qint64 memoID = 0;
    char memoIDType = 'q';
    QString title;
    std::vector<MemoRecord> children;
    double createdAt = 0;   ///< seconds since the reference date
    double modifiedAt = 0;
    /** Writes the dates' time zone before their calendar format (the other order seen among readers). */
    bool zoneBeforeFormat = false;
    qint64 referenceNumber = 0;
    std::optional<QStringList> tags;  ///< nil when empty
    bool tagsMutable = true;
    LegacyColor titleColor = LegacyColor::deviceRGB(0, 0, 0, 0);
    bool locked = false;
    bool protectWithPassword = false;
    QString plainText;
    QString scrollRange = QStringLiteral("{0, 0}");
    QString selectedRange = QStringLiteral("{0, 0}");
    std::optional<WindowAttributeRecord> windowAttribute; ///< nil when empty
    bool scaleImages = false;
    bool showRuler = false;
    bool showLineNumbers = false;
    LegacyColor titleCharacterColor = LegacyColor::deviceRGB(0, 0, 0, 1);
    bool verticalLayout = false;
    QString webURLStr;
};

/**
 * Writes @p record and its children (depth first) as JWMemo objects of
 * class version @p version (1 to 5), with the number of groups that version
 * holds. The empty string, the NSNull icon, the dates' calendar format and
 * their time zone are shared instances: written once, referenced afterwards,
 * wherever in the tree they come up again.
 */
int writeMemo(TypedStreamBytes &stream, const MemoRecord &record, qint64 version = 5);

/** A whole data store: the header and one '@' group holding @p root. */
[[nodiscard]] QByteArray dataStore(const MemoRecord &root, qint64 version = 5);

/** A typed stream holding one NSColor, as the "BGColor" preference keeps it. */
[[nodiscard]] QByteArray archivedColor(const LegacyColor &color);

// --- Flattened RTFD --------------------------------------------------------------

/** One file of an RTFD: its name and contents. */
struct RtfdFile
{
    QByteArray name;
    QByteArray contents;
};

/**
 * A flattened RTFD (serialized directory wrapper): "rtfd", 0, then a
 * directory of @p files in the given order followed by the "." attribute
 * table describing each of them with @p modificationTime.
 */
[[nodiscard]] QByteArray flattenedRtfd(const std::vector<RtfdFile> &files, quint32 modificationTime);

/**
 * An RTF document the way the platform's text system writes it: the header
 * line (@p cocoaVersion, e.g. "949\\cocoasubrtf540"), @p fontTable and
 * @p colorTable entries, the default paragraph with its tab stops, then
 * @p body and the closing brace.
 */
[[nodiscard]] QByteArray platformRtf(const QByteArray &cocoaVersion, const QByteArray &fontTable,
                                     const QByteArray &colorTable, const QByteArray &body);

// --- XML property lists ------------------------------------------------------------

/**
 * A top-level property-list dictionary as the platform writes it to a file:
 * keys sorted by their bytes, tab indentation, dates in UTC "Z" form, data in
 * base64 lines of 68 characters.
 */
class XmlPlistDictionary
{
public:
    void string(const QString &key, const QString &value);
    void integer(const QString &key, qint64 value);
    void boolean(const QString &key, bool value);
    void date(const QString &key, const QDateTime &value);
    void data(const QString &key, const QByteArray &value);
    void stringArray(const QString &key, const QStringList &values);

    /** The whole file: XML declaration, DOCTYPE, plist element and the dictionary. */
    [[nodiscard]] QByteArray text() const;

private:
    std::map<QByteArray, QByteArray> m_entries; // key (UTF-8) -> value element lines, indented for depth 1
};

/** @p text with '&', '<' and '>' escaped, as the platform's XML writer does (nothing else). */
[[nodiscard]] QByteArray xmlEscaped(const QString &text);

} // namespace LegacyBytes
