#pragma once

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

namespace velmox::test {

// A root folder laid out like / with /proc/stat, /proc/meminfo, /proc/net/dev and
// /sys/class/net/*/device, filled from the recorded snapshots under tests/data/proc and
// switched between them as a test goes on.
class ProcSnapshot {
public:
    ProcSnapshot() { QDir().mkpath(root.filePath(QStringLiteral("proc/net"))); }
    QString path() const { return root.path(); }

    static QByteArray recorded(const QString& snapshot, const QString& file) {
        QFile in(QStringLiteral(VELMOX_TEST_DATA "/proc/") + snapshot + QLatin1Char('/') + file);
        return in.open(QIODevice::ReadOnly) ? in.readAll() : QByteArray();
    }
    void write(const QString& file, const QByteArray& contents) {
        QDir().mkpath(QFileInfo(root.filePath(file)).path());
        QFile out(root.filePath(file));
        if (out.open(QIODevice::WriteOnly))
            out.write(contents);
    }
    // Takes every counter file (and the hardware marks) from a recorded snapshot.
    void use(const QString& snapshot) {
        for (const char* file :
             {"proc/stat", "proc/meminfo", "proc/net/dev", "sys/class/net/eth0/device"})
            write(QString::fromLatin1(file), recorded(snapshot, QString::fromLatin1(file)));
    }

private:
    QTemporaryDir root;
};

} // namespace velmox::test
