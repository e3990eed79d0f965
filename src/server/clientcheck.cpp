#include "server/clientcheck.h"

bool Tavrol_ClientCheck::UserMayAsk(const QString& clientUID, int processUID)
{
    if (processUID <= 0)
        return true;
    bool isNumber = false;
    const int uid = clientUID.toInt(&isNumber, 10);
    return !clientUID.isEmpty() && isNumber && uid == processUID;
}
