#include "app/TrayFigure.h"

#include "monitor/SystemStats.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>
#include <array>

namespace velmox {

namespace {

constexpr std::array kRawValues{"none", "processor", "memory", "temperature", "network"};
const QString kUnknown = QStringLiteral("–");

QString wholePercent(double value) {
    return QStringLiteral("%1%").arg(qBound(0.0, value, 100.0), 0, 'f', 0);
}

// 512B, 4.2K, 38K, 999K, 1.2M ...: binary units, never more than four characters.
QString compactRate(double bytesPerSecond) {
    const std::array units{u'B', u'K', u'M', u'G', u'T'};
    double value = std::max(0.0, bytesPerSecond);
    std::size_t unit = 0;
    while (unit + 1 < units.size() && value >= 999.5) {
        value /= 1024.0;
        ++unit;
    }
    const bool oneDecimal = unit > 0 && value < 9.95;
    return QString::number(value, 'f', oneDecimal ? 1 : 0) + QChar(units[unit]);
}

// Draws `text` as large as it fits in `box`, judged by the ink of its glyphs rather than
// the line height, and narrowed by up to a quarter before it is made smaller: a taller
// figure reads better in a tray than a wider one.
void drawFitted(QPainter& painter, const QString& text, const QRectF& box, Qt::Alignment vertical) {
    constexpr qreal narrowest = 0.75;
    QFont font;
    font.setBold(true);
    QRectF ink;
    qreal squeeze = 1.0;
    for (int pixels = int(box.height() * 1.6); pixels > 5; --pixels) {
        font.setPixelSize(pixels);
        ink = QFontMetricsF(font).tightBoundingRect(text);
        squeeze = std::min(1.0, box.width() / std::max(1.0, ink.width()));
        if (ink.height() <= box.height() && squeeze >= narrowest)
            break;
    }
    qreal y = box.center().y() - ink.height() / 2 - ink.top();
    if (vertical == Qt::AlignBottom)
        y = box.bottom() - ink.bottom();
    else if (vertical == Qt::AlignTop)
        y = box.top() - ink.top();
    painter.save();
    painter.translate(box.center().x(), y);
    painter.scale(squeeze, 1.0);
    painter.setFont(font);
    painter.drawText(QPointF(-ink.width() / 2 - ink.left(), 0), text);
    painter.restore();
}

} // namespace

TrayFigure trayFigureFromRaw(const QString& raw) {
    for (std::size_t i = 0; i < kRawValues.size(); ++i)
        if (raw == QLatin1String(kRawValues[i]))
            return static_cast<TrayFigure>(i);
    return TrayFigure::none;
}

QString rawValue(TrayFigure figure) {
    return QLatin1String(kRawValues[static_cast<std::size_t>(figure)]);
}

QString trayFigureLabel(TrayFigure figure) {
    switch (figure) {
    case TrayFigure::none:
        return QStringLiteral("None (Velmox icon)");
    case TrayFigure::processor:
        return QStringLiteral("Processor load");
    case TrayFigure::memory:
        return QStringLiteral("Memory used");
    case TrayFigure::temperature:
        return QStringLiteral("Processor temperature");
    case TrayFigure::network:
        return QStringLiteral("Download speed");
    }
    return {};
}

QList<TrayFigure> allTrayFigures() {
    return {TrayFigure::none, TrayFigure::processor, TrayFigure::memory, TrayFigure::temperature,
            TrayFigure::network};
}

QString trayFigureText(TrayFigure figure, const SystemStats& stats) {
    switch (figure) {
    case TrayFigure::none:
        return {};
    case TrayFigure::processor:
        return stats.cpuHistory.isEmpty() ? kUnknown
                                          : wholePercent(stats.cpuUser + stats.cpuSystem);
    case TrayFigure::memory: {
        const double total = stats.ramUsed + stats.ramFree;
        return total > 0 ? wholePercent(100.0 * stats.ramUsed / total) : kUnknown;
    }
    case TrayFigure::temperature:
        return stats.cpuTemp > 0 ? QStringLiteral("%1°").arg(stats.cpuTemp, 0, 'f', 0) : kUnknown;
    case TrayFigure::network:
        return stats.networkHistoryIn.isEmpty() ? kUnknown : compactRate(stats.networkSpeedIn);
    }
    return {};
}

QImage trayFigureImage(const QString& text, Appearance appearance, int size) {
    const bool dark = appearance == Appearance::dark;
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::TextAntialiasing);

    // A filled badge keeps the figure readable whatever colour the panel behind it has.
    const QRectF badge = QRectF(image.rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    const qreal radius = size * 0.22;
    painter.setPen(QPen(dark ? QColor(0x5a, 0x5d, 0x66) : QColor(0xb8, 0xbb, 0xc2), 1.0));
    painter.setBrush(dark ? QColor(0x1e, 0x1f, 0x23) : QColor(0xfb, 0xfb, 0xfc));
    painter.drawRoundedRect(badge, radius, radius);

    // Four characters side by side would be a few pixels tall at 22 pixels, so the number
    // takes the upper part as large as it fits and its unit goes small beneath it.
    qsizetype split = 0;
    while (split < text.size() && (text[split].isDigit() || text[split] == u'.'))
        ++split;
    const QString number = split > 0 ? text.left(split) : text;
    const QString unit = split > 0 ? text.mid(split) : QString();
    const qreal margin = std::max(1.5, size * 0.08);
    const QRectF inside = badge.adjusted(margin, margin, -margin, -margin);
    const QRectF numberBox = unit.isEmpty() ? inside
                                            : QRectF(inside.left(), inside.top(), inside.width(),
                                                     inside.height() * 0.62);
    const QRectF unitBox(inside.left(), numberBox.bottom(), inside.width(),
                         inside.bottom() - numberBox.bottom());

    painter.setPen(dark ? QColor(0xf2, 0xf3, 0xf5) : QColor(0x16, 0x17, 0x1a));
    if (unit.isEmpty()) {
        drawFitted(painter, number, inside, Qt::AlignVCenter);
    } else {
        const qreal gap = std::max(1.0, size * 0.06);
        drawFitted(painter, number, numberBox, Qt::AlignBottom);
        drawFitted(painter, unit, unitBox.adjusted(0, gap, 0, 0), Qt::AlignTop);
    }
    return image;
}

QIcon trayFigureIcon(const QString& text, Appearance appearance) {
    QIcon icon;
    for (int size : {16, 22, 24, 32, 48})
        icon.addPixmap(QPixmap::fromImage(trayFigureImage(text, appearance, size)));
    return icon;
}

} // namespace velmox
