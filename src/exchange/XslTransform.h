#pragma once

#include "platform/base/Result.h"

#include <QByteArray>
#include <QString>

/**
 * XSLT 1.0 transformations of XML through a style sheet, as export and import
 * of outlines use them.
 *
 * The source may come from anyone, so it is read without touching the
 * network, without loading its DTD and without expanding its entities; the
 * transformation may neither read nor write files or network resources of
 * its own (document(), xsl:document, exsl:document are refused). Every
 * message of the XML and XSLT libraries is logged under the exchange
 * category; any error, in the source, the style sheet or the transformation,
 * fails the whole call, and a failed call writes nothing.
 *
 * Style sheets are read through QFile, so they may be Qt resources. They must
 * stand alone (no xsl:import or xsl:include). Calls from several threads are
 * safe; they run one after the other.
 */
namespace XslTransform {

/**
 * The style sheet compiled into the application under @p name ("plist2opml"
 * is ":/xsl/plist2opml.xsl"); empty when there is none by that name.
 */
[[nodiscard]] QString styleSheetPath(const QString &name);

/**
 * The result of applying the style sheet at @p styleSheetPath to the XML
 * document @p xml, serialised as its xsl:output asks: XML or HTML markup, or
 * for the text method the text as it is. An error when the source or the
 * sheet cannot be read, the transformation reports an error, or it produces
 * nothing.
 */
[[nodiscard]] Result<QByteArray> transformedData(const QByteArray &xml, const QString &styleSheetPath);

/**
 * Transforms the XML file @p sourceXmlPath with the style sheet at
 * @p styleSheetPath and writes the result atomically to @p targetPath.
 * False, with @p targetPath left as it was, on any error (logged).
 */
[[nodiscard]] bool xslTransform(const QString &sourceXmlPath, const QString &targetPath, const QString &styleSheetPath);

/** As xslTransform(), from the XML document @p xml already in memory. */
[[nodiscard]] bool xslTransformWithXMLDocument(
    const QByteArray &xml, const QString &styleSheetPath, const QString &targetPath);

} // namespace XslTransform
