#pragma once

#include <QWidget>

#include "services/Category.h"

namespace velmox {

class AppServices;

// Makes the widget of one page. The window calls it the first time a page is shown.
QWidget* createPage(Category category, AppServices& services);

} // namespace velmox
