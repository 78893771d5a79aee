#pragma once

#include "storage/ChartSegment.h"
#include "storage/SunburstLayout.h"

#include <QList>
#include <QPainterPath>
#include <QWidget>
#include <memory>

class QPainter;

namespace velmox {

// A ring of a folder's chart segments, largest first clockwise from the top, with up to five
// more rings outside it that divide each folder among its children (a sunburst). Hovering a
// slice or an arc highlights it and shows its path, size and share in the middle; clicking
// one that stands for a folder asks to open it (a file opens the folder it is in).
class StorageRingChart : public QWidget {
    Q_OBJECT
public:
    explicit StorageRingChart(QWidget* parent = nullptr);

    // `shareCaption` heads the legend's percentages and says what they are shares of.
    void setSegments(const QList<ChartSegment>& segments, const QString& title,
                     const QString& shareCaption = {});
    // The tree the segments come from, for the outer rings.
    void setTree(std::shared_ptr<const FileTree> tree, TreeSortKey key);
    // How many rings: 1 (the slices alone) to SunburstLayout::kMaxLevels.
    void setLevels(int levels);
    int levels() const { return levels_; }
    const QString& shareCaption() const { return shareCaption_; }
    const QList<ChartSlice>& slices() const { return slices_; }
    int hoveredSlice() const { return hovered_; }
    // The slice under a point of the widget, or -1.
    int sliceAt(const QPointF& point) const;
    // The node of the slice or arc under a point, or -1 (also for "Other files" and the
    // volume's segments).
    int32_t nodeAt(const QPointF& point) const;
    // The middle's two lines: what is hovered (or the folder) and its size and share.
    QString headline() const;
    QString figure() const;
    QPointF ringCenter() const { return ringRect().center(); }
    // Arcs laid out in the outer rings (after the last paint or hit test).
    size_t arcCount() const;

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
    void resizeEvent(QResizeEvent* event) override;

private:
    QRectF ringRect() const;
    // Inner and outer radius of ring `ring` (0 being the slices).
    std::pair<double, double> radii(int ring) const;
    int ringAt(const QPointF& point) const;
    double angleAt(const QPointF& point) const;
    void setHovered(int slice, std::optional<SunburstArc> arc = std::nullopt);
    // Lays out the outer rings for the current size when something changed.
    void layOut() const;
    void paintOuterRings(QPainter& painter) const;

    QList<ChartSlice> slices_;
    std::shared_ptr<const FileTree> tree_;
    TreeSortKey key_ = TreeSortKey::real;
    int levels_ = 1;
    std::optional<SunburstArc> hoveredArc_;
    // Laid out lazily: the arcs, and per ring one path per slice colour plus the separators.
    mutable bool laidOut_ = false;
    mutable QSize laidOutFor_;
    mutable std::vector<std::vector<SunburstArc>> rings_;
    mutable std::vector<std::pair<int, QPainterPath>> fills_; // slice index, area
    mutable QPainterPath separators_;
    int64_t total_ = 0;
    QString title_;
    QString shareCaption_;
    int hovered_ = -1;
};

} // namespace velmox
