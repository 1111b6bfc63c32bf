#include "TQPlatformLogging.h"

Q_LOGGING_CATEGORY(lcPlatform, "tqkit.platform", QtWarningMsg)
