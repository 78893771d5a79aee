#pragma once

#include <QDeadlineTimer>
#include <QFile>
#include <QProcess>
#include <QString>
#include <QUrl>
#include <string>

namespace velmox::test {

// The paced speed-test server of this folder, run as a child process on the loopback for the
// life of the object. Every transfer it makes, in both directions and over all connections
// together, moves at `bitsPerSecond`.
class SpeedTestServer {
public:
    explicit SpeedTestServer(double bitsPerSecond) {
        const QString python = QFile::exists(QStringLiteral("/usr/bin/python3"))
                                   ? QStringLiteral("/usr/bin/python3")
                                   : QStringLiteral("python3");
        process_.start(python,
                       {QStringLiteral(VELMOX_TEST_DATA "/../network/paced_speed_server.py"),
                        QStringLiteral("--rate"), QString::number(bitsPerSecond, 'f', 0)});
        QDeadlineTimer deadline(10000);
        while (!process_.canReadLine() && !deadline.hasExpired() &&
               process_.waitForReadyRead(static_cast<int>(deadline.remainingTime()))) {
        }
        if (process_.canReadLine()) {
            const QList<QByteArray> words = process_.readLine().trimmed().split(' ');
            if (words.size() == 2 && words.at(0) == "PORT")
                port_ = words.at(1).toInt();
        }
    }
    ~SpeedTestServer() {
        process_.kill();
        process_.waitForFinished();
    }

    bool isListening() const { return port_ > 0; }
    // What the server said on standard error, to explain a server that did not start.
    std::string errors() { return process_.readAllStandardError().toStdString(); }
    QUrl url() const { return QUrl(QStringLiteral("http://127.0.0.1:%1").arg(port_)); }

private:
    QProcess process_;
    int port_ = 0;
};

} // namespace velmox::test
