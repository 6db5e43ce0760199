#pragma once

#include <QLoggingCategory>

/** Log category of import and export ("jw.exchange"); warnings and above by default. */
Q_DECLARE_LOGGING_CATEGORY(lcExchange)
