#pragma once

#include "app/Appearance.h"
#include "services/Settings.h"

#include <QDir>
#include <QWidget>

namespace velmox::test {

// Saves `widget` as /tmp/<name>-light.png and -dark.png, for a person to look at.
inline void saveScreenshots(QWidget& widget, const QString& name, Settings& settings) {
    AppearanceController appearance(settings);
    for (const char* raw : {"light", "dark"}) {
        (void)settings.setValue(kAppearanceKey, QString::fromLatin1(raw));
        appearance.apply();
        widget.grab().save(QDir::tempPath() +
                           QStringLiteral("/%1-%2.png").arg(name, QLatin1String(raw)));
    }
}

} // namespace velmox::test
