#include "automation/linux/LinuxAutomationTaskPerformer.h"

#include "automation/linux/LogindKeepAwake.h"
#include "automation/linux/RootFileSystemCheck.h"
#include "cleaning/FolderEntries.h"
#include "cleaning/FolderSize.h"
#include "cleaning/TaskRunResult.h"
#include "platform/PlatformPaths.h"
#include "platform/Trash.h"
#include "services/KeychainHelper.h"
#include "services/ShellHelper.h"
#include "services/ShellWords.h"
#include "services/ShownText.h"
#include "services/SudoRunner.h"
#include "services/ToolRunner.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <cerrno>
#include <optional>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace velmox {

namespace {

constexpr double kToolTimeoutSeconds = 300.0;

AutomationTaskOutcome succeeded(QString message) {
    return {true, std::move(message)};
}

AutomationTaskOutcome failed(QString message) {
    return {false, std::move(message)};
}

QString unchanged(const QString& what) {
    return QStringLiteral("Dry run: would %1. Nothing was changed.").arg(what);
}

QString withStop(QString text) {
    text = text.trimmed();
    if (!text.isEmpty() && !text.endsWith(QLatin1Char('.')))
        text += QLatin1Char('.');
    return text;
}

std::optional<qint64> freeBytesOfRoot() {
    struct statvfs info {};
    if (::statvfs("/", &info) != 0)
        return std::nullopt;
    return static_cast<qint64>(info.f_bavail) * static_cast<qint64>(info.f_frsize);
}

// The names in a folder but "." and ".."; nothing when it can't be listed (errno says why).
std::optional<QList<QByteArray>> namesIn(const QString& folder) {
    return folderEntryNames(QFile::encodeName(folder));
}

// The space a folder's contents take, without the folder itself.
qint64 contentBytes(const QString& folder) {
    struct stat own {};
    const qint64 total = FolderSize::allocatedBytes(folder);
    if (::lstat(QFile::encodeName(folder).constData(), &own) != 0)
        return total;
    return std::max<qint64>(0, total - static_cast<qint64>(own.st_blocks) * 512);
}

bool isOwnFolder(const QString& path, bool mustBeSticky = false) {
    struct stat info {};
    return ::lstat(QFile::encodeName(path).constData(), &info) == 0 && S_ISDIR(info.st_mode) &&
           (mustBeSticky ? (info.st_mode & S_ISVTX) != 0 : info.st_uid == ::getuid());
}

QString protectedNote(qsizetype count) {
    return count == 0 ? QString()
                      : QStringLiteral(" %1 protected %2 skipped.")
                            .arg(count)
                            .arg(count == 1 ? QStringLiteral("item") : QStringLiteral("items"));
}

QString failedTool(const QString& what, const ToolRunResult& run) {
    if (run.timedOut)
        return QStringLiteral("%1 did not finish in time.").arg(what);
    QString text = run.standardError.trimmed();
    if (text.isEmpty())
        text = run.standardOutput.trimmed();
    if (text.isEmpty())
        text = QStringLiteral("it ended with exit status %1").arg(run.status);
    return withStop(text);
}

// Runs a desktop tool as the user; the failure reads "<failure>: <tool>: <why>".
std::optional<QString> runUserTool(const QString& program, const QStringList& arguments,
                                   const QString& failure) {
    const ToolRunResult run =
        ToolRunner::run(program, arguments, std::nullopt, kToolTimeoutSeconds);
    if (run.status == 0 && !run.timedOut)
        return std::nullopt;
    const QString name = QFileInfo(program).fileName();
    return QStringLiteral("%1: %2: %3").arg(failure, name, failedTool(name, run));
}

} // namespace

LinuxAutomationTaskPerformer::LinuxAutomationTaskPerformer(KeychainHelper& keychain,
                                                           ShellHelper& shell,
                                                           LogindKeepAwake& keepAwake)
    : LinuxAutomationTaskPerformer(keychain, shell, keepAwake, Options{}) {}

LinuxAutomationTaskPerformer::LinuxAutomationTaskPerformer(KeychainHelper& keychain,
                                                           ShellHelper& shell,
                                                           LogindKeepAwake& keepAwake,
                                                           Options options)
    : keychain_(keychain), shell_(shell), keepAwake_(keepAwake), options_(std::move(options)) {
    if (!options_.rootFreeBytes)
        options_.rootFreeBytes = &freeBytesOfRoot;
}

