#pragma once

#include "platform/base/Result.h"

#include <QVariant>

#include <functional>

class TypedStreamDecoder;
class TypedStreamRegistry;

/**
 * The Foundation and AppKit classes as the platform archives them, and which
 * class each Qt type is written as by default: QString as NSString,
 * QByteArray as NSData, QVariantList as NSMutableArray, QVariantMap as
 * NSMutableDictionary, QDateTime as NSDate, numbers as NSNumber (bool 'c',
 * qint64 'q', int 'i', double 'd', float 'f', and the other integer types by
 * their own type character), and the Archived* types as their classes.
 */
namespace TypedStreamStandardCoders {

/** Registers the Foundation classes and the AppKit ones (colours, images) into @p registry. */
void registerAll(TypedStreamRegistry &registry);
/** Registers NSColor and NSImage; called by registerAll. */
void registerAppKit(TypedStreamRegistry &registry);

/**
 * The moment an NSDate or NSCalendarDate (or a subclass) stands for, as a
 * QDateTime in UTC, for coders that want nothing else of a date: pass it to
 * TypedStreamDecoder::decodeObjectWith. A calendar date's format and time
 * zone are left unread. Fails on objects of other classes.
 */
[[nodiscard]] Result<QVariant> decodeMoment(TypedStreamDecoder &decoder);

/**
 * The elements of an NSArray, NSMutableArray or NSSet (or a subclass), each
 * handed to @p element as it is decoded, with no QVariantList in between:
 * for coders that keep the elements elsewhere (call it from a function
 * passed to TypedStreamDecoder::decodeObjectWith). Fails on objects of
 * other classes, and as soon as @p element fails.
 */
[[nodiscard]] Status decodeArrayElements(TypedStreamDecoder &decoder, const std::function<Status(QVariant)> &element);

} // namespace TypedStreamStandardCoders
