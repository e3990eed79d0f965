#pragma once

// One whole run of the real tavrol binary: its standard input given at once
// and closed, its status and both outputs collected.

#include "testsupport.h"

#include <QByteArray>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

namespace E2E {

struct Run
{
    bool finished = false;
    QProcess::ExitStatus exitStatus = QProcess::CrashExit;
    int exitCode = -1;
    QByteArray standardOutput;
    QByteArray standardError;
};

inline Run
RunTavrol(const QStringList& arguments, const QString& workingDirectory,
          const QByteArray& input = QByteArray(),
          const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment())
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.setWorkingDirectory(workingDirectory);
    process.start(TestSupport::TavrolBinary(), arguments);
    Run run;
    if (!process.waitForStarted(30000))
        return run;
    if (!input.isEmpty())
        process.write(input);
    process.closeWriteChannel();
    run.finished = process.waitForFinished(120000);
    if (!run.finished) {
        process.kill();
        process.waitForFinished(30000);
    }
    run.exitStatus = process.exitStatus();
    run.exitCode = process.exitCode();
    run.standardOutput = process.readAllStandardOutput();
    run.standardError = process.readAllStandardError();
    return run;
}

} // namespace E2E
