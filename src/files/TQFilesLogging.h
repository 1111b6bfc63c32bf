#pragma once

#include <QLoggingCategory>

// Diagnostics of the file items ("tqkit.files"), in the words hosts grep their logs for.
Q_DECLARE_LOGGING_CATEGORY(lcFiles)
