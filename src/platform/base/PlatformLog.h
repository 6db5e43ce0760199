#pragma once

#include <QLoggingCategory>

/** Log category of the platform layer ("jw.platform"); warnings and above by default. */
Q_DECLARE_LOGGING_CATEGORY(lcPlatform)
