#pragma once

#include "diskhealth/DiskRecords.h"
#include "diskhealth/SmartReport.h"

#include <QWidget>

namespace velmox {

// The colour of a grade: green for OK and information, amber for a warning, red for critical.
QColor gradeColour(HealthGrade grade);

// A disk's partitions side by side as one bar, each as wide as its share of the disk, with its
// name inside where it fits and its used part shaded. Hovering a part shows its size and free
// space. Space that no partition holds stays empty.
class PartitionBar : public QWidget {
    Q_OBJECT
public:
    PartitionBar(const PhysicalDisk& disk, QWidget* parent = nullptr);

    // "EFI (sda1)": the name of a part, as drawn.
    static QString partName(const DiskPartition& partition);
    // "512 MB, 480 MB free"; "8 MB, not mounted" when the free space is not known.
    static QString sizeText(const DiskPartition& partition);
    // The parts' spans in a bar `width` pixels wide, each at least a few pixels.
    QList<std::pair<int, int>> spans(int width) const;

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    bool event(QEvent* event) override;

private:
    QList<DiskPartition> partitions_;
    int64_t totalBytes_;
};

// A fraction as a thin horizontal meter in the colour of its grade, with a tick where the grade
// rises (the warning and critical temperatures, the worn-out mark).
class FactMeter : public QWidget {
    Q_OBJECT
public:
    FactMeter(const SmartFact& fact, QWidget* parent = nullptr);
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    SmartFact fact_;
};

} // namespace velmox
