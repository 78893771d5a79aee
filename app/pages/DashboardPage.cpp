#include "app/pages/DashboardPage.h"

#include "app/SidebarItems.h"
#include "app/pages/HistoryChart.h"
#include "app/pages/MonitorCard.h"
#include "app/pages/MonitorDemand.h"
#include "app/pages/MonitorFormat.h"
#include "app/pages/PageHeader.h"
#include "monitor/SystemMonitorEngine.h"

#include <QGridLayout>
#include <QProgressBar>
#include <QVBoxLayout>
#include <algorithm>

namespace velmox {

using namespace monitorformat;

namespace {

constexpr int kNetworkInHue = 150; // green
constexpr int kNetworkOutHue = 28; // orange
constexpr int kMemoryHue = 275;    // violet

// The memory parts and the root volume go by the words of the system they are on.
#ifdef Q_OS_MACOS
const QString kKernelMemory = QStringLiteral("Wired");
const QString kCompressedMemory = QStringLiteral("Compressed");
const QString kSystemDisk = QStringLiteral("Start-up Disk");
#else
const QString kKernelMemory = QStringLiteral("Kernel");
const QString kCompressedMemory = QStringLiteral("Zswap");
const QString kSystemDisk = QStringLiteral("System Disk");
#endif

QString orUnknown(const QString& text) {
    return text.isEmpty() ? QStringLiteral("Unknown") : text;
}

} // namespace

DashboardPage::DashboardPage(MonitorDemand& demand, QWidget* parent)
    : QWidget(parent), processor_(new MonitorCard(QStringLiteral("Processor"), this)),
      memory_(new MonitorCard(QStringLiteral("Memory"), this)),
      network_(new MonitorCard(QStringLiteral("Network"), this)),
      disk_(new MonitorCard(kSystemDisk, this)),
      sensors_(new MonitorCard(QStringLiteral("Temperatures and Fans"), this)),
      machine_(new MonitorCard(QStringLiteral("This Computer"), this)),
      diskBar_(new QProgressBar(disk_)) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(28, 24, 28, 24);
    layout->setSpacing(16);
    layout->addWidget(new PageHeader(pageSymbol(Category::dashboard),
                                     pageTitle(Category::dashboard),
                                     QStringLiteral("Processor, memory, network, disk and "
                                                    "sensors, updated live."),
                                     this));

    auto* grid = new QGridLayout;
    grid->setSpacing(14);
    grid->addWidget(processor_, 0, 0);
    grid->addWidget(memory_, 0, 1);
    grid->addWidget(network_, 0, 2);
    grid->addWidget(disk_, 1, 0);
    grid->addWidget(sensors_, 1, 1);
    grid->addWidget(machine_, 1, 2);
    for (int column = 0; column < 3; ++column)
        grid->setColumnStretch(column, 1);
    grid->setRowStretch(0, 3);
    grid->setRowStretch(1, 2);
    layout->addLayout(grid, 1);

    processor_->chart()->setFixedMaximum(100.0);
    memory_->chart();
    network_->chart();
    diskBar_->setTextVisible(false);
    diskBar_->setRange(0, 1000);
    diskBar_->setFixedHeight(8);
    static_cast<QVBoxLayout*>(disk_->layout())->insertWidget(2, diskBar_);

    SystemMonitorEngine& engine = demand.engine();
    const double every = engine.timerInterval();
    processor_->chart()->setAxes(percent, every);
    memory_->chart()->setAxes(gibibytes, every);
    network_->chart()->setAxes(rate, every);
    const auto refresh = [this, &engine] {
        showStats(engine.stats(),
                  engine.hasReadSensors() ? std::optional(engine.sensorReadings()) : std::nullopt);
    };
    connect(&engine, &SystemMonitorEngine::statsChanged, this, refresh);
    refresh();
    demand.watchWhileShown(this);
}

void DashboardPage::showStats(const SystemStats& stats,
                              const std::optional<QList<SensorReading>>& sensors) {
    showProcessor(stats);
    showMemory(stats);
    showNetwork(stats);
    showDisk(stats);
    showSensors(stats, sensors);
    showMachine(stats);
}

void DashboardPage::showProcessor(const SystemStats& stats) {
    const bool measured = !stats.cpuHistory.isEmpty();
    const QString none = QStringLiteral("–");
    processor_->setHeadline(measured ? percent(stats.cpuUser + stats.cpuSystem)
                                     : QStringLiteral("Measuring…"));
    processor_->setDetails(
        {{QStringLiteral("User"), measured ? percent(stats.cpuUser) : none},
         {QStringLiteral("System"), measured ? percent(stats.cpuSystem) : none},
         {QStringLiteral("Idle"),
          measured ? percent(std::max(0.0, 100.0 - stats.cpuUser - stats.cpuSystem)) : none}});
    processor_->chart()->setSeries({{stats.cpuHistory, QPalette::Highlight, {}}});
}

void DashboardPage::showMemory(const SystemStats& stats) {
    const double total = stats.ramUsed + stats.ramFree;
    memory_->setHeadline(
        QStringLiteral("%1 of %2").arg(QString::number(stats.ramUsed, 'f', 1), gibibytes(total)));
    memory_->setDetails({{QStringLiteral("App"), gibibytes(stats.ramApp)},
                         {kKernelMemory, gibibytes(stats.ramWired)},
                         {kCompressedMemory, gibibytes(stats.ramCompressed)},
                         {QStringLiteral("Free"), gibibytes(stats.ramFree)}});
    memory_->chart()->setFixedMaximum(total > 0 ? total : 1.0);
    memory_->chart()->setSeries({{stats.ramHistory, {}, memory_->accent(kMemoryHue)}});
}

