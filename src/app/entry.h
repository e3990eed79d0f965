#pragma once

#include <QString>
#include <QStringList>

// What the raw argument vector says before the toolkit sees it. Scans compare
// whole arguments and stop at the first match; "-psn_", the argument a desktop
// launcher adds, matches anywhere inside an argument.
struct Tavrol_RawArguments
{
    int launcherArgument = -1; // index of the first argument holding "-psn_", or -1
    int runMode = 0;
    bool noEventLoop = false;
    bool noRecovery = false; // "-norecovery": no recovery copy of the project
    int showProgress = 1;
};

// Scans argv[1..argc-1]. A negative argc throws std::bad_alloc. The three
// "-showprogress=" scans run in a fixed order (true, false, some), so the last
// of them present in that order wins, whatever the order of the arguments.
Tavrol_RawArguments ScanRawArguments(int argc, const char* const* argv);

// Every non-empty argument but the first one holding "-psn_", argv[0] included.
QStringList CommandLineArguments(int argc, const char* const* argv);

// Sends the test message to the port of a running instance; true when it connected.
bool TestRunningInstance(bool guiClientName, bool guiPort);
// The test message a starting instance sends.
QString TestMessage(bool guiClientName);

// Starts a server without interface from argv0 and waits half a second.
bool StartBackgroundServer(const char* argv0);

// 0 go on and create the main object, 1 end (GUI), 2 end (console);
// leaves ExitStatusHint at 2 for a missing file and 3 after help.
int ProcessCommandLine(const QStringList& arguments);

// Creates the main object, starts and shows it.
bool CreateAppWindow();

// Acts on the result of ProcessCommandLine and returns the exit status.
int RunCommandLineResult(int result);

// The whole start of the process; returns its exit status.
int TavrolMain(int argc, char** argv);
