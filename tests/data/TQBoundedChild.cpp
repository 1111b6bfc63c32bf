// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQBoundedChild.h"

#include <QFile>

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

rlim_t mappedNow()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray &line : status.readAll().split('\n'))
        if (line.startsWith("VmSize:"))
            return rlim_t(line.mid(7).trimmed().split(' ').value(0).toULongLong()) << 10;
    return 0;
}

} // namespace

TQChildOutcome runInBoundedChild(const std::function<QByteArray()> &work, const TQChildLimits &limits)
{
    TQChildOutcome outcome;
    int channel[2];
    if (::pipe2(channel, O_CLOEXEC) != 0) {
        outcome.failure = "no pipe";
        return outcome;
    }
    std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child == 0) {
        ::close(channel[0]);
        if (limits.addressHeadroom > 0) {
            const rlim_t space = mappedNow() + limits.addressHeadroom;
            const rlimit limit{space, space};
            ::setrlimit(RLIMIT_AS, &limit);
        }
        const rlimit cpu{limits.cpuSeconds, limits.cpuSeconds};
        ::setrlimit(RLIMIT_CPU, &cpu);
        ::alarm(limits.wallSeconds);
        const QByteArray answer = work();
        const bool sent = ::write(channel[1], answer.constData(), size_t(answer.size())) == answer.size();
        ::_exit(sent ? 0 : 1);
    }
    ::close(channel[1]);
    if (child < 0) {
        ::close(channel[0]);
        outcome.failure = "no child";
        return outcome;
    }
    char buffer[4096];
    for (ssize_t n; (n = ::read(channel[0], buffer, sizeof buffer)) != 0;) {
        if (n > 0)
            outcome.answer.append(buffer, n);
        else if (errno != EINTR)
            break;
    }
    ::close(channel[0]);
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFSIGNALED(status))
        outcome.failure = "killed by signal " + QByteArray::number(WTERMSIG(status));
    else if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
        outcome.failure = "exited with " + QByteArray::number(WEXITSTATUS(status));
    outcome.finished = outcome.failure.isEmpty();
    if (!outcome.finished)
        outcome.answer.clear();
    return outcome;
}
