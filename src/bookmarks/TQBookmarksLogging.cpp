#include "TQBookmarksLogging.h"

Q_LOGGING_CATEGORY(lcBookmarks, "tqkit.bookmarks", QtWarningMsg)
