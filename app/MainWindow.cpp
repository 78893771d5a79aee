#include "app/MainWindow.h"

#include "app/AppLanguageManager.h"
#include "app/AppServices.h"
#include "app/Appearance.h"
#include "app/DiskHealthBadge.h"
#include "app/GlobalStatusBar.h"
#include "app/PaletteWindow.h"
#include "app/ScanResumeNotice.h"
#include "app/SidebarItems.h"
#include "app/SidebarView.h"
#include "app/SoftwareUpdater.h"
#include "app/SymbolIcons.h"
#include "app/pages/PageFactory.h"
#include "app/pages/PowerUserPage.h"

#include <QActionGroup>
#include <QCloseEvent>
#include <QCoreApplication>
#include <QHBoxLayout>
#include <QMenuBar>
#include <QMessageBox>
#include <QStackedWidget>
#include <QVBoxLayout>

namespace velmox {

MainWindow::MainWindow(AppServices& services, QWidget* parent)
    : QMainWindow(parent), services_(services), sidebar_(new SidebarView),
      pages_(new QStackedWidget),
      statusLine_(new GlobalStatusBar(services.status(), services.navigation())) {
    setWindowTitle(QStringLiteral("Velmox"));
    setWindowIcon(appIcon());
    setMinimumSize(860, 560);
    resize(kDefaultSize);
    restoreGeometry(services_.settings().value(QLatin1String(kGeometryKey)).toByteArray());

    auto* central = new QWidget(this);
    auto* columns = new QHBoxLayout(central);
    columns->setContentsMargins(0, 0, 0, 0);
    columns->setSpacing(0);
    columns->addWidget(sidebar_);
    auto* right = new QVBoxLayout;
    right->setSpacing(0);
    right->addWidget(pages_, 1);
    right->addWidget(new ScanResumeNotice(services_.scanResumeOffers()));
    right->addWidget(statusLine_);
    columns->addLayout(right, 1);
    setCentralWidget(central);
    buildMenus();
    new DiskHealthBadge(*sidebar_, services_.diskHealth());

    AppNavigationState& navigation = services_.navigation();
    connect(sidebar_, &SidebarView::categorySelected, this,
            [&navigation](Category category) { navigation.setCurrentPage(rawValue(category)); });
    connect(&navigation, &AppNavigationState::currentPageChanged, this,
            &MainWindow::followNavigation);
    if (!navigation.currentPage())
        navigation.setCurrentPage(rawValue(Category::dashboard));
    followNavigation(*navigation.currentPage());
}

void MainWindow::buildMenus() {
    QMenu* app = menuBar()->addMenu(QStringLiteral("&Velmox"));
    app->addAction(QStringLiteral("&Settings..."), QKeySequence(Qt::CTRL | Qt::Key_Comma), this,
                   &MainWindow::settingsRequested);
    app->addSeparator();
    app->addAction(QStringLiteral("&Quit Velmox"), QKeySequence::Quit, this,
                   &MainWindow::quitRequested);

    // Ctrl+1...9, or Alt+1...9, go to the sidebar's rows in order, as shown.
    QMenu* view = menuBar()->addMenu(QStringLiteral("V&iew"));
    int number = 0;
    for (const SidebarGroup& group : sidebarGroups()) {
        for (const SidebarRow& row : group.rows) {
            QAction* go = view->addAction(row.title, this,
                                          [this, category = row.category] { showPage(category); });
            if (++number <= 9) {
                const auto digit = Qt::Key(Qt::Key_0 + number);
                go->setShortcuts({QKeySequence(Qt::CTRL | digit), QKeySequence(Qt::ALT | digit)});
            }
        }
    }
    view->addSeparator();
    paletteAction_ =
        view->addAction(QStringLiteral("Command &Palette..."), QKeySequence(Qt::CTRL | Qt::Key_K),
                        this, &MainWindow::showPalette);
    paletteAction_->setShortcutContext(Qt::ApplicationShortcut);
    view->addAction(QStringLiteral("&Activity"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_A),
                    this, [this] { PowerUserPage::openActivity(services_.navigation()); });

    QMenu* window = menuBar()->addMenu(QStringLiteral("&Window"));
    window->addAction(QStringLiteral("Open Page in &New Window"),
                      QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_N), this, [this] {
                          if (const auto shown = categoryFromRaw(
                                  services_.navigation().currentPage().value_or(QString())))
                              emit pageWindowRequested(*shown);
                      });

    buildLanguageMenu(menuBar()->addMenu(QStringLiteral("&Language")));
    buildAppearanceMenu(menuBar()->addMenu(QStringLiteral("&Appearance")));

    QMenu* help = menuBar()->addMenu(QStringLiteral("&Help"));
    help->addAction(QStringLiteral("&About Velmox"), this, &MainWindow::showAbout);
    help->addSeparator();
    help->addAction(QStringLiteral("Check for &Updates..."), this, [this] {
        if (const Status opened = SoftwareUpdater::open(); !opened)
            QMessageBox::information(this, QStringLiteral("Check for Updates"), opened.error());
    });
}

