// tavrol-submit: hands input files to a running Tavrol instance over its
// request port and, asked to, waits for the jobs to end.

#include "client/submitclient.h"

#include <QCoreApplication>
#include <QTextStream>

#include <cstdio>

int main(int argc, char* argv[])
{
    QCoreApplication application(argc, argv);
    QTextStream out(stdout);
    QTextStream err(stderr);
    Tavrol_SubmitOptions options;
    QString error;
    if (!Tavrol_SubmitClient::ParseArguments(application.arguments().mid(1), options, error)) {
        err << "tavrol-submit: " << error << "\n" << Tavrol_SubmitClient::UsageText();
        err.flush();
        return Tavrol_SubmitClient::BadUsage;
    }
    if (options.Help) {
        out << Tavrol_SubmitClient::UsageText();
        out.flush();
        return 0;
    }
    const int status = Tavrol_SubmitClient::Run(options, out, err);
    out.flush();
    err.flush();
    return status;
}
