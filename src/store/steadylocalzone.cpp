#include "store/steadylocalzone.h"

#include <QtGlobal>

#include <ctime>

namespace {

// What the C library reads when TZ is unset; the leading colon asks for the
// file itself, not a rule.
const char DefaultZone[] = ":/etc/localtime";

// Only the outermost instance pins; the main thread alone makes them.
bool zonePinned = false;

} // namespace

Tavrol_SteadyLocalZone::Tavrol_SteadyLocalZone()
{
    if (qEnvironmentVariableIsSet("TZ"))
        return; // a set TZ is already read once only
    m_pinned = qputenv("TZ", QByteArray(DefaultZone));
    zonePinned = m_pinned;
    tzset();
}

Tavrol_SteadyLocalZone::~Tavrol_SteadyLocalZone()
{
    if (!m_pinned)
        return;
    qunsetenv("TZ");
    zonePinned = false;
    tzset();
}

bool Tavrol_SteadyLocalZone::Pinned()
{
    return zonePinned;
}
