#pragma once

#include "platform/base/Result.h"

#include <QByteArray>
#include <QString>

/**
 * Word documents (".doc") read through a converter Debian packages, never
 * by our own parser of the format: LibreOffice's headless conversion when it
 * is installed (the thorough one), else wvHtml of the package wv (the light
 * one). Either runs in a temporary folder and is stopped after a minute.
 */
namespace DocConverter {

/** The converter programs looked for on the PATH, in order of preference. */
[[nodiscard]] QString converterProgram();

/**
 * The document at @p path as HTML. An error naming the packages to install
 * when no converter is there, or saying why the converter gave nothing.
 */
[[nodiscard]] Result<QByteArray> htmlOfDocument(const QString &path);

} // namespace DocConverter
