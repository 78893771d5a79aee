// Records entries into the activity log of a settings file the way a second Velmox process
// does, one save per entry. Usage: history_recorder SETTINGS-FILE ACTION COUNT
#include "services/ActionHistoryStore.h"
#include "services/Clock.h"
#include "services/Settings.h"

#include <QCoreApplication>
#include <QTextStream>

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const QStringList args = QCoreApplication::arguments();
    if (args.size() != 4)
        return 2;
    velmox::Settings settings(args.at(1));
    velmox::ActionHistoryStore store(settings, velmox::SystemClock::shared());
    int failures = 0;
    QObject::connect(&store, &velmox::ActionHistoryStore::saveFailed, [&](const QString& message) {
        QTextStream(stderr) << message << '\n';
        ++failures;
    });
    const int count = args.at(3).toInt();
    for (int i = 0; i < count; ++i) {
        store.record(args.at(2), QString::number(i), true);
        QCoreApplication::processEvents();
    }
    return failures == 0 ? 0 : 1;
}
