#include "app/PaletteWindow.h"

#include "app/AppServices.h"
#include "automation/AutomationEngine.h"
#include "cleaning/OptimizationRegistry.h"
#include "cleaning/OptimizationTaskRunner.h"
#include "cleaning/TaskMeasurer.h"
#include "palette/PaletteAutomation.h"
#include "services/ActionHistoryStore.h"

#include <QAction>
#include <QContextMenuEvent>
#include <QCoreApplication>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QMessageBox>
#include <QMouseEvent>
#include <QPointer>
#include <QPushButton>
#include <QVBoxLayout>

namespace velmox {

namespace {

const QKeySequence kFavoriteKey(Qt::CTRL | Qt::Key_D);
// The star at the start of every row: a click on it pins or unpins the row.
const QString kStarred = QStringLiteral("★ ");
const QString kUnstarred = QStringLiteral("☆ ");

// The status line's final message of a run.
QString outcomeLine(bool success, const QString& message) {
    return (success ? QStringLiteral("Success: ") : QStringLiteral("Error: ")) + message;
}

bool askQuestion(const QString& question) {
    QMessageBox box(QMessageBox::Question, QStringLiteral("Velmox"), question, QMessageBox::Cancel);
    QPushButton* go = box.addButton(QStringLiteral("Run"), QMessageBox::AcceptRole);
    box.setDefaultButton(QMessageBox::Cancel);
    box.exec();
    return box.clickedButton() == go;
}

PaletteWindow::ChangedChoice askAboutChange(const PaletteCommand& command) {
    QMessageBox box(QMessageBox::Warning, QStringLiteral("Velmox"),
                    PaletteCommandStore::changedOutsideMessage(command.name) +
                        QStringLiteral("\n\nIt now reads:\n\n") + command.command,
                    QMessageBox::Cancel);
    QPushButton* remove = box.addButton(QStringLiteral("Delete"), QMessageBox::DestructiveRole);
    QPushButton* approve =
        box.addButton(QStringLiteral("Approve and Run"), QMessageBox::AcceptRole);
    box.setDefaultButton(QMessageBox::Cancel);
    box.exec();
    if (box.clickedButton() == remove)
        return PaletteWindow::ChangedChoice::remove;
    return box.clickedButton() == approve ? PaletteWindow::ChangedChoice::approveAndRun
                                          : PaletteWindow::ChangedChoice::keep;
}

std::optional<std::pair<QString, QString>> askForCommand() {
    QDialog dialog;
    dialog.setWindowTitle(QStringLiteral("New Custom Command"));
    auto* name = new QLineEdit;
    auto* line = new QLineEdit;
    line->setPlaceholderText(QStringLiteral("A shell command, run with zsh"));
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Save | QDialogButtonBox::Cancel);
    auto* form = new QFormLayout(&dialog);
    form->addRow(QStringLiteral("Name:"), name);
    form->addRow(QStringLiteral("Command:"), line);
    form->addRow(buttons);
    QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    if (dialog.exec() != QDialog::Accepted)
        return std::nullopt;
    return std::pair{name->text(), line->text()};
}

} // namespace

