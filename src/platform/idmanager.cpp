#include "platform/idmanager.h"

Quolix_IDManager::Quolix_IDManager(int lastID, int increment)
    : m_lastID(lastID), m_increment(increment)
{
}

int Quolix_IDManager::NewID()
{
    m_lastID += m_increment;
    return m_lastID;
}
