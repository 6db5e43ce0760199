#pragma once

#include "TypedStreamNode.h"

#include <QByteArray>
#include <QColor>
#include <QDateTime>
#include <QList>
#include <QMetaType>
#include <QString>
#include <QVariant>

#include <utility>

/**
 * Qt-side values for archived classes that have no Qt type of their own.
 * Each is a plain value type held in a QVariant.
 */

/** An archived colour: its colour-space kind and components as the archive stores them (0..1). */
struct ArchivedColor
{
    enum Kind : qint8
    {
        CalibratedRGB = 1,
        DeviceRGB = 2,
        CalibratedWhite = 3,
        DeviceWhite = 4,
        DeviceCMYK = 5,
        Catalog = 6,
    };

    Kind kind = DeviceRGB;
    QList<float> components; ///< r g b a, white alpha or c m y k a; empty for a catalogue colour
    QString catalogName;     ///< catalogue colours only
    QString colorName;       ///< catalogue colours only
    QVariant fallback;       ///< catalogue colours only: the ArchivedColor to use when the catalogue is missing

    [[nodiscard]] static ArchivedColor calibratedRGB(float r, float g, float b, float a = 1);
    [[nodiscard]] static ArchivedColor deviceRGB(float r, float g, float b, float a = 1);
    [[nodiscard]] static ArchivedColor calibratedWhite(float white, float alpha = 1);
    [[nodiscard]] static ArchivedColor deviceWhite(float white, float alpha = 1);
    /** The platform's clear colour: calibrated white 0, alpha 0. */
    [[nodiscard]] static ArchivedColor clear();
    /** A device-RGB colour with @p color's components (Qt colours carry no calibration). */
    [[nodiscard]] static ArchivedColor fromColor(const QColor &color);

    /** The colour for display; a catalogue colour shows its fallback. Invalid if the kind is unknown. */
    [[nodiscard]] QColor toColor() const;

    friend bool operator==(const ArchivedColor &, const ArchivedColor &) = default;
};

/**
 * An archived image. Its layout is known only loosely, so the whole object is
 * kept as read (written back unchanged); imageData is the first PNG, JPEG or
 * TIFF found among its data, for display.
 */
struct ArchivedImage
{
    TypedStreamObjectPtr object;
    QByteArray imageData;

    friend bool operator==(const ArchivedImage &a, const ArchivedImage &b) { return a.object == b.object; }
};

/**
 * A value together with the class it is archived as. Wrap a value in it to
 * write it under a class other than the registry's default for its Qt type
 * (NSArray instead of NSMutableArray, say); a decoder asked to keep class
 * names hands values back in it when their class differs from that default.
 */
struct ArchivedAs
{
    QByteArray className;
    QVariant value;

    friend bool operator==(const ArchivedAs &, const ArchivedAs &) = default;
};

/**
 * A dictionary whose entries keep their order, or whose keys are not all
 * strings (QVariantMap holds neither). Written as NSMutableDictionary unless
 * wrapped in ArchivedAs.
 */
struct ArchivedDictionary
{
    QList<std::pair<QVariant, QVariant>> entries;

    friend bool operator==(const ArchivedDictionary &, const ArchivedDictionary &) = default;
};

/** An NSValue: the Objective-C type of its content and the content (a QVariantList for a struct). */
struct ArchivedValue
{
    QByteArray objCType;
    QVariant value;

    friend bool operator==(const ArchivedValue &, const ArchivedValue &) = default;
};

/**
 * An NSCalendarDate: the instant plus the calendar format and time zone it
 * carries. Archives differ in the order of format and zone; timeZoneFirst
 * remembers it, so a re-write keeps what was read.
 */
struct ArchivedCalendarDate
{
    QDateTime dateTime; ///< UTC
    QVariant format;    ///< the calendar format string (QString), or null
    QVariant timeZone;  ///< the time-zone object as read (generic), or null for a new date
    bool timeZoneFirst = false;

    /**
     * The application's form for a new date: the default calendar format and
     * no zone object. When written, such a date is followed by its format and
     * then an NSTimeZone (version 0) holding the zone name "GMT" as an NSString;
     * that zone layout is this writer's choice, as no platform sample shows one.
     */
    [[nodiscard]] static ArchivedCalendarDate fromDateTime(const QDateTime &dateTime);

    friend bool operator==(const ArchivedCalendarDate &, const ArchivedCalendarDate &) = default;
};

Q_DECLARE_METATYPE(ArchivedColor)
Q_DECLARE_METATYPE(ArchivedImage)
Q_DECLARE_METATYPE(ArchivedAs)
Q_DECLARE_METATYPE(ArchivedValue)
Q_DECLARE_METATYPE(ArchivedDictionary)
Q_DECLARE_METATYPE(ArchivedCalendarDate)
Q_DECLARE_METATYPE(TypedStreamObjectPtr)
