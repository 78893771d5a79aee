#pragma once

#include "automation/AutomationTaskPerformer.h"
#include "tests/support/DunstDaemon.h"
#include "tests/support/PrivateBus.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDeadlineTimer>
#include <QMutex>
#include <QProcess>
#include <QSemaphore>
#include <QThread>
#include <QVariantMap>
#include <atomic>
#include <functional>
#include <gtest/gtest.h>

namespace velmox::test {

// Runs queued work of this thread until `done` holds; gives up after a minute.
inline bool waitUntil(const std::function<bool()>& done) {
    const QDeadlineTimer deadline(60000);
    while (!done() && !deadline.hasExpired()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(1);
    }
    return done();
}

// logind's manager object: idle hints and the sleep signal.
class Login1StandIn : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.login1.Manager")
    Q_PROPERTY(bool IdleHint READ idleHint)
    Q_PROPERTY(qulonglong IdleSinceHint READ idleSinceHint)
public:
    std::atomic<bool> idle{false};
    std::atomic<qulonglong> idleSinceUs{0};
    bool idleHint() const { return idle; }
    qulonglong idleSinceHint() const { return idleSinceUs; }
signals:
    void PrepareForSleep(bool start);
};

class UPowerStandIn : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.UPower")
    Q_PROPERTY(bool OnBattery READ onBattery)
public:
    std::atomic<bool> battery{false};
    bool onBattery() const { return battery; }
};

class UPowerDeviceStandIn : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.UPower.Device")
    Q_PROPERTY(bool IsPresent READ isPresent)
    Q_PROPERTY(double Percentage READ percentage)
    Q_PROPERTY(uint Type READ type)
public:
    std::atomic<bool> present{true};
    std::atomic<double> percent{80.0};
    bool isPresent() const { return present; }
    double percentage() const { return percent; }
    uint type() const { return 2; }
};

// The stand-in services on a thread of their own, so that the code under test can make
// blocking calls to them from the main thread.
class StandInServices {
public:
    explicit StandInServices(const PrivateBus& bus) : notifications(bus.address()) {
        context_.moveToThread(&thread_);
        for (QObject* object : owned_)
            object->moveToThread(&thread_);
        thread_.start();
        onThread([&] {
            connection_ =
                std::make_unique<QDBusConnection>(bus.connect(QStringLiteral("stand-ins")));
            const auto all = QDBusConnection::ExportAllProperties |
                             QDBusConnection::ExportAllSignals | QDBusConnection::ExportAllSlots;
            connection_->registerObject(QStringLiteral("/org/freedesktop/login1"), &login1, all);
            connection_->registerService(QStringLiteral("org.freedesktop.login1"));
            connection_->registerObject(QStringLiteral("/org/freedesktop/UPower"), &upower, all);
            connection_->registerObject(
                QStringLiteral("/org/freedesktop/UPower/devices/DisplayDevice"), &device, all);
        });
    }
    ~StandInServices() {
        onThread([&] {
            for (const char* path : {"/org/freedesktop/login1", "/org/freedesktop/UPower",
                                     "/org/freedesktop/UPower/devices/DisplayDevice"})
                connection_->unregisterObject(QString::fromLatin1(path));
            qDeleteAll(owned_);
            connection_.reset();
            QDBusConnection::disconnectFromBus(QStringLiteral("stand-ins"));
        });
        thread_.quit();
        thread_.wait();
    }
    void setUPowerRunning(bool running) {
        onThread([&] {
            if (running)
                connection_->registerService(QStringLiteral("org.freedesktop.UPower"));
            else
                connection_->unregisterService(QStringLiteral("org.freedesktop.UPower"));
        });
    }
    // Keeps the services from answering until `gate` is released.
    void stall(QSemaphore& gate) {
        QMetaObject::invokeMethod(
            &context_, [&gate] { gate.acquire(); }, Qt::QueuedConnection);
    }
    void emitWake() {
        onThread([&] { emit login1.PrepareForSleep(false); });
    }

    Login1StandIn& login1 = *new Login1StandIn;
    UPowerStandIn& upower = *new UPowerStandIn;
    UPowerDeviceStandIn& device = *new UPowerDeviceStandIn;
    DunstDaemon notifications;

private:
    void onThread(const std::function<void()>& work) {
        QMetaObject::invokeMethod(&context_, work, Qt::BlockingQueuedConnection);
    }
    // Made and deleted on the services' thread, where the bus delivers to them.
    const QList<QObject*> owned_{&login1, &upower, &device};
    QThread thread_;
    QObject context_;
    std::unique_ptr<QDBusConnection> connection_;
};

// Records what the engine asked for; answers "Done: <id>" unless told otherwise, and can
// hold a task until released.
class RecordingPerformer final : public AutomationTaskPerformer {
public:
    struct Call {
        QString taskId;
        bool dryRun = false;
        bool operator==(const Call&) const = default;
    };
    AutomationTaskOutcome perform(const QString& taskId, bool dryRun) override {
        {
            QMutexLocker lock(&mutex_);
            calls_.append({taskId, dryRun});
        }
        if (holding_ && taskId == held_)
            gate_.acquire();
        QMutexLocker lock(&mutex_);
        return outcomes_.value(taskId, {true, QStringLiteral("Done: ") + taskId});
    }
    void answer(const QString& taskId, AutomationTaskOutcome outcome) {
        QMutexLocker lock(&mutex_);
        outcomes_.insert(taskId, std::move(outcome));
    }
    void hold(const QString& taskId) {
        held_ = taskId;
        holding_ = true;
    }
    void release() {
        holding_ = false;
        gate_.release();
    }
    QList<Call> calls() const {
        QMutexLocker lock(&mutex_);
        return calls_;
    }
    QStringList taskIds() const {
        QStringList ids;
        for (const Call& call : calls())
            ids.append(call.taskId);
        return ids;
    }

private:
    mutable QMutex mutex_;
    QList<Call> calls_;
    QHash<QString, AutomationTaskOutcome> outcomes_;
    QString held_;
    std::atomic<bool> holding_{false};
    QSemaphore gate_;
};

} // namespace velmox::test