PaletteWindow::PaletteWindow(AppServices& services, QWidget* parent)
    : QFrame(parent, Qt::Popup | Qt::FramelessWindowHint), services_(services),
      sources_(builtInPaletteSources(OptimizationRegistry())), index_({}), field_(new QLineEdit),
      message_(new QLabel), list_(new QListWidget), confirm_(askQuestion),
      changedPrompt_(askAboutChange), newCommandPrompt_(askForCommand),
      measurer_(new TaskMeasurer(this)) {
    setFrameShape(QFrame::StyledPanel);
    setAccessibleName(QStringLiteral("Command Palette"));
    commandWork_.setMaxThreadCount(1); // the store's changes in the order they were asked for

    field_->setPlaceholderText(QStringLiteral("Search commands, pages and settings..."));
    field_->setClearButtonEnabled(true);
    // The field's clear button shows its action's text as the tooltip and accessible name.
    if (auto* clear = field_->findChild<QAction*>(QStringLiteral("_q_qlineeditclearaction")))
        clear->setText(QStringLiteral("Clear the search"));
    field_->installEventFilter(this);
    list_->viewport()->installEventFilter(this);
    message_->setWordWrap(true);
    list_->setContextMenuPolicy(Qt::CustomContextMenu);
    list_->setUniformItemSizes(true);

    auto* favorite = new QAction(this);
    favorite->setShortcut(kFavoriteKey);
    favorite->setShortcutContext(Qt::WidgetWithChildrenShortcut);
    addAction(favorite);
    connect(favorite, &QAction::triggered, this, [this] {
        if (const QString id = currentId(); !id.isEmpty())
            toggleFavorite(id);
    });

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(field_);
    layout->addWidget(message_);
    layout->addWidget(list_, 1);
    resize(560, 440);

    connect(field_, &QLineEdit::textChanged, this, &PaletteWindow::refill);
    connect(list_, &QListWidget::itemActivated, this, [this](QListWidgetItem* item) {
        if (const QString id = item->data(kIdRole).toString(); !id.isEmpty())
            open(id);
    });
    connect(list_, &QListWidget::customContextMenuRequested, this, &PaletteWindow::showRowMenu);
    // Routines and profiles follow the engine; the commands' file is read off this thread.
    connect(&services_.automation(), &AutomationEngine::changed, this, &PaletteWindow::rebuild);
    rebuild();
    reloadCommands();
}

PaletteWindow::~PaletteWindow() {
    commandWork_.waitForDone();
}

void PaletteWindow::rebuild() {
    const AutomationEngine& engine = services_.automation();
    sources_.chains = engine.chains();
    sources_.profiles = engine.profiles();
    index_ = PaletteIndex(paletteEntries(sources_));
    positions_.clear();
    for (int i = 0; i < index_.entries().size(); ++i)
        positions_.insert(index_.entries()[i].id, i);
    refill();
}

void PaletteWindow::reloadCommands() {
    commandWork_.start([this] {
        PaletteCommandStore::Loaded loaded = PaletteCommandStore().load();
        QMetaObject::invokeMethod(this, [this, loaded = std::move(loaded)] {
            if (!loaded.problem.isEmpty())
                report(false, loaded.problem);
            sources_.commands = loaded.commands;
            rebuild();
        });
    });
}

void PaletteWindow::popUp(QWidget* over) {
    field_->clear();
    refill();
    if (over) {
        const QRect frame = over->geometry();
        move(frame.x() + (frame.width() - width()) / 2, frame.y() + frame.height() / 8);
    }
    show();
    raise();
    activateWindow();
    field_->setFocus();
}

QStringList PaletteWindow::favorites() const {
    return services_.settings().value(QLatin1String(kFavoritesKey)).toStringList();
}

QStringList PaletteWindow::recents() const {
    return services_.settings().value(QLatin1String(kRecentsKey)).toStringList();
}

void PaletteWindow::store(const char* key, const QStringList& ids) {
    if (const Status saved = services_.settings().setValue(QLatin1String(key), ids); !saved)
        report(false, saved.error());
}

void PaletteWindow::report(bool success, const QString& message) {
    services_.status().report(outcomeLine(success, message), false);
}

void PaletteWindow::toggleFavorite(const QString& id) {
    QStringList ids = favorites();
    if (!ids.removeAll(id))
        ids.append(id);
    store(kFavoritesKey, ids);
    refill();
}

void PaletteWindow::open(const QString& id) {
    const auto position = positions_.constFind(id);
    if (position == positions_.cend())
        return;
    const PaletteEntry entry = index_.entries()[*position];
    hide();
    if (entry.id == kNewCommandId) {
        addCommand();
        return;
    }
    if (!entry.destination.isEmpty()) {
        remember(id);
        openDestination(entry);
        return;
    }
    if (paletteKind(entry.id) == QLatin1String("task")) {
        runTask(entry);
        return;
    }
    if (!entry.question.isEmpty() && !confirm_(entry.question))
        return;
    remember(id);
    run(entry);
}

