#pragma once

#include "network/SpeedTestSummary.h"
#include "services/Result.h"

#include <QObject>
#include <QString>
#include <QUrl>
#include <memory>

namespace velmox {

class Clock;
class Settings;

// One measurement under way. Lives on the thread that started it and reports there; the
// starter owns it. finished is emitted at most once, also after cancel() when the work had
// already produced its answer (a late result the owner must be ready to ignore). Destroying a
// run stops whatever it still does.
class SpeedTestRun : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;
    // Stops the measurement without waiting for it; never blocks. True when the run is over at
    // once and will report nothing more; false when it still reports its end later.
    virtual bool cancel() = 0;

signals:
    // `fraction` of the whole test done (0...1), what is measured now ("Measuring download..."),
    // and the figures known so far.
    void progress(double fraction, const QString& phase, const velmox::SpeedTestSummary& soFar);
    void finished(const velmox::Result<velmox::SpeedTestSummary>& result);
};

// The way this system measures: networkquality on macOS, Velmox's own HTTP measurement on
// Linux. Both produce the same summary fields, so everything above them is shared.
class SpeedTestBackend {
public:
    virtual ~SpeedTestBackend() = default;
    virtual bool isAvailable() const = 0;
    // Shown instead of running when the back end is not available.
    virtual QString unavailableMessage() const = 0;
    // Shown while a test runs.
    virtual QString runningMessage() const = 0;
    virtual std::unique_ptr<SpeedTestRun> start() = 0;
};

// The back end of the system the program runs on. On Linux the server is `server` when it is
// valid, else the "speedTestServer" setting, else the default server; "speedTestDuration"
// sets the seconds each direction is measured.
std::unique_ptr<SpeedTestBackend> makeSpeedTestBackend(Settings& settings, Clock& clock,
                                                       const QUrl& server = {});

} // namespace velmox
