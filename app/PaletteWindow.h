#pragma once

#include "cleaning/OptimizationTaskRunner.h"
#include "palette/PaletteCatalog.h"
#include "palette/PaletteMatcher.h"

#include <QFrame>
#include <QHash>
#include <QStringList>
#include <QThreadPool>
#include <functional>

class QLabel;
class QLineEdit;
class QListWidget;
class QListWidgetItem;

namespace velmox {

class AppServices;
class TaskMeasurer;

// The command palette: a frameless popup over the main window with a search field and the
// rows that match it, best first. Used from the keyboard alone: the arrows and Page Up/Down
// move through the rows, Enter opens or runs one, Escape closes. With the field empty it
// lists the favourites and the last commands opened above every row.
//
// Made by the main window and owned by it. Tasks run through the app's task runner and
// automation engine; custom commands are read, signed and run on the palette's own worker
// threads, which its destruction waits for.
class PaletteWindow : public QFrame {
    Q_OBJECT
public:
    static constexpr int kRecentCount = 8;
    static constexpr auto kRecentsKey = "paletteRecents";
    static constexpr auto kFavoritesKey = "paletteFavorites";
    static constexpr int kIdRole = Qt::UserRole;

    // Asked before a run; true to go ahead.
    using Confirm = std::function<bool(const QString& question)>;
    // What to do with a custom command changed outside Velmox.
    enum class ChangedChoice { keep, remove, approveAndRun };
    using ChangedPrompt = std::function<ChangedChoice(const PaletteCommand& command)>;
    // A new custom command's name and shell line; nothing when the user cancels.
    using NewCommandPrompt = std::function<std::optional<std::pair<QString, QString>>()>;

    explicit PaletteWindow(AppServices& services, QWidget* parent = nullptr);
    ~PaletteWindow() override;

    // Shows the palette centred near the top of `over`, with an empty field.
    void popUp(QWidget* over);

    QLineEdit* searchField() const { return field_; }
    QListWidget* results() const { return list_; }
    QLabel* message() const { return message_; }
    const PaletteIndex& index() const { return index_; }

    // Opens the entry's page, tab or settings pane, or runs it after its question; remembers
    // it among the recents. A maintenance task that deletes for good first measures what goes,
    // and the hung-app task first looks for the apps it would end (doing nothing when there
    // are none): the question says what was found.
    void open(const QString& id);
    // Where a page, tab or settings entry leads ("networkTools/speedTest", "settings/access");
    // empty for an unknown entry or one that runs.
    QString destination(const QString& id) const;
    // Opens a page, tab or settings entry without remembering it; false for an entry that
    // is not one of those.
    bool openPlace(const QString& id);
    void toggleFavorite(const QString& id);
    QStringList favorites() const;
    QStringList recents() const;

    // The dialogs; tests answer them instead.
    void setConfirm(Confirm confirm) { confirm_ = std::move(confirm); }
    void setChangedPrompt(ChangedPrompt prompt) { changedPrompt_ = std::move(prompt); }
    void setNewCommandPrompt(NewCommandPrompt prompt) { newCommandPrompt_ = std::move(prompt); }

signals:
    // A settings entry was opened: the settings window is to show `pane`, with the control of
    // the setting titled `setting` focused when that is not empty.
    void settingsRequested(const QString& pane, const QString& setting);
    // The About entry was opened.
    void aboutRequested();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void rebuild();
    void reloadCommands();
    void refill();
    void addHeader(const QString& title);
    void addRow(int index, const QStringList& favorites);
    // Pins or unpins the row when `at` is on its star; false elsewhere.
    bool clickedStar(const QPoint& at);
    void showRowMenu(const QPoint& at);
    void store(const char* key, const QStringList& ids);
    QString currentId() const;
    void remember(const QString& id);
    void openDestination(const PaletteEntry& entry);
    void run(const PaletteEntry& entry);
    void runTask(const PaletteEntry& entry);
    // Asks the entry's question with `findings` added, then runs the task.
    void confirmTask(const PaletteEntry& entry, const OptimizationTask& task,
                     const QString& findings, OptimizationTaskRunner::AppsToEnd appsToEnd);
    void runCommand(const QString& id);
    void commandRan(const PaletteCommand& command, const PaletteCommandOutcome& outcome);
    void addCommand();
    // Runs `work` (the store's file and keyring work) on the worker pool, then reports a
    // failure, or `success` when it is not empty, and reads the commands again.
    void changeCommands(std::function<Status()> work, QString success);
    void report(bool success, const QString& message);

    AppServices& services_;
    PaletteSources sources_;
    PaletteIndex index_;
    QHash<QString, int> positions_; // entry id -> index in index_
    QLineEdit* field_;
    QLabel* message_;
    QListWidget* list_;
    Confirm confirm_;
    ChangedPrompt changedPrompt_;
    NewCommandPrompt newCommandPrompt_;
    TaskMeasurer* measurer_;
    QThreadPool commandWork_; // last: waited for first
};

} // namespace velmox
