#include "platform/useridentity.h"

#include <QFile>

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace {

// The overflow group: what a user's job gets when no real group is known, so
// that a root instance never hands it group 0.
constexpr gid_t OverflowGroupID = 65534;

struct UserEntry
{
    bool known = false;
    QByteArray name;
    gid_t primaryGroup = OverflowGroupID;
};

UserEntry LookUpUser(uid_t uid)
{
    const long size = sysconf(_SC_GETPW_R_SIZE_MAX);
    std::vector<char> buffer(size > 0 ? std::size_t(size) : 16384);
    passwd entry{};
    passwd* found = nullptr;
    if (getpwuid_r(uid, &entry, buffer.data(), buffer.size(), &found) != 0 || !found)
        return {};
    return {true, QByteArray(found->pw_name), found->pw_gid};
}

std::vector<gid_t> GroupsOf(const UserEntry& user)
{
    if (!user.known)
        return {};
    int count = 64;
    std::vector<gid_t> groups(static_cast<std::size_t>(count));
    while (getgrouplist(user.name.constData(), user.primaryGroup, groups.data(), &count) < 0) {
        if (count <= int(groups.size()))
            return {user.primaryGroup};
        groups.resize(std::size_t(count));
    }
    groups.resize(std::size_t(count));
    return groups;
}

bool WriteAll(int fd, const char* data, std::size_t size)
{
    while (size > 0) {
        const ssize_t written = ::write(fd, data, size);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        data += written;
        size -= std::size_t(written);
    }
    return true;
}

} // namespace

Quolix_UserIdentity Quolix_UserIdentity::ForJob(int userID, int groupID)
{
    Quolix_UserIdentity identity;
    identity.m_userID = geteuid();
    identity.m_groupID = getegid();
    if (geteuid() != 0 || userID <= 0)
        return identity;
    const UserEntry user = LookUpUser(uid_t(userID));
    identity.m_changesUser = true;
    identity.m_userID = uid_t(userID);
    identity.m_groups = GroupsOf(user);
    const bool asked = groupID >= 0 && std::find(identity.m_groups.begin(), identity.m_groups.end(),
                                                 gid_t(groupID)) != identity.m_groups.end();
    identity.m_groupID = asked ? gid_t(groupID) : user.primaryGroup;
    if (identity.m_groupID == 0 && !asked)
        identity.m_groupID = OverflowGroupID;
    return identity;
}

bool Quolix_UserIdentity::TakeOnInChild() const
{
    if (!m_changesUser)
        return true;
    return setgroups(m_groups.size(), m_groups.data()) == 0 && setgid(m_groupID) == 0 &&
           setuid(m_userID) == 0 && geteuid() == m_userID;
}

// The file is opened by a child that has taken on the identity, so the
// kernel checks the user's own rights on every directory of the path.
bool Quolix_UserIdentity::WriteFile(const QString& path, const QByteArray& contents) const
{
    if (!m_changesUser) {
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly))
            return false;
        return file.write(contents) == contents.size();
    }
    const QByteArray encodedPath = QFile::encodeName(path);
    const pid_t child = fork();
    if (child < 0)
        return false;
    if (child == 0) {
        if (!TakeOnInChild())
            _exit(1);
        const int fd =
            ::open(encodedPath.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
        if (fd < 0)
            _exit(1);
        const bool written = WriteAll(fd, contents.constData(), std::size_t(contents.size()));
        _exit(::close(fd) == 0 && written ? 0 : 1);
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR)
            return false;
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}
