#pragma once

#include "network/SpeedTestBackend.h"

namespace velmox {

// The macOS measurement: runs the system's networkquality tool with "-c" and reads its JSON
// summary. The tool runs on a thread of the run's own, so nothing waits for it on the calling
// thread; cancelling terminates it.
class NetworkQualityBackend final : public SpeedTestBackend {
public:
    static inline const QString defaultTool = QStringLiteral("/usr/bin/networkquality");

    explicit NetworkQualityBackend(QString tool = defaultTool);

    bool isAvailable() const override;
    QString unavailableMessage() const override;
    QString runningMessage() const override;
    std::unique_ptr<SpeedTestRun> start() override;

private:
    QString tool_;
};

} // namespace velmox
