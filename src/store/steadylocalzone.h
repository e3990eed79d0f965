#pragma once

#include <QByteArray>

// While it lives, the C library keeps the local time zone it has already read
// instead of looking at the zone file again for every local time made.
//
// With TZ unset, every mktime (and so every local QDateTime that Qt builds)
// makes the C library check the system's zone file anew; loading years of
// history builds three such times per row. Naming that same default file in
// TZ for the length of the load gives the same zone, read once. TZ is put
// back as it was at the end, so nothing started later inherits it; what
// starts a program meanwhile leaves it out (Pinned).
class Tavrol_SteadyLocalZone
{
public:
    Tavrol_SteadyLocalZone();
    ~Tavrol_SteadyLocalZone();
    Tavrol_SteadyLocalZone(const Tavrol_SteadyLocalZone&) = delete;
    Tavrol_SteadyLocalZone& operator=(const Tavrol_SteadyLocalZone&) = delete;

    // True while some instance has put its TZ in place: a program started
    // meanwhile must not be given it (see Tavrol_Job::Environment).
    static bool Pinned();

private:
    bool m_pinned = false;
};
