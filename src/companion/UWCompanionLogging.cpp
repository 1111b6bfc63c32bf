#include "UWCompanionLogging.h"

Q_LOGGING_CATEGORY(lcCompanion, "tqkit.companion", QtWarningMsg)
