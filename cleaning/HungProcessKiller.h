#pragma once

#include "services/Result.h"

#include <QList>
#include <QString>
#include <chrono>
#include <sys/types.h>

namespace velmox {

// Ends the user's own processes that stay stuck in uninterruptible sleep: a process counts
// as stuck when it is in state D at two looks `watch` apart and used no processor time in
// between.
class HungProcessKiller {
public:
    struct Process {
        pid_t pid = 0;
        QString name;
        bool operator==(const Process&) const = default;
    };

    explicit HungProcessKiller(QString procRoot = QStringLiteral("/proc"),
                               std::chrono::milliseconds watch = std::chrono::seconds(3));

    // Blocks for `watch`.
    QList<Process> findStuck() const;
    // Finds and ends the stuck processes; the text says which were ended.
    Result<QString> endStuck() const;

private:
    QString procRoot_;
    std::chrono::milliseconds watch_;
};

} // namespace velmox
