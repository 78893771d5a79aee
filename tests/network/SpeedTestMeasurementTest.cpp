#include "network/NetworkSpeedTestViewModel.h"
#include "network/ThroughputBackend.h"
#include "services/Clock.h"
#include "services/Settings.h"
#include "tests/network/SpeedTestServer.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QThread>
#include <gtest/gtest.h>

using namespace velmox;
using namespace velmox::test;

namespace {

constexpr double kRate = 40e6; // bits per second

ThroughputOptions shortRun(const QUrl& server) {
    ThroughputOptions options;
    options.server = server;
    options.phaseDuration = std::chrono::milliseconds(2500);
    options.rampUp = std::chrono::milliseconds(500);
    options.latencyProbes = 5;
    // Several requests per phase, so replacing a finished one is part of the measurement.
    options.downloadRequestBytes = 2'000'000;
    return options;
}

void waitFor(const std::function<bool()>& done, int milliseconds) {
    QDeadlineTimer deadline(milliseconds);
    while (!done() && !deadline.hasExpired()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(2);
    }
}

} // namespace

// The server paces every byte to a set rate, so a correct measurement of the steady part lands
// on that rate whatever this machine's speed.
TEST(SpeedTestMeasurement, MeasuresThePacedServersRateBothWays) {
    SpeedTestServer server(kRate);
    ASSERT_TRUE(server.isListening()) << server.errors();
    ThroughputBackend backend(shortRun(server.url()), SystemClock::shared());
    const std::unique_ptr<SpeedTestRun> run = backend.start();
    std::optional<Result<SpeedTestSummary>> result;
    QList<double> fractions;
    QStringList phases;
    QObject::connect(run.get(), &SpeedTestRun::finished,
                     [&](const Result<SpeedTestSummary>& answer) { result = answer; });
    QObject::connect(run.get(), &SpeedTestRun::progress,
                     [&](double fraction, const QString& phase, const SpeedTestSummary&) {
                         fractions.append(fraction);
                         if (!phase.isEmpty() && !phases.contains(phase))
                             phases.append(phase);
                     });
    waitFor([&] { return result.has_value(); }, 30000);
    ASSERT_TRUE(result.has_value());
    ASSERT_TRUE(*result) << result->error().toStdString();
    const SpeedTestSummary& summary = **result;
    ASSERT_TRUE(summary.downloadBitsPerSecond && summary.uploadBitsPerSecond);
    EXPECT_NEAR(*summary.downloadBitsPerSecond, kRate, kRate * 0.1);
    EXPECT_NEAR(*summary.uploadBitsPerSecond, kRate, kRate * 0.1);
    ASSERT_TRUE(summary.baseRttMilliseconds);
    EXPECT_GE(*summary.baseRttMilliseconds, 0.0);

    EXPECT_EQ(phases, (QStringList{"Measuring latency...", "Measuring download...",
                                   "Measuring upload..."}));
    EXPECT_TRUE(std::is_sorted(fractions.begin(), fractions.end()));
    EXPECT_EQ(fractions.last(), 1.0);
}

TEST(SpeedTestMeasurement, CancellingMidRunStopsWithoutAResult) {
    SpeedTestServer server(kRate);
    ASSERT_TRUE(server.isListening()) << server.errors();
    ThroughputBackend backend(shortRun(server.url()), SystemClock::shared());
    Settings settings;
    ASSERT_TRUE(settings.remove(NetworkSpeedTestViewModel::historyKey));
    NetworkSpeedTestViewModel model(backend, settings, SystemClock::shared());
    int ended = 0;
    QObject::connect(&model, &NetworkSpeedTestViewModel::runEnded, [&](bool) { ++ended; });

    model.run();
    waitFor([&] { return model.downloadSpeed() != "Testing..."; }, 10000);
    ASSERT_TRUE(model.isTesting());
    EXPECT_TRUE(model.downloadSpeed().endsWith(" Mbps")) << model.downloadSpeed().toStdString();
    model.cancel();
    EXPECT_EQ(model.statusMessage(), "Speed test cancelled.");
    // Past the time the whole run would have taken: nothing more arrives.
    waitFor([] { return false; }, 4000);
    EXPECT_EQ(ended, 0);
    EXPECT_FALSE(model.isTesting());
    EXPECT_EQ(model.statusMessage(), "Speed test cancelled.");
    EXPECT_TRUE(model.history().isEmpty());
}
