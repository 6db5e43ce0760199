#include "UtilLog.h"

Q_LOGGING_CATEGORY(lcUtil, "jw.util", QtWarningMsg)
