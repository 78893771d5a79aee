#pragma once

#include "app/AppDelegate.h"
#include "app/AppServices.h"
#include "app/MainWindow.h"
#include "app/SymbolIcons.h"
#include "tests/support/ManualClock.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace velmox::test {

// Fresh shared services per test: a test clock and a settings file of the test's own.
struct WindowFixture : ::testing::Test {
    QTemporaryDir folder;
    ManualClock clock;
    AppServices services{clock, folder.filePath("Velmox.conf")};

    WindowFixture() { installIconThemeFallback(); }
};

// A delegate launched the way the platform launches it, with its questions answered by
// the test and its quit counted instead of ending the process.
struct LaunchFixture : WindowFixture {
    bool loginItem = false;
    int loginItemQuestions = 0;
    int quits = 0;
    std::unique_ptr<AppDelegate> delegate;

    void launchDelegate(const QString& executable = {}) {
        AppDelegate::Options options;
        if (!executable.isEmpty())
            options.executable = executable;
        options.isLoginItemLaunch = [this] {
            ++loginItemQuestions;
            return loginItem;
        };
        options.startBackgroundServices = false;
        options.quit = [this] { ++quits; };
        delegate = std::make_unique<AppDelegate>(services, options);
        delegate->willFinishLaunching();
        delegate->didFinishLaunching();
        QCoreApplication::processEvents();
    }

    bool windowShown() const {
        return delegate->mainWindow() && delegate->mainWindow()->isVisible();
    }
};

} // namespace velmox::test
