// A real application window for the window tests: shows one window titled by its first
// argument and prints "ready" once the X server shows it. --ignore-term makes it ignore
// SIGTERM, as an app too busy to quit does.
#include <QGuiApplication>
#include <QRasterWindow>
#include <QTimer>
#include <csignal>
#include <cstdio>

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "xcb");
    QGuiApplication app(argc, argv);
    const QStringList args = QCoreApplication::arguments();
    if (args.contains(QStringLiteral("--ignore-term")))
        std::signal(SIGTERM, SIG_IGN);
    QRasterWindow window;
    window.setTitle(args.value(1));
    window.resize(240, 120);
    window.show();
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, [&] {
        if (!window.isExposed())
            return;
        poll.stop();
        std::puts("ready");
        std::fflush(::stdout);
    });
    poll.start(20);
    return QGuiApplication::exec();
}
