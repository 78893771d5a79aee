#include "app/pages/StorageItemActions.h"

#include "app/pages/StorageRevealer.h"
#include "services/ActionHistoryStore.h"
#include "services/ShownText.h"
#include "services/ToolRunner.h"
#include "storage/ChartSegment.h"
#include "storage/ScanJob.h"

#include <QAction>
#include <QClipboard>
#include <QDesktopServices>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QLocale>
#include <QMenu>
#include <QMessageBox>
#include <QProcess>
#include <QPushButton>
#include <QStandardPaths>
#include <QUrl>

namespace velmox {

namespace {

QString itemsText(qsizetype count) {
    return count == 1 ? QStringLiteral("1 item") : QStringLiteral("%1 items").arg(count);
}

QString shown(const QByteArray& path) {
    return shownName(QByteArrayView(path));
}

QByteArray folderOf(const QByteArray& path) {
    const qsizetype slash = path.lastIndexOf('/');
    return slash <= 0 ? QByteArray("/") : path.left(slash);
}

// The first node of the subtree of `node` (itself included) with `flag`, or -1.
int32_t findInSubtree(const FileTree& tree, int32_t node, uint16_t flag) {
    std::vector<int32_t> stack{node};
    while (!stack.empty()) {
        const int32_t next = stack.back();
        stack.pop_back();
        if (tree.hasFlag(next, flag))
            return next;
        const uint32_t first = tree.firstChild(next);
        for (uint32_t child = first; child < first + tree.childCount(next); ++child)
            stack.push_back(int32_t(child));
    }
    return -1;
}

} // namespace

StorageItemActions::Desktop StorageItemActions::systemDesktop() {
    return {
        [](const QByteArray& path) {
            return QDesktopServices::openUrl(QUrl::fromLocalFile(QFile::decodeName(path)))
                       ? QString()
                       : QStringLiteral("No application could be asked to open “%1”.")
                             .arg(shown(path));
        },
        [](const QByteArray& path) {
            return StorageRevealer::reveal(QFile::decodeName(path))
                       ? QString()
                       : QStringLiteral("No file manager could be asked to show “%1”.")
                             .arg(shown(path));
        },
        [](const QByteArray& folder) {
            const Result<QStringList> command =
                chooseTerminal(QProcessEnvironment::systemEnvironment());
            if (!command)
                return command.error();
            return QProcess::startDetached(command->first(), command->mid(1),
                                           QFile::decodeName(folder))
                       ? QString()
                       : QStringLiteral("The terminal “%1” could not be started.")
                             .arg(command->first());
        },
    };
}

Result<QStringList> StorageItemActions::chooseTerminal(const QProcessEnvironment& environment) {
    const QStringList searchPath =
        environment.value(QStringLiteral("PATH")).split(QLatin1Char(':'), Qt::SkipEmptyParts);
    // A command line with its program found: the program's absolute path, then the arguments.
    const auto found = [&](const QString& line) {
        QStringList words = QProcess::splitCommand(line);
        if (words.isEmpty())
            return QStringList();
        const QFileInfo named(words.first());
        words.first() =
            words.first().contains(QLatin1Char('/'))
                ? (named.isAbsolute() && named.isExecutable() && named.isFile() ? words.first()
                                                                                : QString())
                : QStandardPaths::findExecutable(words.first(), searchPath);
        return words.first().isEmpty() ? QStringList() : words;
    };
    for (const QString& line :
         {QStringLiteral("xdg-terminal-exec"), environment.value(QStringLiteral("TERMINAL"))})
        if (const QStringList command = found(line); !command.isEmpty())
            return command;

    // Desktops that keep their terminal in the `exec` key of a settings schema.
    static constexpr std::pair<const char*, const char*> kSchemas[] = {
        {"GNOME", "org.gnome.desktop.default-applications.terminal"},
        {"X-Cinnamon", "org.cinnamon.desktop.default-applications.terminal"},
        {"MATE", "org.mate.applications-terminal"},
    };
    const QStringList desktops = environment.value(QStringLiteral("XDG_CURRENT_DESKTOP"))
                                     .split(QLatin1Char(':'), Qt::SkipEmptyParts);
    const QString gsettings =
        QStandardPaths::findExecutable(QStringLiteral("gsettings"), searchPath);
    for (const auto& [desktop, schema] : kSchemas) {
        if (gsettings.isEmpty() || !desktops.contains(QLatin1String(desktop), Qt::CaseInsensitive))
            continue;
        const ToolRunResult answer = ToolRunner::run(
            gsettings, {QStringLiteral("get"), QString::fromLatin1(schema), QStringLiteral("exec")},
            std::nullopt, 5.0);
        // gsettings prints a string value in single quotes.
        QString value = answer.standardOutput.trimmed();
        if (value.size() >= 2 && value.startsWith(QLatin1Char('\'')) &&
            value.endsWith(QLatin1Char('\'')))
            value = value.mid(1, value.size() - 2);
        if (answer.status == 0)
            if (const QStringList command = found(value); !command.isEmpty())
                return command;
    }

    for (const char* name : {"x-terminal-emulator", "gnome-terminal", "konsole", "xfce4-terminal",
                             "mate-terminal", "kitty", "alacritty", "foot", "xterm"})
        if (const QStringList command = found(QString::fromLatin1(name)); !command.isEmpty())
            return command;
    return failure(QStringLiteral(
        "No terminal program was found. Install one (for example GNOME Terminal, Konsole or "
        "xterm), or name yours in the TERMINAL environment variable."));
}

StorageItemActions::StorageItemActions(QWidget* window, const QList<QWidget*>& keyScopes)
    : QObject(window), window_(window) {
    static const char* const titles[kKinds] = {
        "Open",          "Show in Files",        "Copy Path", "Open Terminal Here", "Rescan Folder",
        "Move to Trash", "Delete Permanently..."};
    for (int kind = 0; kind < kKinds; ++kind) {
        QAction* action = actions_[kind] = new QAction(QString::fromLatin1(titles[kind]), this);
        action->setShortcutContext(Qt::WidgetWithChildrenShortcut);
        connect(action, &QAction::triggered, this, [this, kind] { trigger(Kind(kind)); });
        for (QWidget* scope : keyScopes)
            scope->addAction(action);
    }
    actions_[rescan]->setText(QStringLiteral("Rescan This Folder"));
    actions_[open]->setShortcuts({QKeySequence(Qt::Key_Return), QKeySequence(Qt::Key_Enter)});
    actions_[copyPath]->setShortcut(QKeySequence::Copy);
    actions_[moveToTrash]->setShortcut(QKeySequence(Qt::Key_Delete));
    actions_[deletePermanently]->setShortcut(QKeySequence(Qt::ShiftModifier | Qt::Key_Delete));
    actions_[moveToTrash]->setToolTip(
        QStringLiteral("Moves the selected items to the Trash; they can be put back"));
    actions_[deletePermanently]->setToolTip(
        QStringLiteral("Deletes the selected items for good, after asking"));
    confirm_ = [this](const Confirmation& request) {
        QMessageBox box(QMessageBox::Warning, request.title, request.title, QMessageBox::Cancel,
                        window_);
        box.setInformativeText(request.text);
        QPushButton* yes = box.addButton(request.button, QMessageBox::DestructiveRole);
        box.setDefaultButton(QMessageBox::Cancel);
        box.exec();
        return box.clickedButton() == yes;
    };
    connect(&remover_, &StorageRemover::finished, this, &StorageItemActions::removalFinished);
    refresh();
}

void StorageItemActions::addKeyScope(QWidget* scope) {
    scope->addActions({std::begin(actions_), std::end(actions_)});
}

void StorageItemActions::setJob(ScanJob* job) {
    if (job_)
        job_->disconnect(this);
    job_ = job;
    targets_.clear();
    if (job_)
        connect(job_, &ScanJob::stateChanged, this, &StorageItemActions::refresh);
    refresh();
}

void StorageItemActions::setHistory(ActionHistoryStore* history) {
    if (history_)
        history_->disconnect(this);
    history_ = history;
    if (history_)
        connect(history_, &ActionHistoryStore::itemsPutBack, this,
                &StorageItemActions::rescanAround);
}

void StorageItemActions::setTargets(const QList<int32_t>& nodes, int32_t folder) {
    targets_ = nodes;
    folder_ = folder;
    refresh();
}

void StorageItemActions::refresh() {
    const auto tree = job_ ? job_->tree() : nullptr;
    const bool settled =
        tree && job_->state() == ScanJob::State::finished && !job_->isBusy() && !job_->isPaused();
    for (Kind kind : {open, showInFiles, copyPath, openTerminal})
        actions_[kind]->setEnabled(bool(tree));
    actions_[rescan]->setEnabled(settled);
    const bool removable =
        settled && !targets_.isEmpty() && !remover_.isRunning() && !targets_.contains(0);
    actions_[moveToTrash]->setEnabled(removable);
    actions_[deletePermanently]->setEnabled(removable);
}

QMenu* StorageItemActions::makeMenu(QWidget* parent) const {
    auto* menu = new QMenu(parent);
    for (Kind kind : {open, showInFiles, copyPath, openTerminal, rescan})
        menu->addAction(actions_[kind]);
    menu->addSeparator();
    menu->addAction(actions_[moveToTrash]);
    menu->addAction(actions_[deletePermanently]);
    return menu;
}

QList<QByteArray> StorageItemActions::targetPaths() const {
    QList<QByteArray> paths;
    const auto tree = job_ ? job_->tree() : nullptr;
    if (!tree)
        return paths;
    for (int32_t node : targets_.isEmpty() ? QList<int32_t>{folder_} : targets_)
        if (node >= 0 && node < tree->size())
            paths << tree->pathBytes(node);
    return paths;
}

void StorageItemActions::trigger(Kind kind) {
    if (!actions_[kind]->isEnabled())
        return;
    const auto tree = job_ ? job_->tree() : nullptr;
    if (!tree)
        return;
    const QList<int32_t> nodes = targets_.isEmpty() ? QList<int32_t>{folder_} : targets_;
    const bool oneFolder = nodes.size() == 1 && nodes.first() >= 0 &&
                           nodes.first() < tree->size() &&
                           tree->hasFlag(nodes.first(), NodeFlag::directory);
    const QList<QByteArray> paths = targetPaths();
    const auto tell = [this](const QString& error) {
        if (!error.isEmpty())
            emit message(error);
    };
    switch (kind) {
    case open:
        if (oneFolder && !targets_.isEmpty()) {
            emit openFolder(nodes.first());
            return;
        }
        for (const QByteArray& path : paths)
            tell(desktop_.open(path));
        return;
    case showInFiles:
        for (const QByteArray& path : paths)
            tell(desktop_.reveal(path));
        return;
    case copyPath: {
        QStringList lines;
        for (const QByteArray& path : paths)
            lines << QFile::decodeName(path);
        QGuiApplication::clipboard()->setText(lines.join(QLatin1Char('\n')));
        return;
    }
    case openTerminal:
        // One at a time, so that the last one's thread has ended (it reported back) when it is
        // joined here.
        if (openingTerminal_)
            return;
        openingTerminal_ = true;
        terminalThread_ =
            std::jthread([this, open = desktop_.openTerminal,
                          folder = oneFolder ? paths.first() : folderOf(paths.first())] {
                const QString error = open(folder);
                QMetaObject::invokeMethod(
                    this,
                    [this, error] {
                        openingTerminal_ = false;
                        if (!error.isEmpty())
                            emit message(error);
                    },
                    Qt::QueuedConnection);
            });
        return;
    case rescan:
        job_->rescanFolder(oneFolder ? nodes.first() : folder_);
        return;
    case moveToTrash:
        remove(StorageRemover::Mode::trash);
        return;
    case deletePermanently:
        if (confirm_(deleteConfirmation()))
            remove(StorageRemover::Mode::permanently);
        return;
    }
}

StorageItemActions::Confirmation StorageItemActions::deleteConfirmation() const {
    const auto tree = job_ ? job_->tree() : nullptr;
    int64_t bytes = 0;
    qsizetype items = 0;
    for (int32_t node : targets_) {
        bytes += tree->size(node, TreeSortKey::real);
        items += 1 + qsizetype(tree->hasFlag(node, NodeFlag::directory) ? tree->items(node) : 0);
    }
    const QString title =
        targets_.size() == 1
            ? QStringLiteral("Delete “%1” permanently?").arg(shown(tree->pathBytes(targets_[0])))
            : QStringLiteral("Delete %1 permanently?").arg(itemsText(targets_.size()));
    return {title,
            QStringLiteral("%1 in %2 will be deleted for good. This can't be undone and they "
                           "can't be put back from the Trash.")
                .arg(QLocale().formattedDataSize(bytes, 1, QLocale::DataSizeSIFormat),
                     itemsText(items)),
            QStringLiteral("Delete Permanently")};
}

QString StorageItemActions::whyNotRemovable(int32_t node) const {
    const FileTree& tree = *job_->tree();
    const QString path = shown(tree.pathBytes(node));
    if (node == 0)
        return QStringLiteral("The scanned folder “%1” itself can't be removed here.").arg(path);
    if (tree.hasFlag(node, NodeFlag::mountPoint))
        return QStringLiteral("“%1” can't be removed: another disk is mounted there. Unmount it "
                              "first.")
            .arg(path);
    if (const int32_t mount = findInSubtree(tree, node, NodeFlag::mountPoint); mount >= 0)
        return QStringLiteral("“%1” can't be removed: it holds another disk, mounted at “%2”. "
                              "Unmount it first.")
            .arg(path, shown(tree.pathBytes(mount)));
    return {};
}

void StorageItemActions::remove(StorageRemover::Mode mode) {
    QList<QByteArray> paths;
    QStringList refused;
    for (int32_t node : std::as_const(targets_)) {
        if (const QString why = whyNotRemovable(node); !why.isEmpty())
            refused << why;
        else
            paths << job_->tree()->pathBytes(node);
    }
    refused_ = refused;
    if (paths.isEmpty()) {
        removalFinished({mode, {}, {}, {}, {}});
        return;
    }
    remover_.start(paths, mode);
    refresh();
}

void StorageItemActions::removalFinished(const StorageRemover::Outcome& outcome) {
    if (job_) {
        job_->removeFromTree(outcome.removed);
        rescanAround(outcome.partlyRemoved);
    }
    const bool trash = outcome.mode == StorageRemover::Mode::trash;
    const qsizetype removed = outcome.removed.size();
    const QStringList failures = refused_ + outcome.failures;
    refused_.clear();
    QString text;
    if (removed == 0)
        text = trash ? QStringLiteral("Nothing was moved to the Trash:")
                     : QStringLiteral("Nothing was deleted:");
    else
        text = (trash ? QStringLiteral("Moved %1 to the Trash.")
                      : QStringLiteral("Deleted %1 permanently."))
                   .arg(itemsText(removed));
    if (removed > 0 && !failures.isEmpty())
        text += QStringLiteral(" %1 couldn't be removed:").arg(itemsText(failures.size()));
    for (const QString& failure : failures)
        text += QStringLiteral("\n• ") + failure;
    if (history_) {
        const ActionHistoryEntry entry = history_->record(
            trash ? QStringLiteral("Storage Manager: Move to Trash")
                  : QStringLiteral("Storage Manager: Delete Permanently"),
            text + ActionHistoryStore::trashedPayload(outcome.trashed), removed > 0);
        if (!outcome.trashed.isEmpty())
            lastTrash_ = entry;
    }
    refresh();
    emit message(text);
}

std::optional<ActionHistoryEntry> StorageItemActions::undoableEntry() const {
    if (lastTrash_ && history_ && history_->canPutBack(*lastTrash_))
        return lastTrash_;
    return std::nullopt;
}

void StorageItemActions::putBackLast() {
    const auto entry = undoableEntry();
    if (!entry)
        return;
    const Result<ActionHistoryStore::PutBackResult> result = history_->putBack(*entry);
    emit message(result ? ActionHistoryStore::putBackSummary(*result) : result.error());
}

// Reads again the innermost folder of the tree that holds every one of `paths`.
void StorageItemActions::rescanAround(const QList<QByteArray>& paths) {
    const auto tree = job_ ? job_->tree() : nullptr;
    if (!tree || paths.isEmpty())
        return;
    std::optional<int32_t> common;
    for (const QByteArray& path : paths) {
        std::optional<int32_t> node;
        for (QByteArray folder = folderOf(path); !node && folder.size() > 1;
             folder = folderOf(folder))
            node = tree->findPath(folder);
        if (!node)
            return; // not in this scan
        if (!common) {
            common = node;
            continue;
        }
        std::vector<int32_t> chain;
        for (int32_t up = *node; up >= 0; up = up > 0 ? tree->parent(up) : -1)
            chain.push_back(up);
        while (std::find(chain.begin(), chain.end(), *common) == chain.end())
            common = tree->parent(*common);
    }
    job_->rescanFolder(*common);
}

} // namespace velmox