QString PaletteWindow::destination(const QString& id) const {
    const auto position = positions_.constFind(id);
    return position == positions_.cend() ? QString() : index_.entries()[*position].destination;
}

bool PaletteWindow::openPlace(const QString& id) {
    if (destination(id).isEmpty())
        return false;
    openDestination(index_.entries()[positions_.value(id)]);
    return true;
}

void PaletteWindow::remember(const QString& id) {
    QStringList ids = recents();
    ids.removeAll(id);
    ids.prepend(id);
    store(kRecentsKey, ids.mid(0, kRecentCount));
}

void PaletteWindow::openDestination(const PaletteEntry& entry) {
    const QString& destination = entry.destination;
    const qsizetype slash = destination.indexOf(u'/');
    const QString page = destination.left(slash);
    if (page == QLatin1String("settings")) {
        emit settingsRequested(destination.mid(slash + 1),
                               entry.section == PaletteSection::settings ? entry.title : QString());
        return;
    }
    if (page == QLatin1String("help")) {
        emit aboutRequested();
        return;
    }
    services_.navigation().navigate(page, slash < 0 ? std::nullopt
                                                    : std::optional(destination.mid(slash + 1)));
}

void PaletteWindow::runTask(const PaletteEntry& entry) {
    const auto task =
        std::find_if(sources_.maintenanceTasks.cbegin(), sources_.maintenanceTasks.cend(),
                     [key = paletteKey(entry.id)](const auto& each) {
                         return OptimizationRegistry::key(each) == key;
                     });
    if (task == sources_.maintenanceTasks.cend())
        return;
    QPointer<PaletteWindow> self(this);
    if (task->work == TaskWork::endHungProcesses) {
        services_.status().report(QStringLiteral("Looking for apps that no longer answer..."),
                                  true);
        services_.taskRunner().findUnresponsiveApps(
            [self, entry, task = *task](const Result<OptimizationTaskRunner::Apps>& found) {
                if (!self)
                    return;
                self->services_.status().clear(); // the search is over
                const QString sentence = UnresponsiveAppKiller::toEndSentence(found);
                if (!found || found->isEmpty())
                    self->report(found.has_value(), sentence);
                else
                    self->confirmTask(entry, task, sentence, UnresponsiveAppKiller::pids(found));
            });
    } else if (task->deletesPermanently()) {
        services_.status().report(QStringLiteral("Measuring what %1 deletes...").arg(task->title),
                                  true);
        measurer_->measure({*task}, [self, entry, task = *task](const auto& measured) {
            if (!self)
                return;
            self->services_.status().clear();
            self->confirmTask(entry, task, deletionSentence(task, measured.value(0)), std::nullopt);
        });
    } else {
        confirmTask(entry, *task, QString(), std::nullopt);
    }
}

void PaletteWindow::confirmTask(const PaletteEntry& entry, const OptimizationTask& task,
                                const QString& findings,
                                OptimizationTaskRunner::AppsToEnd appsToEnd) {
    const QString question = questionWithFindings(entry.question, findings);
    if (!question.isEmpty() && !confirm_(question))
        return;
    remember(entry.id);
    services_.taskRunner().run(task, {}, std::move(appsToEnd)); // reports and records itself
}

void PaletteWindow::run(const PaletteEntry& entry) {
    if (paletteKind(entry.id) == QLatin1String("command")) {
        runCommand(paletteKey(entry.id));
        return;
    }
    services_.status().report(QStringLiteral("Running “%1”...").arg(entry.title), true);
    // The engine records the run in the activity log; the status centre outlives it.
    const bool started = runAutomationEntry(
        services_.automation(), entry, [&status = services_.status()](const auto& result) {
            status.report(outcomeLine(result.success, shownMessage(result.message())), false);
        });
    if (!started)
        report(false, QStringLiteral("“%1” no longer exists.").arg(entry.title));
}

