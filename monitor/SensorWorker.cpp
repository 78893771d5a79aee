#include "monitor/SensorWorker.h"

namespace velmox {

class SensorWorker::Reader : public QObject {
    Q_OBJECT
public:
    explicit Reader(ReadFunction read) : read_(std::move(read)) {}
    void read() { emit done(read_()); }
signals:
    void done(const QList<SensorReading>& readings);

private:
    ReadFunction read_;
};

SensorWorker::SensorWorker(ReadFunction read, QObject* parent) : QObject(parent) {
    thread_.setObjectName(QStringLiteral("Velmox sensors"));
    reader_ = new Reader(std::move(read));
    reader_->moveToThread(&thread_);
    connect(&thread_, &QThread::finished, reader_, &QObject::deleteLater);
    connect(reader_, &Reader::done, this, [this](const QList<SensorReading>& readings) {
        reading_ = false;
        emit readingsReady(readings);
    });
    thread_.start();
}

SensorWorker::~SensorWorker() {
    thread_.quit();
    thread_.wait();
}

bool SensorWorker::requestRead() {
    if (reading_)
        return false;
    reading_ = true;
    QMetaObject::invokeMethod(reader_, &Reader::read, Qt::QueuedConnection);
    return true;
}

} // namespace velmox

#include "SensorWorker.moc"
