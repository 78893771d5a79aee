#pragma once

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDeadlineTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QThread>
#include <algorithm>
#include <gtest/gtest.h>

namespace velmox::test {

// A notification as the desktop's daemon received it.
struct ShownNotification {
    QString title;
    QString body;
    bool operator==(const ShownNotification&) const = default;
};

// The desktop's real notification daemon, dunst, on an X server of its own and the bus at
// `busAddress`; `dunstctl` reads what it showed and clicks it as a user would.
class DunstDaemon {
public:
    explicit DunstDaemon(const QString& busAddress) {
        display_.start(QStringLiteral("Xvfb"),
                       {QStringLiteral("-displayfd"), QStringLiteral("1"),
                        QStringLiteral("-nolisten"), QStringLiteral("tcp")});
        if (!display_.waitForReadyRead(10000)) {
            ADD_FAILURE() << "Xvfb did not start";
            return;
        }
        environment_.insert(QStringLiteral("DISPLAY"),
                            QLatin1Char(':') + QString::fromUtf8(display_.readLine()).trimmed());
        environment_.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), busAddress);
        dunst_.setProcessEnvironment(environment_);
        dunst_.start(QStringLiteral("dunst"),
                     {QStringLiteral("-config"), QStringLiteral("/dev/null")});
        QDBusConnection bus =
            QDBusConnection::connectToBus(busAddress, QStringLiteral("dunst-probe"));
        const QDeadlineTimer deadline(10000);
        while (!bus.interface()
                    ->isServiceRegistered(QStringLiteral("org.freedesktop.Notifications"))
                    .value() &&
               !deadline.hasExpired())
            QThread::msleep(10);
        QDBusConnection::disconnectFromBus(QStringLiteral("dunst-probe"));
        if (deadline.hasExpired())
            ADD_FAILURE() << "dunst did not take the notifications name";
    }
    ~DunstDaemon() {
        for (QProcess* process : {&dunst_, &display_}) {
            process->kill();
            process->waitForFinished();
        }
    }
    DunstDaemon(const DunstDaemon&) = delete;
    DunstDaemon& operator=(const DunstDaemon&) = delete;

    // How many notifications are on the screen now.
    int displayed() {
        return control({QStringLiteral("count"), QStringLiteral("displayed")}).toInt();
    }
    // Clicks the newest notification on the screen (its "default" action).
    void click() { control({QStringLiteral("action"), QStringLiteral("0")}); }
    // Every notification shown so far, oldest first. Closes those on the screen, since the
    // daemon tells what it showed only of closed ones.
    QList<ShownNotification> shown() {
        control({QStringLiteral("close-all")});
        const QJsonArray history =
            QJsonDocument::fromJson(control({QStringLiteral("history")}).toUtf8())
                .object()
                .value(QStringLiteral("data"))
                .toArray()
                .at(0)
                .toArray();
        std::vector<std::pair<int, ShownNotification>> byId;
        for (const QJsonValue& entry : history) {
            const QJsonObject fields = entry.toObject();
            const auto field = [&fields](const char* key) {
                return fields.value(QLatin1String(key)).toObject().value(QStringLiteral("data"));
            };
            byId.push_back(
                {field("id").toInt(), {field("summary").toString(), field("body").toString()}});
        }
        std::ranges::sort(byId, {}, &std::pair<int, ShownNotification>::first);
        QList<ShownNotification> shown;
        for (auto& [id, notification] : byId)
            shown.append(std::move(notification));
        return shown;
    }

private:
    QString control(const QStringList& arguments) {
        QProcess dunstctl;
        dunstctl.setProcessEnvironment(environment_);
        dunstctl.start(QStringLiteral("dunstctl"), arguments);
        dunstctl.waitForFinished();
        return QString::fromUtf8(dunstctl.readAllStandardOutput()).trimmed();
    }

    QProcess display_;
    QProcess dunst_;
    QProcessEnvironment environment_ = QProcessEnvironment::systemEnvironment();
};

} // namespace velmox::test
