#include "app/pages/StorageRingChart.h"

#include "services/ShownText.h"

#include <QLocale>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <cmath>
#include <numbers>

namespace velmox {

namespace {

constexpr int kLegendRowHeight = 18;
constexpr int kHoverGrowth = 6;

QString sizeText(int64_t bytes) {
    return QLocale().formattedDataSize(bytes, 1, QLocale::DataSizeSIFormat);
}

} // namespace

StorageRingChart::StorageRingChart(QWidget* parent) : QWidget(parent) {
    setMouseTracking(true);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Expanding);
}

QColor StorageRingChart::colorFor(const ChartSegment& segment) {
    // Mid-tone hues: bright enough on the dark window, deep enough on the light one.
    static const QColor items[StorageChart::kMaxOwnSegments] = {
        QColor(0x3b, 0x82, 0xf6), QColor(0x10, 0xb9, 0x81), QColor(0xf5, 0x9e, 0x0b),
        QColor(0xef, 0x44, 0x44), QColor(0x8b, 0x5c, 0xf6), QColor(0x06, 0xb6, 0xd4),
        QColor(0xec, 0x48, 0x99), QColor(0x84, 0xcc, 0x16), QColor(0xf9, 0x73, 0x16)};
    switch (segment.kind) {
    case ChartSegment::Kind::item:
        return items[std::clamp(segment.colorIndex, 0, StorageChart::kMaxOwnSegments - 1)];
    case ChartSegment::Kind::other:
        return QColor(0x8b, 0x8f, 0x98);
    case ChartSegment::Kind::unscanned:
        return QColor(0x64, 0x6b, 0x78);
    case ChartSegment::Kind::purgeable:
        return QColor(0xa7, 0xb4, 0xc8);
    case ChartSegment::Kind::free:
        break;
    }
    return QColor(0x9c, 0xa3, 0xaf, 70);
}

void StorageRingChart::setSegments(const QList<ChartSegment>& segments, const QString& title,
                                   const QString& shareCaption) {
    shareCaption_ = shareCaption;
    slices_ = StorageChart::slices(segments);
    total_ = 0;
    for (const ChartSegment& segment : segments)
        total_ += segment.bytes;
    title_ = title;
    hovered_ = -1;
    update();
}

double StorageRingChart::ringWidth() const {
    return ringRect().width() * 0.17;
}

QRectF StorageRingChart::ringRect() const {
    const double legend = double((slices_.size() + 1) * kLegendRowHeight) + 12;
    const double diameter =
        std::max(60.0, std::min(double(width()), double(height()) - legend) - 2 * kHoverGrowth);
    return {(width() - diameter) / 2, double(kHoverGrowth), diameter, diameter};
}

int StorageRingChart::sliceAt(const QPointF& point) const {
    const QRectF ring = ringRect();
    const QPointF offset = point - ring.center();
    const double distance = std::hypot(offset.x(), offset.y());
    const double outer = ring.width() / 2 + kHoverGrowth;
    if (distance <= outer && distance >= ring.width() / 2 - ringWidth()) {
        double angle = std::atan2(offset.x(), -offset.y()) * 180.0 / std::numbers::pi;
        if (angle < 0)
            angle += 360;
        for (int i = 0; i < slices_.size(); ++i)
            if (angle >= slices_[i].startAngle && angle < slices_[i].endAngle)
                return i;
        return -1;
    }
    // Below the ring: the legend's heading row, then one row per slice.
    const double legendTop = ring.bottom() + kHoverGrowth + 12 + kLegendRowHeight;
    if (point.y() >= legendTop) {
        const int row = int((point.y() - legendTop) / kLegendRowHeight);
        if (row < slices_.size())
            return row;
    }
    return -1;
}

void StorageRingChart::setHovered(int slice) {
    if (slice == hovered_)
        return;
    hovered_ = slice;
    update();
    emit hoveredChanged(slice >= 0 ? slices_[slice].segment.node : -1);
}

void StorageRingChart::mouseMoveEvent(QMouseEvent* event) {
    setHovered(sliceAt(event->position()));
    const int slice = hovered_;
    setCursor(slice >= 0 && slices_[slice].segment.kind == ChartSegment::Kind::item
                  ? Qt::PointingHandCursor
                  : Qt::ArrowCursor);
}

void StorageRingChart::mousePressEvent(QMouseEvent* event) {
    const int slice = sliceAt(event->position());
    if (event->button() == Qt::LeftButton && slice >= 0 &&
        slices_[slice].segment.kind == ChartSegment::Kind::item)
        emit segmentClicked(slices_[slice].segment.node);
}

void StorageRingChart::leaveEvent(QEvent*) {
    setHovered(-1);
}

