#pragma once

// Facts about this computer and process: the two server ports and the ids of
// the user the process runs as.
class Quolix_ComputerData
{
public:
    // 24871 and 24872, unless TAVROL_GUI_PORT or TAVROL_CONSOLE_PORT name
    // another port (tests run many instances side by side this way).
    static int TavrolGUIPortNumber();
    static int TavrolConsolePortNumber();

    static int UID(); // real user id
    static int GID(); // real group id

    static constexpr int DefaultGUIPort = 24871;
    static constexpr int DefaultConsolePort = 24872;
};
