#include "app/PaletteWindow.h"

#include "app/AppServices.h"
#include "cleaning/OptimizationRegistry.h"
#include "palette/PaletteCatalog.h"

#include <QAction>
#include <QCoreApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QVBoxLayout>

namespace velmox {

namespace {

const QKeySequence kFavoriteKey(Qt::CTRL | Qt::Key_D);

QHash<QString, Category> pagesOfTasks(const OptimizationRegistry& registry) {
    QHash<QString, Category> pages;
    for (const OptimizationTask& task : registry.allTasks()) {
        const bool cleaning = task.category == TaskCategory::systemCleanup ||
                              task.category == TaskCategory::privacySecurity;
        pages.insert(QStringLiteral("task:") + OptimizationRegistry::key(task),
                     cleaning ? Category::cleanup : Category::maintenance);
    }
    return pages;
}

} // namespace

PaletteWindow::PaletteWindow(AppServices& services, QWidget* parent)
    : QFrame(parent, Qt::Popup | Qt::FramelessWindowHint), services_(services),
      index_([] { return builtInPaletteEntries(OptimizationRegistry()); }()),
      taskPages_(pagesOfTasks(OptimizationRegistry())), field_(new QLineEdit), message_(new QLabel),
      list_(new QListWidget) {
    setFrameShape(QFrame::StyledPanel);
    setAccessibleName(QStringLiteral("Command Palette"));
    for (int i = 0; i < index_.entries().size(); ++i)
        positions_.insert(index_.entries()[i].id, i);

    field_->setPlaceholderText(QStringLiteral("Search commands, pages and settings..."));
    field_->setClearButtonEnabled(true);
    // The field's clear button shows its action's text as the tooltip and accessible name.
    if (auto* clear = field_->findChild<QAction*>(QStringLiteral("_q_qlineeditclearaction")))
        clear->setText(QStringLiteral("Clear the search"));
    field_->installEventFilter(this);
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
    refill();
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
        services_.status().report(QStringLiteral("Error: ") + saved.error(), false);
}

void PaletteWindow::toggleFavorite(const QString& id) {
    QStringList ids = favorites();
    if (!ids.removeAll(id))
        ids.append(id);
    store(kFavoritesKey, ids);
    refill();
}

void PaletteWindow::open(const QString& id) {
    const int colon = id.indexOf(u':');
    const QString kind = id.left(colon);
    const QString rest = id.mid(colon + 1);
    AppNavigationState& navigation = services_.navigation();
    if (kind == QLatin1String("page")) {
        navigation.navigate(rest, std::nullopt);
    } else if (kind == QLatin1String("tab")) {
        const int slash = rest.indexOf(u'/');
        navigation.navigate(rest.left(slash), rest.mid(slash + 1));
    } else if (const auto page = taskPages_.constFind(id); page != taskPages_.cend()) {
        navigation.navigate(rawValue(*page), std::nullopt);
    } else {
        return;
    }
    QStringList ids = recents();
    ids.removeAll(id);
    ids.prepend(id);
    store(kRecentsKey, ids.mid(0, kRecentCount));
    hide();
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
    auto* item = new QListWidgetItem(
        (favorite ? QStringLiteral("★ ") : QStringLiteral("   ")) + entry.title, list_);
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
    if (menu.exec(list_->viewport()->mapToGlobal(at)) == toggle)
        toggleFavorite(id);
}

bool PaletteWindow::eventFilter(QObject* watched, QEvent* event) {
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
