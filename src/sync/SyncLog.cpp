#include "SyncLog.h"

// Sync talks to other machines: what they did is worth keeping in the log.
Q_LOGGING_CATEGORY(lcSync, "jw.sync", QtInfoMsg)