void MainWindow::buildLanguageMenu(QMenu* menu) {
    AppLanguageManager& languages = services_.languages();
    auto* group = new QActionGroup(menu);
    auto add = [&](const QString& text, const QString& code) {
        QAction* action = menu->addAction(text);
        action->setCheckable(true);
        action->setData(code);
        group->addAction(action);
        connect(action, &QAction::triggered, this, [this, &languages, code] {
            if (const Status saved = languages.choose(code); !saved)
                services_.status().report(QStringLiteral("Error: ") + saved.error(), false);
        });
    };
    add(QStringLiteral("System Default"), QString());
    menu->addSeparator();
    for (const InterfaceLanguage& language : languages.languages())
        add(language.name, language.code);
    menu->addSeparator();
    QAction* note = menu->addAction(QString());
    note->setEnabled(false);

    auto follow = [group, note, &languages] {
        for (QAction* action : group->actions())
            action->setChecked(action->data().toString() == languages.chosen());
        note->setText(languages.restartNeeded()
                          ? QStringLiteral("Your choice applies when Velmox starts again.")
                          : QStringLiteral("A new choice applies when Velmox starts again."));
    };
    follow();
    connect(&languages, &AppLanguageManager::choiceChanged, menu, follow);
}

void MainWindow::buildAppearanceMenu(QMenu* menu) {
    auto* group = new QActionGroup(menu);
    Settings& settings = services_.settings();
    for (Appearance choice : {Appearance::light, Appearance::dark}) {
        QAction* action = menu->addAction(choice == Appearance::light ? QStringLiteral("Light")
                                                                      : QStringLiteral("Dark"));
        action->setCheckable(true);
        action->setData(rawValue(choice));
        group->addAction(action);
        connect(action, &QAction::triggered, this, [this, &settings, choice] {
            if (const Status saved = settings.setValue(kAppearanceKey, rawValue(choice)); !saved)
                services_.status().report(QStringLiteral("Error: ") + saved.error(), false);
        });
    }
    auto follow = [group, &settings] {
        const QString current = rawValue(appearanceFromRaw(settings.stringValue(kAppearanceKey)));
        for (QAction* action : group->actions())
            action->setChecked(action->data().toString() == current);
    };
    follow();
    connect(&settings, &Settings::valueChanged, menu, [follow](const QString& key) {
        if (key == kAppearanceKey)
            follow();
    });
}

QWidget* MainWindow::page(Category category) {
    auto it = made_.find(static_cast<int>(category));
    if (it != made_.end())
        return *it;
    QWidget* widget = createPage(category, services_);
    pages_->addWidget(widget);
    made_.insert(static_cast<int>(category), widget);
    return widget;
}

QWidget* MainWindow::currentPage() const {
    return pages_->currentWidget();
}

void MainWindow::showPage(Category category) {
    services_.navigation().setCurrentPage(rawValue(category));
}

void MainWindow::showAbout() {
    QMessageBox::about(this, QStringLiteral("About Velmox"),
                       QStringLiteral("<b>Velmox %1</b><p>Monitor, clean and look after your "
                                      "computer.</p>")
                           .arg(QCoreApplication::applicationVersion()));
}

PaletteWindow* MainWindow::commandPalette() {
    if (!commandPalette_) {
        commandPalette_ = new PaletteWindow(services_, this);
        connect(commandPalette_, &PaletteWindow::settingsRequested, this,
                [this](const QString& pane, const QString& setting) {
                    emit settingsRequested();
                    services_.notifications().postOpenSettingsSection(pane);
                    if (!setting.isEmpty())
                        emit settingFocusRequested(setting);
                });
        // Queued: the About box waits for the user, and the request may come over the session
        // bus, whose caller waits for the answer.
        connect(commandPalette_, &PaletteWindow::aboutRequested, this, &MainWindow::showAbout,
                Qt::QueuedConnection);
    }
    return commandPalette_;
}

void MainWindow::showPalette() {
    // Asked from another window, this one may be hidden: the palette's places open here.
    if (isMinimized())
        showNormal();
    else
        show();
    raise();
    activateWindow();
    commandPalette()->popUp(this);
}

void MainWindow::followNavigation(const QString& raw) {
    const auto category = categoryFromRaw(raw);
    if (!category)
        return;
    pages_->setCurrentWidget(page(*category));
    sidebar_->setSelection(*category);
    setWindowTitle(QStringLiteral("%1 — Velmox").arg(pageTitle(*category)));
}

void MainWindow::closeEvent(QCloseEvent* event) {
    // The size and place the user left the window at come back at the next start.
    (void)services_.settings().setValue(QLatin1String(kGeometryKey), saveGeometry());
    QMainWindow::closeEvent(event);
}

} // namespace velmox
