#include "app/Screenshot.h"

#include "app/AppServices.h"
#include "app/Appearance.h"
#include "app/MainWindow.h"
#include "app/SettingsWindow.h"
#include "app/SettingsWindowPresenter.h"
#include "app/SidebarItems.h"
#include "app/StatusPopover.h"
#include "app/SymbolIcons.h"
#include "app/pages/DiskHealthPage.h"
#include "app/pages/MonitorDemand.h"
#include "monitor/SystemMonitorEngine.h"
#include "services/Category.h"
#include "services/Clock.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTemporaryDir>
#include <QTimer>
#include <cstdio>

namespace velmox {

namespace {

void printError(const QString& message) {
    std::fprintf(stderr, "velmox: %s\n", message.toLocal8Bit().constData());
}

// Lets layouts settle and background answers (the keyring's) arrive before the grab.
void settle(int milliseconds) {
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < milliseconds)
        QApplication::processEvents(QEventLoop::AllEvents, 20);
}

bool showsLiveFigures(const QString& target) {
    return target == rawValue(Category::dashboard) || target == rawValue(Category::fanTemp) ||
           target == QLatin1String("popover");
}

} // namespace

bool Screenshot::figuresReady(const SystemMonitorEngine& engine) {
    // Processor load is a difference of two samples; sensors come from a read of their own.
    return !engine.stats().cpuHistory.isEmpty() && engine.hasReadSensors();
}

bool Screenshot::waitForFigures(SystemMonitorEngine& engine, int deadlineMilliseconds) {
    if (figuresReady(engine))
        return true;
    QEventLoop loop;
    QTimer deadline;
    deadline.setSingleShot(true);
    QObject::connect(&deadline, &QTimer::timeout, &loop, &QEventLoop::quit);
    QObject::connect(&engine, &SystemMonitorEngine::statsChanged, &loop, [&] {
        if (figuresReady(engine))
            loop.quit();
    });
    deadline.start(deadlineMilliseconds);
    loop.exec();
    return figuresReady(engine);
}

bool Screenshot::isRequested(const QStringList& args) {
    return args.value(1) == QLatin1String("--screenshot");
}

QStringList Screenshot::targets() {
    QStringList list;
    for (Category category : allCategories())
        list << rawValue(category);
    return list << QStringLiteral("settings") << QStringLiteral("popover");
}

QString Screenshot::help() {
    QString text = QStringLiteral("  velmox --screenshot PAGE FILE.png [--theme dark|light]\n"
                                  "      Saves a PNG of one page, drawn without a display. PAGE "
                                  "is one of:\n");
    for (const QString& target : targets()) {
        const std::optional<Category> category = categoryFromRaw(target);
        const QString title = category ? pageTitle(*category)
                              : target == QLatin1String("settings")
                                  ? QStringLiteral("Settings window")
                                  : QStringLiteral("Tray pop-over");
        text += QStringLiteral("        %1%2\n").arg(target.leftJustified(18), title);
    }
    return text;
}

QImage Screenshot::render(AppServices& services, const QString& target) {
    if (const auto category = categoryFromRaw(target)) {
        MainWindow window(services);
        window.resize(kWindowSize);
        window.showPage(*category);
        window.show();
        if (showsLiveFigures(target))
            waitForFigures(services.monitor().engine(), kFiguresDeadlineMs);
        // The disks are read on a worker: grab them once read (smartctl may take a while).
        if (auto* disks = qobject_cast<DiskHealthPage*>(window.currentPage());
            disks && disks->isChecking()) {
            QEventLoop loop;
            QObject::connect(disks, &DiskHealthPage::checked, &loop, &QEventLoop::quit);
            QTimer::singleShot(std::chrono::seconds(20), &loop, &QEventLoop::quit);
            loop.exec();
        }
        settle(60);
        return window.grab().toImage();
    }
    if (target == QLatin1String("settings")) {
        SettingsWindowPresenter presenter(services, QApplication::applicationFilePath());
        presenter.show();
        settle(300);
        return presenter.window()->grab().toImage();
    }
    if (target == QLatin1String("popover")) {
        StatusPopover popover(services.status());
        popover.setMonitor(&services.monitor());
        popover.setAutomation(&services.automation());
        popover.buildContent();
        popover.show();
        waitForFigures(services.monitor().engine(), kFiguresDeadlineMs);
        settle(60);
        return popover.grab().toImage();
    }
    return {};
}

int Screenshot::run(const QStringList& args) {
    const QString target = args.value(2);
    const QString file = args.value(3);
    if (target.isEmpty() || file.isEmpty()) {
        printError(QStringLiteral("Usage: velmox --screenshot PAGE FILE.png [--theme dark|light]"));
        return 2;
    }
    if (!targets().contains(target)) {
        printError(QStringLiteral("“%1” is not a page. Pages: %2 (“velmox --help” gives their "
                                  "titles).")
                       .arg(target, targets().join(QStringLiteral(", "))));
        return 2;
    }
    const qsizetype themeAt = args.indexOf(QStringLiteral("--theme"));
    const QString theme = themeAt >= 0 ? args.value(themeAt + 1) : QStringLiteral("dark");
    if (theme != QLatin1String("dark") && theme != QLatin1String("light")) {
        printError(QStringLiteral("The theme must be “dark” or “light”."));
        return 2;
    }

    installIconThemeFallback();
    // Private settings: a screenshot neither reads nor changes the user's choices.
    QTemporaryDir scratch;
    AppServices services(SystemClock::shared(), scratch.filePath(QStringLiteral("Velmox.conf")));
    // The shortest sampling interval: the second sample, and with it the processor load,
    // comes a second after the first.
    for (const auto& [key, value] :
         {std::pair<QString, QVariant>{kAppearanceKey, theme},
          {SystemMonitorEngine::pollingIntervalKey, SystemMonitorEngine::minimumInterval}}) {
        if (const Status saved = services.settings().setValue(key, value); !saved) {
            printError(saved.error());
            return 1;
        }
    }
    AppearanceController appearance(services.settings());
    appearance.apply();

    const QImage image = render(services, target);
    if (image.isNull() || !image.save(file, "PNG")) {
        printError(QStringLiteral("The screenshot could not be saved to “%1”.").arg(file));
        return 1;
    }
    return 0;
}

} // namespace velmox
