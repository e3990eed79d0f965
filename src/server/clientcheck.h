#pragma once

#include <QString>

// Whom a running instance serves. Who asks is who the kernel says: the owner
// of the client's socket (see Tavrol_PeerCredentials), never the request's
// own "clientuid=" or "clientgid=", which must agree with it.
class Tavrol_ClientCheck
{
public:
    // The owner of a client's socket that could not be found.
    static constexpr int OwnerUnknown = -1;

    // A request may be carried out when all of these hold:
    // - the owner of the client's socket is known (ownerUID of 0 or more);
    // - a process of a user above 0 serves only clients that give that same
    //   user id, in decimal;
    // - unless the owner is root, which may speak for any user, the given
    //   user id is the owner's, and a given group id (in decimal) is one of
    //   the owner's groups, primary or supplementary. An empty group id
    //   claims no group: the job then runs with the user's primary group.
    static bool UserMayAsk(const QString& clientUID, const QString& clientGID, int processUID,
                           int ownerUID);

    // Whether gid is the primary or a supplementary group of the user uid;
    // false for a user unknown to the system.
    static bool IsGroupOf(int gid, int uid);

private:
    static bool ClaimIs(const QString& claim, int id);
};
