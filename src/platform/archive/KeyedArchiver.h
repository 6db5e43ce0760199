#pragma once

#include "PropertyList.h"
#include "platform/base/Result.h"

#include <QByteArray>
#include <QVariant>
#include <QVariantMap>

/**
 * Writes keyed archives: the "$archiver"/"$version"/"$top"/"$objects"
 * property list the platform's keyed archiver produces, as the companion
 * application expects the sync payload.
 *
 * | Qt value                | archived as |
 * |-------------------------|-------------|
 * | QString                 | plain string (NSString); NSMutableString {NS.string} with Options::wrapStrings |
 * | QByteArray              | plain data (NSData); NSMutableData {NS.data} with Options::wrapData |
 * | integers, bool, double  | plain integer, boolean, real (NSNumber) |
 * | QDateTime               | NSDate {NS.time: seconds since 2001} |
 * | QVariantList, QStringList | NSMutableArray {NS.objects}; NSArray when Options::mutableContainers is off |
 * | QVariantMap, QVariantHash | NSMutableDictionary {NS.keys, NS.objects}; NSDictionary likewise |
 * | QUrl                    | NSURL {NS.base: nil, NS.relative} |
 * | QUuid                   | NSUUID {NS.uuidbytes} |
 * | invalid QVariant        | UID 0, the "$null" slot (a nil object) |
 * | QVariant::fromValue(nullptr) | an NSNull object |
 * | ArchivedObject          | its fields under its own class description |
 * | ArchivedBackReference   | a reference to the enclosing ArchivedObject read from that slot |
 *
 * Numbering follows the platform: an object takes its slot when first met,
 * then its contents are written (a dictionary's keys before its values),
 * then its class description is appended once per class.
 *
 * Identity: strings, numbers and data are written once per distinct value,
 * as the platform's uniqued constants are. Copies of one non-empty list or
 * map (Qt's implicit sharing) and copies of one ArchivedObject are written
 * once as well; equal containers built separately get slots of their own.
 */
class KeyedArchiver
{
public:
    struct Options
    {
        /** NSMutableArray/NSMutableDictionary (the desktop's sync form); NSArray/NSDictionary when false. */
        bool mutableContainers = true;
        /** Strings as NSMutableString objects instead of plain strings. */
        bool wrapStrings = false;
        /** Data as NSMutableData objects instead of plain data. */
        bool wrapData = false;
        /** The property-list form; the platform writes binary. */
        PropertyList::Format format = PropertyList::Format::Binary;
        /** Values nested deeper than this are refused (formats that nest deeply raise it). */
        int maximumDepth = 256;
    };

    /** Values deeper than this are refused, unless Options::maximumDepth says otherwise. */
    static constexpr int maximumDepth = 256;

    KeyedArchiver() = default;
    explicit KeyedArchiver(const Options &options)
        : m_options(options)
    { }

    /** The archive of @p root under "$top"/"root"; fails for values with no archived form. */
    [[nodiscard]] Result<QByteArray> archivedDataWithRootObject(const QVariant &root) const;

    /**
     * The archive of several top-level objects, one "$top" key each, encoded
     * in key order (the form of un-keyed encodeObject: calls uses "$0", "$1"...).
     */
    [[nodiscard]] Result<QByteArray> archivedDataWithTopLevelObjects(const QVariantMap &top) const;

private:
    Options m_options;
};
