#include "cleaning/HungProcessKiller.h"

#include <QDir>
#include <QFile>
#include <QHash>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace velmox {

namespace {

struct Sample {
    QString name;
    char state = '?';
    quint64 cpuTicks = 0;
};

// /proc/PID/stat: "PID (NAME) STATE PPID ..." where NAME may hold blanks and parentheses, and
// user and system time are the 12th and 13th fields after the name.
std::optional<Sample> readStat(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QByteArray line = file.readAll();
    const qsizetype open = line.indexOf('(');
    const qsizetype close = line.lastIndexOf(')');
    if (open < 0 || close < open)
        return std::nullopt;
    const QList<QByteArray> fields = line.mid(close + 1).simplified().split(' ');
    if (fields.size() < 13 || fields.at(0).size() != 1)
        return std::nullopt;
    Sample sample;
    sample.name = QString::fromUtf8(line.mid(open + 1, close - open - 1));
    sample.state = fields.at(0).at(0);
    sample.cpuTicks = fields.at(11).toULongLong() + fields.at(12).toULongLong();
    return sample;
}

QHash<pid_t, Sample> sleepingProcesses(const QString& procRoot) {
    QHash<pid_t, Sample> found;
    const uid_t me = ::getuid();
    const pid_t self = ::getpid();
    const QStringList entries = QDir(procRoot).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString& entry : entries) {
        bool isNumber = false;
        const pid_t pid = entry.toInt(&isNumber);
        if (!isNumber || pid <= 0 || pid == self)
            continue;
        const QString folder = procRoot + QLatin1Char('/') + entry;
        struct stat owner {};
        if (::stat(QFile::encodeName(folder).constData(), &owner) != 0 || owner.st_uid != me)
            continue;
        const std::optional<Sample> sample = readStat(folder + QStringLiteral("/stat"));
        if (sample && sample->state == 'D')
            found.insert(pid, *sample);
    }
    return found;
}

} // namespace

HungProcessKiller::HungProcessKiller(QString procRoot, std::chrono::milliseconds watch)
    : procRoot_(std::move(procRoot)), watch_(watch) {}

QList<HungProcessKiller::Process> HungProcessKiller::findStuck() const {
    const QHash<pid_t, Sample> first = sleepingProcesses(procRoot_);
    if (first.isEmpty())
        return {};
    std::this_thread::sleep_for(watch_);
    const QHash<pid_t, Sample> second = sleepingProcesses(procRoot_);
    QList<Process> stuck;
    for (auto it = second.cbegin(); it != second.cend(); ++it) {
        const auto before = first.constFind(it.key());
        if (before != first.cend() && before->cpuTicks == it->cpuTicks && before->name == it->name)
            stuck.append({it.key(), it->name});
    }
    std::sort(stuck.begin(), stuck.end(),
              [](const Process& a, const Process& b) { return a.pid < b.pid; });
    return stuck;
}

Result<QString> HungProcessKiller::endStuck() const {
    const QList<Process> stuck = findStuck();
    if (stuck.isEmpty())
        return QStringLiteral("No process is stuck - nothing to end.");
    QStringList ended;
    QStringList failed;
    for (const Process& process : stuck) {
        const QString label = QStringLiteral("%1 (%2)").arg(process.name).arg(process.pid);
        if (::kill(process.pid, SIGKILL) == 0 || errno == ESRCH)
            ended.append(label);
        else
            failed.append(label + QStringLiteral(": ") +
                          QString::fromLocal8Bit(std::strerror(errno)));
    }
    QString text;
    if (!ended.isEmpty())
        text = QStringLiteral("Ended %1 stuck process(es): %2.")
                   .arg(ended.size())
                   .arg(ended.join(QStringLiteral(", ")));
    if (failed.isEmpty())
        return text;
    const QString failures = QStringLiteral("%1 stuck process(es) could not be ended: %2.")
                                 .arg(failed.size())
                                 .arg(failed.join(QStringLiteral("; ")));
    return failure(text.isEmpty() ? failures : text + QLatin1Char(' ') + failures);
}

} // namespace velmox
