#include "ModelLog.h"

Q_LOGGING_CATEGORY(lcModel, "jw.model", QtWarningMsg)
