#include "TQUtilitiesLogging.h"

Q_LOGGING_CATEGORY(lcUtilities, "tqkit.utilities", QtWarningMsg)
