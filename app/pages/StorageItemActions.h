#pragma once

#include "app/pages/StorageRemover.h"
#include "services/ActionHistoryEntry.h"
#include "services/Result.h"
#include "storage/ScanJob.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QProcessEnvironment>
#include <functional>
#include <optional>
#include <thread>

class QAction;
class QMenu;
class QWidget;

namespace velmox {

class ActionHistoryStore;

// What the Storage Manager does with the items the user picked in the list or the chart: one
// QAction per command, shared by the context menu, the toolbar and the keys (Enter opens,
// Ctrl+C copies the paths, Delete moves to the Trash, Shift+Delete deletes for good). Removals
// run on the remover's thread; the job's tree then loses the removed items at once, a move to
// the Trash is recorded in the activity log with what Put Back needs, and the last one can be
// put back from the page. Lives on the main thread; the job and the history store, when set,
// must outlive it or be reset first.
class StorageItemActions : public QObject {
    Q_OBJECT
public:
    enum Kind { open, showInFiles, copyPath, openTerminal, rescan, moveToTrash, deletePermanently };
    static constexpr int kKinds = deletePermanently + 1;

    // How the desktop is asked to show things; each answers an error sentence or nothing.
    // openTerminal runs on a thread of the actions' own, since finding the terminal may ask
    // the desktop's settings program.
    struct Desktop {
        std::function<QString(const QByteArray& path)> open;
        std::function<QString(const QByteArray& path)> reveal;
        std::function<QString(const QByteArray& folder)> openTerminal;
    };
    static Desktop systemDesktop();
    struct Confirmation {
        QString title;
        QString text;
        QString button;
    };
    using ConfirmHandler = std::function<bool(const Confirmation&)>;

    // The keys work while `list` or `chart` (or a child of theirs) has the focus; dialogs
    // open over `window`.
    StorageItemActions(QWidget* window, const QList<QWidget*>& keyScopes);

    // The keys also work in `scope`.
    void addKeyScope(QWidget* scope);
    void setJob(ScanJob* job);
    void setHistory(ActionHistoryStore* history);
    void setDesktop(Desktop desktop) { desktop_ = std::move(desktop); }
    void setConfirmHandler(ConfirmHandler handler) { confirm_ = std::move(handler); }

    // The nodes acted on, of the job's tree; with none the folder shown stands in for the
    // commands that make sense for it.
    void setTargets(const QList<int32_t>& nodes, int32_t folder);
    const QList<int32_t>& targets() const { return targets_; }
    QAction* action(Kind kind) const { return actions_[kind]; }
    // A context menu of every command for the targets; the caller owns it.
    QMenu* makeMenu(QWidget* parent) const;
    // Until the removed items are gone from the disk and from the job's tree.
    bool isRemoving() const { return remover_.isRunning() || (job_ && job_->isRemoving()); }
    // The last move to the Trash made here, while Put Back still works for it.
    std::optional<ActionHistoryEntry> undoableEntry() const;
    void putBackLast();

    // The desktop's terminal as a command (the program by absolute path, then its
    // arguments), searched in the PATH of `environment`, in this order: xdg-terminal-exec,
    // the TERMINAL variable, the terminal set in GNOME's, Cinnamon's or MATE's settings
    // (gsettings), x-terminal-emulator, then the first of a few well-known terminals. Runs
    // gsettings, so it blocks: call it from a worker thread.
    static Result<QStringList> chooseTerminal(const QProcessEnvironment& environment);
    // "Delete 3 items permanently?" with their size and how many items they hold.
    Confirmation deleteConfirmation() const;

signals:
    // Open on a single folder: the page shows it.
    void openFolder(int32_t node);
    // A whole-sentence answer for the page's message bar.
    void message(const QString& text);

private:
    void refresh();
    void trigger(Kind kind);
    QList<QByteArray> targetPaths() const;
    void remove(StorageRemover::Mode mode);
    void removalFinished(const StorageRemover::Outcome& outcome);
    void rescanAround(const QList<QByteArray>& paths);
    // Why a node may not be removed, known from the tree alone.
    QString whyNotRemovable(int32_t node) const;

    QWidget* window_;
    QPointer<ScanJob> job_;
    QPointer<ActionHistoryStore> history_;
    Desktop desktop_ = systemDesktop();
    ConfirmHandler confirm_;
    QList<int32_t> targets_;
    int32_t folder_ = 0;
    QAction* actions_[kKinds] = {};
    StorageRemover remover_;
    std::optional<ActionHistoryEntry> lastTrash_;
    QStringList refused_; // refused before the batch started, told with its outcome
    bool openingTerminal_ = false;
    std::jthread terminalThread_; // opens the terminal; joined by the next one or the end
};

} // namespace velmox
