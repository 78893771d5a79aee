#include "cli/CliCommand.h"

#include <QCoreApplication>
#include <QIODevice>
#include <QJsonDocument>
#include <QJsonObject>
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

bool canAskOnTerminal(const QString& question, CliIO& io, const QString& gap) {
    if (::isatty(STDIN_FILENO))
        return true;
    io.err << question << gap
           << "Nothing was run: confirm with --yes when there is no terminal to ask on.\n";
    return false;
}

bool answeredYes(const QString& question, CliIO& io, const QString& gap) {
    io.err << question << gap << "Run it? [y/N] " << Qt::flush;
    char line[16] = {};
    const QString answer = std::fgets(line, sizeof line, stdin)
                               ? QString::fromLocal8Bit(line).trimmed().toLower()
                               : QString();
    if (answer == QLatin1String("y") || answer == QLatin1String("yes"))
        return true;
    io.err << "Nothing was run.\n";
    return false;
}

const CliCommand* CliRegistry::find(const QString& name) const {
    for (const CliCommand& command : commands_)
        if (command.name == name)
            return &command;
    return nullptr;
}

QString usageLine(const QString& command) {
    const CliCommand* found = CliRegistry::shared().find(command);
    return QStringLiteral("Usage: velmox ") + (found ? found->usage : command);
}

namespace {

// Standard error, keeping a copy of what was written so that a failure can repeat it as JSON.
class RecordingStderr : public QIODevice {
public:
    RecordingStderr() { open(QIODevice::WriteOnly | QIODevice::Unbuffered); }
    const QByteArray& recorded() const { return recorded_; }

protected:
    qint64 readData(char*, qint64) override { return -1; }
    qint64 writeData(const char* data, qint64 size) override {
        recorded_.append(data, size);
        std::fwrite(data, 1, size_t(size), stderr);
        std::fflush(stderr);
        return size;
    }

private:
    QByteArray recorded_;
};

// Words of `text` in lines of at most 100 characters, each line after `indent`.
QString wrapped(const QString& text, const QString& indent) {
    QString lines;
    QString line = indent;
    for (const QString& word : text.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
        if (line.size() > indent.size() && line.size() + 1 + word.size() > 100) {
            lines += line + QLatin1Char('\n');
            line = indent;
        }
        line += (line.size() > indent.size() ? QStringLiteral(" ") : QString()) + word;
    }
    return lines + line + QLatin1Char('\n');
}

void printUsage(QTextStream& stream, const QString& appHelp) {
    stream << "Usage: velmox [COMMAND [ARGS...]]\n"
              "Without a command, Velmox opens its window.\n\n"
              "Commands:\n";
    for (const CliCommand& command : CliRegistry::shared().commands())
        stream << "  velmox " << command.usage << '\n'
               << wrapped(command.summary, QStringLiteral("      "));
    stream << "  velmox --version\n"
              "  velmox --help\n\n"
           << wrapped(QStringLiteral("Sizes are in decimal units (1 kB = 1000 bytes); dates in "
                                     "--json output are ISO 8601 with the offset from UTC."),
                      {})
           << wrapped(QStringLiteral("Exit status: 0 done, 1 failed, 2 wrong usage, 3 partial "
                                     "result. A command given --json that fails prints "
                                     "{\"error\": \"...\"} on standard output besides the "
                                     "message on standard error."),
                      {});
    if (!appHelp.isEmpty())
        stream << '\n' << appHelp;
}

int dispatch(const QStringList& args, const QString& appHelp, CliIO& io) {
    const QString first = args.value(1);
    if (first == QLatin1String("--version")) {
        io.out << "Velmox " << VELMOX_VERSION << '\n';
        return 0;
    }
    if (first == QLatin1String("--help") || first == QLatin1String("-h") ||
        first == QLatin1String("help")) {
        printUsage(io.out, appHelp);
        return 0;
    }
    if (const CliCommand* command = CliRegistry::shared().find(first))
        return command->run(args.mid(2), io);
    io.err << "velmox: “" << first << "” is not "
           << (first.startsWith(QLatin1Char('-')) ? "an option" : "a command")
           << " of Velmox. Run “velmox --help” to see them all.\n";
    return 2;
}

} // namespace

bool isHeadlessInvocation(const QStringList& args, const QStringList& appOptions) {
    return args.size() >= 2 && !appOptions.contains(args.at(1));
}

int runCommandLine(const QStringList& args, const QString& appHelp) {
    QTextStream out(stdout);
    RecordingStderr errDevice;
    QTextStream err(&errDevice);
    QTextStream terminal(stderr);
    CliIO io{out, err, isatty(STDERR_FILENO) == 1 ? &terminal : nullptr};
    const int code = dispatch(args, appHelp, io);
    err.flush();
    if ((code == 1 || code == 2) && args.mid(1).contains(QLatin1String("--json"))) {
        QString message = QString::fromUtf8(errDevice.recorded()).trimmed();
        if (message.isEmpty())
            message = QStringLiteral("The command failed.");
        out << QJsonDocument(QJsonObject{{QStringLiteral("error"), message}})
                   .toJson(QJsonDocument::Compact)
            << '\n';
    }
    out.flush();
    return code;
}

} // namespace velmox
