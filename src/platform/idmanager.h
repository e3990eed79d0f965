#pragma once

// Hands out ids: each NewID() is the last id plus the increment. Assignable,
// so that opening a project can put a manager seeded from its "LastJobID" in place.
class Quolix_IDManager
{
public:
    Quolix_IDManager(int lastID = 0, int increment = 1);

    int NewID();
    int LastID() const { return m_lastID; }

private:
    int m_lastID;
    int m_increment;
};
