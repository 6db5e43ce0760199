#include "WindowsLog.h"

Q_LOGGING_CATEGORY(lcWindows, "jw.windows", QtWarningMsg)
