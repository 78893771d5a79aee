#pragma once

#include "app/Appearance.h"

#include <QIcon>
#include <QList>
#include <QString>

namespace velmox {

struct SystemStats;

// The one live figure the tray icon shows in place of Velmox's icon.
enum class TrayFigure { none, processor, memory, temperature, network };

inline const QString kTrayFigureKey = QStringLiteral("trayFigure");

// Stored as "none", "processor", "memory", "temperature", "network"; anything else is none.
TrayFigure trayFigureFromRaw(const QString& raw);
QString rawValue(TrayFigure figure);
QString trayFigureLabel(TrayFigure figure);
QList<TrayFigure> allTrayFigures();

// At most four characters, so that it stays legible inside a 22-pixel icon: "37%",
// "62%", "54°", "4.2M" (download per second). "–" until the figure is known.
QString trayFigureText(TrayFigure figure, const SystemStats& stats);

// The figure drawn as a tray icon, at the sizes trays ask for, as a badge whose colours
// suit the appearance.
QIcon trayFigureIcon(const QString& text, Appearance appearance);
QImage trayFigureImage(const QString& text, Appearance appearance, int size);

} // namespace velmox
