#include "monitor/SystemMonitorEngine.h"

#include "monitor/MemoryFigures.h"
#include "monitor/SMCHelper.h"
#include "monitor/SensorChoice.h"

#include <chrono>
#include <cmath>

namespace velmox {

namespace {

std::chrono::milliseconds toMilliseconds(double seconds) {
    return std::chrono::milliseconds(std::llround(seconds * 1000.0));
}

} // namespace

SystemMonitorEngine::SystemMonitorEngine(Settings& settings, Clock& clock, Sources sources,
                                         QObject* parent)
    : QObject(parent), settings_(settings), clock_(clock), sources_(std::move(sources)) {
    sensorsRead_ = !sources_.readSensors; // nothing to wait for
    if (sources_.readSensors) {
        sensorWorker_ = std::make_unique<SensorWorker>(sources_.readSensors);
        connect(sensorWorker_.get(), &SensorWorker::readingsReady, this,
                &SystemMonitorEngine::applySensorReadings);
    }
    connect(&settings_, &Settings::valueChanged, this, [this] {
        if (isRunning())
            applyInterval();
    });
}

SystemMonitorEngine::~SystemMonitorEngine() = default;

SystemMonitorEngine::Sources SystemMonitorEngine::systemSources() {
    return {systemHostCounters(), systemMachineInfo(),
            [] { return SMCHelper::shared().readAllSensors(); }};
}

double SystemMonitorEngine::clampedInterval(const QVariant& stored) {
    bool ok = false;
    const double seconds = stored.toDouble(&ok);
    if (!stored.isValid() || !ok || !(seconds >= minimumInterval && seconds <= maximumInterval))
        return defaultInterval;
    return seconds;
}

void SystemMonitorEngine::applyInterval() {
    const double wanted = clampedInterval(settings_.value(pollingIntervalKey));
    if (job_ && std::abs(wanted - timerInterval_) <= 0.01)
        return;
    timerInterval_ = wanted;
    job_ = clock_.schedule(
        toMilliseconds(timerInterval_), [this] { tick(); }, true, toMilliseconds(timerTolerance));
}

void SystemMonitorEngine::start() {
    if (isRunning())
        return;
    startManual();
    applyInterval();
}

void SystemMonitorEngine::startManual() {
    if (sources_.machine) {
        stats_.macModel = sources_.machine->modelIdentifier();
        stats_.macModelName = sources_.machine->modelName();
        stats_.hostName = sources_.machine->hostName();
        stats_.osName = sources_.machine->osName();
        stats_.processorInfo = sources_.machine->processorInfo();
        stats_.gpuModel = sources_.machine->gpuModel();
    }
    restartSeries();
    tick();
}

void SystemMonitorEngine::restartSeries() {
    cpu_ = CpuLoadSampler();
    network_.reset();
    stats_.cpuUser = stats_.cpuSystem = 0.0;
    stats_.networkSpeedIn = stats_.networkSpeedOut = 0.0;
    for (QList<double>* history : {&stats_.cpuHistory, &stats_.ramHistory, &stats_.gpuHistory,
                                   &stats_.networkHistoryIn, &stats_.networkHistoryOut})
        history->clear();
    lastSensorRead_.reset(); // the readings are as old as the stop
    emit seriesRestarted();
}

void SystemMonitorEngine::stop() {
    job_.reset();
}

bool SystemMonitorEngine::isReadingSensors() const {
    return sensorWorker_ && sensorWorker_->isReading();
}

void SystemMonitorEngine::sampleProcessor() {
    const auto ticks = sources_.counters->coreTicks();
    if (!ticks)
        return;
    if (const auto load = cpu_.sample(*ticks)) {
        stats_.cpuUser = load->user;
        stats_.cpuSystem = load->system;
        appendToHistory(stats_.cpuHistory, load->user + load->system);
    }
}

void SystemMonitorEngine::sampleMemory() {
    const auto counters = sources_.counters->memory();
    if (!counters)
        return;
    const MemoryFigures memory = memoryFigures(*counters);
    stats_.ramApp = memory.app;
    stats_.ramWired = memory.wired;
    stats_.ramCompressed = memory.compressed;
    stats_.ramUsed = memory.used;
    stats_.ramFree = memory.free;
    appendToHistory(stats_.ramHistory, memory.used);
}

void SystemMonitorEngine::sampleNetwork() {
    const auto counters = sources_.counters->interfaceCounters();
    if (!counters)
        return;
    countedInterfaces_.clear();
    for (const InterfaceCounters& interface : *counters)
        countedInterfaces_.insert(interface.name);
    const auto rates = network_.sample(*counters, clock_.steadyNow());
    if (!rates)
        return;
    stats_.networkSpeedIn = rates->in;
    stats_.networkSpeedOut = rates->out;
    appendToHistory(stats_.networkHistoryIn, rates->in);
    appendToHistory(stats_.networkHistoryOut, rates->out);
}

void SystemMonitorEngine::sampleMachine() {
    MachineInfo* machine = sources_.machine.get();
    if (!machine)
        return;
    if (const auto space = machine->startupVolumeSpace()) {
        stats_.diskTotal = double(space->total);
        stats_.diskAvailable = double(space->available);
        stats_.diskFree = double(space->free);
    }
    if (const auto uptime = machine->uptimeSeconds())
        stats_.uptime = *uptime;
    if (const auto gpu = machine->gpuUtilization()) {
        stats_.gpuUtilization = *gpu;
        appendToHistory(stats_.gpuHistory, *gpu);
    }
    stats_.thermalState = machine->thermalState();
    // Only the interfaces the rates count, so that the address shown is one whose traffic
    // the figures measure; the machine lists the default route's interface first.
    stats_.activeNICs.clear();
    for (const NetworkAddress& address : machine->activeIPv4Interfaces())
        if (countedInterfaces_.contains(address.interfaceName))
            stats_.activeNICs.append(
                {address.interfaceName, QStringLiteral("Active"), address.address});
    stats_.localIP =
        stats_.activeNICs.isEmpty() ? notConnectedText() : stats_.activeNICs.first().address;
}

void SystemMonitorEngine::tick() {
    if (sources_.counters) {
        sampleProcessor();
        sampleMemory();
        sampleNetwork();
    }
    sampleMachine();
    if (!lastSensorRead_ ||
        clock_.steadyNow() - *lastSensorRead_ >= std::chrono::duration<double>(sensorPeriodSeconds))
        requestSensorRead();
    emit statsChanged(stats_);
}

void SystemMonitorEngine::requestSensorRead() {
    if (sensorWorker_ && sensorWorker_->requestRead())
        lastSensorRead_ = clock_.steadyNow();
}

void SystemMonitorEngine::applySensorReadings(const QList<SensorReading>& readings) {
    sensorReadings_ = readings;
    sensorsRead_ = true;
    const SensorChoice choice = chooseSensors(readings);
    stats_.cpuTemp = choice.cpuTemp;
    stats_.gpuTemp = choice.gpuTemp;
    stats_.fanRPM = choice.fanRPM;
    stats_.ssdTemp = choice.ssdTemp;
    stats_.ssdLabel = choice.ssdLabel;
    stats_.drives = choice.drives;
    emit sensorsChanged(readings);
    emit statsChanged(stats_);
}

} // namespace velmox
