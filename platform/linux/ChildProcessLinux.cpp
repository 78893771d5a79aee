#include "platform/ChildProcess.h"

#include <QFile>
#include <QStringDecoder>
#include <algorithm>
#include <condition_variable>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <mutex>
#include <poll.h>
#include <spawn.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

extern char** environ;

namespace velmox {

namespace {

using std::chrono::milliseconds;
using SteadyClock = std::chrono::steady_clock;

// Owns one descriptor.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int fd) : fd_(fd) {}
    Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        reset(std::exchange(other.fd_, -1));
        return *this;
    }
    ~Descriptor() { reset(); }
    int get() const { return fd_; }
    bool isValid() const { return fd_ >= 0; }
    void reset(int fd = -1) {
        if (fd_ >= 0)
            ::close(fd_);
        fd_ = fd;
    }

private:
    int fd_ = -1;
};

QString systemError(int error) {
    return QString::fromLocal8Bit(std::strerror(error));
}

// Keeps our own descriptors off 0, 1 and 2, so the child's dup2 calls cannot overwrite one
// another when the parent runs with a standard stream closed.
Result<Descriptor> aboveStandardStreams(Descriptor fd) {
    if (fd.get() > STDERR_FILENO)
        return fd;
    const int moved = ::fcntl(fd.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    if (moved < 0)
        return failure(systemError(errno));
    return Descriptor(moved);
}

struct Pipe {
    Descriptor readEnd;
    Descriptor writeEnd;
};

Result<Pipe> makePipe() {
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0)
        return failure(systemError(errno));
    Pipe pipe{Descriptor(fds[0]), Descriptor(fds[1])};
    auto readEnd = aboveStandardStreams(std::move(pipe.readEnd));
    auto writeEnd = aboveStandardStreams(std::move(pipe.writeEnd));
    if (!readEnd)
        return failure(readEnd.error());
    if (!writeEnd)
        return failure(writeEnd.error());
    return Pipe{std::move(*readEnd), std::move(*writeEnd)};
}

int pollMilliseconds(SteadyClock::time_point deadline) {
    const auto left = std::chrono::ceil<milliseconds>(deadline - SteadyClock::now()).count();
    return static_cast<int>(std::clamp<long long>(left, 0, std::numeric_limits<int>::max()));
}

// Waits until `fd` is ready for `events` or `stop` is signalled; false on stop or error.
bool waitUntilReady(int fd, int stop, short events) {
    pollfd fds[2] = {{fd, events, 0}, {stop, POLLIN, 0}};
    for (;;) {
        if (::poll(fds, 2, -1) >= 0)
            return fds[1].revents == 0;
        if (errno != EINTR)
            return false;
    }
}

} // namespace

struct ChildProcess::State {
    pid_t pid = -1;
    Descriptor exitNotifier; // a pidfd; invalid where the kernel has none
    Descriptor stop;         // an eventfd that tells the readers and the writer to quit
    bool reaped = false;
    int status = 0;

    mutable std::mutex mutex;
    std::condition_variable streamsClosed;
    int openStreams = 0;
    QByteArray captured[2]; // output, error

    std::vector<std::thread> threads;

    void read(Descriptor fd, int index) {
        char buffer[64 * 1024];
        while (waitUntilReady(fd.get(), stop.get(), POLLIN)) {
            const ssize_t count = ::read(fd.get(), buffer, sizeof buffer);
            if (count < 0 && errno == EINTR)
                continue;
            if (count <= 0)
                break;
            const std::lock_guard lock(mutex);
            captured[index].append(buffer, count);
        }
        const std::lock_guard lock(mutex);
        --openStreams;
        streamsClosed.notify_all();
    }

    void write(Descriptor fd, QByteArray bytes) {
        // A child that exits without reading its input must cost us an EPIPE, not the
        // process-wide SIGPIPE; the signal is thread-directed and dies with this thread.
        sigset_t pipeSignal;
        sigemptyset(&pipeSignal);
        sigaddset(&pipeSignal, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &pipeSignal, nullptr);
        qsizetype written = 0;
        while (written < bytes.size() && waitUntilReady(fd.get(), stop.get(), POLLOUT)) {
            const ssize_t count =
                ::write(fd.get(), bytes.constData() + written, size_t(bytes.size() - written));
            if (count > 0)
                written += count;
            else if (count < 0 && errno != EINTR && errno != EAGAIN)
                break;
        }
        bytes.fill('\0'); // it may have been a password
    }

    void reap() {
        int raw = 0;
        while (::waitpid(pid, &raw, 0) < 0 && errno == EINTR) {
        }
        recordExit(raw);
    }

    bool reapIfEnded() {
        int raw = 0;
        pid_t result;
        while ((result = ::waitpid(pid, &raw, WNOHANG)) < 0 && errno == EINTR) {
        }
        if (result != pid)
            return false;
        recordExit(raw);
        return true;
    }

    void recordExit(int raw) {
        reaped = true;
        exitNotifier.reset();
        status = WIFEXITED(raw) ? WEXITSTATUS(raw) : WIFSIGNALED(raw) ? WTERMSIG(raw) : raw;
    }
};

