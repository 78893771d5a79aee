#include "app/StatusPopover.h"

#include <QCursor>
#include <QGridLayout>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QMessageBox>
#include <QProcess>
#include <QPushButton>
#include <QScreen>
#include <QToolButton>
#include <QVBoxLayout>

#include "app/GlobalStatusBar.h"
#include "app/MenuBarUtility.h"
#include "app/PopoverHeight.h"
#include "app/SymbolIcons.h"
#include "app/pages/LiveReadoutsView.h"
#include "app/pages/PowerUserPage.h"
#include "automation/AutomationEngine.h"
#include "services/AppStatusCenter.h"

#include <algorithm>
#include <cmath>

namespace velmox {

StatusPopover::StatusPopover(AppStatusCenter& status, QWidget* parent)
    : QFrame(parent, Qt::Popup | Qt::FramelessWindowHint), status_(status) {
    setObjectName(QStringLiteral("popover"));
    setAttribute(Qt::WA_TranslucentBackground, false);
    setFixedWidth(kWidth);
    confirm_ = [](const QString& caution) {
        return QMessageBox::question(nullptr, QStringLiteral("Velmox"),
                                     caution + QStringLiteral(" Run it?")) == QMessageBox::Yes;
    };
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    applyWantedHeight(PopoverHeight::kMinimum, std::nullopt);
}

bool StatusPopover::applyWantedHeight(double wanted, std::optional<double> availableScreenHeight) {
    const double next = PopoverHeight::applied(wanted, availableScreenHeight);
    if (!PopoverHeight::needsResize(lastHeight_, next))
        return false;
    lastHeight_ = next;
    setFixedHeight(static_cast<int>(std::lround(next)));
    return true;
}

QWidget* StatusPopover::makeUtilities() {
    auto* box = new QWidget;
    auto* grid = new QGridLayout(box);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setSpacing(2);
    int index = 0;
    for (MenuBarUtility utility : allMenuBarUtilities()) {
        const QString program = installedProgram(utility);
        if (program.isEmpty())
            continue;
        auto* button = new QToolButton(box);
        button->setObjectName(QStringLiteral("utilityButton"));
        button->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
        button->setIcon(symbolIcon(desktopSymbol(utility), desktopTitle(utility)));
        button->setText(desktopTitle(utility));
        button->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        connect(button, &QToolButton::clicked, this, [this, program] {
            QProcess::startDetached(program, {});
            hide();
        });
        grid->addWidget(button, index / 2, index % 2);
        ++index;
    }
    if (index == 0) {
        auto* none = new QLabel(QStringLiteral("No system utilities were found on this desktop."));
        none->setObjectName(QStringLiteral("pageSubtitle"));
        none->setWordWrap(true);
        grid->addWidget(none, 0, 0);
    }
    return box;
}

QWidget* StatusPopover::makeQuickActions() {
    auto* box = new QWidget;
    auto* row = new QVBoxLayout(box);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(2);
    for (const QuickAction action : allQuickActions()) {
        const AutomationTask task = quickActionTask(action);
        auto* button = new QToolButton(box);
        button->setObjectName(QStringLiteral("quickAction"));
        button->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
        button->setIcon(symbolIcon(task.icon, task.title));
        button->setText(task.title);
        button->setToolTip(task.description);
        button->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        connect(button, &QToolButton::clicked, this, [this, action] { runQuickAction(action); });
        row->addWidget(button);
    }
    return box;
}

void StatusPopover::runQuickAction(QuickAction action) {
    if (!automation_)
        return;
    const AutomationTask task = quickActionTask(action);
    // The question is asked with the panel closed: a popup closes as soon as anything else
    // takes the focus.
    hide();
    const QString caution = runCaution(task.title, {task.id});
    if (!automation_->dryRunSetting() && !caution.isEmpty() && !confirm_(caution))
        return;
    status_.report(QStringLiteral("Running “%1”…").arg(task.title), true);
    QPointer<AppStatusCenter> status(&status_);
    automation_->run(task.id, QStringLiteral("manual"), task.title,
                     [status](const AutomationRunResult& result) {
                         if (status)
                             status->report((result.success ? QStringLiteral("Success: ")
                                                            : QStringLiteral("Error: ")) +
                                                result.message(),
                                            false);
                     });
}

void StatusPopover::buildContent() {
    delete content_;
    content_ = new QWidget(this);
    auto* layout = new QVBoxLayout(content_);
    layout->setContentsMargins(14, 12, 14, 12);
    layout->setSpacing(10);

    auto* header = new QHBoxLayout;
    auto* icon = new QLabel(content_);
    icon->setPixmap(appIcon().pixmap(28, 28));
    header->addWidget(icon);
    auto* title = new QLabel(QStringLiteral("<b>Velmox</b>"), content_);
    header->addWidget(title, 1);
    layout->addLayout(header);

    auto* state = new QLabel(content_);
    state->setObjectName(QStringLiteral("pageSubtitle"));
    state->setWordWrap(true);
    const auto message = status_.message();
    state->setText(message ? statusLineText(*message, status_.isActive()).text
                           : QStringLiteral("Everything is quiet."));
    layout->addWidget(state);
    if (PowerUserPage::pointsToActivity(state->text())) {
        auto* activity = new QPushButton(QStringLiteral("Show Activity"), content_);
        activity->setObjectName(QStringLiteral("showActivity"));
        layout->addWidget(activity, 0, Qt::AlignLeft);
        connect(activity, &QPushButton::clicked, this, [this] {
            hide();
            emit openWindowRequested();
            emit activityRequested();
        });
    }

    // The live readouts of the monitor go here.
    auto* readouts = new QWidget(content_);
    readouts->setObjectName(QStringLiteral("readoutSlot"));
    readouts->setLayout(new QVBoxLayout);
    readouts->layout()->setContentsMargins(0, 0, 0, 0);
    if (monitor_)
        readouts->layout()->addWidget(new LiveReadoutsView(*monitor_, readouts));
    else
        readouts->hide();
    layout->addWidget(readouts);

    if (automation_) {
        layout->addWidget(new QLabel(QStringLiteral("<b>Quick Actions</b>"), content_));
        layout->addWidget(makeQuickActions());
    }

    auto* utilitiesTitle = new QLabel(QStringLiteral("<b>Utilities</b>"), content_);
    layout->addWidget(utilitiesTitle);
    layout->addWidget(makeUtilities());

    auto* buttons = new QHBoxLayout;
    auto* openApp = new QPushButton(QStringLiteral("Open Velmox"), content_);
    openApp->setDefault(true);
    auto* settings = new QPushButton(QStringLiteral("Settings..."), content_);
    auto* quit = new QPushButton(QStringLiteral("Quit"), content_);
    buttons->addWidget(openApp, 1);
    buttons->addWidget(settings);
    buttons->addWidget(quit);
    layout->addLayout(buttons);
    connect(openApp, &QPushButton::clicked, this, [this] {
        hide();
        emit openWindowRequested();
    });
    connect(settings, &QPushButton::clicked, this, [this] {
        hide();
        emit settingsRequested();
    });
    connect(quit, &QPushButton::clicked, this, [this] {
        hide();
        emit quitRequested();
    });
    this->layout()->addWidget(content_);

    const QScreen* screen = QGuiApplication::primaryScreen();
    applyWantedHeight(content_->sizeHint().height(),
                      screen ? std::optional<double>(screen->availableGeometry().height())
                             : std::nullopt);
}

void StatusPopover::open(const QRect& anchor) {
    buildContent();
    const QScreen* screen =
        QGuiApplication::screenAt(anchor.isEmpty() ? QCursor::pos() : anchor.center());
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    const QRect available = screen ? screen->availableGeometry() : QRect(0, 0, 1280, 800);
    QPoint at = anchor.isEmpty() ? QCursor::pos()
                                 : QPoint(anchor.center().x() - kWidth / 2, anchor.bottom() + 4);
    // A panel at the bottom of the screen opens upwards.
    if (at.y() + height() > available.bottom())
        at.setY((anchor.isEmpty() ? QCursor::pos().y() : anchor.top()) - height() - 4);
    at.setX(std::clamp(at.x(), available.left() + 4, available.right() - kWidth - 4));
    at.setY(std::clamp(at.y(), available.top() + 4, available.bottom() - height() - 4));
    move(at);
    show();
    activateWindow();
}

void StatusPopover::hideEvent(QHideEvent* event) {
    QFrame::hideEvent(event);
    if (content_)
        content_->deleteLater();
}

} // namespace velmox
