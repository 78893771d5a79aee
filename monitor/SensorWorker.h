#pragma once

#include "platform/NamedSensorSource.h"

#include <QObject>
#include <QThread>
#include <functional>

namespace velmox {

// Reads sensors on a thread of its own, so that slow sensor files and SMC calls never
// hold up the thread that asks. One read at a time; results arrive with readingsReady on
// the asking object's thread.
class SensorWorker : public QObject {
    Q_OBJECT
public:
    using ReadFunction = std::function<QList<SensorReading>()>;

    explicit SensorWorker(ReadFunction read, QObject* parent = nullptr);
    ~SensorWorker() override;

    // Starts a read unless one is running; returns false when one is.
    bool requestRead();
    bool isReading() const { return reading_; }

signals:
    void readingsReady(const QList<SensorReading>& readings);

private:
    class Reader;
    QThread thread_;
    Reader* reader_ = nullptr;
    bool reading_ = false;
};

} // namespace velmox
