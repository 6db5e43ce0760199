#pragma once

#include <QString>
#include <QStringList>

/**
 * The file name extensions import reads, lower case and without the dot.
 * Extensions are compared in lower case, so "TXT" is a text file too.
 */
namespace ImportFileTypes {

/** The application's own formats and the fixed ones: jw3page … ics. */
[[nodiscard]] const QStringList &fixedFileTypes();

/** Plain text and source code: txt, h, m, c, cpp … sh. */
[[nodiscard]] const QStringList &plaintextFileTypes();

/** html, htm, shtml. */
[[nodiscard]] const QStringList &htmlFileTypes();

/** Every picture type the toolkit's image readers installed here handle. */
[[nodiscard]] const QStringList &imageFileTypes();

/** All of the above, in that order: what an open dialog offers. */
[[nodiscard]] const QStringList &importableFileTypes();

/** Whether @p extension (any case) is one of importableFileTypes(). */
[[nodiscard]] bool isImportable(const QString &extension);

} // namespace ImportFileTypes
