#include "console/consolepager.h"

#include <QProcess>
#include <QStandardPaths>
#include <QString>
#include <QStringList>

#include <cstdio>

#include <unistd.h>

namespace {

QString LessPath()
{
    return QStandardPaths::findExecutable(QStringLiteral("less"));
}

} // namespace

bool Tavrol_ConsolePager::WillPage()
{
    return isatty(STDOUT_FILENO) == 1 && !LessPath().isEmpty();
}

void Tavrol_ConsolePager::Show(const QByteArray& text)
{
    std::fflush(stdout);
    if (WillPage()) {
        // less takes its keys from the terminal itself; the text comes on
        // its standard input, and it writes straight to the terminal.
        QProcess less;
        less.setProcessChannelMode(QProcess::ForwardedChannels);
        less.start(LessPath(), {QStringLiteral("-R")});
        if (less.waitForStarted(5000)) {
            less.write(text);
            less.closeWriteChannel();
            less.waitForFinished(-1);
            return;
        }
    }
    std::fwrite(text.constData(), 1, static_cast<size_t>(text.size()), stdout);
    std::fflush(stdout);
}
