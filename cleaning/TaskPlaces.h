#pragma once

#include <QString>

namespace velmox {

// The places the task scripts work on, put into their text when the registry is built.
// Tests point them at temporary folders so that even root tasks run for real without
// touching the machine's own caches, logs or Trash.
struct TaskPlaces {
    QString home;
    QString user;
    // The user caches folder (macOS ~/Library/Caches, Linux $XDG_CACHE_HOME).
    QString userCaches;
    // The folder that holds the Trash's files/ and info/ (macOS: ~/.Trash itself).
    QString trash;
    QString temporary;
    // Put before every system path (/var/log, /proc/sys, /etc/cron.daily ...); empty for /.
    QString systemRoot;

    // The places of the running user and system.
    static TaskPlaces current();

    QString system(const QString& absolutePath) const { return systemRoot + absolutePath; }

    bool operator==(const TaskPlaces&) const = default;
};

} // namespace velmox
