#pragma once

#include <QLoggingCategory>

// Diagnostics of the utilities ("tqkit.utilities"): refused archives and values that cannot
// be archived. Debug level only, so a host sees them when it asks for them and never otherwise.
Q_DECLARE_LOGGING_CATEGORY(lcUtilities)