AutomationTaskOutcome LinuxAutomationTaskPerformer::perform(const QString& taskId, bool dryRun) {
    AutomationTaskOutcome outcome = performTask(taskId, dryRun);
    // Every answer of a dry run says so, those that end before any work included.
    const QString dry = QStringLiteral("Dry run: ");
    if (dryRun && !outcome.message.startsWith(dry))
        outcome.message.prepend(dry);
    if (!dryRun && taskId == QLatin1String("cleanUserCaches") && !moved_.isEmpty())
        outcome.message += ActionHistoryStore::undoPayload(moved_);
    return outcome;
}

AutomationTaskOutcome LinuxAutomationTaskPerformer::performTask(const QString& taskId,
                                                                bool dryRun) {
    if (taskId == QLatin1String("cleanUserCaches"))
        return cleanUserCaches(dryRun);
    if (taskId == QLatin1String("emptyTrash"))
        return emptyTrash(dryRun);
    if (taskId == QLatin1String("flushDNS"))
        return flushDns(dryRun);
    if (taskId == QLatin1String("purgeRAM"))
        return purgeMemory(dryRun);
    if (taskId == QLatin1String("rebuildLaunchServices"))
        return rebuildDesktopDatabases(dryRun);
    if (taskId == QLatin1String("reindexSpotlight"))
        return reindexFileSearch(dryRun);
    if (taskId == QLatin1String("verifyDisk"))
        return verifyRootFileSystem(dryRun);
    if (taskId == QLatin1String("thinSnapshots"))
        return thinSnapshots(dryRun);
    if (taskId == QLatin1String("preventSleepOn"))
        return keepAwake(true, dryRun);
    if (taskId == QLatin1String("preventSleepOff"))
        return keepAwake(false, dryRun);
    return failed(QStringLiteral("There is no automation task called \"%1\".").arg(taskId));
}

void LinuxAutomationTaskPerformer::setProtection(const QStringList& folders,
                                                 const QStringList& appIds) {
    const QMutexLocker lock(&protectionMutex_);
    protectedFolders_.clear();
    for (const QString& folder : folders)
        if (!folder.trimmed().isEmpty())
            protectedFolders_ << QDir::cleanPath(folder);
    protectedIds_.clear();
    for (const QString& id : appIds)
        if (!id.trimmed().isEmpty())
            protectedIds_ << id.trimmed();
}

bool LinuxAutomationTaskPerformer::isProtected(const QString& path, const QString& name) const {
    const QMutexLocker lock(&protectionMutex_);
    const QString item = QDir::cleanPath(path);
    for (const QString& folder : protectedFolders_) {
        const QString inside =
            folder.endsWith(QLatin1Char('/')) ? folder : folder + QLatin1Char('/');
        if (item == folder || item.startsWith(inside) || folder.startsWith(item + QLatin1Char('/')))
            return true;
    }
    for (const QString& id : protectedIds_)
        if (name == id || name.startsWith(id + QLatin1Char('.')))
            return true;
    return false;
}

Result<QString> LinuxAutomationTaskPerformer::runAsRoot(const QString& shellLine,
                                                        const QString& failedPrefix) {
    if (::geteuid() == 0) {
        // Root needs neither sudo nor a password.
        const PrivilegedRunResult run = SudoRunner::run(QString(), shellLine);
        if (run.succeeded)
            return run.output;
        return failure(failedPrefix + run.errorMessage.value_or(QString()));
    }
    // Unattended work never asks; a missing password is told apart from a failed command.
    if (const Result<bool> saved = keychain_.hasSavedPassword(); saved && !*saved)
        return failure(QStringLiteral("Needs a saved administrator password (%1).")
                           .arg(PlatformPaths::accessSettingsDisplay()));
    const CommandResult run = shell_.runPrivileged(shellLine, false);
    if (!run)
        return failure(failedPrefix + run.error().description());
    return *run;
}

QString LinuxAutomationTaskPerformer::tool(const QStringList& names) const {
    for (const QString& name : names)
        for (const QString& folder : options_.toolFolders) {
            const QFileInfo candidate(folder + QLatin1Char('/') + name);
            if (candidate.isFile() && candidate.isExecutable())
                return candidate.filePath();
        }
    return {};
}

