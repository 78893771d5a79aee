#include "app/pages/DiskHealthPage.h"

#include "app/SidebarItems.h"
#include "app/StatusReporter.h"
#include "app/pages/DiskHealthWidgets.h"
#include "app/pages/PageHeader.h"
#include "cleaning/TaskRunResult.h"
#include "diskhealth/DiskEfiActions.h"
#include "diskhealth/DiskInventory.h"
#include "diskhealth/SmartReader.h"
#include "services/Clock.h"
#include "services/Settings.h"
#include "services/ShellHelper.h"

#include <QCheckBox>
#include <QCoreApplication>
#include <QFrame>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLocale>
#include <QPointer>
#include <QPromise>
#include <QPushButton>
#include <QScrollArea>
#include <QTableWidget>
#include <QThreadPool>
#include <QVBoxLayout>

namespace velmox {

namespace {

using Disks = Result<QList<PhysicalDisk>>;

// Lists the disks and reads each one's S.M.A.R.T. values; blocks for as long as the tools take.
Disks readDisks(const DiskInventorySource& inventory, SmartReader& reader) {
    Disks disks = inventory.read();
    if (!disks)
        return disks;
    for (PhysicalDisk& disk : *disks) {
        SmartTarget target;
        target.devicePath = "/dev/" + disk.identifier.toUtf8();
        target.bus = disk.busProtocol.toLower();
        target.rotational = !disk.isSolidState;
        target.internal = disk.isInternal;
        Result<SmartReport> read = reader.read(target);
        disk.report = std::make_shared<const SmartReport>(read ? std::move(*read)
                                                               : unavailableReport(read.error()));
    }
    return disks;
}

QString statusColor(const SmartReport& report) {
    switch (report.status) {
    case DiskHealthStatus::healthy:
    case DiskHealthStatus::verified:
        return gradeColour(HealthGrade::ok).name();
    case DiskHealthStatus::watch:
        return gradeColour(HealthGrade::warning).name();
    case DiskHealthStatus::critical:
        return gradeColour(HealthGrade::critical).name();
    case DiskHealthStatus::unavailable:
        break;
    }
    return {}; // the text colour of the theme
}

// "EFI (sda1) · EFI system partition · vfat · 512 MB, 480 MB free"
QString partitionLine(const DiskPartition& partition) {
    QStringList parts{PartitionBar::partName(partition)};
    if (!partition.content.isEmpty())
        parts << partition.content;
    if (!partition.fileSystem.isEmpty())
        parts << partition.fileSystem;
    parts << PartitionBar::sizeText(partition);
    return parts.join(QStringLiteral(" · "));
}

QString volumeLine(const DiskVolume& volume) {
    QStringList parts{volume.name};
    if (!volume.fileSystem.isEmpty())
        parts << volume.fileSystem;
    parts << QStringLiteral("%1, %2 free")
                 .arg(formatBytes(volume.totalBytes), formatBytes(volume.availableBytes));
    return parts.join(QStringLiteral(" · "));
}

QTableWidget* attributeTable(const QList<SmartAttributeRow>& rows, QWidget* parent) {
    const QStringList headers{QStringLiteral("ID"),        QStringLiteral("Attribute"),
                              QStringLiteral("Value"),     QStringLiteral("Worst"),
                              QStringLiteral("Threshold"), QStringLiteral("Raw"),
                              QStringLiteral("Grade")};
    auto* table = new QTableWidget(int(rows.size()), int(headers.size()), parent);
    table->setHorizontalHeaderLabels(headers);
    table->verticalHeader()->hide();
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table->setSelectionMode(QAbstractItemView::NoSelection);
    table->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    for (int r = 0; r < rows.size(); ++r) {
        const SmartAttributeRow& row = rows[r];
        const QStringList cells{QString::number(row.id),
                                row.name,
                                QString::number(row.value),
                                QString::number(row.worst),
                                QString::number(row.threshold),
                                row.rawString.isEmpty() ? QString::number(row.rawValue)
                                                        : row.rawString,
                                row.label};
        for (int c = 0; c < cells.size(); ++c) {
            auto* item = new QTableWidgetItem(cells[c]);
            item->setToolTip(row.description);
            table->setItem(r, c, item);
        }
        table->item(r, int(cells.size()) - 1)->setForeground(gradeColour(row.grade));
    }
    table->resizeColumnsToContents();
    table->resizeRowsToContents();
    table->horizontalHeader()->setSectionResizeMode(1, QHeaderView::Stretch);
    table->setFixedHeight(table->horizontalHeader()->height() + table->verticalHeader()->length() +
                          2 * table->frameWidth());
    return table;
}

QLabel* wrappedLabel(const QString& text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setWordWrap(true);
    return label;
}

// The facts in three columns: label, value and, where the fact has one, its meter.
QGridLayout* factGrid(const QList<SmartFact>& facts, QWidget* parent) {
    auto* grid = new QGridLayout;
    grid->setHorizontalSpacing(14);
    grid->setVerticalSpacing(4);
    grid->setColumnStretch(2, 1);
    for (int row = 0; row < facts.size(); ++row) {
        const SmartFact& fact = facts[row];
        grid->addWidget(new QLabel(fact.label, parent), row, 0);
        auto* value = new QLabel(fact.value, parent);
        if (fact.grade >= HealthGrade::warning)
            value->setStyleSheet(QStringLiteral("color: %1; font-weight: bold;")
                                     .arg(gradeColour(fact.grade).name()));
        grid->addWidget(value, row, 1);
        if (fact.meter)
            grid->addWidget(new FactMeter(fact, parent), row, 2, Qt::AlignVCenter);
    }
    return grid;
}

} // namespace

DiskHealthPage::DiskHealthPage(std::shared_ptr<const DiskInventorySource> inventory,
                               std::shared_ptr<SmartReader> reader, std::shared_ptr<EfiActions> efi,
                               Settings& settings, Clock& clock, QThreadPool& pool, QWidget* parent)
    : QWidget(parent), inventory_(std::move(inventory)), reader_(std::move(reader)),
      efi_(std::move(efi)), settings_(settings), clock_(clock), pool_(pool),
      checkButton_(new QPushButton(QStringLiteral("Check now"), this)),
      lastChecked_(new QLabel(QStringLiteral("Last checked: never"), this)),
      efiReporter_(new StatusReporter(this)), cards_(new QVBoxLayout) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(28, 24, 28, 24);
    layout->setSpacing(16);
    layout->addWidget(new PageHeader(pageSymbol(Category::diskHealth),
                                     pageTitle(Category::diskHealth),
                                     QStringLiteral("The S.M.A.R.T. health of every disk."), this));
    auto* bar = new QHBoxLayout;
    bar->addWidget(lastChecked_, 1);
    bar->addWidget(checkButton_);
    layout->addLayout(bar);
    layout->addWidget(efiReporter_);

