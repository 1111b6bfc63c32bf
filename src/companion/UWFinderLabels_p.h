#pragma once

#include "tqkit_export.h"

#include <QtGlobal>

// For tests: the clock (milliseconds since the epoch) by which UWFinderLabels::nameForLabel()
// decides that its copy of the preference domain is stale; nullptr restores the real clock.
// Also forgets the copy.
TQKIT_EXPORT void UWFinderLabels_setClockForTesting(qint64 (*now)());