AutomationTaskOutcome LinuxAutomationTaskPerformer::cleanUserCaches(bool dryRun) {
    moved_.clear();
    const QString caches = PlatformPaths::userCaches();
    const QString shown = PlatformPaths::userCachesDisplay();
    const std::optional<QList<QByteArray>> names = namesIn(caches);
    if (!names) {
        if (errno == ENOENT)
            return succeeded(QStringLiteral("Nothing to clean in %1.").arg(shown));
        return failed(QStringLiteral("Couldn't read %1.").arg(shown));
    }

    struct Item {
        QByteArray path;
        QByteArray name;
        qint64 bytes = 0;
    };
    QList<Item> items;
    qsizetype skipped = 0;
    qint64 bytes = 0;
    const QByteArray folder = QFile::encodeName(caches);
    for (const QByteArray& name : *names) {
        const QByteArray path = folder + '/' + name;
        if (isProtected(QFile::decodeName(path), QFile::decodeName(name))) {
            ++skipped;
            continue;
        }
        items.append({path, name, FolderSize::allocatedBytes(QFile::decodeName(path))});
        bytes += items.last().bytes;
    }
    if (items.isEmpty())
        return succeeded(QStringLiteral("Nothing to clean in %1.").arg(shown) +
                         protectedNote(skipped));
    if (dryRun)
        return succeeded(QStringLiteral("Dry run: would move %1 (%2) from %3 to the Trash.")
                             .arg(itemCount(items.size()), byteText(bytes), shown) +
                         protectedNote(skipped) + QStringLiteral(" Nothing was moved."));

    qint64 movedBytes = 0;
    qsizetype movedCount = 0;
    QStringList failures;
    for (const Item& item : items) {
        const Result<QByteArray> trashName = Trash::moveToTrashBytes(item.path);
        if (!trashName) {
            failures << trashName.error();
            continue;
        }
        ++movedCount;
        movedBytes += item.bytes;
        // The activity log holds names as text; other names are restored with a file manager.
        if (QUtf8StringView(item.name).isValidUtf8() && QUtf8StringView(*trashName).isValidUtf8())
            moved_.append({QString::fromUtf8(item.name), QString::fromUtf8(*trashName)});
    }
    if (movedCount == 0)
        return failed(QStringLiteral("Couldn't move anything from %1 to the Trash. %2")
                          .arg(shown, failures.first()) +
                      protectedNote(skipped));
    QString message = QStringLiteral("Moved %1 (%2) from %3 to the Trash.")
                          .arg(itemCount(movedCount), byteText(movedBytes), shown);
    if (!moved_.isEmpty())
        message += QStringLiteral(" %1 can be put back from the Activity tab.").arg(moved_.size());
    if (!failures.isEmpty())
        message += QStringLiteral(" %1 couldn't be moved.").arg(failures.size());
    return succeeded(message + protectedNote(skipped));
}

QStringList LinuxAutomationTaskPerformer::trashFolders() const {
    // The home Trash, then the Trash folders of the user at the top of every other mount:
    // $top/.Trash/$uid inside a shared sticky .Trash, and $top/.Trash-$uid.
    QStringList folders{QFileInfo(Trash::filesFolder()).path()};
    QFile table(options_.systemRoot + QStringLiteral("/proc/self/mountinfo"));
    if (!table.open(QIODevice::ReadOnly))
        return folders;
    const QString uid = QString::number(::getuid());
    for (const RootFileSystemCheck::Mount& mount : RootFileSystemCheck::mounts(table.readAll())) {
        QString top = QFile::decodeName(mount.mountPoint);
        if (top.endsWith(QLatin1Char('/')))
            top.chop(1);
        const QString shared = top + QStringLiteral("/.Trash");
        const QStringList candidates{shared + QLatin1Char('/') + uid,
                                     top + QStringLiteral("/.Trash-") + uid};
        for (const QString& candidate : candidates) {
            if (candidate.startsWith(shared + QLatin1Char('/')) && !isOwnFolder(shared, true))
                continue;
            if (isOwnFolder(candidate) && !folders.contains(candidate))
                folders << candidate;
        }
    }
    return folders;
}

