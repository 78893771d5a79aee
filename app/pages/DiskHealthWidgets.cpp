#include "app/pages/DiskHealthWidgets.h"

#include "cleaning/TaskRunResult.h"

#include <QHelpEvent>
#include <QPainter>
#include <QPainterPath>
#include <QToolTip>

namespace velmox {

namespace {

constexpr int kMinimumPart = 6;

} // namespace

QColor gradeColour(HealthGrade grade) {
    switch (grade) {
    case HealthGrade::ok:
    case HealthGrade::information:
        return QColor(0x2e, 0x9d, 0x44);
    case HealthGrade::warning:
        return QColor(0xd9, 0x8a, 0x00);
    case HealthGrade::critical:
        return QColor(0xd3, 0x2f, 0x2f);
    }
    return {};
}

PartitionBar::PartitionBar(const PhysicalDisk& disk, QWidget* parent)
    : QWidget(parent), partitions_(disk.partitions), totalBytes_(disk.totalBytes) {
    setObjectName(QStringLiteral("partitionBar"));
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    int64_t held = 0;
    for (const DiskPartition& partition : partitions_)
        held += std::max<int64_t>(0, partition.sizeBytes);
    totalBytes_ = std::max(totalBytes_, held);
}

QString PartitionBar::partName(const DiskPartition& partition) {
    return partition.name.isEmpty()
               ? partition.identifier
               : QStringLiteral("%1 (%2)").arg(partition.name, partition.identifier);
}

QString PartitionBar::sizeText(const DiskPartition& partition) {
    QString text = formatBytes(partition.sizeBytes);
    if (partition.usedBytes > 0)
        text +=
            QStringLiteral(", %1 free")
                .arg(formatBytes(std::max<int64_t>(0, partition.sizeBytes - partition.usedBytes)));
    else if (partition.mountPoint.isEmpty())
        text += QStringLiteral(", not mounted");
    return text;
}

QList<std::pair<int, int>> PartitionBar::spans(int width) const {
    QList<std::pair<int, int>> spans;
    if (partitions_.isEmpty() || totalBytes_ <= 0)
        return spans;
    // Every part gets its minimum first; the rest of the width is shared by size.
    const int spare = std::max(0, width - kMinimumPart * int(partitions_.size()));
    double offset = 0;
    for (const DiskPartition& partition : partitions_) {
        const double share =
            double(std::max<int64_t>(0, partition.sizeBytes)) / double(totalBytes_) * spare;
        const int left = int(offset);
        offset += kMinimumPart + share;
        spans.append({left, std::min(width, int(offset)) - left});
    }
    return spans;
}

QSize PartitionBar::sizeHint() const {
    return {400, fontMetrics().height() * 2 + 4};
}

void PartitionBar::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF whole = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    QPainterPath clip;
    clip.addRoundedRect(whole, 5, 5);
    painter.setClipPath(clip);
    const QPalette& colours = palette();
    painter.fillRect(whole, colours.color(QPalette::AlternateBase));

    const QList<std::pair<int, int>> parts = spans(width());
    static const QColor hues[] = {QColor(0x42, 0x85, 0xf4), QColor(0x8e, 0x5c, 0xd9),
                                  QColor(0x1e, 0x9e, 0x9a), QColor(0xc2, 0x6a, 0x2b),
                                  QColor(0x5c, 0x7c, 0x2e)};
    for (int i = 0; i < parts.size(); ++i) {
        const DiskPartition& partition = partitions_[i];
        const QRect part(parts[i].first, 0, parts[i].second, height());
        QColor hue = hues[i % std::size(hues)];
        hue.setAlpha(110);
        painter.fillRect(part, hue);
        if (partition.usedBytes > 0 && partition.sizeBytes > 0) {
            QColor used = hues[i % std::size(hues)];
            used.setAlpha(220);
            const double fraction =
                std::clamp(double(partition.usedBytes) / double(partition.sizeBytes), 0.0, 1.0);
            painter.fillRect(QRect(part.left(), 0, int(part.width() * fraction), height()), used);
        }
        painter.setPen(colours.color(QPalette::Window));
        painter.drawLine(part.topRight(), part.bottomRight());
        const QRect text = part.adjusted(5, 1, -4, -1);
        const QString name =
            fontMetrics().elidedText(partName(partition), Qt::ElideRight, text.width());
        if (name.size() > 1) {
            painter.setPen(colours.color(QPalette::WindowText));
            painter.drawText(text, Qt::AlignLeft | Qt::AlignTop, name);
            painter.drawText(
                text, Qt::AlignLeft | Qt::AlignBottom,
                fontMetrics().elidedText(sizeText(partition), Qt::ElideRight, text.width()));
        }
    }
    painter.setClipping(false);
    painter.setPen(colours.color(QPalette::Mid));
    painter.drawRoundedRect(whole, 5, 5);
}

bool PartitionBar::event(QEvent* event) {
    if (event->type() != QEvent::ToolTip)
        return QWidget::event(event);
    auto* help = static_cast<QHelpEvent*>(event);
    const QList<std::pair<int, int>> parts = spans(width());
    for (int i = 0; i < parts.size(); ++i) {
        if (help->pos().x() < parts[i].first || help->pos().x() >= parts[i].first + parts[i].second)
            continue;
        const DiskPartition& partition = partitions_[i];
        QStringList lines{partName(partition)};
        if (!partition.content.isEmpty())
            lines << partition.content;
        lines << sizeText(partition);
        if (!partition.detail.isEmpty())
            lines << partition.detail;
        QToolTip::showText(help->globalPos(), lines.join(QLatin1Char('\n')), this);
        return true;
    }
    QToolTip::hideText();
    event->ignore();
    return true;
}

FactMeter::FactMeter(const SmartFact& fact, QWidget* parent) : QWidget(parent), fact_(fact) {
    setObjectName(QStringLiteral("factMeter"));
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

QSize FactMeter::sizeHint() const {
    return {120, 8};
}

void FactMeter::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF track = QRectF(rect()).adjusted(0, 1, 0, -1);
    const double radius = track.height() / 2;
    painter.setPen(Qt::NoPen);
    painter.setBrush(palette().color(QPalette::AlternateBase));
    painter.drawRoundedRect(track, radius, radius);
    const double fraction = std::clamp(fact_.meter.value_or(0.0), 0.0, 1.0);
    if (fraction > 0) {
        painter.setBrush(gradeColour(fact_.grade));
        painter.drawRoundedRect(QRectF(track.left(), track.top(),
                                       std::max(track.height(), track.width() * fraction),
                                       track.height()),
                                radius, radius);
    }
    painter.setPen(QPen(palette().color(QPalette::WindowText), 1.5));
    for (const double mark : fact_.marks) {
        const double x = track.left() + track.width() * std::clamp(mark, 0.0, 1.0);
        painter.drawLine(QPointF(x, 0), QPointF(x, height()));
    }
}

} // namespace velmox
