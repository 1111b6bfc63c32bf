// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include <QByteArray>

#include <functional>

// Runs a piece of a test that reads hostile input in a forked child held to hard bounds, so
// that a hang or a runaway allocation fails one row instead of the whole run (or the machine).
struct TQChildLimits
{
    unsigned long long addressHeadroom = 0; // bytes of address space beyond what is mapped now; 0: no limit
    unsigned cpuSeconds = 20;               // ends a parser that loops
    unsigned wallSeconds = 60;              // ends a read that blocks (CPU time does not run then)
};

struct TQChildOutcome
{
    bool finished = false; // the child ran `work` to its end and handed its answer over
    QByteArray answer;     // what `work` returned, when finished
    QByteArray failure;    // else why not: "killed by signal 24", "exited with 1", ...
};

// `work` runs in the child only and its answer travels back through a pipe; whatever it
// changes in memory stays there.
TQChildOutcome runInBoundedChild(const std::function<QByteArray()> &work, const TQChildLimits &limits = {});
