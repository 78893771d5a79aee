#pragma once

#include "services/Result.h"

#include <QStringList>
#include <optional>

namespace velmox {

// "Check for Updates...": Velmox is installed as a system package here, so it is updated
// by the system's package manager with everything else. The command opens the desktop's
// software updater on its updates view, or says how to update when there is none.
struct SoftwareUpdater {
    struct Launch {
        QString program; // absolute path
        QStringList arguments;
        bool operator==(const Launch&) const = default;
    };

    static QStringList defaultFolders();
    // The first known updater installed in `folders`, searched in order.
    static std::optional<Launch> find(const QStringList& folders = defaultFolders());
    // Starts the updater, detached; otherwise the sentence to show.
    static Status open(const QStringList& folders = defaultFolders());
    static QString noUpdaterMessage();
};

} // namespace velmox
