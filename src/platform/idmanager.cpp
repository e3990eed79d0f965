#include "platform/idmanager.h"

#include <limits>

Quolix_IDManager::Quolix_IDManager(int lastID, int increment)
    : m_lastID(lastID), m_increment(increment)
{
}

int Quolix_IDManager::NewID()
{
    // Added in 64 bits, where two ints cannot overflow.
    const long long next = static_cast<long long>(m_lastID) + m_increment;
    if (next > std::numeric_limits<int>::max() || next < std::numeric_limits<int>::min())
        return -1;
    m_lastID = static_cast<int>(next);
    return m_lastID;
}