void PaletteWindow::runCommand(const QString& id) {
    services_.status().report(QStringLiteral("Running a custom command..."), true);
    KeychainHelper& keychain = services_.keychain();
    ActionHistoryStore& history = services_.history();
    commandWork_.start([this, id, &keychain, &history] {
        const std::optional<PaletteCommand> command = PaletteCommandStore().find(id);
        if (!command) {
            QMetaObject::invokeMethod(this, [this] {
                report(false, QStringLiteral("That custom command no longer exists."));
            });
            return;
        }
        const PaletteCommandOutcome outcome = PaletteCommandStore::run(keychain, *command);
        history.record(QStringLiteral("Custom command: ") + command->name, outcome.message,
                       outcome.success);
        QMetaObject::invokeMethod(
            this, [this, command = *command, outcome] { commandRan(command, outcome); });
    });
}

void PaletteWindow::commandRan(const PaletteCommand& command,
                               const PaletteCommandOutcome& outcome) {
    report(outcome.success, outcome.message);
    if (!outcome.changedOutside)
        return;
    KeychainHelper& keychain = services_.keychain();
    switch (changedPrompt_(command)) {
    case ChangedChoice::keep:
        return;
    case ChangedChoice::remove:
        changeCommands([id = command.id] { return PaletteCommandStore().remove(id); },
                       QStringLiteral("“%1” was deleted.").arg(command.name));
        return;
    case ChangedChoice::approveAndRun:
        changeCommands(
            [id = command.id, &keychain] { return PaletteCommandStore().approve(keychain, id); },
            QString());
        runCommand(command.id); // after the approval: the pool runs one job at a time
        return;
    }
}

void PaletteWindow::addCommand() {
    const auto asked = newCommandPrompt_();
    if (!asked)
        return;
    KeychainHelper& keychain = services_.keychain();
    changeCommands(
        [&keychain, name = asked->first, line = asked->second]() -> Status {
            const Result<PaletteCommand> added = PaletteCommandStore().add(keychain, name, line);
            return added ? Status(Done{}) : failure(added.error());
        },
        QStringLiteral("“%1” was saved; type its name in the palette to run it.")
            .arg(asked->first.simplified()));
}

void PaletteWindow::changeCommands(std::function<Status()> work, QString success) {
    commandWork_.start([this, work = std::move(work), success = std::move(success)] {
        const Status changed = work();
        QMetaObject::invokeMethod(this, [this, changed, success] {
            if (!changed)
                report(false, changed.error());
            else if (!success.isEmpty())
                report(true, success);
        });
        // Read again after the change, whether or not it went through.
        reloadCommands();
    });
}

QString PaletteWindow::currentId() const {
    const QListWidgetItem* item = list_->currentItem();
    return item ? item->data(kIdRole).toString() : QString();
}

void PaletteWindow::addHeader(const QString& title) {
    auto* item = new QListWidgetItem(title, list_);
    item->setFlags(Qt::NoItemFlags);
    QFont font = item->font();
    font.setBold(true);
    item->setFont(font);
}

void PaletteWindow::addRow(int index, const QStringList& favorites) {
    const PaletteEntry& entry = index_.entries()[index];
    const bool favorite = favorites.contains(entry.id);
    auto* item = new QListWidgetItem((favorite ? kStarred : kUnstarred) + entry.title, list_);
    item->setData(kIdRole, entry.id);
    if (!entry.detail.isEmpty())
        item->setToolTip(entry.detail);
}