AutomationTaskOutcome LinuxAutomationTaskPerformer::emptyTrash(bool dryRun) {
    const QStringList folders = trashFolders();
    qsizetype count = 0;
    qint64 bytes = 0;
    for (const QString& folder : folders) {
        const QString files = folder + QStringLiteral("/files");
        count += namesIn(files).value_or(QList<QByteArray>()).size();
        bytes += contentBytes(files);
    }
    if (count == 0)
        return succeeded(QStringLiteral("The Trash is already empty."));
    if (dryRun)
        return succeeded(QStringLiteral("Dry run: would permanently delete %1 (%2) from the Trash. "
                                        "Nothing was deleted.")
                             .arg(itemCount(count), byteText(bytes)));

    const QString find = tool({QStringLiteral("find")});
    const QString remove = tool({QStringLiteral("rm")});
    if (find.isEmpty() || remove.isEmpty())
        return failed(
            QStringLiteral("The find or rm tool is missing, so the Trash can't be emptied."));
    QStringList problems;
    qsizetype left = 0;
    for (const QString& folder : folders) {
        for (const char* part : {"/files", "/info", "/expunged"}) {
            const QString sub = folder + QLatin1String(part);
            if (!QFileInfo::exists(sub))
                continue;
            const ToolRunResult run = ToolRunner::run(
                find,
                {sub, QStringLiteral("-mindepth"), QStringLiteral("1"), QStringLiteral("-maxdepth"),
                 QStringLiteral("1"), QStringLiteral("-exec"), remove, QStringLiteral("-rf"),
                 QStringLiteral("{}"), QStringLiteral("+")},
                std::nullopt, kToolTimeoutSeconds);
            if (run.status != 0 && problems.isEmpty())
                problems << failedTool(QStringLiteral("Emptying %1").arg(sub), run);
        }
        QFile::remove(folder + QStringLiteral("/directorysizes"));
        left += namesIn(folder + QStringLiteral("/files")).value_or(QList<QByteArray>()).size();
    }
    if (left > 0)
        return failed(QStringLiteral("Couldn't empty the Trash: %1 could not be deleted. %2")
                          .arg(itemCount(left), problems.value(0))
                          .trimmed());
    return succeeded(QStringLiteral("Permanently deleted %1 (%2) from the Trash.")
                         .arg(itemCount(count), byteText(bytes)));
}

AutomationTaskOutcome LinuxAutomationTaskPerformer::flushDns(bool dryRun) {
    // A cache service is in use when it runs: its socket is there.
    const auto running = [&](const QString& program, const char* socket) {
        return !program.isEmpty() && QFileInfo::exists(options_.systemRoot + QLatin1String(socket));
    };
    const QString resolvectl = tool({QStringLiteral("resolvectl")});
    const QString nscd = tool({QStringLiteral("nscd")});
    QString line;
    if (running(resolvectl, "/run/systemd/resolve/io.systemd.Resolve"))
        line = shellQuoted(resolvectl) + QStringLiteral(" flush-caches");
    else if (running(nscd, "/run/nscd/socket"))
        line = shellQuoted(nscd) + QStringLiteral(" --invalidate=hosts");
    else
        return succeeded(QStringLiteral("No DNS cache service (systemd-resolved or nscd) is "
                                        "running, so there is no DNS cache to flush."));
    if (dryRun)
        return succeeded(unchanged(QStringLiteral("flush the DNS cache")));
    const Result<QString> run = runAsRoot(line, QStringLiteral("DNS flush failed: "));
    if (!run)
        return failed(run.error());
    return succeeded(QStringLiteral("DNS cache flushed."));
}

AutomationTaskOutcome LinuxAutomationTaskPerformer::purgeMemory(bool dryRun) {
    if (dryRun)
        return succeeded(unchanged(QStringLiteral("purge inactive memory")));
    const QString sync = tool({QStringLiteral("sync")});
    const QString line =
        (sync.isEmpty() ? QString() : shellQuoted(sync) + QStringLiteral("; ")) +
        QStringLiteral("echo 1 > ") +
        shellQuoted(options_.systemRoot + QStringLiteral("/proc/sys/vm/drop_caches"));
    const Result<QString> run = runAsRoot(line, QStringLiteral("Purging inactive memory failed: "));
    if (!run)
        return failed(run.error());
    return succeeded(QStringLiteral("Inactive memory purged."));
}

