#include "cli/CliCommand.h"

#include <QCoreApplication>
#include <algorithm>
#include <cstdio>
#include <unistd.h>

namespace velmox {

CliRegistry& CliRegistry::shared() {
    static CliRegistry registry;
    return registry;
}

void CliRegistry::add(CliCommand command) {
    commands_.push_back(std::move(command));
    std::sort(commands_.begin(), commands_.end(),
              [](const CliCommand& a, const CliCommand& b) { return a.name < b.name; });
}

const CliCommand* CliRegistry::find(const QString& name) const {
    for (const CliCommand& command : commands_)
        if (command.name == name)
            return &command;
    return nullptr;
}

namespace {

void printUsage(QTextStream& stream) {
    stream << "Usage: velmox [COMMAND [ARGS...]]\n"
              "Without a command, Velmox opens its window.\n\n"
              "Commands:\n";
    for (const CliCommand& command : CliRegistry::shared().commands())
        stream << "  velmox " << command.usage << '\n';
    stream << "  velmox --version\n";
}

} // namespace

bool isHeadlessInvocation(const QStringList& args) {
    if (args.size() < 2)
        return false;
    const QString& first = args.at(1);
    // Options belong to the window or to a helper mode; anything else is a command name,
    // and an unknown one is answered with the usage.
    return !first.startsWith(QLatin1Char('-')) || first == QLatin1String("--version") ||
           first == QLatin1String("--help") || first == QLatin1String("-h");
}

int runCommandLine(const QStringList& args) {
    const QString first = args.value(1);
    QTextStream out(stdout);
    QTextStream err(stderr);
    if (first == QLatin1String("--version")) {
        out << "Velmox " << VELMOX_VERSION << '\n';
        return 0;
    }
    if (first == QLatin1String("--help") || first == QLatin1String("-h") ||
        first == QLatin1String("help")) {
        printUsage(out);
        return 0;
    }
    const CliCommand* command = CliRegistry::shared().find(first);
    if (!command) {
        err << "velmox: '" << first << "' is not a Velmox command.\n";
        printUsage(err);
        return 2;
    }
    CliIO io{out, err, isatty(STDERR_FILENO) == 1};
    const int code = command->run(args.mid(2), io);
    out.flush();
    err.flush();
    return code;
}

} // namespace velmox
