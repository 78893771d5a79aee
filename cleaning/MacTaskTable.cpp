// The macOS table. Its scripts only run on a Mac; here it is checked as data.
#include "cleaning/OptimizationRegistry.h"
#include "cleaning/TaskTableRow.h"

namespace velmox {

namespace {

const QStringList kGenerativeModelFolders{
    QStringLiteral("/Library/Caches/com.apple.MobileAsset/AssetsV2/"
                   "com_apple_MobileAsset_UAF_FM_GenerativeModels"),
    QStringLiteral("/System/Volumes/Data/Library/Caches/com.apple.MobileAsset/AssetsV2/"
                   "com_apple_MobileAsset_UAF_FM_GenerativeModels"),
    QStringLiteral("/System/Library/AssetsV2/com_apple_MobileAsset_UAF_FM_GenerativeModels"),
    QStringLiteral("/System/Volumes/Data/System/Library/AssetsV2/"
                   "com_apple_MobileAsset_UAF_FM_GenerativeModels"),
};

QString generativeModelScript(const QString& home, const QString& user) {
    QString folders;
    for (const QString& folder : kGenerativeModelFolders)
        folders += QStringLiteral(" \"%1\"").arg(folder);
    return QStringLiteral("for p in") + folders +
           QStringLiteral("; do if [ -d \"$p\" ]; then /bin/mv \"$p\" \"") + home +
           QStringLiteral("/.Trash/\" 2>/dev/null || echo \"Could not move $p (protected by "
                          "System Integrity Protection).\"; fi; done; /usr/sbin/chown -R \"") +
           user + QStringLiteral("\" \"") + home + QStringLiteral("/.Trash\" 2>/dev/null; true");
}

} // namespace

QList<OptimizationTask> OptimizationRegistry::macTable(const TaskPlaces& places) {
    const QString& home = places.home;
    const QString& user = places.user;
    using C = TaskCategory;
    constexpr ImpactLevel safe = ImpactLevel::safe;
    constexpr ImpactLevel moderate = ImpactLevel::moderate;
    constexpr ImpactLevel high = ImpactLevel::highImpact;
    return {
        taskRow("RAM Purge", "Forces macOS to clear inactive memory (Memory Pressure).",
                C::performanceSuite, "/usr/sbin/purge", true, high, {}, true),
        taskRow("DNS Cache Flush", "Resets the mDNSResponder to fix connectivity.",
                C::performanceSuite,
                "/usr/bin/dscacheutil -flushcache; /usr/bin/killall -HUP mDNSResponder", true, high,
                {}, true),
        taskRow("Spotlight Re-indexing", "Forces mdutil to rebuild the search database.",
                C::performanceSuite, "/usr/bin/mdutil -E /", true, high, {}, true),
        taskRow("Maintenance Scripts",
                "Manually triggers macOS daily, weekly, and monthly maintenance scripts (skipped "
                "on macOS versions that no longer include them).",
                C::maintenance,
                "if [ -x /usr/sbin/periodic ]; then /usr/sbin/periodic daily weekly monthly; "
                "else echo \"periodic isn't included in this macOS version - nothing to run.\"; "
                "fi",
                true, high, {}, true),
        deleting(taskRow("Time Machine Snapshot Slimmer",
                         "Deletes local 'Thin' snapshots that occupy hidden disk space.",
                         C::maintenance, "/usr/bin/tmutil thinlocalsnapshots / 10000000000 4", true,
                         high, {}, true),
                 {"local Time Machine snapshots", {}, {}}),
        taskRow("Font Cache Cleaner",
                "Safely clears system and user font caches to resolve garbled text and display "
                "issues.",
                C::systemCleanup,
                "/usr/bin/atsutil databases -remove; /usr/bin/sudo -u \"" + user +
                    "\" /usr/bin/atsutil databases -removeUser; /usr/bin/atsutil server "
                    "-shutdown; /usr/bin/atsutil server -ping",
                true, moderate,
                {"/Library/Caches/com.apple.ATS", home + "/Library/Caches/com.apple.ATS"}, true),
        trashing(
            taskRow("System Cache Cleaner",
                    "Moves third-party caches in /Library/Caches to the Trash (Apple's own "
                    "com.apple.* caches are left alone).",
                    C::systemCleanup,
                    "/usr/bin/find /Library/Caches -mindepth 1 -maxdepth 1 ! -name 'com.apple.*' "
                    "-exec /bin/mv -n {} \"" +
                        home + "/.Trash/\" \\; 2>/dev/null; /usr/sbin/chown -R \"" + user +
                        "\" \"" + home + "/.Trash\" 2>/dev/null; true",
                    true, high, {"/Library/Caches"}, true)),
        // The application moves the items itself, so that each can be put back.
        taskRow("User Cache Cleaner",
                "Moves the contents of ~/Library/Caches to the Trash. Apps rebuild their caches "
                "as needed.",
                C::systemCleanup, "mv ~/Library/Caches/* ~/.Trash/ 2>/dev/null || true", false,
                safe, {home + "/Library/Caches"}, true, TaskWork::moveToTrash),
        deleting(
            taskRow("Log File Scrubber",
                    "Deletes system and user log files (.log, .asl) older than 7 days.",
                    C::systemCleanup,
                    "/usr/bin/find /Library/Logs \"" + home +
                        "/Library/Logs\" -type f \\( -name '*.log' -o -name '*.log.*' -o -name "
                        "'*.asl' \\) -mtime +7 -delete 2>/dev/null; true",
                    true, high, {"/Library/Logs", home + "/Library/Logs"}, true),
            {"log files older than 7 days", "in /Library/Logs and ~/Library/Logs", {}}),
        trashing(taskRow(
            "Mail Attachment Remover",
            "Locates and removes local copies of downloaded email attachments.", C::systemCleanup,
            "mv ~/Library/Containers/com.apple.mail/Data/Library/Mail\\ Downloads/* "
            "~/.Trash/ 2>/dev/null || true",
            false, safe, {home + "/Library/Containers/com.apple.mail/Data/Library/Mail Downloads"},
            false)),
        deleting(
            taskRow(
                "Trash Management",
                "Permanently empties your Trash (~/.Trash). Trashes on other volumes are not "
                "touched.",
                C::systemCleanup,
                "/usr/bin/find \"" + home +
                    "/.Trash\" -mindepth 1 -maxdepth 1 -exec /bin/rm -rf {} + 2>/dev/null; true",
                false, safe, {home + "/.Trash"}, false),
            {{}, "from the Trash", {home + "/.Trash"}}),
        taskRow("Clipboard History Flusher",
                "Flushes the macOS clipboard buffer and clears pasteboard contents to protect "
                "sensitive copied text and passwords.",
                C::systemCleanup, "/usr/bin/pbcopy < /dev/null", false, safe, {}, false),
        deleting(
            taskRow(
                "Speech & Dictation Cache Cleaner",
                "Cleans cached temporary files and audio fragments from macOS speech recognition "
                "and dictation.",
                C::systemCleanup,
                "/bin/rm -rf ~/Library/Caches/com.apple.SpeechRecognitionCore* "
                "~/Library/Caches/com.apple.speech* 2>/dev/null || true",
                false, safe, {home + "/Library/Caches/com.apple.SpeechRecognitionCore"}, true),
            {{},
             "from the speech recognition cache",
             {home + "/Library/Caches/com.apple.SpeechRecognitionCore"}}),
        taskRow("Hung Process Killer",
                "Detects apps macOS reports as 'Not Responding' and force quits them.",
                C::appManagement, {}, false, high, {}, true, TaskWork::endHungProcesses),
        taskRow("Safari Privacy Cleaner",
                "Moves Safari's cache files to the Trash (history and cookies are kept). "
                "Requires Full Disk Access.",
                C::privacySecurity,
                "mv ~/Library/Caches/com.apple.Safari/* ~/.Trash/ 2>/dev/null || true", false, safe,
                {}, true),
        taskRow("Chrome Privacy Cleaner",
                "Moves Google Chrome's cache files to the Trash (history and cookies are kept).",
                C::privacySecurity,
                "mv ~/Library/Caches/Google/Chrome/* ~/.Trash/ 2>/dev/null || true", false, safe,
                {}, true),
        taskRow("Firefox Privacy Cleaner",
                "Moves Firefox's cache files to the Trash (history and cookies are kept).",
                C::privacySecurity,
                "mv ~/Library/Caches/Firefox/Profiles/* ~/.Trash/ 2>/dev/null || true", false, safe,
                {}, true),
        taskRow("Hidden File Toggle (Show)", "Reveals hidden system files in Finder.",
                C::privacySecurity,
                "/usr/bin/defaults write com.apple.finder AppleShowAllFiles -bool true; "
                "/usr/bin/killall Finder",
                false, safe, {}, false),
        taskRow("Hidden File Toggle (Hide)", "Hides system files in Finder.", C::privacySecurity,
                "/usr/bin/defaults write com.apple.finder AppleShowAllFiles -bool false; "
                "/usr/bin/killall Finder",
                false, safe, {}, false),
        taskRow("Apple Intelligence Cleanup",
                "Moves cached Apple Intelligence generative models to the Trash. Apple "
                "Intelligence itself is switched off in System Settings.",
                C::systemCleanup, generativeModelScript(home, user), true, moderate, {}, true),
    };
}

} // namespace velmox
