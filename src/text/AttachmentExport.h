#pragma once

#include "platform/base/Result.h"
#include "platform/richtext/TextAttachment.h"

#include <QString>
#include <QStringList>

class QTextDocument;

/**
 * Writing a text's attachments out as files, for the export commands of the
 * text view. These choose no paths: the view asks the user and passes the
 * answer. Every file is written atomically.
 */
namespace AttachmentExport {

/** Writes @p attachment's file, its bytes exactly as kept, to @p path. */
[[nodiscard]] Status exportAttachment(const TextAttachment &attachment, const QString &path);

/**
 * Writes the file of every attachment of @p document that has one into the
 * existing folder @p folder, each under its file name made unique in the
 * folder (PathUtility::uniqueFileName()), so nothing there is replaced. An
 * attachment shown at several places of the text is written once. Stops at
 * the first file that cannot be written; the files written before it stay.
 *
 * @return the paths written, in text order.
 */
[[nodiscard]] Result<QStringList> exportEveryAttachment(const QTextDocument &document, const QString &folder);

} // namespace AttachmentExport
