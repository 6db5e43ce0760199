#pragma once

#include <QLoggingCategory>

/** Log category of the memo store ("jw.model"); warnings and above by default. */
Q_DECLARE_LOGGING_CATEGORY(lcModel)
