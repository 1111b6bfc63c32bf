#pragma once

#include <QLoggingCategory>

// Diagnostics of the platform layer ("tqkit.platform"); a host silences or routes them
// through QLoggingCategory's rules like any Qt category.
Q_DECLARE_LOGGING_CATEGORY(lcPlatform)
