#pragma once

#include <QtGlobal>

#include <sys/types.h>
#include <unistd.h>

// The real user id of another user while it lives: the system's access
// checks follow the real user, and root stays the effective user, so it can
// take its own id back. Lets a test that runs as root see files it may not
// read or write.
class RealUser
{
public:
    explicit RealUser(uid_t uid) : m_taken(::setreuid(uid, uid_t(-1)) == 0) {}
    ~RealUser()
    {
        if (m_taken && ::setreuid(0, uid_t(-1)) != 0)
            qFatal("could not take back the real user id of root");
    }
    RealUser(const RealUser&) = delete;
    RealUser& operator=(const RealUser&) = delete;
    bool Taken() const { return m_taken; }

private:
    bool m_taken;
};

// The user id that test files are kept from when the tests run as root.
constexpr uid_t NobodyUid = 65534;
