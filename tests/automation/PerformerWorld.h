#pragma once

#include "automation/linux/LinuxAutomationTaskPerformer.h"
#include "automation/linux/LogindKeepAwake.h"
#include "platform/PlatformPaths.h"
#include "tests/runners/PrivilegeWorld.h"

#include <QDBusConnection>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

namespace velmox::test {

inline void writeFile(const QString& path, const QByteArray& content) {
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::WriteOnly)) << path.toStdString();
    file.write(content);
}

inline QByteArray readFile(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// A task performer on the real keyring and sudo, whose system files (the mount table, the
// kernel's drop_caches) live in a temporary tree.
struct PerformerWorld {
    PrivilegeWorld privilege;
    QTemporaryDir systemTree{QDir::tempPath() + QStringLiteral("/system 'root' XXXXXX")};
    LogindKeepAwake keepAwake{QDBusConnection(QStringLiteral("none"))};
    LinuxAutomationTaskPerformer::Options options = [this] {
        LinuxAutomationTaskPerformer::Options made;
        made.systemRoot = systemTree.path();
        return made;
    }();

    // The test binary's home lives on between its tests: each starts with no caches and an
    // empty Trash.
    PerformerWorld() {
        QDir(PlatformPaths::userCaches()).removeRecursively();
        QDir(PlatformPaths::appDataParent() + QStringLiteral("/Trash")).removeRecursively();
    }

    QString system(const QString& path) const { return systemTree.path() + path; }

    // "/" as the given file system on `source`, below the mounts in `others`.
    void mountRoot(const QByteArray& type, const QString& source, const QByteArray& others = {}) {
        writeFile(system("/proc/self/mountinfo"),
                  others + "29 1 8:2 / / rw,relatime shared:1 - " + type + ' ' +
                      source.toUtf8().replace(' ', "\\040") + " rw\n");
    }

    AutomationTaskOutcome perform(const QString& task, bool dryRun = false) {
        LinuxAutomationTaskPerformer performer(privilege.keychain, privilege.shell, keepAwake,
                                               options);
        return performer.perform(task, dryRun);
    }
};

} // namespace velmox::test
