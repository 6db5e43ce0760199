#pragma once

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

} // namespace TypedStreamStandardCoders
