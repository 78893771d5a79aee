#pragma once

#include "app/AppServices.h"
#include "app/SymbolIcons.h"
#include "tests/support/ManualClock.h"

#include <QCoreApplication>
#include <QEvent>
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

} // namespace velmox::test
