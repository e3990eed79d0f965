#pragma once

// Process-wide state of the application shell. Every subsystem reaches the
// run mode, the main object and the job id sequence through these.

#include "platform/idmanager.h"

#include <QString>

class QDir;
class QFile;
class Quolix_Process;
class Tavrol_App;
class Tavrol_AppWindow;

// Run modes: 0 GUI, 2 console, 4 new console. 1, 3 and 5 are named, but
// nothing sets them.
enum Tavrol_RunModeValue
{
    RunModeGUI = 0,
    RunModeGUIServer = 1,
    RunModeConsole = 2,
    RunModeConsoleServer = 3,
    RunModeNewConsole = 4,
    RunModeNewConsoleServer = 5
};

extern int RunMode;
extern bool NoEventLoop;
extern bool NoRecovery;    // "-norecovery": the project gets no recovery copy
extern int ShowProgress;   // 0 never, 1 always, 2 some
extern int ExitStatusHint; // 2 a named file is missing, 3 help was shown
extern QString StartupFilePath;

extern Tavrol_App* TavrolApplication;     // non-null once ApplicationInit has run
extern Tavrol_AppWindow* TavrolAppWindow; // the main object, set by CreateAppWindow
extern Quolix_Process* StartupProgress;   // the GUI's start-up window, null in the console
extern QDir* AppDirPath;
extern QDir* AppBaseDir;
extern int ApplicationArgc;
extern QString UsageText;
extern int DebugLevel; // bit 0 debug, bit 1 warning, bit 2 fatal
extern QFile* DebugFile;
extern Quolix_IDManager JobIDManager;

extern const char* const TavrolMajorVersion;    // "1"
extern const char* const TavrolMinorVersion;    // "1.1"
extern const char* const TavrolVersion;         // "1.1.15"
extern const char* const TavrolBuildVersion;    // "1.1.15.1"
extern const char* const TavrolOrganization;    // "Zendara, Inc."
extern const char* const TavrolApplicationName; // "Tavrol"

bool IsGUIRunMode();     // RunMode below 2
bool IsConsoleRunMode(); // RunMode 2 to 5

QString ClientName();     // "TavrolConsole" in the console run modes, else "TavrolGUI"
QString TitleText();      // client name, a blank, the version
QString PlainTitleText(); // "Tavrol 1.1.15"
QString PlatformText();   // used by the about box
QString MakersNotice();   // the notice in the banner and the about box
QString DefaultUsageText();

// "TavrolGUI" or "TavrolConsole", whatever the run mode.
QString ClientName(bool gui);
