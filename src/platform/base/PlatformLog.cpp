#include "PlatformLog.h"

Q_LOGGING_CATEGORY(lcPlatform, "jw.platform", QtWarningMsg)
