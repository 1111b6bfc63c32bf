// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

// How long the event loop of a Qt program goes without turning: a precise timer asks to run
// every millisecond, and each time it runs the gap since its last run is recorded. A gap much
// longer than the interval is time the loop spent in something else (a slot, a paint, a
// callback). The figure a browser cares about is the longest gap while it works: under 16 ms
// means no frame was missed.
//
// Beside each gap the thread's own CPU time in it is recorded: a long gap in which the thread
// hardly ran was spent waiting for a core (other threads, other programs), not working.
//
// Use on the thread whose loop is measured: start(), run the work through that loop, stop(),
// then read the figures. Benchmarks only; never a basis for a test's verdict.

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <time.h>

#include <algorithm>
#include <vector>

class LatencyProbe : public QObject
{
public:
    explicit LatencyProbe(QObject *parent = nullptr)
        : QObject(parent)
    {
        m_timer.setTimerType(Qt::PreciseTimer);
        m_timer.setInterval(1);
        connect(&m_timer, &QTimer::timeout, this, [this] { tick(); });
    }

    void start()
    {
        m_gaps.clear();
        m_busy.clear();
        m_clock.start();
        m_last = 0;
        m_lastCpu = threadCpuNs();
        m_timer.start();
    }

    void stop()
    {
        m_timer.stop();
        // The stretch since the last tick counts too: the work may have ended the run blocked.
        tick();
    }

    // The thread's own CPU time within the longest gap.
    double busyInLongestMs() const
    {
        if (m_gaps.empty())
            return 0;
        return m_busy[size_t(std::max_element(m_gaps.begin(), m_gaps.end()) - m_gaps.begin())] / 1e6;
    }

    // The most CPU time the thread spent between two turns of the loop: its longest piece of work.
    double longestBusyMs() const
    {
        return m_busy.empty() ? 0 : *std::max_element(m_busy.begin(), m_busy.end()) / 1e6;
    }

    double longestMs() const
    {
        return m_gaps.empty() ? 0 : *std::max_element(m_gaps.begin(), m_gaps.end()) / 1e6;
    }

    // The gap that \a fraction of the gaps do not exceed (0.99 for the 99th percentile).
    double percentileMs(double fraction) const
    {
        if (m_gaps.empty())
            return 0;
        std::vector<qint64> sorted = m_gaps;
        const size_t at = std::min(sorted.size() - 1, size_t(fraction * double(sorted.size())));
        std::nth_element(sorted.begin(), sorted.begin() + qsizetype(at), sorted.end());
        return sorted[at] / 1e6;
    }

    // When the longest gap ended, in milliseconds after start(): to tell which part of the
    // work it fell in.
    double longestEndedAtMs() const
    {
        if (m_gaps.empty())
            return 0;
        const size_t at = size_t(std::max_element(m_gaps.begin(), m_gaps.end()) - m_gaps.begin());
        qint64 sum = 0;
        for (size_t i = 0; i <= at; ++i)
            sum += m_gaps[i];
        return sum / 1e6;
    }
    int gapsLongerThan(double milliseconds) const
    {
        return int(std::count_if(m_gaps.begin(), m_gaps.end(),
                                 [&](qint64 gap) { return gap > qint64(milliseconds * 1e6); }));
    }

    int ticks() const { return int(m_gaps.size()); }

private:
    static qint64 threadCpuNs()
    {
        timespec now{};
        ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
        return qint64(now.tv_sec) * 1000000000 + now.tv_nsec;
    }

    void tick()
    {
        const qint64 now = m_clock.nsecsElapsed(), cpu = threadCpuNs();
        m_gaps.push_back(now - m_last);
        m_busy.push_back(cpu - m_lastCpu);
        m_last = now;
        m_lastCpu = cpu;
    }

    QTimer m_timer;
    QElapsedTimer m_clock;
    qint64 m_last = 0, m_lastCpu = 0;
    std::vector<qint64> m_gaps, m_busy; // wall time and the thread's CPU time, tick by tick
};
