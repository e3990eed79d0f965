#pragma once

#include <QApplication>
#include <QString>
#include <QStringList>

// The application object. One exists per process, made by ApplicationInit and
// deleted by ApplicationCleanup after the main object.
class Tavrol_App : public QApplication
{
    Q_OBJECT

public:
    // argc must outlive the object: the toolkit keeps a reference to it.
    Tavrol_App(int& argc, char** argv);
    ~Tavrol_App() override;

public slots:
    // Starts another instance from the application bundle. Nothing connects it.
    void NewSlot();
    // Ends the event loop; without an event loop it cleans up and exits the process.
    void QuitSlot();
    void AboutToQuitSlot();
};

// Builds the application object and the process-wide state around it. False
// when an application exists already or the application directory is missing.
// The banner and the program directory are accepted and not used.
bool ApplicationInit(int argc, char** argv, const QString& banner = QString(),
                     const QString& programDirectory = QString());
// Stops the debug output and runs the teardown; ExitStatusHint survives it.
void ApplicationCleanup();
// Deletes the start-up window, the main object and the application, in this
// order, and clears the process-wide pointers and ExitStatusHint.
void ApplicationTeardown();

// Console run modes print the text with printf, the text being the format;
// the GUI appends it to the start-up window, which is shown when show is set.
void ReportText(const QString& text, bool show);

// Debug output: "-debug" to the standard error stream, "-debugfile" to
// tavrol_debug.txt, "-debugfile=name" to that file; the first one wins.
// False when the named debug file could not be opened.
bool ProcessDebugArguments();
bool ProcessDebugArguments(const QStringList& arguments);
void DebugMessageHandler(QtMsgType type, const QMessageLogContext& context, const QString& message);
// Stops the debug output: closes the file, clears DebugLevel, removes the handler.
void StopDebugOutput();

// Puts an existing input file at the front of the recent input files.
void AddToRecentInputFiles(const QString& path);

// The command NewSlot starts, quoted when it holds a blank.
QString NewInstanceCommand();
// Where the help pages live: <base>/tavrolmanual when present, else <base>/help.
QString HelpDirPath(const QString& appBaseDirPath);
// The toolkit's library paths: the base directory, its "plugins" directory,
// then the installation's own plugin directories.
QStringList LibraryPaths(const QString& appBaseDirPath, const QStringList& installedPaths);
// A console run mode on a machine with no display uses the offscreen platform.
void ChooseHeadlessPlatform();
