#include "server/clientcheck.h"

#include <vector>

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

bool Tavrol_ClientCheck::ClaimIs(const QString& claim, int id)
{
    bool isNumber = false;
    const int value = claim.toInt(&isNumber, 10);
    return !claim.isEmpty() && isNumber && value == id;
}

bool Tavrol_ClientCheck::UserMayAsk(const QString& clientUID, const QString& clientGID,
                                    int processUID, int ownerUID)
{
    if (ownerUID < 0)
        return false;
    if (processUID > 0 && !ClaimIs(clientUID, processUID))
        return false;
    if (ownerUID == 0)
        return true;
    if (!ClaimIs(clientUID, ownerUID))
        return false;
    if (clientGID.isEmpty())
        return true;
    bool isNumber = false;
    const int gid = clientGID.toInt(&isNumber, 10);
    return isNumber && IsGroupOf(gid, ownerUID);
}

bool Tavrol_ClientCheck::IsGroupOf(int gid, int uid)
{
    if (gid < 0 || uid < 0)
        return false;
    const long size = sysconf(_SC_GETPW_R_SIZE_MAX);
    std::vector<char> buffer(static_cast<size_t>(size > 0 ? size : 16384));
    passwd entry{};
    passwd* found = nullptr;
    if (getpwuid_r(uid_t(uid), &entry, buffer.data(), buffer.size(), &found) != 0 || !found)
        return false;
    if (entry.pw_gid == gid_t(gid))
        return true;
    int count = 64;
    std::vector<gid_t> groups(static_cast<size_t>(count));
    while (getgrouplist(entry.pw_name, entry.pw_gid, groups.data(), &count) < 0) {
        if (count <= int(groups.size()))
            return false;
        groups.resize(size_t(count));
    }
    groups.resize(size_t(count));
    for (const gid_t group : groups) {
        if (group == gid_t(gid))
            return true;
    }
    return false;
}
