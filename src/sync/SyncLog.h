#pragma once

#include <QLoggingCategory>

/** Log category of device sync ("jw.sync"); informational messages and above by default. */
Q_DECLARE_LOGGING_CATEGORY(lcSync)