void DashboardPage::showNetwork(const SystemStats& stats) {
    network_->setHeadline(QStringLiteral("↓ %1").arg(rate(stats.networkSpeedIn)));
    network_->setDetails({{QStringLiteral("In"), rate(stats.networkSpeedIn)},
                          {QStringLiteral("Out"), rate(stats.networkSpeedOut)},
                          {QStringLiteral("Interfaces"),
                           stats.activeNICs.isEmpty() ? QStringLiteral("None")
                                                      : QString::number(stats.activeNICs.size())}});
    network_->chart()->setSeries({{stats.networkHistoryIn, {}, network_->accent(kNetworkInHue)},
                                  {stats.networkHistoryOut, {}, network_->accent(kNetworkOutHue)}});
}

void DashboardPage::showDisk(const SystemStats& stats) {
    // Used as `df` counts it: what the reserve holds back is neither used nor available.
    const double free = std::max(stats.diskFree, stats.diskAvailable);
    const double used = std::max(0.0, stats.diskTotal - free);
    const double reserved = free - stats.diskAvailable;
    if (stats.diskTotal <= 0) {
        disk_->setHeadline(QStringLiteral("Unknown"));
        disk_->setNote(QStringLiteral("The size of the system volume could not be read."));
        diskBar_->setValue(0);
    } else {
        disk_->setHeadline(QStringLiteral("%1 free").arg(bytes(stats.diskAvailable)));
        disk_->setNote({});
        diskBar_->setValue(int(used / stats.diskTotal * 1000.0));
    }
    QList<MonitorCard::Detail> details{{QStringLiteral("Capacity"), bytes(stats.diskTotal)},
                                       {QStringLiteral("Used"), bytes(used)},
                                       {QStringLiteral("Available"), bytes(stats.diskAvailable)}};
    if (reserved > 0)
        details.append({QStringLiteral("Reserved"), bytes(reserved)});
    disk_->setDetails(details);
}

void DashboardPage::showSensors(const SystemStats& stats,
                                const std::optional<QList<SensorReading>>& sensors) {
    QList<MonitorCard::Detail> details;
    if (stats.cpuTemp > 0)
        details.append({QStringLiteral("Processor"), celsius(stats.cpuTemp)});
    if (stats.gpuTemp > 0)
        details.append({QStringLiteral("Graphics"), celsius(stats.gpuTemp)});
    if (stats.ssdTemp > 0)
        details.append({stats.ssdLabel.isEmpty() ? QStringLiteral("Drive") : stats.ssdLabel,
                        celsius(stats.ssdTemp)});
    const bool hasFan = sensors && std::any_of(sensors->cbegin(), sensors->cend(),
                                               [](const SensorReading& reading) {
                                                   return reading.kind == SensorKind::fan;
                                               });
    if (hasFan)
        details.append({QStringLiteral("Fan"),
                        stats.fanRPM > 0 ? rpm(stats.fanRPM) : QStringLiteral("Stopped")});
    sensors_->setDetails(details);

    if (!sensors) {
        sensors_->setHeadline(QStringLiteral("Reading…"));
        sensors_->setNote({});
    } else if (sensors->isEmpty()) {
        sensors_->setHeadline(QStringLiteral("No sensors"));
        sensors_->setNote(QStringLiteral("This computer does not report any temperature or fan "
                                         "sensors, so none can be shown."));
    } else {
        const double headline = stats.cpuTemp > 0 ? stats.cpuTemp : stats.gpuTemp;
        sensors_->setHeadline(headline > 0 ? celsius(headline)
                                           : QStringLiteral("%1 sensors").arg(sensors->size()));
        sensors_->setNote(stats.thermalState == QLatin1String("unknown")
                              ? QString()
                              : QStringLiteral("Thermal state: %1.").arg(stats.thermalState));
    }
}

void DashboardPage::showMachine(const SystemStats& stats) {
    // A machine that names no model goes by its host name.
    const bool modelKnown = !stats.macModel.isEmpty();
    const QString model = stats.macModelName.isEmpty() ? stats.macModel : stats.macModelName;
    machine_->setHeadline(
        orUnknown(modelKnown || stats.hostName.isEmpty() ? model : stats.hostName));
    QList<MonitorCard::Detail> details;
    if (modelKnown && !stats.hostName.isEmpty())
        details.append({QStringLiteral("Name"), stats.hostName});
    if (!stats.osName.isEmpty())
        details.append({QStringLiteral("System"), stats.osName});
    details.append({QStringLiteral("Up for"), uptime(stats.uptime)});
    details.append({QStringLiteral("Processor"), orUnknown(stats.processorInfo)});
    if (!stats.gpuModel.isEmpty())
        details.append({QStringLiteral("Graphics"), stats.gpuModel});
    if (stats.activeNICs.isEmpty())
        details.append({QStringLiteral("Address"), notConnectedText()});
    for (const NICInfo& nic : stats.activeNICs)
        details.append({nic.name, nic.address});
    if (!stats.publicIP.isEmpty())
        details.append({QStringLiteral("Public address"), stats.publicIP});
    machine_->setDetails(details);
}

} // namespace velmox
