#pragma once

#include <QObject>

namespace velmox {

// One Velmox per desktop session: the first process owns a name on the session bus; a
// second launch asks it to show its window (the launcher's "reopen") and ends. The name
// also opens the command palette from outside ("velmox palette --window").
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

public slots:
    Q_SCRIPTABLE void Activate();
    Q_SCRIPTABLE void ShowPalette();

signals:
    void activationRequested();
    void paletteRequested();
};

} // namespace velmox
