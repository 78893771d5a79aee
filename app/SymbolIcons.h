#pragma once

#include <QIcon>
#include <QString>
#include <QStringList>

namespace velmox {

// The desktop icon-theme names that stand for one of the symbol names the pages use
// ("trash", "internaldrive", ...), best first. Empty for an unknown symbol.
QStringList themeIconNames(const QString& symbol);

// The icon for a symbol: the first theme icon that exists, else a drawn badge with the
// first letter of `fallbackText`, so that no row is ever blank.
QIcon symbolIcon(const QString& symbol, const QString& fallbackText);

// Lets theme lookups fall back to Adwaita where the desktop names no icon theme.
void installIconThemeFallback();

// Velmox's own icon (window, tray, desktop entry).
QIcon appIcon();

} // namespace velmox
