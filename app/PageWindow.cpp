#include "app/PageWindow.h"

#include "app/AppServices.h"
#include "app/GlobalStatusBar.h"
#include "app/SidebarItems.h"
#include "app/SymbolIcons.h"
#include "app/pages/PageFactory.h"

#include <QVBoxLayout>

namespace velmox {

PageWindow::PageWindow(AppServices& services, Category category, QWidget* parent)
    : QMainWindow(parent), category_(category), page_(createPage(category, services)) {
    setObjectName(kIdentifier);
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(titleFor(category));
    setWindowIcon(appIcon());
    setMinimumSize(560, 420);
    resize(kDefaultSize);

    auto* central = new QWidget(this);
    auto* column = new QVBoxLayout(central);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(page_, 1);
    column->addWidget(new GlobalStatusBar(services.status(), services.navigation()));
    setCentralWidget(central);
}

QString PageWindow::titleFor(Category category) {
    return QStringLiteral("Velmox · %1").arg(pageTitle(category));
}

} // namespace velmox
