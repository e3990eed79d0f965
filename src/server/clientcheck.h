#pragma once

#include <QString>

// Whom a running instance serves.
class Tavrol_ClientCheck
{
public:
    // A process of a user above 0 serves only clients that give that same
    // user id, in decimal; a process of root (or of a negative id) serves all.
    static bool UserMayAsk(const QString& clientUID, int processUID);
};
