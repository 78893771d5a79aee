#pragma once

#include "cleaning/FolderSize.h"
#include "cleaning/OptimizationRegistry.h"
#include "cleaning/OptimizationTaskRunner.h"
#include "services/ActionHistoryStore.h"
#include "tests/runners/PrivilegeWorld.h"
#include "tests/support/ManualClock.h"
#include "tests/support/TestFiles.h"

#include <QCoreApplication>
#include <QDir>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace velmox::test {

inline QStringList entries(const QString& folder) {
    return QDir(folder).entryList(
        QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
}

// Everything a task run needs, real: the Secret Service, settings and the activity log under
// the test's private HOME, and the places of the running user with the system paths moved
// into a temporary tree (whose name holds a blank and a quote, as hostile paths do).
struct CleaningWorld {
    PrivilegeWorld privilege;
    ManualClock clock;
    ActionHistoryStore history{privilege.settings, clock};
    OptimizationTaskRunner runner{privilege.shell, history};
    QTemporaryDir systemTree{QDir::tempPath() + QStringLiteral("/system 'root' XXXXXX")};
    TaskPlaces places = [this] {
        TaskPlaces current = TaskPlaces::current();
        current.systemRoot = systemTree.path();
        return current;
    }();
    OptimizationRegistry registry{places, OptimizationRegistry::System::linuxDesktop};

    // The settings file lives on between the tests of one binary.
    CleaningWorld() { history.clear(); }

    OptimizationTask task(const QString& title) const {
        const std::optional<OptimizationTask> found = registry.task(title);
        EXPECT_TRUE(found.has_value()) << title.toStdString();
        return found.value_or(OptimizationTask{});
    }

    QString system(const QString& path) const { return places.system(path); }

    // Runs a task and hands its activity entry to the log.
    TaskRunResult run(const QString& title) {
        const TaskRunResult result = runner.runBlocking(task(title));
        QCoreApplication::processEvents();
        return result;
    }

    const ActionHistoryEntry* entry(const TaskRunResult& result) const {
        for (const ActionHistoryEntry& entry : history.entries())
            if (entry.id == result.entryId)
                return &entry;
        return nullptr;
    }
};

} // namespace velmox::test
