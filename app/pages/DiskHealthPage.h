#pragma once

#include "diskhealth/DiskRecords.h"
#include "services/Result.h"

#include <QFutureWatcher>
#include <QWidget>
#include <memory>

class QLabel;
class QPushButton;
class QThreadPool;
class QVBoxLayout;

namespace velmox {

class Clock;
class DiskInventorySource;
class SmartReader;

// One card per physical disk: what it is, its S.M.A.R.T. grade (or why there is none), its
// partitions and, when the drive reports them, its attributes graded row by row. The listing
// and the S.M.A.R.T. reads run on a pool thread; the page only shows their result.
class DiskHealthPage : public QWidget {
    Q_OBJECT
public:
    // The reads run on `pool`, which must outlive whatever the reader uses.
    DiskHealthPage(std::shared_ptr<const DiskInventorySource> inventory,
                   std::shared_ptr<SmartReader> reader, Clock& clock, QThreadPool& pool,
                   QWidget* parent = nullptr);

    // Lists the disks and reads each one again, unless a check is under way ("Check now").
    void checkNow();
    bool isChecking() const { return checking_; }

signals:
    void checked();

private:
    void showDisks(const Result<QList<PhysicalDisk>>& disks);
    QWidget* diskCard(const PhysicalDisk& disk);

    std::shared_ptr<const DiskInventorySource> inventory_;
    std::shared_ptr<SmartReader> reader_;
    Clock& clock_;
    QThreadPool& pool_;
    QFutureWatcher<Result<QList<PhysicalDisk>>> watcher_;
    QPushButton* checkButton_;
    QLabel* lastChecked_;
    bool checking_ = false;
    QVBoxLayout* cards_;
};

} // namespace velmox
