#include "TQUiLogging.h"

Q_LOGGING_CATEGORY(lcUi, "tqkit.ui", QtWarningMsg)