    auto* scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    auto* content = new QWidget(scroll);
    auto* contentLayout = new QVBoxLayout(content);
    contentLayout->setContentsMargins(0, 0, 0, 0);
    contentLayout->addLayout(cards_);
    contentLayout->addStretch(1);
    scroll->setWidget(content);
    layout->addWidget(scroll, 1);

    connect(checkButton_, &QPushButton::clicked, this, &DiskHealthPage::checkNow);
    connect(&watcher_, &QFutureWatcherBase::finished, this, [this] {
        showDisks(watcher_.result());
        checking_ = false;
        checkButton_->setEnabled(true);
        emit checked();
    });
    checkNow();
}

void DiskHealthPage::checkNow() {
    // Until the result is shown: the work itself may be over already.
    if (checking_)
        return;
    checking_ = true;
    checkButton_->setEnabled(false);
    lastChecked_->setText(QStringLiteral("Checking…"));
    // The work holds the sources, never the page: a page closed meanwhile only drops the result.
    auto promise = std::make_shared<QPromise<Disks>>();
    watcher_.setFuture(promise->future());
    promise->start();
    pool_.start([promise, inventory = inventory_, reader = reader_] {
        promise->addResult(readDisks(*inventory, *reader));
        promise->finish();
    });
}

void DiskHealthPage::showDisks(const Disks& disks) {
    while (QLayoutItem* item = cards_->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    lastChecked_->setText(QStringLiteral("Last checked: %1")
                              .arg(QLocale().toString(clock_.now(), QLocale::ShortFormat)));
    if (!disks) {
        cards_->addWidget(wrappedLabel(disks.error(), this));
        return;
    }
    if (disks->isEmpty())
        cards_->addWidget(wrappedLabel(QStringLiteral("No disks were found."), this));
    for (const PhysicalDisk& disk : *disks)
        cards_->addWidget(diskCard(disk));
}

QWidget* DiskHealthPage::diskCard(const PhysicalDisk& disk) {
    auto* card = new QFrame(this);
    card->setObjectName(QStringLiteral("diskCard"));
    card->setFrameShape(QFrame::StyledPanel);
    auto* layout = new QVBoxLayout(card);

    auto* title = new QLabel(
        QStringLiteral("<b>%1</b>")
            .arg((disk.modelName.isEmpty() ? disk.identifier : disk.modelName).toHtmlEscaped()),
        card);
    layout->addWidget(title);
    QStringList facts{disk.identifier,
                      disk.busProtocol.isEmpty() ? QStringLiteral("Unknown bus") : disk.busProtocol,
                      formatBytes(disk.totalBytes)};
    if (disk.isSolidState)
        facts << QStringLiteral("Solid state");
    layout->addWidget(new QLabel(facts.join(QStringLiteral(" · ")), card));

    if (const SmartReport* report = disk.report.get()) {
        const bool unavailable = report->status == DiskHealthStatus::unavailable;
        auto* grade = new QLabel(diskHealthStatusTitle(report->status), card);
        grade->setObjectName(QStringLiteral("grade"));
        const QString color = statusColor(*report);
        grade->setStyleSheet(color.isEmpty()
                                 ? QStringLiteral("font-weight: bold;")
                                 : QStringLiteral("font-weight: bold; color: %1;").arg(color));
        layout->addWidget(grade);
        QString why = report->verdictDetail;
        if (unavailable && disk.isVirtual)
            why = QStringLiteral("This is a virtual disk: the drive behind it belongs to the "
                                 "host, which does not pass its S.M.A.R.T. values on. ") +
                  why;
        if (!why.isEmpty()) {
            auto* detail = wrappedLabel(why, card);
            detail->setObjectName(QStringLiteral("gradeDetail"));
            layout->addWidget(detail);
        }
        if (!unavailable && !report->summary.isEmpty())
            layout->addLayout(factGrid(report->summary, card));
        if (!report->attributes.isEmpty())
            layout->addWidget(attributeTable(report->attributes, card));
    }

    if (!disk.partitions.isEmpty())
        layout->addWidget(new PartitionBar(disk, card));
    for (const DiskPartition& partition : disk.partitions) {
        auto* line = wrappedLabel(partitionLine(partition), card);
        if (!partition.detail.isEmpty())
            line->setToolTip(partition.detail);
        layout->addWidget(line);
    }
    if (disk.partitions.isEmpty()) {
        for (const DiskVolume& volume : disk.volumes)
            layout->addWidget(wrappedLabel(volumeLine(volume), card));
        if (disk.volumes.isEmpty())
            layout->addWidget(new QLabel(QStringLiteral("No partitions"), card));
    }
    layout->addWidget(efiRow(disk, card));
    if (!disk.note.isEmpty())
        layout->addWidget(wrappedLabel(disk.note, card));
    return card;
}

QWidget* DiskHealthPage::efiRow(const PhysicalDisk& disk, QWidget* card) {
    auto* row = new QWidget(card);
    row->setObjectName(QStringLiteral("efiActions"));
    auto* column = new QVBoxLayout(row);
    column->setContentsMargins(0, 4, 0, 0);
    const DiskPartition* efi = efiPartitionOf(disk);
    if (!efi) {
        auto* none = new QLabel(noEfiPartitionText(), row);
        none->setObjectName(QStringLiteral("pageSubtitle"));
        column->addWidget(none);
        return row;
    }
    const QString partition = efi->identifier;
    const QByteArray mountPoint = efi->mountPoint;
    const bool mounted = !mountPoint.isEmpty();
    auto* toggle =
        new QPushButton(mounted ? unmountEfiTitle(partition) : mountEfiTitle(partition), row);
    auto* show = new QPushButton(showEfiTitle(partition), row);
    show->setEnabled(mounted);
    auto* autoOpen = new QCheckBox(efiAutoOpenTitle(), row);
    autoOpen->setChecked(settings_.boolValue(QLatin1String(kEfiAutoOpenKey), false));
    for (QWidget* control : std::initializer_list<QWidget*>{toggle, show})
        control->setEnabled(control->isEnabled() && !efiRunning_);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(toggle);
    buttons->addWidget(show);
    buttons->addStretch(1);
    column->addLayout(buttons);
    column->addWidget(autoOpen);

    connect(autoOpen, &QCheckBox::toggled, this, [this](bool on) {
        if (const Status saved = settings_.setValue(QLatin1String(kEfiAutoOpenKey), on); !saved)
            efiReporter_->show(saved.error(), false);
    });
    connect(show, &QPushButton::clicked, this, [this, mountPoint] {
        runEfiAction([mountPoint](EfiActions& efi) -> Result<QString> {
            if (const Status shown = efi.show(mountPoint); !shown)
                return failure(shown.error());
            return QString();
        });
    });
    connect(toggle, &QPushButton::clicked, this, [this, partition, mounted] {
        if (mounted) {
            runEfiAction([partition](EfiActions& efi) -> Result<QString> {
                if (const Status unmounted = efi.unmount(partition); !unmounted)
                    return failure(unmounted.error());
                return QStringLiteral("The EFI partition %1 is unmounted.").arg(partition);
            });
            return;
        }
        const bool open = settings_.boolValue(QLatin1String(kEfiAutoOpenKey), false);
        runEfiAction([partition, open](EfiActions& efi) -> Result<QString> {
            const Result<QByteArray> folder = efi.mount(partition);
            if (!folder)
                return failure(folder.error());
            if (open)
                if (const Status shown = efi.show(*folder); !shown)
                    return failure(shown.error());
            return QStringLiteral("The EFI partition %1 is mounted on %2.")
                .arg(partition, QString::fromLocal8Bit(*folder));
        });
    });
    return row;
}

void DiskHealthPage::runEfiAction(EfiWork work) {
    if (efiRunning_)
        return;
    efiRunning_ = true;
    for (QWidget* row : findChildren<QWidget*>(QStringLiteral("efiActions")))
        for (QPushButton* button : row->findChildren<QPushButton*>())
            button->setEnabled(false);
    efiReporter_->showWorking(QStringLiteral("Working..."));
    // The work holds the actions, never the page: a page closed meanwhile drops the result.
    QPointer<DiskHealthPage> page(this);
    pool_.start([page, efi = efi_, work = std::move(work)] {
        const Result<QString> done = work(*efi);
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [page, done] {
                if (!page)
                    return;
                page->efiRunning_ = false;
                if (done && done->isEmpty())
                    page->efiReporter_->clear();
                else if (done)
                    page->efiReporter_->show(*done, true);
                else
                    page->efiReporter_->show(done.error(), false);
                emit page->efiActionFinished();
                page->checkNow();
            },
            Qt::QueuedConnection);
    });
}

QString DiskHealthPage::efiMessage() const {
    return efiReporter_->message();
}

std::shared_ptr<EfiActions> DiskHealthPage::desktopEfiActions(ShellHelper& shell) {
    LinuxEfiActions::Options options{
        QDBusConnection::systemBus(), QDBusConnection::sessionBus(),
        [&shell](const QString& line) { return shell.runPrivileged(line, true); }};
    return std::make_shared<LinuxEfiActions>(std::move(options));
}

} // namespace velmox
