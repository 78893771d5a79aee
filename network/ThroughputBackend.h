#pragma once

#include "network/SpeedTestBackend.h"
#include "services/Result.h"

#include <QUrl>
#include <chrono>

namespace velmox {

class Clock;

// The Linux measurement, made with Qt Network against a server that answers
// `GET {server}/__down?bytes=N` with N bytes, takes any body at `POST {server}/__up`, and
// answers `GET {server}/__down?bytes=0` at once (the layout of the public speed-test
// services; the default is Cloudflare's).
//
// A run first measures the idle latency: `latencyProbes` empty downloads one after another on
// one connection; the first pays for the connection and is left out, the median of the rest is
// the base round-trip time. Then download and upload, one after the other, each for
// `phaseDuration` over `streams` parallel requests; a request that completes is replaced at
// once. The first `rampUp` of each phase (connection set-up, TCP slow start, filling the socket
// buffers) is not counted. Download is the bytes received after it divided by the time after
// it. Upload counts only bodies the server has answered, since the socket buffers swallow
// megabytes at once: upload requests start at 256 KiB and double while they take less than a
// quarter of a second, up to `uploadRequestBytes`.
struct ThroughputOptions {
    static inline const QUrl defaultServer = QUrl(QStringLiteral("https://speed.cloudflare.com"));

    QUrl server = defaultServer;
    int streams = 4;
    std::chrono::milliseconds phaseDuration{10'000};
    std::chrono::milliseconds rampUp{2'000};
    int latencyProbes = 10;
    qint64 downloadRequestBytes = 25'000'000;
    qint64 uploadRequestBytes = 32 * 1024 * 1024;
};

// `text` as a speed-test server: an http or https address with a host.
Result<QUrl> speedTestServerUrl(const QString& text);

// Runs live on the thread that starts them (it needs an event loop) and time themselves with
// `clock`, which must outlive them.
class ThroughputBackend final : public SpeedTestBackend {
public:
    ThroughputBackend(ThroughputOptions options, Clock& clock);

    bool isAvailable() const override { return true; }
    QString unavailableMessage() const override { return {}; }
    QString runningMessage() const override;
    std::unique_ptr<SpeedTestRun> start() override;

    const ThroughputOptions& options() const { return options_; }

private:
    ThroughputOptions options_;
    Clock& clock_;
};

} // namespace velmox
