#include "cleaning/ProcessEnder.h"

#include <QFile>
#include <cerrno>
#include <csignal>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace velmox {

namespace {

// A zombie has ended; only its parent has yet to collect it.
bool isZombie(pid_t pid) {
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return false;
    const QByteArray line = stat.readAll();
    const qsizetype close = line.lastIndexOf(')');
    return close > 0 && line.mid(close + 2, 1) == "Z";
}

bool gone(pid_t pid) {
    return (::kill(pid, 0) != 0 && errno == ESRCH) || isZombie(pid);
}

// Waits for the process to end: on its pidfd where the kernel has them, else by looking.
bool waitForEnd(pid_t pid, int pidfd, std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!gone(pid)) {
        // Rounded up, so the wait never ends before the whole grace time has passed.
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0)
            return false;
        if (pidfd >= 0) {
            pollfd descriptor{pidfd, POLLIN, 0};
            ::poll(&descriptor, 1, static_cast<int>(left.count()));
        } else {
            ::usleep(20000);
        }
    }
    return true;
}

Status signalFailure(pid_t pid, int error) {
    return failure(
        QStringLiteral("Process %1 could not be ended: %2.").arg(pid).arg(qt_error_string(error)));
}

} // namespace

Status ProcessEnder::end(pid_t pid, std::chrono::milliseconds grace) {
    if (pid <= 0 || pid == ::getpid())
        return failure(QStringLiteral("Process %1 is not one that can be ended.").arg(pid));
    // The pidfd pins this very process, so a reused process id is never signalled.
    const int pidfd = static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
    if (pidfd < 0 && errno == ESRCH)
        return Done{};
    const auto send = [pid, pidfd](int signal) {
        const long sent = pidfd >= 0 ? ::syscall(SYS_pidfd_send_signal, pidfd, signal, nullptr, 0)
                                     : ::kill(pid, signal);
        return sent == 0 || errno == ESRCH ? 0 : errno;
    };
    Status result = Done{};
    if (const int error = send(SIGTERM); error != 0) {
        result = signalFailure(pid, error);
    } else {
        send(SIGCONT);
        if (!waitForEnd(pid, pidfd, grace)) {
            if (const int killError = send(SIGKILL); killError != 0)
                result = signalFailure(pid, killError);
            else if (!waitForEnd(pid, pidfd, std::chrono::seconds(2)))
                result =
                    failure(QStringLiteral("Process %1 did not end, even when killed.").arg(pid));
        }
    }
    if (pidfd >= 0)
        ::close(pidfd);
    return result;
}

} // namespace velmox
