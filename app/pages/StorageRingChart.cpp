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
    hoveredArc_.reset();
    laidOut_ = false;
    update();
}

void StorageRingChart::setTree(std::shared_ptr<const FileTree> tree, TreeSortKey key) {
    tree_ = std::move(tree);
    key_ = key;
    laidOut_ = false;
    hoveredArc_.reset();
    update();
}

void StorageRingChart::setLevels(int levels) {
    levels = std::clamp(levels, 1, SunburstLayout::kMaxLevels);
    if (levels == levels_)
        return;
    levels_ = levels;
    laidOut_ = false;
    setHovered(-1);
    update();
}

void StorageRingChart::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    laidOut_ = false;
}

QRectF StorageRingChart::ringRect() const {
    const double legend = double((slices_.size() + 1) * kLegendRowHeight) + 12;
    const double diameter =
        std::max(60.0, std::min(double(width()), double(height()) - legend) - 2 * kHoverGrowth);
    return {(width() - diameter) / 2, double(kHoverGrowth), diameter, diameter};
}

// One ring fills the outer third of the circle; more rings share the circle outside a middle
// that keeps room for the two lines of text.
std::pair<double, double> StorageRingChart::radii(int ring) const {
    const double radius = ringRect().width() / 2;
    if (levels_ <= 1)
        return {radius * 0.66, radius};
    const double middle = radius * 0.42;
    const double width = (radius - middle) / levels_;
    return {middle + ring * width, middle + (ring + 1) * width};
}

double StorageRingChart::angleAt(const QPointF& point) const {
    const QPointF offset = point - ringRect().center();
    const double angle = std::atan2(offset.x(), -offset.y()) * 180.0 / std::numbers::pi;
    return angle < 0 ? angle + 360 : angle;
}

// The outer ring under a point (1 and up), or -1.
int StorageRingChart::ringAt(const QPointF& point) const {
    const QPointF offset = point - ringRect().center();
    const double distance = std::hypot(offset.x(), offset.y());
    for (int ring = 1; ring < levels_; ++ring)
        if (const auto [inner, outer] = radii(ring); distance >= inner && distance < outer)
            return ring;
    return -1;
}

