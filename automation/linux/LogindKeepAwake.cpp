#include "automation/linux/LogindKeepAwake.h"

#include <QDBusMessage>
#include <QDBusUnixFileDescriptor>
#include <fcntl.h>
#include <unistd.h>

namespace velmox {

LogindKeepAwake::LogindKeepAwake(QDBusConnection bus) : bus_(std::move(bus)) {}

LogindKeepAwake::~LogindKeepAwake() {
    turnOff();
}

Status LogindKeepAwake::turnOn() {
    const QMutexLocker lock(&mutex_);
    if (descriptor_ >= 0)
        return Done{};
    if (!bus_.isConnected())
        return failure(QStringLiteral("The system bus is not available, so logind can't be asked "
                                      "to keep the computer awake."));
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.login1"), QStringLiteral("/org/freedesktop/login1"),
        QStringLiteral("org.freedesktop.login1.Manager"), QStringLiteral("Inhibit"));
    call << QStringLiteral("sleep:idle") << QStringLiteral("Velmox")
         << QStringLiteral("Keeping the computer awake on request") << QStringLiteral("block");
    const QDBusMessage reply = bus_.call(call, QDBus::Block, 25000);
    if (reply.type() != QDBusMessage::ReplyMessage)
        return failure(
            QStringLiteral("logind did not give an inhibitor lock: %1")
                .arg(reply.errorMessage().isEmpty() ? reply.errorName() : reply.errorMessage()));
    const QList<QVariant> arguments = reply.arguments();
    const auto fd = arguments.isEmpty() ? QDBusUnixFileDescriptor()
                                        : arguments.first().value<QDBusUnixFileDescriptor>();
    if (!fd.isValid())
        return failure(QStringLiteral("logind answered without an inhibitor lock."));
    // The reply's descriptor closes with the reply; keep a copy of our own.
    descriptor_ = ::fcntl(fd.fileDescriptor(), F_DUPFD_CLOEXEC, 0);
    if (descriptor_ < 0)
        return failure(QStringLiteral("The inhibitor lock from logind could not be kept."));
    return Done{};
}

void LogindKeepAwake::turnOff() {
    const QMutexLocker lock(&mutex_);
    if (descriptor_ >= 0)
        ::close(descriptor_);
    descriptor_ = -1;
}

bool LogindKeepAwake::isOn() const {
    const QMutexLocker lock(&mutex_);
    return descriptor_ >= 0;
}

} // namespace velmox
