#include "app/MainWindow.h"

#include "app/AppServices.h"
#include "app/Appearance.h"
#include "app/GlobalStatusBar.h"
#include "app/SidebarItems.h"
#include "app/SidebarView.h"
#include "app/SymbolIcons.h"
#include "app/pages/PageFactory.h"

#include <QActionGroup>
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

    auto* central = new QWidget(this);
    auto* columns = new QHBoxLayout(central);
    columns->setContentsMargins(0, 0, 0, 0);
    columns->setSpacing(0);
    columns->addWidget(sidebar_);
    auto* right = new QVBoxLayout;
    right->setSpacing(0);
    right->addWidget(pages_, 1);
    right->addWidget(statusLine_);
    columns->addLayout(right, 1);
    setCentralWidget(central);
    buildMenus();

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
    app->addAction(QStringLiteral("&Settings..."), QKeySequence::Preferences, this,
                   &MainWindow::settingsRequested);
    app->addSeparator();
    app->addAction(QStringLiteral("&Quit Velmox"), QKeySequence::Quit, this,
                   &MainWindow::quitRequested);

    QMenu* appearance = menuBar()->addMenu(QStringLiteral("&Appearance"));
    auto* group = new QActionGroup(appearance);
    Settings& settings = services_.settings();
    const Appearance current =
        appearanceFromRaw(settings.stringValue(kAppearanceKey, QStringLiteral("dark")));
    for (Appearance choice : {Appearance::light, Appearance::dark}) {
        QAction* action = appearance->addAction(
            choice == Appearance::light ? QStringLiteral("Light") : QStringLiteral("Dark"));
        action->setCheckable(true);
        action->setChecked(choice == current);
        group->addAction(action);
        connect(action, &QAction::triggered, this,
                [&settings, choice] { settings.setValue(kAppearanceKey, rawValue(choice)); });
        connect(&settings, &Settings::valueChanged, action,
                [action, &settings, choice](const QString& key) {
                    if (key == kAppearanceKey)
                        action->setChecked(appearanceFromRaw(settings.stringValue(key)) == choice);
                });
    }

    QMenu* help = menuBar()->addMenu(QStringLiteral("&Help"));
    help->addAction(QStringLiteral("&About Velmox"), this, [this] {
        QMessageBox::about(this, QStringLiteral("About Velmox"),
                           QStringLiteral("<b>Velmox %1</b><p>Monitor, clean and look after "
                                          "your computer.</p>")
                               .arg(QCoreApplication::applicationVersion()));
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

void MainWindow::followNavigation(const QString& raw) {
    const auto category = categoryFromRaw(raw);
    if (!category)
        return;
    pages_->setCurrentWidget(page(*category));
    sidebar_->setSelection(*category);
    setWindowTitle(QStringLiteral("%1 — Velmox").arg(pageTitle(*category)));
}

} // namespace velmox
