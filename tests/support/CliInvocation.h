#pragma once

#include <QString>
#include <QStringList>
#include <QTextStream>

#include "cli/CliCommand.h"

namespace velmox::test {

struct CliInvocation {
    int code = -1;
    QString out;
    QString err;
};

// Runs one registered headless command in this process and captures what it prints.
// The test binary compiles the command's source and cli/CliCommand.cpp into itself.
inline CliInvocation runCliCommand(const QString& name, const QStringList& args) {
    CliInvocation result;
    QTextStream out(&result.out);
    QTextStream err(&result.err);
    CliIO io{out, err};
    if (const CliCommand* command = CliRegistry::shared().find(name))
        result.code = command->run(args, io);
    out.flush();
    err.flush();
    return result;
}

} // namespace velmox::test
