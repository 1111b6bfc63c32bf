#pragma once

#include <QLoggingCategory>

// Diagnostics of the background loaders ("tqkit.loading"): files that could not be read and
// delegates that do not implement their interface. Debug level only, so a host sees them
// when it asks for them and never otherwise.
Q_DECLARE_LOGGING_CATEGORY(lcLoading)