void StorageRingChart::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF ring = ringRect();
    const double width = ringWidth();
    const QColor text = palette().color(QPalette::WindowText);
    const QColor dim = palette().color(QPalette::PlaceholderText);

    if (slices_.isEmpty()) {
        painter.setPen(QPen(palette().color(QPalette::Mid), width, Qt::SolidLine, Qt::FlatCap));
        painter.drawEllipse(ring.adjusted(width / 2, width / 2, -width / 2, -width / 2));
    }
    for (int i = 0; i < slices_.size(); ++i) {
        const ChartSlice& slice = slices_[i];
        const double sweep = slice.endAngle - slice.startAngle;
        if (sweep <= 0)
            continue;
        const double grow = i == hovered_ ? kHoverGrowth : 0;
        const QRectF outer = ring.adjusted(-grow, -grow, grow, grow);
        const QRectF inner = ring.adjusted(width, width, -width, -width);
        // Qt counts degrees anticlockwise from three o'clock.
        const double start = 90.0 - slice.startAngle;
        QPainterPath path;
        path.arcMoveTo(outer, start);
        path.arcTo(outer, start, -sweep);
        path.arcTo(inner, start - sweep, sweep);
        path.closeSubpath();
        QColor fill = colorFor(slice.segment);
        if (hovered_ >= 0 && i != hovered_)
            fill.setAlphaF(fill.alphaF() * 0.55f);
        painter.fillPath(path, fill);
        if (slices_.size() > 1) {
            painter.setPen(QPen(palette().color(QPalette::Window), 1.5));
            painter.drawPath(path);
        }
    }

    // The middle: the hovered slice, or the folder's total.
    const QRectF middle = ring.adjusted(width + 8, width + 8, -width - 8, -width - 8);
    QString headline = title_;
    QString figure = sizeText(total_);
    if (hovered_ >= 0) {
        const ChartSegment& segment = slices_[hovered_].segment;
        headline = shownName(segment.label);
        figure = sizeText(segment.bytes) + QStringLiteral(" · ") +
                 StorageChart::percentLabel(segment.bytes, total_);
    }
    QFont font = painter.font();
    painter.setPen(dim);
    const QFontMetrics metrics(font);
    painter.drawText(QRectF(middle.left(), middle.center().y() - metrics.height(), middle.width(),
                            metrics.height()),
                     Qt::AlignHCenter | Qt::AlignBottom,
                     metrics.elidedText(headline, Qt::ElideMiddle, int(middle.width())));
    QFont bold = font;
    bold.setBold(true);
    bold.setPointSizeF(font.pointSizeF() * 1.15);
    painter.setFont(bold);
    painter.setPen(text);
    painter.drawText(
        QRectF(middle.left(), middle.center().y() + 2, middle.width(), QFontMetrics(bold).height()),
        Qt::AlignHCenter | Qt::AlignTop, figure);
    painter.setFont(font);

    // The legend: a heading saying what the shares are of, then one row per segment.
    double y = ring.bottom() + kHoverGrowth + 12;
    const QRectF area(8, 0, this->width() - 16, kLegendRowHeight);
    if (!slices_.isEmpty()) {
        painter.setPen(dim);
        painter.drawText(area.translated(0, y).adjusted(0, 0, -2, 0),
                         Qt::AlignRight | Qt::AlignVCenter, shareCaption_);
        y += kLegendRowHeight;
    }
    for (int i = 0; i < slices_.size(); ++i, y += kLegendRowHeight) {
        const ChartSegment& segment = slices_[i].segment;
        const QRectF row = area.translated(0, y);
        if (i == hovered_) {
            QColor band = palette().color(QPalette::Highlight);
            band.setAlpha(50);
            painter.fillRect(row, band);
        }
        painter.setPen(Qt::NoPen);
        painter.setBrush(colorFor(segment));
        painter.drawRoundedRect(QRectF(row.left() + 2, row.center().y() - 5, 10, 10), 3, 3);
        const QString share = StorageChart::percentLabel(segment.bytes, total_);
        const int shareWidth = metrics.horizontalAdvance(QStringLiteral("100.0%")) + 4;
        painter.setPen(dim);
        painter.drawText(row.adjusted(0, 0, -2, 0), Qt::AlignRight | Qt::AlignVCenter, share);
        painter.setPen(text);
        const QRectF label = row.adjusted(18, 0, -shareWidth, 0);
        painter.drawText(
            label, Qt::AlignLeft | Qt::AlignVCenter,
            metrics.elidedText(shownName(segment.label), Qt::ElideMiddle, int(label.width())));
    }
}

} // namespace velmox
