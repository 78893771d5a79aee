#pragma once

#include "services/Result.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <chrono>
#include <memory>
#include <optional>

namespace velmox {

// One running outside program whose standard output and error are drained by two reader
// threads while the caller waits, so a child that fills a pipe never deadlocks against
// the wait. Blocking and free of any event loop: meant for worker threads.
//
// The child gets no descriptor of ours beyond its three standard streams. Destroying the
// object stops the readers at once and kills and reaps a child that is still running.
class ChildProcess {
public:
    enum class ErrorStream { separate, intoOutput };

    struct Launch {
        QString executable; // absolute path
        QStringList arguments;
        std::optional<QByteArray> standardInput; // absent: the null device
        ErrorStream errorStream = ErrorStream::separate;
    };

    static Result<std::unique_ptr<ChildProcess>> start(const Launch& launch);

    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ~ChildProcess();

    // True once the child has ended and been reaped; waits at most `timeout`.
    bool waitForExit(std::chrono::milliseconds timeout);
    void waitForExit();
    bool hasExited() const;
    // Sends `signalNumber` to the child unless it has already been reaped.
    void sendSignal(int signalNumber);
    // True once both streams reached their end; a grandchild holding them open can delay
    // that forever, hence the limit.
    bool waitForStreamsClosed(std::chrono::milliseconds timeout);

    // The exit code, or the number of the signal that ended the child.
    int status() const;
    // What was captured so far.
    QByteArray standardOutput() const;
    QByteArray standardError() const;

    // UTF-8 text of `bytes`; any undecodable sequence yields an empty string.
    static QString decodeUtf8(const QByteArray& bytes);

private:
    struct State;
    explicit ChildProcess(std::unique_ptr<State> state);
    std::unique_ptr<State> state_;
};

} // namespace velmox
