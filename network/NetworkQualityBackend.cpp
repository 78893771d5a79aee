#include "network/NetworkQualityBackend.h"

#include "network/NetworkQualityJson.h"
#include "platform/ChildProcess.h"

#include <QFileInfo>
#include <csignal>
#include <mutex>
#include <thread>

namespace velmox {

namespace {

Result<SpeedTestSummary> runTool(const Result<std::unique_ptr<ChildProcess>>& started) {
    if (!started)
        return failure(QStringLiteral("Error running test: ") + started.error());
    ChildProcess& child = **started;
    child.waitForExit();
    child.waitForStreamsClosed(std::chrono::seconds(3));
    if (child.status() != 0)
        return failure(QStringLiteral("The test did not finish (exit code %1). Check your "
                                      "internet connection.")
                           .arg(child.status()));
    return parseNetworkQualitySummary(child.standardOutput());
}

// The worker thread reports through a queued call to the run, which Qt drops once the run is
// gone; the run's destructor ends the child and joins the thread before that.
class NetworkQualityRun final : public SpeedTestRun {
public:
    explicit NetworkQualityRun(const QString& tool) {
        worker_ = std::thread([this, tool] {
            auto started = ChildProcess::start({tool, {QStringLiteral("-c")}, {}, {}});
            {
                const std::lock_guard lock(mutex_);
                if (started)
                    child_ = started->get();
                if (cancelled_ && child_)
                    child_->sendSignal(SIGTERM);
            }
            Result<SpeedTestSummary> result = runTool(started);
            {
                const std::lock_guard lock(mutex_);
                child_ = nullptr;
            }
            QMetaObject::invokeMethod(
                this, [this, result] { emit finished(result); }, Qt::QueuedConnection);
        });
    }

    ~NetworkQualityRun() override {
        cancel();
        worker_.join();
    }

    bool cancel() override {
        const std::lock_guard lock(mutex_);
        cancelled_ = true;
        if (child_)
            child_->sendSignal(SIGTERM);
        return false;
    }

private:
    std::mutex mutex_;
    ChildProcess* child_ = nullptr; // owned by the worker while it runs
    bool cancelled_ = false;
    std::thread worker_;
};

} // namespace

NetworkQualityBackend::NetworkQualityBackend(QString tool) : tool_(std::move(tool)) {}

bool NetworkQualityBackend::isAvailable() const {
    return QFileInfo(tool_).isExecutable();
}

QString NetworkQualityBackend::unavailableMessage() const {
    return QStringLiteral("The speed test needs Apple's networkquality tool, which is only "
                          "included with macOS 12 and later.");
}

QString NetworkQualityBackend::runningMessage() const {
    return QStringLiteral("Running macOS networkquality test...");
}

std::unique_ptr<SpeedTestRun> NetworkQualityBackend::start() {
    return std::make_unique<NetworkQualityRun>(tool_);
}

} // namespace velmox
