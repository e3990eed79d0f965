#pragma once

#include <QByteArray>

// Shows a long text at the prompt: through `less -R` when standard output is
// a terminal and less can be found, so that the user pages through it and
// comes back to the prompt; printed as it is otherwise (a pipe, a file, or no
// less on the machine).
class Tavrol_ConsolePager
{
public:
    static void Show(const QByteArray& text);
    static bool WillPage(); // a terminal and less
};
