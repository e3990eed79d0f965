#include "store/steadylocalzone.h"

#include <QtGlobal>

#include <ctime>

namespace {

// What the C library reads when TZ is unset; the leading colon asks for the
// file itself, not a rule.
const char DefaultZone[] = ":/etc/localtime";

} // namespace

Tavrol_SteadyLocalZone::Tavrol_SteadyLocalZone()
{
    if (qEnvironmentVariableIsSet("TZ"))
        return; // a set TZ is already read once only
    m_pinned = qputenv("TZ", QByteArray(DefaultZone));
    tzset();
}

Tavrol_SteadyLocalZone::~Tavrol_SteadyLocalZone()
{
    if (!m_pinned)
        return;
    qunsetenv("TZ");
    tzset();
}
