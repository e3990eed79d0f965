#pragma once

#include <QByteArray>
#include <QString>

#include <sys/types.h>

#include <vector>

// The user a job's program runs as, with everything the kernel checks when
// it opens a file: user id, group id and supplementary groups.
//
// An instance run by root carries out the jobs of other users. Whatever such
// a job touches, its program and the files opened for it, is touched with
// that user's rights alone, so that a job can never read or write more than
// its user could by hand. Any other instance runs everything as itself.
class Quolix_UserIdentity
{
public:
    // The identity of a job for userID, with groupID as the group asked
    // for. A change of user happens only in an instance run by root, for a
    // user above 0; the job then has that user's supplementary groups, and
    // the group asked for when it is one of them, else the user's primary
    // group (the overflow group for a user unknown to the system).
    static Quolix_UserIdentity ForJob(int userID, int groupID);

    // Whether a child must take on another user before it does anything.
    bool ChangesUser() const { return m_changesUser; }
    uid_t UserID() const { return m_userID; }
    gid_t GroupID() const { return m_groupID; }
    const std::vector<gid_t>& Groups() const { return m_groups; }

    // Takes on the identity in a freshly forked child: groups, group, then
    // user, while there is still the right to change them. Uses only
    // async-signal-safe calls. False when any step fails; the child must
    // then end without running anything.
    bool TakeOnInChild() const;

    // Writes contents to a new or truncated file at path with this identity's
    // rights, as QIODevice::WriteOnly would. False when the file cannot be
    // written. Without a change of user this is a plain write.
    bool WriteFile(const QString& path, const QByteArray& contents) const;

private:
    bool m_changesUser = false;
    uid_t m_userID = 0;
    gid_t m_groupID = 0;
    std::vector<gid_t> m_groups;
};
