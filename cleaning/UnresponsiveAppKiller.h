#pragma once

#include "platform/WindowPinger.h"

#include <QStringList>

namespace velmox {

// Finds the applications whose windows no longer answer a ping and ends them.
class UnresponsiveAppKiller {
public:
    struct App {
        pid_t pid = 0;
        QStringList windowTitles;
        bool operator==(const App&) const = default;
        // “Editor - notes.txt” (4711)
        QString label() const;
    };

    explicit UnresponsiveAppKiller(WindowPinger& pinger,
                                   std::chrono::milliseconds wait = std::chrono::seconds(3),
                                   std::chrono::milliseconds grace = std::chrono::seconds(2));

    // One entry per process, by process id; windows of this process or of no known process
    // are left out, as nothing here could end them.
    Result<QList<App>> find() const;
    // Ends the apps `find` returned; the text says which were ended.
    Result<QString> end(const QList<App>& apps) const;

    // For a confirmation, from what `find` returned: which apps ending would end, or why none.
    static QString toEndSentence(const Result<QList<App>>& found);
    // The process ids of what `find` returned; none when it failed.
    static QList<pid_t> pids(const Result<QList<App>>& found);

private:
    WindowPinger& pinger_;
    std::chrono::milliseconds wait_;
    std::chrono::milliseconds grace_;
};

} // namespace velmox
