#include "automation/AutomationCatalogue.h"

#include "platform/PlatformPaths.h"

namespace velmox {

const QList<AutomationTask>& macAutomationCatalogue() {
    static const QList<AutomationTask> tasks{
        {QStringLiteral("cleanUserCaches"),
         QStringLiteral("Clean User Caches"),
         QStringLiteral("trash"),
         false,
         false,
         QStringLiteral("Moves the contents of ~/Library/Caches to the Trash (recoverable with Put "
                        "Back). Skips anything on your protected list."),
         {}},
        {QStringLiteral("emptyTrash"),
         QStringLiteral("Empty Trash"),
         QStringLiteral("trash.slash"),
         false,
         true,
         QStringLiteral("Permanently deletes everything in the Trash. This cannot be undone."),
         {}},
        {QStringLiteral("flushDNS"), QStringLiteral("Flush DNS Cache"), QStringLiteral("network"),
         true, false,
         QStringLiteral("Clears the DNS cache. Needs the administrator password saved in Settings "
                        "> Access."),
         QStringLiteral("Dry run: would flush the DNS cache. Nothing was changed.")},
        {QStringLiteral("purgeRAM"), QStringLiteral("Purge Inactive Memory"),
         QStringLiteral("memorychip"), true, false,
         QStringLiteral("Frees inactive memory. Needs the administrator password saved in Settings "
                        "> Access."),
         QStringLiteral("Dry run: would purge inactive memory. Nothing was changed.")},
        {QStringLiteral("rebuildLaunchServices"), QStringLiteral("Rebuild Launch Services"),
         QStringLiteral("arrow.triangle.2.circlepath"), false, false,
         QStringLiteral("Rebuilds the Launch Services database (fixes wrong or duplicate 'Open "
                        "With' entries)."),
         QStringLiteral(
             "Dry run: would rebuild the Launch Services database. Nothing was changed.")},
        {QStringLiteral("reindexSpotlight"), QStringLiteral("Reindex Spotlight"),
         QStringLiteral("magnifyingglass"), true, false,
         QStringLiteral("Erases and rebuilds the Spotlight index of the startup volume; search is "
                        "incomplete for a while. Needs the saved administrator password."),
         QStringLiteral("Dry run: would erase and rebuild the Spotlight index of the startup "
                        "volume. Nothing was changed.")},
        {QStringLiteral("verifyDisk"), QStringLiteral("Verify Startup Disk"),
         QStringLiteral("internaldrive"), false, false,
         QStringLiteral("Read-only check of the startup volume with diskutil. Can take several "
                        "minutes."),
         QStringLiteral("Dry run: would verify the startup volume (read-only, can take several "
                        "minutes). Nothing was changed.")},
        {QStringLiteral("thinSnapshots"),
         QStringLiteral("Thin Snapshots When Space Is Low"),
         QStringLiteral("clock.arrow.circlepath"),
         true,
         false,
         QStringLiteral("When the startup volume has less than 30 GB free, thins local Time "
                        "Machine snapshots to win back space. Does nothing when there is enough "
                        "room. Needs the administrator password saved in Settings > Access."),
         {}},
        {QStringLiteral("preventSleepOn"), QStringLiteral("Prevent Sleep: On"),
         QStringLiteral("cup.and.saucer"), false, false,
         QStringLiteral("Keeps the Mac awake (same as the Prevent Sleep page). Stops when Velmox "
                        "quits."),
         QStringLiteral("Dry run: would keep the Mac awake. Nothing was changed.")},
        {QStringLiteral("preventSleepOff"), QStringLiteral("Prevent Sleep: Off"),
         QStringLiteral("moon.zzz"), false, false, QStringLiteral("Stops keeping the Mac awake."),
         QStringLiteral("Dry run: would stop keeping the Mac awake. Nothing was changed.")},
    };
    return tasks;
}

// The same ids and message shapes, doing the Linux counterpart of each job. Root is needed
// for the DNS caches of the system's resolver, the page cache, the locate database, reading
// the root file system's block device and the snapshot tools.
const QList<AutomationTask>& linuxAutomationCatalogue() {
    static const QList<AutomationTask> tasks{
        {QStringLiteral("cleanUserCaches"),
         QStringLiteral("Clean User Caches"),
         QStringLiteral("trash"),
         false,
         false,
         QStringLiteral("Moves the contents of ~/.cache to the Trash (recoverable with Put Back). "
                        "Skips anything on your protected list."),
         {}},
        {QStringLiteral("emptyTrash"),
         QStringLiteral("Empty Trash"),
         QStringLiteral("trash.slash"),
         false,
         true,
         QStringLiteral("Permanently deletes everything in the Trash. This cannot be undone."),
         {}},
        {QStringLiteral("flushDNS"), QStringLiteral("Flush DNS Cache"), QStringLiteral("network"),
         true, false,
         QStringLiteral("Clears the DNS cache of systemd-resolved or nscd. Needs the administrator "
                        "password saved in Settings > Access."),
         QStringLiteral("Dry run: would flush the DNS cache. Nothing was changed.")},
        {QStringLiteral("purgeRAM"), QStringLiteral("Purge Inactive Memory"),
         QStringLiteral("memorychip"), true, false,
         QStringLiteral("Writes pending data to disk and frees the page cache. Needs the "
                        "administrator password saved in Settings > Access."),
         QStringLiteral("Dry run: would purge inactive memory. Nothing was changed.")},
        {QStringLiteral("rebuildLaunchServices"), QStringLiteral("Rebuild Desktop Databases"),
         QStringLiteral("arrow.triangle.2.circlepath"), false, false,
         QStringLiteral("Rebuilds your desktop entry and MIME type databases (fixes wrong or "
                        "duplicate 'Open With' entries)."),
         QStringLiteral(
             "Dry run: would rebuild the desktop entry and MIME databases. Nothing was changed.")},
        {QStringLiteral("reindexSpotlight"), QStringLiteral("Reindex File Search"),
         QStringLiteral("magnifyingglass"), true, false,
         QStringLiteral("Rebuilds the file search index (locate) of the computer; search is "
                        "incomplete for a while. Needs the saved administrator password."),
         QStringLiteral("Dry run: would rebuild the file search index. Nothing was changed.")},
        {QStringLiteral("verifyDisk"), QStringLiteral("Verify Root File System"),
         QStringLiteral("internaldrive"), true, false,
         QStringLiteral("Read-only check of the mounted root file system from its own error "
                        "state and counters. Can take several minutes."),
         QStringLiteral("Dry run: would check the root file system (read-only, can take several "
                        "minutes). Nothing was changed.")},
        {QStringLiteral("thinSnapshots"),
         QStringLiteral("Thin Snapshots When Space Is Low"),
         QStringLiteral("clock.arrow.circlepath"),
         true,
         false,
         QStringLiteral("When the root file system has less than 30 GB free, removes the oldest "
                        "snapper or Timeshift snapshots to win back space. Does nothing when "
                        "there is enough room. Needs the administrator password saved in "
                        "Settings > Access."),
         {}},
        {QStringLiteral("preventSleepOn"), QStringLiteral("Prevent Sleep: On"),
         QStringLiteral("cup.and.saucer"), false, false,
         QStringLiteral("Keeps the computer awake (same as the Prevent Sleep page). Stops when "
                        "Velmox quits."),
         QStringLiteral("Dry run: would keep the computer awake. Nothing was changed.")},
        {QStringLiteral("preventSleepOff"), QStringLiteral("Prevent Sleep: Off"),
         QStringLiteral("moon.zzz"), false, false,
         QStringLiteral("Stops keeping the computer awake."),
         QStringLiteral("Dry run: would stop keeping the computer awake. Nothing was changed.")},
    };
    return tasks;
}

const QList<AutomationTask>& automationCatalogue() {
#ifdef Q_OS_MACOS
    return macAutomationCatalogue();
#else
    return linuxAutomationCatalogue();
#endif
}

std::optional<AutomationTask> findAutomationTask(const QString& id) {
    for (const AutomationTask& task : automationCatalogue())
        if (task.id == id)
            return task;
    return std::nullopt;
}

QString needsAdminPasswordMessage() {
    return QStringLiteral("Needs a saved administrator password (%1).")
        .arg(PlatformPaths::accessSettingsDisplay());
}

const QList<AutomationProfile>& builtInProfiles() {
#ifdef Q_OS_MACOS
    const QString machine = QStringLiteral("Mac");
#else
    const QString machine = QStringLiteral("computer");
#endif
    static const QList<AutomationProfile> profiles{
        {QStringLiteral("builtin.work"),
         QStringLiteral("Work"),
         QStringLiteral("briefcase"),
         QStringLiteral("Lets the %1 sleep normally and refreshes DNS.").arg(machine),
         {QStringLiteral("preventSleepOff"), QStringLiteral("flushDNS")},
         true},
        {QStringLiteral("builtin.gaming"),
         QStringLiteral("Gaming"),
         QStringLiteral("gamecontroller"),
         QStringLiteral("Frees inactive memory, refreshes DNS and keeps the %1 awake.")
             .arg(machine),
         {QStringLiteral("purgeRAM"), QStringLiteral("flushDNS"), QStringLiteral("preventSleepOn")},
         true},
        {QStringLiteral("builtin.battery"),
         QStringLiteral("Battery Saver"),
         QStringLiteral("battery.25"),
         QStringLiteral("Stops keeping the %1 awake and frees inactive memory.").arg(machine),
         {QStringLiteral("preventSleepOff"), QStringLiteral("purgeRAM")},
         true},
        {QStringLiteral("builtin.presentation"),
         QStringLiteral("Presentation"),
         QStringLiteral("play.rectangle"),
         QStringLiteral("Keeps the %1 awake for a talk and frees inactive memory first.")
             .arg(machine),
         {QStringLiteral("purgeRAM"), QStringLiteral("preventSleepOn")},
         true},
    };
    return profiles;
}

bool hasDestructiveStep(const QStringList& steps) {
    return std::any_of(steps.begin(), steps.end(), [](const QString& id) {
        const auto task = findAutomationTask(id);
        return task && task->isDestructive;
    });
}

bool hasAdminStep(const QStringList& steps) {
    return std::any_of(steps.begin(), steps.end(), [](const QString& id) {
        const auto task = findAutomationTask(id);
        return task && task->needsAdmin;
    });
}

QString runCaution(const QString& title, const QStringList& steps) {
    QStringList reasons;
    if (hasDestructiveStep(steps))
        reasons << QStringLiteral("permanently deletes data");
    if (hasAdminStep(steps))
        reasons << QStringLiteral("needs administrator rights");
    if (reasons.isEmpty())
        return {};
    return QStringLiteral("“%1” %2.").arg(title, reasons.join(QStringLiteral(" and ")));
}

QList<AutomationActionChoice> actionChoices(const QList<AutomationChain>& chains) {
    QList<AutomationActionChoice> choices;
    for (const AutomationTask& task : automationCatalogue())
        choices.append({task.id, task.title});
    for (const AutomationChain& chain : chains)
        choices.append({chainPrefix + chain.id, QStringLiteral("Routine: %1").arg(chain.name)});
    return choices;
}

QString actionTitle(const QString& actionId, const QList<AutomationChain>& chains) {
    if (actionId.startsWith(chainPrefix)) {
        const QString id = actionId.mid(chainPrefix.size());
        for (const AutomationChain& chain : chains)
            if (chain.id == id)
                return QStringLiteral("Routine: %1").arg(chain.name);
        return QStringLiteral("Missing routine");
    }
    const auto task = findAutomationTask(actionId);
    return task ? task->title : actionId;
}

QList<QuickAction> allQuickActions() {
    return {QuickAction::emptyTrash, QuickAction::flushDNS, QuickAction::purgeRAM};
}

QString rawValue(QuickAction action) {
    switch (action) {
    case QuickAction::emptyTrash:
        return QStringLiteral("emptyTrash");
    case QuickAction::flushDNS:
        return QStringLiteral("flushDNS");
    case QuickAction::purgeRAM:
        return QStringLiteral("purgeRAM");
    }
    return {};
}

AutomationTask quickActionTask(QuickAction action) {
    return findAutomationTask(rawValue(action)).value_or(AutomationTask{});
}

} // namespace velmox