void PaletteWindow::refill() {
    list_->clear();
    const QString query = field_->text();
    const QList<PaletteMatch> matches = index_.rank(query);
    const QStringList starred = favorites();
    const bool empty = query.trimmed().isEmpty() || (!matches.isEmpty() && matches[0].score == 0);
    if (empty) {
        message_->setText(
            QStringLiteral("Click the star on a palette row to pin it under Favorites at the top. "
                           "While the search field is empty, the palette also lists the last %1 "
                           "commands you ran under Recent.")
                .arg(kRecentCount));
        QStringList pinned = starred;
        for (const QString& id : recents())
            if (!pinned.contains(id))
                pinned.append(id);
        pinned.removeIf([this](const QString& id) { return !positions_.contains(id); });
        if (!pinned.isEmpty()) {
            addHeader(QStringLiteral("Favorites & Recents"));
            for (const QString& id : pinned)
                addRow(positions_.value(id), starred);
            addHeader(QStringLiteral("All Commands"));
        }
    } else if (matches.isEmpty()) {
        message_->setText(QStringLiteral("Nothing matches “%1”. Try another word, for example a "
                                         "page, a tab or a command.")
                              .arg(query.trimmed()));
    }
    message_->setVisible(empty || matches.isEmpty());

    bool settingsHeader = false;
    for (const PaletteMatch& match : matches) {
        if (!settingsHeader && index_.entries()[match.index].section == PaletteSection::settings) {
            addHeader(QStringLiteral("Settings"));
            settingsHeader = true;
        }
        addRow(match.index, starred);
    }
    for (int row = 0; row < list_->count(); ++row) {
        if (list_->item(row)->flags() & Qt::ItemIsEnabled) {
            list_->setCurrentRow(row);
            break;
        }
    }
}

bool PaletteWindow::clickedStar(const QPoint& at) {
    const QListWidgetItem* item = list_->itemAt(at);
    const QString id = item ? item->data(kIdRole).toString() : QString();
    if (id.isEmpty())
        return false;
    const int starEnd =
        list_->visualItemRect(item).left() + list_->fontMetrics().horizontalAdvance(kStarred) + 4;
    if (at.x() > starEnd)
        return false;
    toggleFavorite(id);
    return true;
}

void PaletteWindow::showRowMenu(const QPoint& at) {
    const QListWidgetItem* item = list_->itemAt(at);
    const QString id = item ? item->data(kIdRole).toString() : QString();
    if (id.isEmpty())
        return;
    QMenu menu(this);
    QAction* toggle =
        menu.addAction(favorites().contains(id) ? QStringLiteral("Remove from favorites")
                                                : QStringLiteral("Add to favorites"));
    toggle->setShortcut(kFavoriteKey);
    QAction* remove = nullptr;
    if (paletteKind(id) == QLatin1String("command") && id != kNewCommandId)
        remove = menu.addAction(QStringLiteral("Delete Custom Command"));
    QAction* chosen = menu.exec(list_->viewport()->mapToGlobal(at));
    if (chosen == toggle) {
        toggleFavorite(id);
    } else if (chosen && chosen == remove) {
        changeCommands([key = paletteKey(id)] { return PaletteCommandStore().remove(key); },
                       QStringLiteral("The custom command was deleted."));
    }
}

bool PaletteWindow::eventFilter(QObject* watched, QEvent* event) {
    if (watched == list_->viewport() && event->type() == QEvent::MouseButtonPress)
        return clickedStar(static_cast<QMouseEvent*>(event)->position().toPoint());
    if (watched == field_ && event->type() == QEvent::ContextMenu &&
        static_cast<QContextMenuEvent*>(event)->reason() == QContextMenuEvent::Keyboard) {
        // The menu key works on the current row, not on the field's text.
        if (const QListWidgetItem* item = list_->currentItem())
            showRowMenu(list_->visualItemRect(item).center());
        return true;
    }
    if (watched != field_ || event->type() != QEvent::KeyPress)
        return QFrame::eventFilter(watched, event);
    auto* key = static_cast<QKeyEvent*>(event);
    switch (key->key()) {
    case Qt::Key_Up:
    case Qt::Key_Down:
    case Qt::Key_PageUp:
    case Qt::Key_PageDown:
        QCoreApplication::sendEvent(list_, event);
        return true;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (const QString id = currentId(); !id.isEmpty())
            open(id);
        return true;
    case Qt::Key_Escape:
        hide();
        return true;
    default:
        return false;
    }
}

} // namespace velmox
