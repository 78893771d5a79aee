#include "diskhealth/DiskEfiActions.h"

#include "services/ShellWords.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDBusVariant>
#include <QProcess>
#include <QUrl>
#include <QVariantMap>

namespace velmox {

namespace {

const QString udisksService = QStringLiteral("org.freedesktop.UDisks2");
const QString filesystemInterface = QStringLiteral("org.freedesktop.UDisks2.Filesystem");

// UDisks2 names a block device's object after the device, with every character outside
// [A-Za-z0-9] written as _ and two hexadecimal digits ("dm-0" -> "dm_2d0").
QString objectPath(const QString& partition) {
    QString path = QStringLiteral("/org/freedesktop/UDisks2/block_devices/");
    for (const char c : partition.toUtf8()) {
        if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'))
            path += QLatin1Char(c);
        else
            path += QStringLiteral("_%1").arg(static_cast<uchar>(c), 2, 16, QLatin1Char('0'));
    }
    return path;
}

QDBusMessage call(const QDBusConnection& bus, const QString& partition, const QString& method) {
    QDBusMessage message = QDBusMessage::createMethodCall(udisksService, objectPath(partition),
                                                          filesystemInterface, method);
    message << QVariantMap();
    return bus.call(message, QDBus::Block, 60000);
}

QString reason(const QDBusMessage& reply) {
    QString text = reply.errorMessage().trimmed();
    while (text.endsWith(u'.'))
        text.chop(1);
    return text.isEmpty() ? reply.errorName() : text;
}

} // namespace

const DiskPartition* efiPartitionOf(const PhysicalDisk& disk) {
    for (const DiskPartition& partition : disk.partitions)
        if (partition.kind == DiskPartitionKind::efiSystem)
            return &partition;
    return nullptr;
}

QString mountEfiTitle(const QString& partition) {
    return QStringLiteral("Mount EFI Partition (%1)").arg(partition);
}

QString unmountEfiTitle(const QString& partition) {
    return QStringLiteral("Unmount EFI Partition (%1)").arg(partition);
}

QString showEfiTitle(const QString& partition) {
    return QStringLiteral("Show EFI Partition (%1) in the File Manager").arg(partition);
}

QString noEfiPartitionText() {
    return QStringLiteral("No EFI partition on this disk");
}

QString efiAutoOpenTitle() {
    return QStringLiteral("Show the EFI partition in the file manager after mounting it");
}

Result<QByteArray> UDisksMounter::mount(const QString& partition) const {
    const QDBusMessage reply = call(bus_, partition, QStringLiteral("Mount"));
    if (reply.type() == QDBusMessage::ErrorMessage)
        return failure(QStringLiteral("The EFI partition %1 could not be mounted: %2.")
                           .arg(partition, reason(reply)));
    const QString folder = reply.arguments().value(0).toString();
    if (folder.isEmpty())
        return failure(QStringLiteral("The EFI partition %1 was mounted, but UDisks2 did not say "
                                      "where.")
                           .arg(partition));
    return folder.toUtf8();
}

Status UDisksMounter::unmount(const QString& partition) const {
    const QDBusMessage reply = call(bus_, partition, QStringLiteral("Unmount"));
    if (reply.type() == QDBusMessage::ErrorMessage)
        return failure(QStringLiteral("The EFI partition %1 could not be unmounted: %2.")
                           .arg(partition, reason(reply)));
    return Done{};
}

bool UDisksMounter::isAvailable() const {
    const QDBusConnectionInterface* bus = bus_.interface();
    if (!bus)
        return false;
    if (bus->isServiceRegistered(udisksService))
        return true;
    const QDBusReply<QStringList> activatable = bus->activatableServiceNames();
    return activatable.isValid() && activatable.value().contains(udisksService);
}

bool showInFileManager(const QDBusConnection& session, const QByteArray& folder) {
    QDBusMessage message = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"),
        QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowFolders"));
    message << QStringList{QString::fromUtf8(
                   QUrl::fromLocalFile(QString::fromUtf8(folder)).toEncoded())}
            << QString();
    return session.call(message, QDBus::Block, 10000).type() == QDBusMessage::ReplyMessage;
}

namespace {

// The output of a failed root command as the end of a sentence: its first line (mount adds
// hints below it), without the program's own name in front.
QString failureReason(const CommandExecutorError& error) {
    QString text = error.description().trimmed().section(QLatin1Char('\n'), 0, 0).trimmed();
    for (const QLatin1String program : {QLatin1String("mount: "), QLatin1String("umount: ")})
        if (text.startsWith(program))
            text = text.mid(program.size());
    while (text.endsWith(u'.'))
        text.chop(1);
    return text;
}

} // namespace

QString LinuxEfiActions::mountLine(const QString& partition, const QByteArray& folder) {
    const QString where = shellQuoted(QString::fromLocal8Bit(folder));
    return QStringLiteral("/usr/bin/mkdir -p %1 && /usr/bin/mount %2 %1")
        .arg(where, shellQuoted(QStringLiteral("/dev/") + partition));
}

QString LinuxEfiActions::unmountLine(const QString& partition) {
    return QStringLiteral("/usr/bin/umount %1")
        .arg(shellQuoted(QStringLiteral("/dev/") + partition));
}

Result<QByteArray> LinuxEfiActions::mount(const QString& partition) {
    const UDisksMounter udisks(options_.systemBus);
    if (udisks.isAvailable())
        return udisks.mount(partition);
    const QByteArray folder = options_.mountRoot + '/' + partition.toLocal8Bit();
    const CommandResult ran = options_.privileged(mountLine(partition, folder));
    if (!ran)
        return failure(QStringLiteral("The EFI partition %1 could not be mounted: %2.")
                           .arg(partition, failureReason(ran.error())));
    return folder;
}

Status LinuxEfiActions::unmount(const QString& partition) {
    const UDisksMounter udisks(options_.systemBus);
    if (udisks.isAvailable())
        return udisks.unmount(partition);
    const CommandResult ran = options_.privileged(unmountLine(partition));
    if (!ran)
        return failure(QStringLiteral("The EFI partition %1 could not be unmounted: %2.")
                           .arg(partition, failureReason(ran.error())));
    return Done{};
}

Status LinuxEfiActions::show(const QByteArray& folder) {
    if (showInFileManager(options_.sessionBus, folder))
        return Done{};
    if (QProcess::startDetached(options_.xdgOpen, {QString::fromLocal8Bit(folder)}))
        return Done{};
    return failure(QStringLiteral("%1 could not be shown: no file manager answered and %2 "
                                  "did not start.")
                       .arg(QString::fromLocal8Bit(folder), options_.xdgOpen));
}

} // namespace velmox