AutomationTaskOutcome LinuxAutomationTaskPerformer::rebuildDesktopDatabases(bool dryRun) {
    const QString desktop = tool({QStringLiteral("update-desktop-database")});
    const QString mime = tool({QStringLiteral("update-mime-database")});
    if (desktop.isEmpty() && mime.isEmpty())
        return failed(QStringLiteral("Neither update-desktop-database (desktop-file-utils) nor "
                                     "update-mime-database (shared-mime-info) is installed, so "
                                     "the desktop databases can't be rebuilt."));
    if (dryRun)
        return succeeded(unchanged(QStringLiteral("rebuild the desktop and MIME databases")));

    // The user's own databases: the system's belong to the package manager.
    const QString data = PlatformPaths::appDataParent();
    struct Step {
        QString program;
        QStringList arguments;
        QString folder;
    };
    const QList<Step> steps{
        {desktop, {data + QStringLiteral("/applications")}, data + QStringLiteral("/applications")},
        {mime, {data + QStringLiteral("/mime")}, data + QStringLiteral("/mime/packages")},
        // KDE keeps its own cache of the same entries.
        {tool({QStringLiteral("kbuildsycoca6"), QStringLiteral("kbuildsycoca5")}), {}, data}};
    QStringList rebuilt;
    for (const Step& step : steps) {
        if (step.program.isEmpty() || !QFileInfo(step.folder).isDir())
            continue;
        if (const auto problem = runUserTool(step.program, step.arguments,
                                             QStringLiteral("Desktop database rebuild failed")))
            return failed(*problem);
        rebuilt << QFileInfo(step.program).fileName();
    }
    if (rebuilt.isEmpty())
        return succeeded(QStringLiteral("You have no desktop entries or MIME types of your own, so "
                                        "there was nothing to rebuild."));
    return succeeded(QStringLiteral("Desktop and MIME databases rebuilt (%1).")
                         .arg(rebuilt.join(QStringLiteral(", "))));
}

AutomationTaskOutcome LinuxAutomationTaskPerformer::reindexFileSearch(bool dryRun) {
    const QString updatedb = tool({QStringLiteral("updatedb")});
    // The desktop's own search indexes the user's files and runs as the user.
    struct Indexer {
        QString program;
        QStringList arguments;
        QString done;
    };
    QList<Indexer> indexers;
    if (const QString tracker = tool({QStringLiteral("tracker3")}); !tracker.isEmpty())
        indexers.append({tracker,
                         {QStringLiteral("reset"), QStringLiteral("--file"), QDir::homePath()},
                         QStringLiteral("Tracker is reindexing your home folder.")});
    if (const QString baloo = tool({QStringLiteral("balooctl6"), QStringLiteral("balooctl")});
        !baloo.isEmpty())
        indexers.append({baloo,
                         {QStringLiteral("check")},
                         QStringLiteral("Baloo is indexing the files it was missing.")});
    if (updatedb.isEmpty() && indexers.isEmpty())
        return succeeded(QStringLiteral("No file search index (plocate, mlocate, Tracker or "
                                        "Baloo) is installed, so there is nothing to reindex."));
    if (dryRun)
        return succeeded(
            unchanged(QStringLiteral("rebuild the file search index of the whole system")));
    QStringList done;
    if (!updatedb.isEmpty()) {
        const Result<QString> run =
            runAsRoot(shellQuoted(updatedb), QStringLiteral("File search reindex failed: "));
        if (!run)
            return failed(run.error());
        done << QStringLiteral("The file search index was rebuilt.");
    }
    for (const Indexer& indexer : indexers) {
        if (const auto problem = runUserTool(indexer.program, indexer.arguments,
                                             QStringLiteral("Desktop search reindex failed")))
            return failed(*problem);
        done << indexer.done;
    }
    return succeeded(done.join(QLatin1Char(' ')));
}

