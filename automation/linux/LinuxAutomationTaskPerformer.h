#pragma once

#include "automation/AutomationTaskPerformer.h"
#include "services/ActionHistoryStore.h"
#include "services/Result.h"

#include <QMutex>
#include <QStringList>
#include <functional>
#include <optional>

namespace velmox {

class KeychainHelper;
class LogindKeepAwake;
class ShellHelper;

// The automation tasks on Linux: caches of $XDG_CACHE_HOME to the freedesktop Trash, emptying
// every Trash of the user, the resolver's DNS cache, the page cache, the desktop and MIME
// databases, the locate index, a read-only check of the root file system, snapper or
// Timeshift snapshots when space is low, and keeping the computer awake through logind.
//
// Administrator work runs as root through sudo with the saved password (ShellHelper, never
// with a prompt), or directly when the process already is root. A tool this system lacks gives
// a sentence saying so. perform() blocks and runs on the automation worker thread; the shell
// helper, the keychain and the keep-awake lock must outlive this object.
class LinuxAutomationTaskPerformer final : public AutomationTaskPerformer {
public:
    static constexpr qint64 kThinSnapshotsBelowBytes = 30'000'000'000;

    struct Options {
        // Put before the system files the tasks read or write (/proc/self/mountinfo,
        // /proc/sys/vm/drop_caches); empty for the real ones.
        QString systemRoot;
        // Where outside programs are looked for, in this order.
        QStringList toolFolders{QStringLiteral("/usr/sbin"), QStringLiteral("/usr/bin"),
                                QStringLiteral("/sbin"), QStringLiteral("/bin")};
        // Free bytes of the root file system; nothing when they can't be read.
        std::function<std::optional<qint64>()> rootFreeBytes;
    };

    LinuxAutomationTaskPerformer(KeychainHelper& keychain, ShellHelper& shell,
                                 LogindKeepAwake& keepAwake);
    LinuxAutomationTaskPerformer(KeychainHelper& keychain, ShellHelper& shell,
                                 LogindKeepAwake& keepAwake, Options options);

    AutomationTaskOutcome perform(const QString& taskId, bool dryRun) override;

    // What cache cleaning leaves alone: a folder, everything inside it and every folder above
    // it; and cache items named after an app ID or starting with the ID and ".". Any thread.
    void setProtection(const QStringList& folders, const QStringList& appIds) override;

private:
    AutomationTaskOutcome performTask(const QString& taskId, bool dryRun);
    AutomationTaskOutcome cleanUserCaches(bool dryRun);
    AutomationTaskOutcome emptyTrash(bool dryRun);
    AutomationTaskOutcome flushDns(bool dryRun);
    AutomationTaskOutcome purgeMemory(bool dryRun);
    AutomationTaskOutcome rebuildDesktopDatabases(bool dryRun);
    AutomationTaskOutcome reindexFileSearch(bool dryRun);
    AutomationTaskOutcome verifyRootFileSystem(bool dryRun);
    AutomationTaskOutcome thinSnapshots(bool dryRun);
    AutomationTaskOutcome keepAwake(bool on, bool dryRun);

    // The line's output, or the whole message of its failure: "Needs a saved administrator
    // password ..." when none is saved, else `failedPrefix` and why.
    Result<QString> runAsRoot(const QString& shellLine, const QString& failedPrefix);
    // The first of `names` found as an executable in the tool folders; empty when none is.
    QString tool(const QStringList& names) const;
    QStringList trashFolders() const;
    bool isProtected(const QString& path, const QString& name) const;

    KeychainHelper& keychain_;
    ShellHelper& shell_;
    LogindKeepAwake& keepAwake_;
    Options options_;
    mutable QMutex protectionMutex_;
    QStringList protectedFolders_;
    QStringList protectedIds_;
    QList<ActionHistoryStore::UndoPair> moved_;
};

} // namespace velmox
