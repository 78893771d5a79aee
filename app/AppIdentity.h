#pragma once

class QApplication;

namespace velmox {

// Names the process for Qt (organisation, application, desktop file name).
void applyAppIdentity();
// Runs the start-up migrations unless the process runs as root.
void runStartupMigrations();
// Builds the services, the window and the tray icon, and runs the event loop.
int runWindowedApp(QApplication& app);

} // namespace velmox