int StorageRingChart::sliceAt(const QPointF& point) const {
    const QRectF ring = ringRect();
    const QPointF offset = point - ring.center();
    const double distance = std::hypot(offset.x(), offset.y());
    const auto [inner, outer] = radii(0);
    const double reach = outer + (levels_ == 1 ? kHoverGrowth : 0);
    if (distance <= reach && distance >= inner) {
        const double angle = angleAt(point);
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

int32_t StorageRingChart::nodeAt(const QPointF& point) const {
    if (const int slice = sliceAt(point); slice >= 0)
        return slices_[slice].segment.kind == ChartSegment::Kind::item ? slices_[slice].segment.node
                                                                       : -1;
    const int ring = ringAt(point);
    if (ring < 1 || !tree_)
        return -1;
    layOut();
    if (size_t(ring - 1) >= rings_.size())
        return -1;
    const auto arc = SunburstLayout::arcAt(rings_[size_t(ring - 1)], angleAt(point));
    return arc ? arc->node : -1;
}

size_t StorageRingChart::arcCount() const {
    layOut();
    size_t count = 0;
    for (const auto& ring : rings_)
        count += ring.size();
    return count;
}

void StorageRingChart::layOut() const {
    if (laidOut_ && laidOutFor_ == size())
        return;
    laidOut_ = true;
    laidOutFor_ = size();
    rings_.clear();
    fills_.clear();
    separators_.clear();
    if (!tree_ || levels_ <= 1)
        return;
    std::vector<double> outerRadii;
    for (int ring = 1; ring < levels_; ++ring)
        outerRadii.push_back(radii(ring).second);
    rings_ = SunburstLayout::build(*tree_, key_, slices_, outerRadii);
    const QPointF center = ringRect().center();
    for (size_t ring = 0; ring < rings_.size(); ++ring) {
        const auto [innerRadius, outerRadius] = radii(int(ring) + 1);
        const QRectF outer(center.x() - outerRadius, center.y() - outerRadius, 2 * outerRadius,
                           2 * outerRadius);
        const QRectF inner(center.x() - innerRadius, center.y() - innerRadius, 2 * innerRadius,
                           2 * innerRadius);
        for (const SunburstArc& arc : rings_[ring]) {
            if (fills_.empty() || fills_.back().first != int(ring) * 1000 + arc.slice)
                fills_.emplace_back(int(ring) * 1000 + arc.slice, QPainterPath());
            QPainterPath& path = fills_.back().second;
            const double start = 90.0 - arc.start;
            path.arcMoveTo(outer, start);
            path.arcTo(outer, start, -arc.sweep);
            path.arcTo(inner, start - arc.sweep, arc.sweep);
            path.closeSubpath();
            // A line where each arc begins parts it from the one before.
            const double radians = double(arc.start) * std::numbers::pi / 180.0;
            const QPointF direction(std::sin(radians), -std::cos(radians));
            separators_.moveTo(center + direction * innerRadius);
            separators_.lineTo(center + direction * outerRadius);
        }
    }
}

void StorageRingChart::setHovered(int slice, std::optional<SunburstArc> arc) {
    if (slice == hovered_ && arc == hoveredArc_)
        return;
    const int32_t before =
        hovered_ >= 0 ? slices_[hovered_].segment.node : (hoveredArc_ ? hoveredArc_->node : -1);
    hovered_ = slice;
    hoveredArc_ = arc;
    update();
    const int32_t now = slice >= 0 ? slices_[slice].segment.node : (arc ? arc->node : -1);
    if (now != before)
        emit hoveredChanged(now);
}

void StorageRingChart::mouseMoveEvent(QMouseEvent* event) {
    const QPointF point = event->position();
    const int slice = sliceAt(point);
    std::optional<SunburstArc> arc;
    if (const int ring = slice < 0 && tree_ ? ringAt(point) : -1; ring >= 1) {
        layOut();
        if (size_t(ring - 1) < rings_.size())
            arc = SunburstLayout::arcAt(rings_[size_t(ring - 1)], angleAt(point));
    }
    setHovered(slice, arc);
    setCursor(nodeAt(point) >= 0 ? Qt::PointingHandCursor : Qt::ArrowCursor);
}

void StorageRingChart::mousePressEvent(QMouseEvent* event) {
    const int32_t node = nodeAt(event->position());
    if (event->button() != Qt::LeftButton || node < 0)
        return;
    // A file opens the folder it is in.
    const bool folder =
        !tree_ || node >= tree_->size() || tree_->hasFlag(node, NodeFlag::directory);
    emit segmentClicked(folder ? node : tree_->parent(node));
}

void StorageRingChart::leaveEvent(QEvent*) {
    setHovered(-1);
}

QString StorageRingChart::headline() const {
    if (hovered_ >= 0)
        return shownName(slices_[hovered_].segment.label);
    if (hoveredArc_ && tree_) {
        // The path below the folder shown, which is the parent of the inner slice's node.
        const int32_t top = slices_[hoveredArc_->slice].segment.node;
        const QByteArray folder = tree_->pathBytes(tree_->parent(top));
        return shownName(
            QByteArrayView(tree_->pathBytes(hoveredArc_->node).mid(folder.size() + 1)));
    }
    return title_;
}

QString StorageRingChart::figure() const {
    int64_t bytes = total_;
    if (hovered_ >= 0)
        bytes = slices_[hovered_].segment.bytes;
    else if (hoveredArc_ && tree_)
        bytes = tree_->size(hoveredArc_->node, key_);
    else
        return sizeText(total_);
    return sizeText(bytes) + QStringLiteral(" · ") + StorageChart::percentLabel(bytes, total_);
}

// Each slice's descendants in its own colour, paler ring by ring outward.
void StorageRingChart::paintOuterRings(QPainter& painter) const {
    layOut();
    // Hundreds of arcs side by side: their edges are covered by the separators below, so the
    // fills skip antialiasing, which costs most of the drawing time.
    painter.setRenderHint(QPainter::Antialiasing, false);
    for (const auto& [key, path] : fills_) {
        const int ring = key / 1000;
        const int slice = key % 1000;
        QColor fill = colorFor(slices_[slice].segment);
        fill.setAlphaF(fill.alphaF() * float(0.85 - 0.1 * ring));
        if ((hovered_ >= 0 && hovered_ != slice) || (hoveredArc_ && hoveredArc_->slice != slice))
            fill.setAlphaF(fill.alphaF() * 0.55f);
        painter.fillPath(path, fill);
    }
    painter.setRenderHint(QPainter::Antialiasing, true);
    if (!separators_.isEmpty())
        painter.strokePath(separators_, QPen(palette().color(QPalette::Window), 1));
    if (hoveredArc_) {
        const QPointF center = ringRect().center();
        for (size_t ring = 0; ring < rings_.size(); ++ring) {
            const auto found = std::find(rings_[ring].begin(), rings_[ring].end(), *hoveredArc_);
            if (found == rings_[ring].end())
                continue;
            const auto [innerRadius, outerRadius] = radii(int(ring) + 1);
            const QRectF outer(center.x() - outerRadius, center.y() - outerRadius, 2 * outerRadius,
                               2 * outerRadius);
            const QRectF inner(center.x() - innerRadius, center.y() - innerRadius, 2 * innerRadius,
                               2 * innerRadius);
            QPainterPath path;
            const double start = 90.0 - found->start;
            path.arcMoveTo(outer, start);
            path.arcTo(outer, start, -found->sweep);
            path.arcTo(inner, start - found->sweep, found->sweep);
            path.closeSubpath();
            painter.fillPath(path, colorFor(slices_[found->slice].segment));
            painter.strokePath(path, QPen(palette().color(QPalette::WindowText), 1.5));
        }
    }
}

void StorageRingChart::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF ring = ringRect();
    const auto [innerRadius, outerRadius] = radii(0);
    const double width = outerRadius - innerRadius;
    const double inset = ring.width() / 2 - outerRadius;
    const QColor text = palette().color(QPalette::WindowText);
    const QColor dim = palette().color(QPalette::PlaceholderText);

    if (slices_.isEmpty()) {
        painter.setPen(QPen(palette().color(QPalette::Mid), width, Qt::SolidLine, Qt::FlatCap));
        const double middle = inset + width / 2;
        painter.drawEllipse(ring.adjusted(middle, middle, -middle, -middle));
    }
    for (int i = 0; i < slices_.size(); ++i) {
        const ChartSlice& slice = slices_[i];
        const double sweep = slice.endAngle - slice.startAngle;
        if (sweep <= 0)
            continue;
        const double grow = i == hovered_ && levels_ == 1 ? kHoverGrowth : 0;
        const QRectF outer = ring.adjusted(inset - grow, inset - grow, grow - inset, grow - inset);
        const QRectF inner =
            ring.adjusted(inset + width, inset + width, -inset - width, -inset - width);
        // Qt counts degrees anticlockwise from three o'clock.
        const double start = 90.0 - slice.startAngle;
        QPainterPath path;
        path.arcMoveTo(outer, start);
        path.arcTo(outer, start, -sweep);
        path.arcTo(inner, start - sweep, sweep);
        path.closeSubpath();
        QColor fill = colorFor(slice.segment);
        if ((hovered_ >= 0 && i != hovered_) || (hoveredArc_ && hoveredArc_->slice != i))
            fill.setAlphaF(fill.alphaF() * 0.55f);
        painter.fillPath(path, fill);
        if (slices_.size() > 1) {
            painter.setPen(QPen(palette().color(QPalette::Window), 1.5));
            painter.drawPath(path);
        }
    }

    paintOuterRings(painter);

    // The middle: the hovered slice or arc, or the folder's total.
    const double hole = ring.width() / 2 - innerRadius + 5;
    const QRectF middle = ring.adjusted(hole, hole, -hole, -hole);
    const QString headline = this->headline();
    const QString figure = this->figure();
    QFont font = painter.font();
    painter.setPen(dim);
    const QFontMetrics metrics(font);
    painter.drawText(QRectF(middle.left(), middle.center().y() - metrics.height(), middle.width(),
                            metrics.height()),
                     Qt::AlignHCenter | Qt::AlignBottom,
                     metrics.elidedText(headline, Qt::ElideMiddle, int(middle.width())));
    // With several rings the middle is small: the figure shrinks a little before it is elided.
    QFont bold = font;
    bold.setBold(true);
    bold.setPointSizeF(font.pointSizeF() * 1.15);
    while (bold.pointSizeF() > font.pointSizeF() * 0.8 &&
           QFontMetrics(bold).horizontalAdvance(figure) > middle.width())
        bold.setPointSizeF(bold.pointSizeF() - 0.5);
    const QFontMetrics boldMetrics(bold);
    painter.setFont(bold);
    painter.setPen(text);
    painter.drawText(
        QRectF(middle.left(), middle.center().y() + 2, middle.width(), boldMetrics.height()),
        Qt::AlignHCenter | Qt::AlignTop,
        boldMetrics.elidedText(figure, Qt::ElideRight, int(middle.width())));
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
