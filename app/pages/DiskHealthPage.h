#pragma once

#include "diskhealth/DiskRecords.h"
#include "services/Result.h"

#include <QFutureWatcher>
#include <QWidget>
#include <functional>
#include <memory>

class QLabel;
class QPushButton;
class QThreadPool;
class QVBoxLayout;

namespace velmox {

class Clock;
class DiskInventorySource;
class EfiActions;
class Settings;
class ShellHelper;
class SmartReader;
class StatusReporter;

// One card per physical disk: what it is, its S.M.A.R.T. grade (or why there is none), its
// partitions as a bar, the facts with meters, its attributes graded row by row when the drive
// reports them, and the EFI actions. The listing, the S.M.A.R.T. reads and the EFI actions run
// on a pool thread; the page only shows their result.
class DiskHealthPage : public QWidget {
    Q_OBJECT
public:
    // The work runs on `pool`, which must outlive whatever the reader and the EFI actions use.
    // `settings` (the EFI auto-open switch) must outlive the page.
    DiskHealthPage(std::shared_ptr<const DiskInventorySource> inventory,
                   std::shared_ptr<SmartReader> reader, std::shared_ptr<EfiActions> efi,
                   Settings& settings, Clock& clock, QThreadPool& pool, QWidget* parent = nullptr);

    // The EFI actions of this desktop: UDisks2, else the privileged runner (which may prompt:
    // the user asked for the action).
    static std::shared_ptr<EfiActions> desktopEfiActions(ShellHelper& shell);

    // Lists the disks and reads each one again, unless a check is under way ("Check now").
    void checkNow();
    bool isChecking() const { return checking_; }
    // What the last EFI action said.
    QString efiMessage() const;

signals:
    void checked();
    void efiActionFinished();

private:
    // An EFI action: its success message (empty for none) or its failure.
    using EfiWork = std::function<Result<QString>(EfiActions&)>;
    void showDisks(const Result<QList<PhysicalDisk>>& disks);
    QWidget* diskCard(const PhysicalDisk& disk);
    QWidget* efiRow(const PhysicalDisk& disk, QWidget* card);
    // Runs one EFI action off the main thread, then shows its outcome and lists the disks again.
    void runEfiAction(EfiWork work);

    std::shared_ptr<const DiskInventorySource> inventory_;
    std::shared_ptr<SmartReader> reader_;
    std::shared_ptr<EfiActions> efi_;
    Settings& settings_;
    Clock& clock_;
    QThreadPool& pool_;
    QFutureWatcher<Result<QList<PhysicalDisk>>> watcher_;
    QPushButton* checkButton_;
    QLabel* lastChecked_;
    StatusReporter* efiReporter_;
    bool checking_ = false;
    bool efiRunning_ = false;
    QVBoxLayout* cards_;
};

} // namespace velmox
