#pragma once

#include <QSettings>
#include <QString>

// Every access to the settings builds one of these on the stack: native format,
// user scope, organisation "Zendara, Inc.", application "Tavrol".
class Tavrol_Settings : public QSettings
{
public:
    Tavrol_Settings();

    // Every key begins with the major version: Key("/Files/Recent_Projects")
    // is "1/Files/Recent_Projects".
    static QString Key(const QString& name);
};

namespace Tavrol_SettingsKeys {
inline const QString LastDirectoryPath = QStringLiteral("/Files/Last_Directory_Path");
inline const QString RecentProjects = QStringLiteral("/Files/Recent_Projects");
inline const QString RecentJobInputFiles = QStringLiteral("/Files/Recent_Job_Input_Files");
inline const QString ToolBarState = QStringLiteral("/Main_Window/ToolBar_State_0");
// false switches the recovery copy of the project off; missing means true.
inline const QString RecoveryCopies = QStringLiteral("/Recovery/Copies");
} // namespace Tavrol_SettingsKeys
