#pragma once

#include <QLoggingCategory>

// Diagnostics of the storage layer ("tqkit.companion").
Q_DECLARE_LOGGING_CATEGORY(lcCompanion)
