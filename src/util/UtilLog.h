#pragma once

#include <QLoggingCategory>

/** Log category of the helpers on platform types ("jw.util"); warnings and above by default. */
Q_DECLARE_LOGGING_CATEGORY(lcUtil)
