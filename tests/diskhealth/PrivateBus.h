#pragma once

// A private D-Bus bus for one test, with an optional stand-in for UDisks2 and a file manager
// (this machine has neither).

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>
#include <gtest/gtest.h>
#include <memory>

namespace velmox::test {

class PrivateBus {
public:
    PrivateBus() {
        daemon_.start(QStringLiteral("/usr/bin/dbus-daemon"),
                      {QStringLiteral("--session"), QStringLiteral("--nofork"),
                       QStringLiteral("--print-address=1")});
        if (!daemon_.waitForReadyRead(10000))
            ADD_FAILURE() << "dbus-daemon did not start";
        address_ = QString::fromUtf8(daemon_.readLine().trimmed());
        bus_ = std::make_unique<QDBusConnection>(
            QDBusConnection::connectToBus(address_, QStringLiteral("velmox-private-bus")));
        EXPECT_TRUE(bus_->isConnected());
    }

    ~PrivateBus() {
        for (QProcess* process : {&standIn_, &daemon_}) {
            process->kill();
            process->waitForFinished(5000);
        }
        bus_.reset();
        names_.append(QStringLiteral("velmox-private-bus"));
        for (const QString& name : names_)
            QDBusConnection::disconnectFromBus(name);
    }

    const QDBusConnection& bus() const { return *bus_; }
    const QString& address() const { return address_; }
    // One more connection to the bus, as another program would have it.
    QDBusConnection connect(const QString& name) {
        names_.append(name);
        return QDBusConnection::connectToBus(address_, name);
    }

    // Starts the stand-in UDisks2 and file manager; returns once they answer.
    bool startStandIn() {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), address_);
        standIn_.setProcessEnvironment(environment);
        standIn_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        standIn_.start(QStringLiteral("/usr/bin/python3"),
                       {QStringLiteral(VELMOX_TEST_SOURCES "/udisks-standin.py"), shownFile()});
        for (int i = 0; i < 200; ++i) {
            if (bus_->interface()->isServiceRegistered(QStringLiteral("org.freedesktop.UDisks2")))
                return true;
            QThread::msleep(50);
        }
        ADD_FAILURE() << "The UDisks2 stand-in did not start.";
        return false;
    }

    // The folders the stand-in file manager was asked to show, one URI a line.
    QString shownFile() const { return folder_.filePath(QStringLiteral("shown")); }
    QString folder() const { return folder_.path(); }

private:
    QTemporaryDir folder_;
    QProcess daemon_;
    QProcess standIn_;
    QString address_;
    std::unique_ptr<QDBusConnection> bus_;
    QStringList names_;
};

} // namespace velmox::test
