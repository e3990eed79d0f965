#include "app/globals.h"

int RunMode = RunModeGUI;
bool NoEventLoop = false;
bool NoRecovery = false;
int ShowProgress = 2;
int ExitStatusHint = 0;
QString StartupFilePath;

Tavrol_App* TavrolApplication = nullptr;
Tavrol_AppWindow* TavrolAppWindow = nullptr;
Quolix_Process* StartupProgress = nullptr;
QDir* AppDirPath = nullptr;
QDir* AppBaseDir = nullptr;
int ApplicationArgc = 0;
QString UsageText;
int DebugLevel = 0;
QFile* DebugFile = nullptr;
Quolix_IDManager JobIDManager(0, 1);

const char* const TavrolMajorVersion = "1";
const char* const TavrolMinorVersion = "1.1";
const char* const TavrolVersion = "1.1.15";
const char* const TavrolBuildVersion = "1.1.15.1";
const char* const TavrolOrganization = "Zendara, Inc.";
const char* const TavrolApplicationName = "Tavrol";

bool IsGUIRunMode()
{
    return RunMode < 2;
}

bool IsConsoleRunMode()
{
    return RunMode >= 2 && RunMode <= 5;
}

QString ClientName()
{
    return ClientName(!IsConsoleRunMode());
}

QString ClientName(bool gui)
{
    return gui ? QStringLiteral("TavrolGUI") : QStringLiteral("TavrolConsole");
}

QString TitleText()
{
    return ClientName() + QLatin1Char(' ') + QLatin1String(TavrolVersion);
}

QString PlainTitleText()
{
    return QStringLiteral("Tavrol ") + QLatin1String(TavrolVersion);
}

QString PlatformText()
{
    return QStringLiteral("64-bit Mac OS X");
}

QString MakersNotice()
{
    return QStringLiteral("Copyright (c) Zendara, Inc.  All rights reserved.");
}

QString DefaultUsageText()
{
    return QStringLiteral("Usage:    tavrol [options]\n\noptions:  [-help]\n          [-list\n"
                          "          [-console]\n          [-newconsole]\n          [-run]\n"
                          "          [-nogui]\n");
}
