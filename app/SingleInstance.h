#pragma once

#include <QObject>
#include <functional>

namespace velmox {

class AppDelegate;

// One Velmox per desktop session: the first process owns a name on the session bus; a
// second launch asks it to show its window (the launcher's "reopen") and ends. The name
// also opens the command palette from outside ("velmox palette --window") and its page, tab
// and setting entries ("velmox palette --run page:dashboard").
class SingleInstance : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.quarnet.velmox.Application")
public:
    static inline const QString kServiceName = QStringLiteral("com.quarnet.velmox");
    static inline const QString kObjectPath = QStringLiteral("/com/quarnet/velmox");

    using QObject::QObject;

    // True when this process is the one to run (also without a session bus); false when
    // a running Velmox was asked to show itself instead.
    bool claim();
    // Serves the requests of later launches and of the command line with `delegate`.
    void serve(AppDelegate& delegate);

public slots:
    Q_SCRIPTABLE void Activate();
    Q_SCRIPTABLE void ShowPalette();
    // Brings the window forward at the palette entry's page and tab, or the settings window
    // at its pane; false when this Velmox has no such page, tab or setting entry.
    Q_SCRIPTABLE bool OpenEntry(const QString& id);

signals:
    void activationRequested();
    void paletteRequested();

private:
    std::function<bool(const QString&)> openEntry_;
};

} // namespace velmox
