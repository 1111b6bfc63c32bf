#include "TQLoadingLogging.h"

Q_LOGGING_CATEGORY(lcLoading, "tqkit.loading", QtWarningMsg)
