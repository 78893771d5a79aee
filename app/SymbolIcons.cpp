#include "app/SymbolIcons.h"

#include <QHash>
#include <QPainter>
#include <QPixmap>
#include <QStandardPaths>

namespace velmox {

namespace {

// Each symbol maps to freedesktop names; the legacy colour icons come first because
// the symbolic ones are drawn dark-on-transparent and vanish on a dark window.
const QHash<QString, QStringList>& symbolTable() {
    static const QHash<QString, QStringList> table{
        {"gauge", {"utilities-system-monitor", "org.gnome.SystemMonitor", "computer"}},
        {"trash", {"user-trash", "user-trash-full", "edit-delete"}},
        {"internaldrive", {"drive-harddisk", "drive-harddisk-symbolic"}},
        {"heart.text.square", {"emblem-favorite", "drive-harddisk", "dialog-information"}},
        {"wrench.and.screwdriver", {"preferences-system", "applications-engineering"}},
        {"link", {"insert-link", "emblem-symbolic-link"}},
        {"externaldrive.fill", {"drive-removable-media", "media-removable"}},
        {"archivebox", {"package-x-generic", "emblem-package"}},
        {"app.badge", {"application-x-executable", "applications-other"}},
        {"macwindow.badge.plus", {"system-run", "window-new"}},
        {"key.fill", {"dialog-password", "changes-prevent"}},
        {"network", {"network-workgroup", "network-wired"}},
        {"wifi.router", {"network-wireless", "network-wired"}},
        {"lock.shield", {"security-high", "changes-prevent"}},
        {"stethoscope", {"dialog-information", "system-help"}},
        {"wrench.and.screwdriver.fill", {"applications-utilities", "applications-system"}},
        {"cpu.fill", {"computer", "application-x-firmware"}},
        {"thermometer", {"weather-clear", "applications-science", "computer"}},
        {"bolt.circle", {"applications-engineering", "system-run"}},
        {"clock.arrow.circlepath", {"document-open-recent", "appointment-soon"}},
        {"checkmark.circle", {"emblem-default", "dialog-ok"}},
        {"exclamationmark.triangle", {"dialog-warning", "dialog-error"}},
        {"arrow.right.circle", {"go-next", "go-jump"}},
        {"gearshape", {"preferences-system", "emblem-system"}},
        {"person.badge.key", {"dialog-password", "system-users"}},
    };
    return table;
}

QColor badgeColour(const QString& text) {
    // A stable hue per title keeps neighbouring fallback badges apart.
    const int hue = static_cast<int>(qHash(text) % 360);
    return QColor::fromHsv(hue, 150, 200);
}

QIcon letterBadge(const QString& text) {
    QIcon icon;
    for (int size : {16, 24, 32, 48}) {
        QPixmap pixmap(size, size);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(badgeColour(text));
        painter.drawRoundedRect(QRectF(0.5, 0.5, size - 1, size - 1), size / 4.0, size / 4.0);
        QFont font = painter.font();
        font.setPixelSize(size * 6 / 10);
        font.setBold(true);
        painter.setFont(font);
        painter.setPen(Qt::white);
        painter.drawText(pixmap.rect(), Qt::AlignCenter, text.left(1).toUpper());
        painter.end();
        icon.addPixmap(pixmap);
    }
    return icon;
}

} // namespace

QStringList themeIconNames(const QString& symbol) {
    return symbolTable().value(symbol);
}

QIcon symbolIcon(const QString& symbol, const QString& fallbackText) {
    // A name the table does not know is taken as a theme icon name itself.
    const QStringList names =
        symbolTable().contains(symbol) ? themeIconNames(symbol) : QStringList{symbol};
    for (const QString& name : names)
        if (QIcon::hasThemeIcon(name))
            return QIcon::fromTheme(name);
    return letterBadge(fallbackText.isEmpty() ? symbol : fallbackText);
}

void installIconThemeFallback() {
    // Without a desktop (offscreen, a bare X server) Qt names no theme, or only hicolor,
    // which holds no generic icons.
    const QString theme = QIcon::themeName();
    if (theme.isEmpty() || theme == QLatin1String("hicolor"))
        QIcon::setThemeName(QStringLiteral("Adwaita"));
    QStringList paths = QIcon::themeSearchPaths();
    const QStringList dataFolders =
        QStandardPaths::standardLocations(QStandardPaths::GenericDataLocation);
    for (const QString& folder : dataFolders)
        if (!paths.contains(folder + QStringLiteral("/icons")))
            paths << folder + QStringLiteral("/icons");
    QIcon::setThemeSearchPaths(paths);
}

QIcon appIcon() {
    static const QIcon icon(QStringLiteral(":/velmox/velmox.svg"));
    return icon;
}

} // namespace velmox
