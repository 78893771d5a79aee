#pragma once

class QApplication;

namespace velmox {

// Names the process for Qt (organisation, application, desktop file name).
void applyAppIdentity();
// Builds the window, tray icon and services, and runs the event loop.
int runWindowedApp(QApplication& app);

} // namespace velmox
