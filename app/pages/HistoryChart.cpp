#include "app/pages/HistoryChart.h"

#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cmath>

namespace velmox {

HistoryChart::HistoryChart(QWidget* parent) : QWidget(parent) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    setAttribute(Qt::WA_OpaquePaintEvent, false);
}

void HistoryChart::setCapacity(int samples) {
    capacity_ = std::max(2, samples);
    update();
}

void HistoryChart::setFixedMaximum(double maximum) {
    fixedMaximum_ = maximum;
    update();
}

void HistoryChart::setSeries(QList<Series> series) {
    series_ = std::move(series);
    update();
}

double HistoryChart::scaleMaximum() const {
    if (fixedMaximum_ > 0)
        return fixedMaximum_;
    double largest = 0.0;
    for (const Series& one : series_)
        for (qsizetype i = std::max<qsizetype>(0, one.samples.size() - capacity_);
             i < one.samples.size(); ++i)
            largest = std::max(largest, one.samples[i]);
    if (largest <= 0.0)
        return 1.0;
    // Round up to 1, 2 or 5 times a power of ten, so the scale does not jitter with
    // every sample.
    const double magnitude = std::pow(10.0, std::floor(std::log10(largest)));
    for (double step : {1.0, 2.0, 5.0, 10.0})
        if (largest <= step * magnitude)
            return step * magnitude;
    return 10.0 * magnitude;
}

void HistoryChart::setAxes(std::function<QString(double)> valueText, double secondsPerSample) {
    valueText_ = std::move(valueText);
    secondsPerSample_ = secondsPerSample;
    update();
}

QStringList HistoryChart::axisLabels() const {
    if (!valueText_)
        return {};
    const int span = int(std::lround(secondsPerSample_ * (capacity_ - 1)));
    const QString oldest = span % 60 == 0 && span > 0 ? tr("%n min ago", nullptr, span / 60)
                                                      : tr("%1 s ago").arg(span);
    return {valueText_(scaleMaximum()), oldest, tr("now")};
}

QSize HistoryChart::sizeHint() const {
    return {240, 70};
}

QSize HistoryChart::minimumSizeHint() const {
    return {80, 36};
}

QColor HistoryChart::colorOf(const Series& series) const {
    return series.color.isValid() ? series.color : palette().color(series.role);
}

void HistoryChart::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF area = QRectF(rect()).adjusted(1.5, 1.5, -1.5, -1.5);

    QColor grid = palette().color(QPalette::Text);
    grid.setAlphaF(0.08f);
    painter.setPen(QPen(grid, 1.0));
    for (int line = 1; line < 4; ++line) {
        const double y = std::round(area.top() + area.height() * line / 4.0) + 0.5;
        painter.drawLine(QPointF(area.left(), y), QPointF(area.right(), y));
    }

    const double top = scaleMaximum();
    const double step = area.width() / double(capacity_ - 1);
    for (const Series& one : series_) {
        const qsizetype shown = std::min<qsizetype>(one.samples.size(), capacity_);
        if (shown < 1)
            continue;
        const qsizetype first = one.samples.size() - shown;
        QPainterPath line;
        for (qsizetype i = 0; i < shown; ++i) {
            const double value = std::clamp(one.samples[first + i], 0.0, top);
            const QPointF point(area.right() - double(shown - 1 - i) * step,
                                area.bottom() - value / top * area.height());
            if (i == 0)
                line.moveTo(point);
            else
                line.lineTo(point);
        }
        if (shown == 1)
            line.lineTo(line.currentPosition() - QPointF(std::min(step, 4.0), 0));

        const QColor color = colorOf(one);
        QPainterPath fill = line;
        fill.lineTo(line.currentPosition().x(), area.bottom());
        fill.lineTo(line.elementAt(0).x, area.bottom());
        fill.closeSubpath();
        QLinearGradient shade(area.topLeft(), area.bottomLeft());
        QColor strong = color;
        strong.setAlphaF(0.32f);
        QColor faint = color;
        faint.setAlphaF(0.03f);
        shade.setColorAt(0, strong);
        shade.setColorAt(1, faint);
        painter.fillPath(fill, shade);
        painter.setPen(QPen(color, 1.8, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter.drawPath(line);
    }

    const QStringList labels = axisLabels();
    if (labels.isEmpty())
        return;
    QFont small = font();
    small.setPointSizeF(small.pointSizeF() * 0.8);
    painter.setFont(small);
    painter.setPen(palette().color(QPalette::PlaceholderText));
    const QRectF text = area.adjusted(3, 1, -3, -1);
    painter.drawText(text, Qt::AlignLeft | Qt::AlignTop, labels[0]);
    painter.drawText(text, Qt::AlignLeft | Qt::AlignBottom, labels[1]);
    painter.drawText(text, Qt::AlignRight | Qt::AlignBottom, labels[2]);
}

} // namespace velmox
