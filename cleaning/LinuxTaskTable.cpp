// The Linux table: for each macOS task the counterpart a Linux user expects, under the same
// title and category where the job is the same. Left out, having no counterpart here: "Time
// Machine Snapshot Slimmer" (no Time Machine), "Safari Privacy Cleaner" (no Safari) and
// "Apple Intelligence Cleanup" (no Apple Intelligence models).
#include "cleaning/OptimizationRegistry.h"
#include "cleaning/TaskTableRow.h"
#include "platform/PlatformPaths.h"
#include "services/ShellWords.h"

namespace velmox {

namespace {

QString dnsFlushScript() {
    return QStringLiteral(
        "if [ -x /usr/bin/resolvectl ] && /usr/bin/resolvectl flush-caches 2>/dev/null; then "
        "echo \"The systemd-resolved cache was flushed.\"; "
        "elif [ -x /usr/sbin/nscd ] && /usr/sbin/nscd --invalidate=hosts 2>/dev/null; then "
        "echo \"The nscd host cache was flushed.\"; "
        "else echo \"No DNS cache service (systemd-resolved or nscd) is running - nothing to "
        "flush.\"; fi");
}

QString searchIndexScript() {
    return QStringLiteral(
        "if [ -x /usr/sbin/updatedb ]; then /usr/sbin/updatedb; "
        "elif [ -x /usr/bin/updatedb ]; then /usr/bin/updatedb; "
        "else echo \"No file search database (locate) is installed - nothing to rebuild.\"; fi");
}

QString maintenanceScript(const TaskPlaces& places) {
    return QStringLiteral("status=0; ran=0; for period in daily weekly monthly; do folder=") +
           shellQuoted(places.system(QStringLiteral("/etc/cron."))) +
           QStringLiteral(
               "\"$period\"; if [ -d \"$folder\" ]; then ran=1; /bin/run-parts --report "
               "\"$folder\" || status=1; fi; done; if [ $ran = 0 ]; then echo \"There are no "
               "daily, weekly or monthly job folders (/etc/cron.*) - nothing to run.\"; fi; "
               "exit $status");
}

QString fontCacheScript(const TaskPlaces& places) {
    // fc-cache finds the system font folders and cache folder under --sysroot.
    const QString sysroot = places.systemRoot.isEmpty()
                                ? QString()
                                : QStringLiteral(" --sysroot=") + shellQuoted(places.systemRoot);
    // The user's part runs as the user, although the script runs as root.
    return QStringLiteral("if [ -x /usr/bin/fc-cache ]; then /usr/bin/fc-cache") + sysroot +
           QStringLiteral(" -r -s && /usr/sbin/runuser -u ") + shellQuoted(places.user) +
           QStringLiteral(" -- /usr/bin/env HOME=") + shellQuoted(places.home) +
           QStringLiteral(" XDG_CACHE_HOME=") + shellQuoted(places.userCaches) +
           QStringLiteral(" /usr/bin/fc-cache -r; else echo \"Fontconfig (fc-cache) is not "
                          "installed - there is no font cache to rebuild.\"; fi");
}

QString packageCacheScript(const TaskPlaces& places) {
    return QStringLiteral("if [ -x /usr/bin/apt-get ]; then /usr/bin/apt-get -o Dir::Cache=") +
           shellQuoted(places.system(QStringLiteral("/var/cache/apt"))) +
           QStringLiteral(
               " clean; elif [ -x /usr/bin/dnf ]; then /usr/bin/dnf clean packages; "
               "elif [ -x /usr/bin/pacman ]; then /usr/bin/pacman -Sc --noconfirm; "
               "elif [ -x /usr/bin/zypper ]; then /usr/bin/zypper clean; "
               "else echo \"No known package manager (apt, dnf, pacman or zypper) was found - "
               "nothing to clean.\"; fi");
}

QString logScrubScript(const TaskPlaces& places) {
    const QString logs = places.system(QStringLiteral("/var/log"));
    const QString journal = shellQuoted(logs + QStringLiteral("/journal"));
    // Rotated logs only ("syslog.2.gz", "auth.log.1", "dpkg.log-20240101"); the files the
    // services still write to stay.
    return QStringLiteral("if [ -d ") + journal +
           QStringLiteral(" ]; then /usr/bin/journalctl --directory=") + journal +
           QStringLiteral(" --vacuum-time=7d; fi; /usr/bin/find ") + shellQuoted(logs) +
           QStringLiteral(
               " -type f \\( -name '*.[0-9]' -o -name '*.[0-9].gz' -o -name '*.gz' -o -name "
               "'*.xz' -o -name '*.bz2' -o -name '*.zst' -o -name '*.old' -o -name "
               "'*-[0-9][0-9][0-9][0-9][0-9][0-9][0-9][0-9]' \\) -mtime +7 -delete 2>/dev/null; "
               "true");
}

QString emptyTrashScript(const TaskPlaces& places) {
    QString folders;
    for (const char* sub : {"/files", "/info", "/expunged"})
        folders += QLatin1Char(' ') + shellQuoted(places.trash + QLatin1String(sub));
    return QStringLiteral("/usr/bin/find") + folders +
           QStringLiteral(" -mindepth 1 -maxdepth 1 -exec /bin/rm -rf {} + 2>/dev/null; "
                          "/bin/rm -f ") +
           shellQuoted(places.trash + QStringLiteral("/directorysizes")) + QStringLiteral("; true");
}

QString clipboardScript() {
    return QStringLiteral(
        "if [ -n \"$WAYLAND_DISPLAY\" ] && [ -x /usr/bin/wl-copy ]; then /usr/bin/wl-copy "
        "--clear && /usr/bin/wl-copy --primary --clear; "
        "elif [ -n \"$DISPLAY\" ] && [ -x /usr/bin/xsel ]; then /usr/bin/xsel --clipboard "
        "--clear && /usr/bin/xsel --primary --clear; "
        "elif [ -n \"$DISPLAY\" ] && [ -x /usr/bin/xclip ]; then /usr/bin/xclip -selection "
        "clipboard -in < /dev/null > /dev/null 2>&1 && /usr/bin/xclip -selection primary -in < "
        "/dev/null > /dev/null 2>&1; "
        "else echo \"No clipboard tool for this desktop (wl-copy, xsel or xclip) was found, so "
        "the clipboard was not cleared.\" >&2; exit 1; fi");
}

QString hiddenFilesScript(bool show) {
    const QString value = show ? QStringLiteral("true") : QStringLiteral("false");
    return QStringLiteral("/usr/bin/gsettings set org.gtk.Settings.FileChooser show-hidden ") +
           value +
           QStringLiteral(" && { /usr/bin/gsettings set org.gtk.gtk4.Settings.FileChooser "
                          "show-hidden ") +
           value + QStringLiteral(" 2>/dev/null; true; }");
}

// Offered in the Smart Scan's preview, but not run by it unless the user ticks it.
OptimizationTask offeredOnly(OptimizationTask task) {
    task.includeInSmartScan = false;
    task.offeredInSmartScan = true;
    return task;
}

} // namespace

QList<OptimizationTask> OptimizationRegistry::linuxTable(const TaskPlaces& places) {
    using C = TaskCategory;
    constexpr ImpactLevel safe = ImpactLevel::safe;
    constexpr ImpactLevel moderate = ImpactLevel::moderate;
    constexpr ImpactLevel high = ImpactLevel::highImpact;
    const QString& caches = places.userCaches;
    const QString cachesShown = PlatformPaths::userCachesDisplay();
    const QString attachments =
        places.temporary + QStringLiteral("/mozilla_") + places.user + QLatin1Char('0');
    return {
        offeredOnly(taskRow(
            "RAM Purge",
            "Writes cached data to disk and makes Linux drop its page cache and cached file "
            "metadata. Linux then reads from disk again what it had cached, so the system is "
            "slower for a while; the Smart Scan leaves it out unless you tick it.",
            C::performanceSuite,
            "/usr/bin/sync; echo 3 > " +
                shellQuoted(places.system(QStringLiteral("/proc/sys/vm/drop_caches"))),
            true, high, {}, true)),
        taskRow("DNS Cache Flush",
                "Clears the resolver's cache (systemd-resolved or nscd) to fix name lookups.",
                C::performanceSuite, dnsFlushScript(), true, high, {}, true),
        taskRow("File Search Re-indexing",
                "Rebuilds the file search database of locate (updatedb).", C::performanceSuite,
                searchIndexScript(), true, high, {}, true),
        taskRow("Maintenance Scripts",
                "Runs the system's daily, weekly and monthly maintenance jobs (/etc/cron.*) now "
                "(skipped where the system has none).",
                C::maintenance, maintenanceScript(places), true, high, {}, true),
        taskRow("Font Cache Cleaner",
                "Rebuilds the system and user font caches (fc-cache) to resolve garbled text "
                "and display issues.",
                C::systemCleanup, fontCacheScript(places), true, moderate,
                {places.system(QStringLiteral("/var/cache/fontconfig")), caches + "/fontconfig"},
                true),
        deleting(
            taskRow("System Cache Cleaner",
                    "Permanently deletes the package manager's cache of downloaded packages (apt, "
                    "dnf, pacman or zypper); nothing goes to the Trash. Packages are downloaded "
                    "again when needed.",
                    C::systemCleanup, packageCacheScript(places), true, high,
                    {places.system(QStringLiteral("/var/cache/apt")),
                     places.system(QStringLiteral("/var/cache/dnf")),
                     places.system(QStringLiteral("/var/cache/pacman/pkg")),
                     places.system(QStringLiteral("/var/cache/zypp"))},
                    true),
            {"the downloaded packages", "in the package manager's cache", {}}),
        taskRow("User Cache Cleaner",
                "Moves the contents of " + cachesShown +
                    " to the Trash. Apps rebuild their caches as needed.",
                C::systemCleanup, {}, false, safe, {caches}, true, TaskWork::moveToTrash),
        deleting(
            taskRow("Log File Scrubber",
                    "Deletes system logs older than 7 days: old journal entries and rotated files "
                    "in /var/log.",
                    C::systemCleanup, logScrubScript(places), true, high,
                    {places.system(QStringLiteral("/var/log"))}, true),
            {"system logs older than 7 days",
             "in " + places.system(QStringLiteral("/var/log")),
             {}}),
        deleting(
            taskRow("Mail Attachment Remover",
                    "Permanently deletes the local copies of email attachments that Thunderbird "
                    "saved when you opened them.",
                    C::systemCleanup,
                    "/bin/rm -rf " + shellQuoted(attachments) + " 2>/dev/null || true", false, safe,
                    {attachments}, false),
            {{}, "from Thunderbird's opened attachments", {attachments}}),
        deleting(
            taskRow(
                "Trash Management",
                "Permanently empties your Trash (~/.local/share/Trash). Trashes on other drives "
                "are not touched.",
                C::systemCleanup, emptyTrashScript(places), false, safe, {places.trash}, false),
            {{}, "from the Trash", {places.trash + "/files"}}),
        taskRow("Clipboard History Flusher",
                "Clears the desktop clipboard and selection to protect sensitive copied text and "
                "passwords.",
                C::systemCleanup, clipboardScript(), false, safe, {}, false),
        deleting(taskRow("Speech & Dictation Cache Cleaner",
                         "Permanently deletes the cached files and logs of the speech service "
                         "(speech-dispatcher).",
                         C::systemCleanup,
                         "/bin/rm -rf " + shellQuoted(caches + "/speech-dispatcher") +
                             " 2>/dev/null || true",
                         false, safe, {caches + "/speech-dispatcher"}, true),
                 {{}, "from the speech service's cache", {caches + "/speech-dispatcher"}}),
        taskRow("Hung Process Killer",
                "Finds the apps whose windows no longer answer the desktop and ends them once "
                "you confirm.",
                C::appManagement, {}, false, high, {}, true, TaskWork::endHungProcesses),
        taskRow("Chrome Privacy Cleaner",
                "Moves the cache files of Google Chrome and Chromium to the Trash (history and "
                "cookies are kept).",
                C::privacySecurity, {}, false, safe,
                {caches + "/google-chrome", caches + "/chromium"}, true, TaskWork::moveToTrash),
        taskRow("Firefox Privacy Cleaner",
                "Moves Firefox's cache files to the Trash (history and cookies are kept).",
                C::privacySecurity, {}, false, safe, {caches + "/mozilla/firefox"}, true,
                TaskWork::moveToTrash),
        taskRow("Hidden File Toggle (Show)",
                "Shows hidden files in file managers and file dialogs.", C::privacySecurity,
                hiddenFilesScript(true), false, safe, {}, false),
        taskRow("Hidden File Toggle (Hide)",
                "Hides hidden files in file managers and file dialogs.", C::privacySecurity,
                hiddenFilesScript(false), false, safe, {}, false),
    };
}

} // namespace velmox
