#include "diskhealth/DiskHealthMonitor.h"

#include "services/Clock.h"
#include "services/Settings.h"

#include <QCoreApplication>
#include <QDBusMessage>
#include <QDir>
#include <QPointer>
#include <QThread>

namespace velmox {

namespace {

QString gradeName(HealthGrade grade) {
    switch (grade) {
    case HealthGrade::ok:
        return QStringLiteral("OK");
    case HealthGrade::information:
        return QStringLiteral("OK");
    case HealthGrade::warning:
        return QStringLiteral("Watch");
    case HealthGrade::critical:
        return QStringLiteral("Critical");
    }
    return {};
}

QString statusLabel(const SmartReport& report) {
    switch (report.status) {
    case DiskHealthStatus::healthy:
        return QStringLiteral("Healthy");
    case DiskHealthStatus::watch:
        return QStringLiteral("Watch");
    case DiskHealthStatus::critical:
        return QStringLiteral("Critical");
    case DiskHealthStatus::verified:
        return QStringLiteral("Verified");
    case DiskHealthStatus::unavailable:
        return QStringLiteral("unavailable");
    }
    return {};
}

// The level a report is kept at; none for a disk without values.
std::optional<HealthGrade> levelOf(const SmartReport& report) {
    if (report.status == DiskHealthStatus::unavailable)
        return std::nullopt;
    return report.verdict.value_or(HealthGrade::ok);
}

} // namespace

FreedesktopNotifier::FreedesktopNotifier(QDBusConnection bus) : bus_(std::move(bus)) {}

void FreedesktopNotifier::notify(const QString& title, const QString& body) {
    QDBusMessage message = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.Notifications"),
        QStringLiteral("/org/freedesktop/Notifications"),
        QStringLiteral("org.freedesktop.Notifications"), QStringLiteral("Notify"));
    message << QStringLiteral("Velmox") << 0u << QStringLiteral("velmox") << title << body
            << QStringList() << QVariantMap() << -1;
    bus_.call(message, QDBus::NoBlock);
}

const QList<int>& DiskHealthMonitor::intervalChoices() {
    static const QList<int> choices{30, 60, 180, 360, 1440};
    return choices;
}

QString DiskHealthMonitor::intervalTitle(int minutes) {
    switch (minutes) {
    case 30:
        return QStringLiteral("30 minutes");
    case 60:
        return QStringLiteral("1 hour");
    case 180:
        return QStringLiteral("3 hours");
    case 360:
        return QStringLiteral("6 hours");
    case 1440:
        return QStringLiteral("Once a day");
    }
    return QStringLiteral("%1 minutes").arg(minutes);
}

int DiskHealthMonitor::intervalMinutes(const Settings& settings) {
    bool ok = false;
    const int minutes = settings.value(QLatin1String(kMinutesKey), 60).toInt(&ok);
    return ok && minutes >= 1 ? minutes : 60;
}

HealthGrade DiskHealthMonitor::notifyLevel(const Settings& settings) {
    return settings.stringValue(QLatin1String(kNotifyLevelKey), QStringLiteral("warning")) ==
                   QLatin1String("critical")
               ? HealthGrade::critical
               : HealthGrade::warning;
}

QString DiskHealthMonitor::badgeText(const SmartReport& report) {
    return QStringLiteral("S.M.A.R.T.: %1. %2 Click to open the S.M.A.R.T. details.")
        .arg(statusLabel(report), report.verdictDetail);
}

QString DiskHealthMonitor::badge() const {
    const CachedDiskHealth* worst = nullptr;
    for (const CachedDiskHealth& disk : disks_) {
        const DiskHealthStatus status = disk.report.status;
        if ((status == DiskHealthStatus::watch || status == DiskHealthStatus::critical) &&
            (!worst || (status == DiskHealthStatus::critical &&
                        worst->report.status == DiskHealthStatus::watch)))
            worst = &disk;
    }
    return worst ? badgeText(worst->report) : QString();
}

DiskHealthMonitor::DiskHealthMonitor(Settings& settings, Clock& clock,
                                     std::shared_ptr<SmartReader> reader, DiskLister lister,
                                     DiskHealthNotifier& notifier, QObject* parent)
    : QObject(parent), settings_(settings), clock_(clock), reader_(std::move(reader)),
      lister_(std::move(lister)), notifier_(notifier), thread_(new QThread) {
    thread_->setObjectName(QStringLiteral("Velmox.diskHealthMonitor"));
    workerContext_ = new QObject;
    workerContext_->moveToThread(thread_);
    connect(thread_, &QThread::finished, workerContext_, &QObject::deleteLater);
    connect(thread_, &QThread::finished, thread_, &QObject::deleteLater);
    thread_->start();
    connect(&settings_, &Settings::valueChanged, this, [this](const QString& key) {
        if (key == QLatin1String(kEnabledKey))
            schedule(true);
        else if (key == QLatin1String(kMinutesKey))
            schedule(firstCheck_ && firstCheck_->isPending());
    });
}

