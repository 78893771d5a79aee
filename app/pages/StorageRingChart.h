#pragma once

#include "storage/ChartSegment.h"

#include <QList>
#include <QWidget>

namespace velmox {

// A ring of a folder's chart segments, largest first clockwise from the top. Hovering a
// slice highlights it and shows its label, size and share in the middle; clicking a
// slice that stands for a folder asks to open it.
class StorageRingChart : public QWidget {
    Q_OBJECT
public:
    explicit StorageRingChart(QWidget* parent = nullptr);

    // `shareCaption` heads the legend's percentages and says what they are shares of.
    void setSegments(const QList<ChartSegment>& segments, const QString& title,
                     const QString& shareCaption = {});
    const QString& shareCaption() const { return shareCaption_; }
    const QList<ChartSlice>& slices() const { return slices_; }
    int hoveredSlice() const { return hovered_; }
    // The slice under a point of the widget, or -1.
    int sliceAt(const QPointF& point) const;

    // Colours of the segments: distinct hues that read on dark and light backgrounds.
    static QColor colorFor(const ChartSegment& segment);

    QSize sizeHint() const override { return {300, 300}; }
    QSize minimumSizeHint() const override { return {200, 200}; }

signals:
    void segmentClicked(int32_t node);
    void hoveredChanged(int32_t node);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    QRectF ringRect() const;
    double ringWidth() const;
    void setHovered(int slice);

    QList<ChartSlice> slices_;
    int64_t total_ = 0;
    QString title_;
    QString shareCaption_;
    int hovered_ = -1;
};

} // namespace velmox
