#include "ExchangeLog.h"

Q_LOGGING_CATEGORY(lcExchange, "jw.exchange", QtWarningMsg)