AutomationTaskOutcome LinuxAutomationTaskPerformer::verifyRootFileSystem(bool dryRun) {
    QFile table(options_.systemRoot + QStringLiteral("/proc/self/mountinfo"));
    const std::optional<RootFileSystemCheck::Mount> root =
        table.open(QIODevice::ReadOnly) ? RootFileSystemCheck::root(table.readAll()) : std::nullopt;
    if (!root)
        return failed(QStringLiteral("Couldn't find the startup volume in the mount table."));
    const QString type = QString::fromUtf8(root->type);
    QString source = QFile::decodeName(root->source);
    // "/dev/root" and the like name no device file; udev's by-number link does.
    if (!QFileInfo::exists(source))
        source = QStringLiteral("/dev/block/") + QString::fromLatin1(root->device);

    const bool ext = type == QLatin1String("ext2") || type == QLatin1String("ext3") ||
                     type == QLatin1String("ext4");
    QString program;
    QString missing;
    if (ext) {
        program = tool({QStringLiteral("tune2fs")});
        missing = QStringLiteral("tune2fs tool (e2fsprogs)");
    } else if (type == QLatin1String("btrfs")) {
        program = tool({QStringLiteral("btrfs")});
        missing = QStringLiteral("btrfs tool (btrfs-progs)");
    } else if (type == QLatin1String("xfs")) {
        program = tool({QStringLiteral("xfs_scrub")});
        missing = QStringLiteral("xfs_scrub tool (xfsprogs)");
    } else {
        return failed(QStringLiteral("The startup volume's file system (%1) has no check that is "
                                     "safe while it is mounted.")
                          .arg(type));
    }
    if (program.isEmpty())
        return failed(QStringLiteral("The %1 isn't installed, so the startup volume (%2) can't be "
                                     "checked.")
                          .arg(missing, type));
    if (dryRun)
        return succeeded(QStringLiteral("Dry run: would verify the startup volume (read-only, can "
                                        "take several minutes). Nothing was changed."));

    const QString mountPoint = shellQuoted(QFile::decodeName(root->mountPoint));
    QString line;
    if (ext)
        line = shellQuoted(program) + QStringLiteral(" -l ") + shellQuoted(source);
    else if (type == QLatin1String("btrfs"))
        line = shellQuoted(program) + QStringLiteral(" device stats ") + mountPoint +
               QStringLiteral(" && ") + shellQuoted(program) +
               QStringLiteral(" scrub start -B -r ") + mountPoint + QStringLiteral(" >&2");
    else
        line = shellQuoted(program) + QStringLiteral(" -n ") + mountPoint;
    const Result<QString> run =
        runAsRoot(line, QStringLiteral("Disk verification reported a problem: "));
    if (!run)
        return failed(run.error());
    const std::optional<QString> problem =
        ext ? RootFileSystemCheck::ext4Problem(*run)
            : (type == QLatin1String("btrfs") ? RootFileSystemCheck::btrfsProblem(*run)
                                              : std::nullopt);
    if (problem)
        return failed(QStringLiteral("Disk verification reported a problem: ") + *problem);
    return succeeded(QStringLiteral("The startup volume appears to be OK."));
}

AutomationTaskOutcome LinuxAutomationTaskPerformer::thinSnapshots(bool dryRun) {
    const std::optional<qint64> free = options_.rootFreeBytes();
    if (!free)
        return failed(QStringLiteral("Couldn't read the free space of the startup volume."));
    if (*free >= kThinSnapshotsBelowBytes)
        return succeeded(QStringLiteral("Enough free space (%1). No snapshots were thinned.")
                             .arg(byteText(*free)));
    const QString snapper = tool({QStringLiteral("snapper")});
    const QString timeshift = tool({QStringLiteral("timeshift")});
    if (snapper.isEmpty() && timeshift.isEmpty())
        return succeeded(QStringLiteral("No snapshot tool (snapper or Timeshift) is installed, so "
                                        "there are no snapshots to thin (%1 is free).")
                             .arg(byteText(*free)));
    if (dryRun)
        return succeeded(QStringLiteral("%1 is free, so snapshots would be thinned. Nothing "
                                        "was changed.")
                             .arg(byteText(*free)));
    QString line;
    if (!snapper.isEmpty()) {
        // The cleanup algorithms delete what the configuration's limits allow.
        line = shellQuoted(snapper) + QStringLiteral(" cleanup number && ") + shellQuoted(snapper) +
               QStringLiteral(" cleanup timeline");
    } else {
        // Timeshift lists oldest first; the newest snapshot always stays.
        line = QStringLiteral("set -- $(") + shellQuoted(timeshift) +
               QStringLiteral(" --list --scripted 2>/dev/null | /usr/bin/awk '$2 == \">\" "
                              "{ print $3 }'); if [ $# -gt 1 ]; then ") +
               shellQuoted(timeshift) +
               QStringLiteral(" --delete --snapshot \"$1\" --scripted; fi");
    }
    const Result<QString> run = runAsRoot(line, QStringLiteral("Thinning snapshots failed: "));
    if (!run)
        return failed(run.error());
    return succeeded(
        QStringLiteral("Thinned snapshots (%1 was free before).").arg(byteText(*free)));
}

AutomationTaskOutcome LinuxAutomationTaskPerformer::keepAwake(bool on, bool dryRun) {
    if (dryRun)
        return succeeded(unchanged(on ? QStringLiteral("keep the computer awake")
                                      : QStringLiteral("stop keeping the computer awake")));
    if (!on) {
        keepAwake_.turnOff();
        return succeeded(QStringLiteral("Sleep prevention is off."));
    }
    const Status held = keepAwake_.turnOn();
    if (!held)
        return failed(QStringLiteral("Couldn't start sleep prevention. ") + withStop(held.error()));
    return succeeded(QStringLiteral("Sleep prevention is on."));
}

} // namespace velmox
