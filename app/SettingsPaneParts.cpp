#include "app/SettingsPaneParts.h"

#include <QLabel>

namespace velmox {

QLabel* makeSettingsNote(const QString& text) {
    auto* label = new QLabel(text);
    label->setObjectName(QStringLiteral("pageSubtitle"));
    label->setWordWrap(true);
    return label;
}

} // namespace velmox
