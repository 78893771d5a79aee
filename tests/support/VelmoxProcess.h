#pragma once

#include <QByteArray>
#include <QProcess>
#include <QProcessEnvironment>
#include <QStringList>

namespace velmox::test {

struct VelmoxRun {
    int exitCode = -1; // -1 when the child crashed or had to be killed
    QByteArray out;
    QByteArray err;
};

// Runs the built velmox executable as a child process with no standard input, and kills it
// when it has not finished within a minute.
inline VelmoxRun
runVelmox(const QStringList& args,
          const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment()) {
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(QStringLiteral(VELMOX_BINARY), args);
    process.closeWriteChannel();
    if (!process.waitForFinished(60000))
        process.kill();
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            process.readAllStandardOutput(), process.readAllStandardError()};
}

} // namespace velmox::test