Result<std::unique_ptr<ChildProcess>> ChildProcess::start(const Launch& launch) {
    const auto startFailure = [&](const QString& reason) {
        return failure(QStringLiteral("Could not start %1: %2.").arg(launch.executable, reason));
    };

    auto state = std::make_unique<State>();
    state->stop = Descriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!state->stop.isValid())
        return startFailure(systemError(errno));

    Descriptor inputForChild;
    Descriptor inputFromUs;
    if (launch.standardInput) {
        auto input = makePipe();
        if (!input)
            return startFailure(input.error());
        inputForChild = std::move(input->readEnd);
        inputFromUs = std::move(input->writeEnd);
        ::fcntl(inputFromUs.get(), F_SETFL, O_NONBLOCK);
    } else {
        auto nullDevice =
            aboveStandardStreams(Descriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC)));
        if (!nullDevice || !nullDevice->isValid())
            return startFailure(systemError(errno));
        inputForChild = std::move(*nullDevice);
    }
    auto output = makePipe();
    if (!output)
        return startFailure(output.error());
    const bool separateError = launch.errorStream == ErrorStream::separate;
    Pipe error;
    if (separateError) {
        auto pipe = makePipe();
        if (!pipe)
            return startFailure(pipe.error());
        error = std::move(*pipe);
    }

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, inputForChild.get(), STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output->writeEnd.get(), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(
        &actions, separateError ? error.writeEnd.get() : output->writeEnd.get(), STDERR_FILENO);
    // Descriptors other threads opened without close-on-exec must not leak either.
    posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);

    // Signals we block or ignore must not carry over into the child.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t noSignals;
    sigemptyset(&noSignals);
    sigset_t defaultSignals;
    sigfillset(&defaultSignals);
    sigdelset(&defaultSignals, SIGKILL);
    sigdelset(&defaultSignals, SIGSTOP);
    posix_spawnattr_setsigmask(&attributes, &noSignals);
    posix_spawnattr_setsigdefault(&attributes, &defaultSignals);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);

    const QByteArray program = QFile::encodeName(launch.executable);
    std::vector<QByteArray> encoded;
    encoded.reserve(size_t(launch.arguments.size()));
    for (const QString& argument : launch.arguments)
        encoded.push_back(argument.toUtf8());
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(program.constData()));
    for (QByteArray& argument : encoded)
        argv.push_back(argument.data());
    argv.push_back(nullptr);

    const int spawnError = ::posix_spawn(&state->pid, program.constData(), &actions, &attributes,
                                         argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    if (spawnError != 0)
        return startFailure(systemError(spawnError));

    // The child holds its own copies now; ours must go so the readers see the end.
    inputForChild.reset();
    output->writeEnd.reset();
    error.writeEnd.reset();

    // glibc's own pidfd_open wrapper lacks C linkage in 2.36, hence the raw call.
    state->exitNotifier = Descriptor(static_cast<int>(::syscall(SYS_pidfd_open, state->pid, 0)));
    State* shared = state.get();
    state->openStreams = separateError ? 2 : 1;
    state->threads.emplace_back(&State::read, shared, std::move(output->readEnd), 0);
    if (separateError)
        state->threads.emplace_back(&State::read, shared, std::move(error.readEnd), 1);
    if (launch.standardInput)
        state->threads.emplace_back(&State::write, shared, std::move(inputFromUs),
                                    *launch.standardInput);
    return std::unique_ptr<ChildProcess>(new ChildProcess(std::move(state)));
}

ChildProcess::ChildProcess(std::unique_ptr<State> state) : state_(std::move(state)) {}

ChildProcess::~ChildProcess() {
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto ignored = ::write(state_->stop.get(), &one, sizeof one);
    for (std::thread& thread : state_->threads)
        thread.join();
    if (!state_->reaped) {
        ::kill(state_->pid, SIGKILL);
        state_->reap();
    }
}

bool ChildProcess::waitForExit(milliseconds timeout) {
    State& s = *state_;
    if (s.reaped)
        return true;
    const auto deadline = SteadyClock::now() + timeout;
    if (s.exitNotifier.isValid()) {
        pollfd exited{s.exitNotifier.get(), POLLIN, 0};
        for (;;) {
            const int ready = ::poll(&exited, 1, pollMilliseconds(deadline));
            if (ready > 0) {
                s.reap();
                return true;
            }
            if (ready == 0 || errno != EINTR)
                return false;
        }
    }
    // Without a pidfd: poll the child's state every 20 ms.
    while (!s.reapIfEnded()) {
        if (SteadyClock::now() >= deadline)
            return false;
        std::this_thread::sleep_for(milliseconds(20));
    }
    return true;
}

void ChildProcess::waitForExit() {
    if (!state_->reaped)
        state_->reap();
}

bool ChildProcess::hasExited() const {
    return state_->reaped;
}

void ChildProcess::sendSignal(int signalNumber) {
    // Until it is reaped the process id cannot be reused, so this reaches our child.
    if (!state_->reaped)
        ::kill(state_->pid, signalNumber);
}

bool ChildProcess::waitForStreamsClosed(milliseconds timeout) {
    std::unique_lock lock(state_->mutex);
    return state_->streamsClosed.wait_for(lock, timeout,
                                          [this] { return state_->openStreams == 0; });
}

int ChildProcess::status() const {
    return state_->status;
}

QByteArray ChildProcess::standardOutput() const {
    const std::lock_guard lock(state_->mutex);
    return state_->captured[0];
}

QByteArray ChildProcess::standardError() const {
    const std::lock_guard lock(state_->mutex);
    return state_->captured[1];
}

QString ChildProcess::decodeUtf8(const QByteArray& bytes) {
    // Stateless: a sequence cut off at the end is an error too. The byte-order mark is
    // kept as text, like any other character.
    QStringDecoder decoder(QStringConverter::Utf8, QStringConverter::Flag::Stateless |
                                                       QStringConverter::Flag::ConvertInitialBom);
    QString text = decoder(bytes);
    return decoder.hasError() ? QString() : text;
}

} // namespace velmox
