#include "app/StatusReporter.h"

#include "app/SymbolIcons.h"

#include <QHBoxLayout>
#include <QLabel>

namespace velmox {

StatusReporter::StatusReporter(QWidget* parent)
    : QWidget(parent), icon_(new QLabel(this)), text_(new QLabel(this)) {
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(6);
    icon_->setFixedSize(16, 16);
    text_->setWordWrap(true);
    text_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    layout->addWidget(icon_, 0, Qt::AlignTop);
    layout->addWidget(text_, 1);
    setVisible(false);
}

void StatusReporter::show(const QString& message, bool isSuccess) {
    message_ = message;
    isSuccess_ = isSuccess;
    text_->setText(message);
    const QString symbol =
        isSuccess ? QStringLiteral("checkmark.circle") : QStringLiteral("exclamationmark.triangle");
    icon_->setPixmap(
        symbolIcon(symbol, isSuccess ? QStringLiteral("✓") : QStringLiteral("!")).pixmap(16, 16));
    QPalette textPalette = palette();
    textPalette.setColor(QPalette::WindowText,
                         isSuccess ? QColor(0x3f, 0xb9, 0x50) : QColor(0xe5, 0x4b, 0x4b));
    text_->setPalette(textPalette);
    setVisible(!message.isEmpty());
}

void StatusReporter::showWorking(const QString& message) {
    message_ = message;
    isSuccess_ = false;
    text_->setText(message);
    icon_->clear();
    text_->setPalette(palette());
    setVisible(!message.isEmpty());
}

} // namespace velmox
