#pragma once

#include <QDBusConnection>
#include <QProcess>

namespace velmox::test {

// A message bus of the test's own, standing in for the system and session buses.
class PrivateBus {
public:
    PrivateBus() {
        daemon_.start(QStringLiteral("dbus-daemon"),
                      {QStringLiteral("--session"), QStringLiteral("--nofork"),
                       QStringLiteral("--print-address=1")});
        if (daemon_.waitForReadyRead(10000))
            address_ = QString::fromUtf8(daemon_.readLine()).trimmed();
    }
    ~PrivateBus() {
        daemon_.kill();
        daemon_.waitForFinished();
    }
    const QString& address() const { return address_; }
    // A client connection of the calling thread under `name`.
    QDBusConnection connect(const QString& name) const {
        return QDBusConnection::connectToBus(address_, name);
    }

private:
    QProcess daemon_;
    QString address_;
};

} // namespace velmox::test
