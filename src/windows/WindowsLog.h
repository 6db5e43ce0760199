#pragma once

#include <QLoggingCategory>

/** Log category of the note windows ("jw.windows"); warnings and above by default. */
Q_DECLARE_LOGGING_CATEGORY(lcWindows)
