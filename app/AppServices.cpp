#include "app/AppServices.h"

#include "app/AppLanguageManager.h"
#include "app/ScanResumeOffers.h"
#include "app/pages/MonitorDemand.h"
#include "automation/AutomationEngine.h"
#include "automation/AutomationNotifier.h"
#include "automation/AutomationStore.h"
#include "automation/SystemTaskPerformer.h"
#include "cleaning/OptimizationRegistry.h"
#include "cleaning/OptimizationTaskRunner.h"
#include "diskhealth/DiskHealthMonitor.h"
#include "monitor/SystemMonitorEngine.h"
#include "network/NetworkBlockerModel.h"
#include "network/NetworkSpeedTestViewModel.h"
#include "platform/ChangeHistory.h"
#include "platform/PlatformPaths.h"
#include "platform/PromptElevation.h"
#include "platform/QtKeychainSecretStore.h"
#include "platform/linux/ChangeRecorder.h"
#include "services/ActionHistoryStore.h"
#include "services/KeychainHelper.h"
#include "services/ShellHelper.h"
#include "storage/CatalogReindexer.h"
#include "storage/ScanCenter.h"
#include "storage/ScanExclusions.h"
#include "storage/StorageCatalogStore.h"

namespace velmox {

// What the automation engine works with, in the order it needs them.
struct AppServices::Automation {
    explicit Automation(AppServices& services)
        : performer(makeSystemTaskPerformer(services.keychain(), services.shell())),
          environment(SystemAutomationEnvironment::systemSources(services.clock())),
          engine({services.settings(), services.clock(), services.history(), *performer, store,
                  environment, notifier,
                  AutomationEngine::rootOrSavedPassword(services.keychain())}) {}
    AutomationStore store;
    std::unique_ptr<AutomationTaskPerformer> performer;
    SystemAutomationEnvironment environment;
    DesktopNotifier notifier;
    AutomationEngine engine;
};

AppServices::AppServices(Clock& clock, const QString& settingsFile)
    : clock_(clock), settings_(settingsFile), status_(navigation_, clock) {}

AppServices::~AppServices() = default;

ActionHistoryStore& AppServices::history() {
    if (!history_) {
        history_ = std::make_unique<ActionHistoryStore>(settings_, clock_);
        QObject::connect(history_.get(), &ActionHistoryStore::saveFailed, &status_,
                         [this](const QString& message) {
                             status_.report(QStringLiteral("Error: ") + message, false);
                         });
    }
    return *history_;
}

NetworkSpeedTestViewModel& AppServices::speedTest() {
    if (!speedTest_) {
        speedTestBackend_ = makeSpeedTestBackend(settings_, clock_);
        speedTest_ =
            std::make_unique<NetworkSpeedTestViewModel>(*speedTestBackend_, settings_, clock_);
        NetworkSpeedTestViewModel* model = speedTest_.get();
        QObject::connect(model, &NetworkSpeedTestViewModel::changed, &status_,
                         [this, model, wasTesting = false]() mutable {
                             if (model->isTesting() && !wasTesting)
                                 status_.report(model->statusMessage(), true);
                             else if (wasTesting && !model->isTesting() &&
                                      model->statusMessage() ==
                                          NetworkSpeedTestViewModel::cancelledMessage)
                                 status_.report(model->statusMessage(), false);
                             wasTesting = model->isTesting();
                         });
        QObject::connect(model, &NetworkSpeedTestViewModel::runEnded, &status_,
                         [this, model](bool succeeded) {
                             status_.report((succeeded ? QStringLiteral("Success: ")
                                                       : QStringLiteral("Error: ")) +
                                                model->statusMessage(),
                                            false);
                         });
    }
    return *speedTest_;
}

AppLanguageManager& AppServices::languages() {
    if (!languages_)
        languages_ = std::make_unique<AppLanguageManager>(settings_);
    return *languages_;
}

KeychainHelper& AppServices::keychain() {
    if (!keychain_) {
        secretStore_ = std::make_unique<QtKeychainSecretStore>();
        keychain_ = std::make_unique<KeychainHelper>(*secretStore_);
    }
    return *keychain_;
}

ShellHelper& AppServices::shell() {
    if (!shell_) {
        promptElevation_ = PromptElevation::forThisSystem();
        shell_ = std::make_unique<ShellHelper>(keychain(), settings_, *promptElevation_);
    }
    return *shell_;
}

ScanCenter& AppServices::scanCenter() {
    if (!scanCenter_)
        scanCenter_ = std::make_unique<ScanCenter>(clock_, &status_, &catalogStore());
    if (!changeHistory_)
        changeHistory_ = systemChangeHistory();
    scanCenter_->setChangeHistory(changeHistory_.get());
    scanCenter_->setExclusionSource([this](const ScanScope& scope) {
        return ScanExclusionSettings::patternsFor(settings_, scope);
    });
    return *scanCenter_;
}

void AppServices::startChangeRecorder() {
    if (changeRecorder_)
        return;
    changeRecorder_ = std::make_unique<ChangeRecorder>(PlatformPaths::appDataFolder());
    if (const Status started = changeRecorder_->start(); !started)
        qWarning("The change recorder did not start: %s", qPrintable(started.error()));
}

StorageCatalogStore& AppServices::catalogStore() {
    if (!catalogStore_)
        catalogStore_ = std::make_unique<StorageCatalogStore>();
    return *catalogStore_;
}

CatalogReindexer& AppServices::catalogReindexer() {
    if (!catalogReindexer_) {
        catalogReindexer_ = std::make_unique<CatalogReindexer>(
            catalogStore(),
            [&history = history()](const QString& action, const QString& detail, bool success) {
                history.record(action, detail, success);
            });
        QObject::connect(catalogReindexer_.get(), &CatalogReindexer::finished, &status_,
                         [this](const ReindexReport& report) { scanResumeOffers().add(report); });
    }
    return *catalogReindexer_;
}

ScanResumeOffers& AppServices::scanResumeOffers() {
    if (!scanResumeOffers_)
        scanResumeOffers_ = std::make_unique<ScanResumeOffers>(
            scanCenter(), catalogStore(), navigation_, &status_,
            [this](const QString& action, const QString& detail, bool success) {
                history().record(action, detail, success);
            });
    return *scanResumeOffers_;
}

MonitorDemand& AppServices::monitor() {
    if (!monitorDemand_) {
        monitorEngine_ = std::make_unique<SystemMonitorEngine>(
            settings_, clock_, SystemMonitorEngine::systemSources());
        monitorDemand_ = std::make_unique<MonitorDemand>(*monitorEngine_);
    }
    return *monitorDemand_;
}

AutomationEngine& AppServices::automation() {
    if (!automation_) {
        automation_ = std::make_unique<Automation>(*this);
        const auto reportError = [this](const QString& message) {
            status_.report(QStringLiteral("Error: ") + message, false);
        };
        QObject::connect(&automation_->engine, &AutomationEngine::saveFailed, &status_,
                         reportError);
        if (!automation_->engine.loadProblem().isEmpty())
            reportError(automation_->engine.loadProblem());
    }
    return automation_->engine;
}

DesktopNotifier& AppServices::automationNotifier() {
    automation();
    return automation_->notifier;
}

OptimizationTaskRunner& AppServices::taskRunner() {
    if (!taskRunner_)
        taskRunner_ = std::make_unique<OptimizationTaskRunner>(shell(), history(), &status_);
    return *taskRunner_;
}

NetworkBlockerModel& AppServices::blocker() {
    if (!blocker_) {
        blocker_ = std::make_unique<NetworkBlockerModel>(
            settings_, keychain(),
            [&shell = shell()](const QString& line) { return shell.runPrivileged(line, true); });
        QObject::connect(blocker_.get(), &NetworkBlockerModel::statusChanged, &status_, [this] {
            if (blocker_->pending())
                status_.report(blocker_->statusMessage(), true);
        });
        QObject::connect(
            blocker_.get(), &NetworkBlockerModel::finished, &status_,
            [this](const QString& action, const QString& message, bool success) {
                status_.report((success ? QStringLiteral("Success: ") : QStringLiteral("Error: ")) +
                                   message,
                               false);
                history().record(action, message, success);
            });
    }
    return *blocker_;
}

std::shared_ptr<SmartReader> AppServices::smartReader() {
    SmartctlReader::Options options;
    if (!options.root)
        options.privileged = [&shell = shell()](const QString& line) {
            return shell.runPrivileged(line, false);
        };
    return std::make_shared<SmartctlReader>(std::move(options));
}

DiskHealthMonitor& AppServices::diskHealth() {
    if (!diskHealth_) {
        diskHealthNotifier_ = std::make_unique<FreedesktopNotifier>();
        diskHealth_ = std::make_unique<DiskHealthMonitor>(
            settings_, clock_, smartReader(), [] { return linuxWholeDisks(); },
            *diskHealthNotifier_);
    }
    return *diskHealth_;
}

MaintenanceTaskLookup AppServices::maintenanceTasks() {
    return [this](const QString& title) -> std::function<void()> {
        const auto task = OptimizationRegistry().task(title);
        if (!task)
            return {};
        OptimizationTaskRunner& runner = taskRunner();
        return [&runner, task = *task] { runner.runBlocking(task); };
    };
}

} // namespace velmox
