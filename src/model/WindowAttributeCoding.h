#pragma once

#include "JWWindowAttribute.h"

#include "platform/typedstream/TypedStreamRegistry.h"
#include "util/GeometryStrings.h"

#include <QByteArray>
#include <QMetaType>
#include <QRectF>
#include <QSizeF>
#include <QString>

Q_DECLARE_METATYPE(WindowAttributePtr)

/**
 * How a JWWindowAttribute is archived in typed streams, inside the memo tree,
 * and the geometry strings its frames are stored as.
 *
 * In a QVariant the record travels as a WindowAttributePtr; the same pointer
 * archived twice is written once and referenced afterwards.
 *
 * The class version decides how many values a record holds: version 1 stops
 * after the note window's transparency, 2 adds the tabs, 3 the frame strings
 * of the window controllers, 4 the web window frame and the web control bar.
 * Reading an older record leaves the missing fields at their defaults, except
 * that a record without a web window frame gets one 1.2 times the size of the
 * window frame at the same origin.
 */
namespace WindowAttributeCoding {

/** The class name written into archives. */
inline constexpr char kClassName[] = "JWWindowAttribute";
/** The class version this program writes. */
inline constexpr qint64 kClassVersion = 4;

/**
 * The coder for class JWWindowAttribute at @p version (1 to 4): encoding
 * writes the values that version holds, decoding reads by the version the
 * archive records. Encoding resets the live record's icon frame to 48 by 48
 * once the archived icon frame is written.
 */
[[nodiscard]] TypedStreamCoder coder(qint64 version = kClassVersion);

/** Registers the coder at the current version and makes WindowAttributePtr values archive as it. */
void registerWith(TypedStreamRegistry &registry);

/** What archiving a record does to it afterwards: its icon frame goes back to the icon's size. */
void settleAfterArchiving(JWWindowAttribute &record);

} // namespace WindowAttributeCoding
