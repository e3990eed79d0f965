#include "platform/computerdata.h"

#include <QString>

#include <unistd.h>

namespace {

int PortFromEnvironment(const char* variable, int fallback)
{
    bool ok = false;
    const int port = qEnvironmentVariable(variable).trimmed().toInt(&ok);
    return ok && port > 0 && port < 65536 ? port : fallback;
}

} // namespace

int Quolix_ComputerData::TavrolGUIPortNumber()
{
    return PortFromEnvironment("TAVROL_GUI_PORT", DefaultGUIPort);
}

int Quolix_ComputerData::TavrolConsolePortNumber()
{
    return PortFromEnvironment("TAVROL_CONSOLE_PORT", DefaultConsolePort);
}

int Quolix_ComputerData::UID()
{
    return static_cast<int>(getuid());
}

int Quolix_ComputerData::GID()
{
    return static_cast<int>(getgid());
}