DiskHealthMonitor::~DiskHealthMonitor() {
    // A check under way is waited for (smartctl has its time-out): its reader may run
    // through the shell helper, which goes away with the services after this monitor.
    QObject::disconnect(thread_, &QThread::finished, nullptr, nullptr);
    thread_->quit();
    thread_->wait();
    delete workerContext_;
    delete thread_;
}

void DiskHealthMonitor::start() {
    started_ = true;
    schedule(true);
}

void DiskHealthMonitor::stop() {
    started_ = false;
    schedule(false);
}

void DiskHealthMonitor::schedule(bool soon) {
    firstCheck_.reset();
    repeat_.reset();
    if (!started_ || !settings_.boolValue(QLatin1String(kEnabledKey), true))
        return;
    if (soon)
        firstCheck_ = clock_.schedule(
            kFirstCheckDelay, [this] { checkNow(); }, false, std::chrono::seconds(2));
    repeat_ = clock_.schedule(
        std::chrono::minutes(intervalMinutes(settings_)), [this] { checkNow(); }, true,
        std::chrono::minutes(1));
}

void DiskHealthMonitor::checkNow() {
    if (checking_)
        return;
    checking_ = true;
    emit checkingChanged(true);
    QPointer<DiskHealthMonitor> monitor(this);
    QMetaObject::invokeMethod(
        workerContext_,
        [monitor, reader = reader_, lister = lister_] {
            QList<CachedDiskHealth> disks;
            for (const SmartTarget& target : lister()) {
                SmartReader::Outcome outcome = reader->read(target);
                CachedDiskHealth disk;
                disk.report = outcome ? std::move(*outcome) : unavailableReport(outcome.error());
                const QString device = QString::fromLocal8Bit(target.devicePath);
                disk.key = disk.report.serial.isEmpty()
                               ? device
                               : disk.report.model + QLatin1Char(' ') + disk.report.serial;
                disk.label = disk.report.model.isEmpty() ? device : disk.report.model;
                disks.append(std::move(disk));
            }
            QMetaObject::invokeMethod(
                QCoreApplication::instance(),
                [monitor, disks] {
                    if (monitor)
                        monitor->finishCheck(disks);
                },
                Qt::QueuedConnection);
        },
        Qt::QueuedConnection);
}

void DiskHealthMonitor::finishCheck(const QList<CachedDiskHealth>& disks) {
    // With no saved levels (the first check) every disk is new: one already at or above the
    // chosen level notifies once, the others are only recorded.
    const QVariantMap saved = settings_.value(QLatin1String(kLastLevelsKey)).toMap();
    const bool notify = settings_.boolValue(QLatin1String(kNotifyKey), true);
    const bool recovery = settings_.boolValue(QLatin1String(kNotifyRecoveryKey), false);
    const HealthGrade threshold = notifyLevel(settings_);

    QVariantMap levels = saved;
    for (const CachedDiskHealth& disk : disks) {
        const std::optional<HealthGrade> level = levelOf(disk.report);
        if (!level)
            continue;
        const auto previous = saved.constFind(disk.key);
        levels.insert(disk.key, static_cast<int>(*level));
        if (!notify)
            continue;
        if (previous == saved.constEnd()) {
            // A disk seen for the first time notifies only when it already needs attention.
            if (*level >= threshold)
                notifier_.notify(QStringLiteral("%1: %2").arg(disk.report.verdictTitle, disk.label),
                                 disk.report.verdictDetail);
            continue;
        }
        const auto before = static_cast<HealthGrade>(std::clamp(previous->toInt(), 0, 3));
        if (*level > before && *level >= threshold) {
            notifier_.notify(QStringLiteral("%1: %2").arg(disk.report.verdictTitle, disk.label),
                             disk.report.verdictDetail);
        } else if (*level < before && before >= threshold && recovery) {
            notifier_.notify(QStringLiteral("%1: %2").arg(disk.report.verdictTitle, disk.label),
                             QStringLiteral("The disk's S.M.A.R.T. grade went from %1 to %2.")
                                 .arg(gradeName(before), gradeName(*level)));
        }
    }
    if (const Status written = settings_.setValue(QLatin1String(kLastLevelsKey), levels); !written)
        qWarning("%s", qPrintable(written.error()));

    lastChecked_ = clock_.now();
    disks_ = disks;
    for (CachedDiskHealth& disk : disks_)
        disk.checkedAt = lastChecked_;
    checking_ = false;
    emit checkingChanged(false);
    emit checked();
}

QList<SmartTarget> linuxWholeDisks(const QString& sysRoot) {
    QList<SmartTarget> disks;
    const QDir block(sysRoot + QStringLiteral("/block"));
    for (const QString& name : block.entryList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::System)) {
        if (name.startsWith(QLatin1String("loop")) || name.startsWith(QLatin1String("ram")) ||
            name.startsWith(QLatin1String("zram")) || name.startsWith(QLatin1String("dm-")) ||
            name.startsWith(QLatin1String("md")) || name.startsWith(QLatin1String("sr")))
            continue;
        if (const Result<SmartTarget> target = SmartTarget::fromDeviceName(name, sysRoot))
            disks.append(*target);
    }
    return disks;
}

} // namespace velmox
