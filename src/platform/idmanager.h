#pragma once

// Hands out ids: each NewID() is the last id plus the increment. Assignable,
// so that opening a project can put a manager seeded from its "LastJobID" in place.
class Quolix_IDManager
{
public:
    Quolix_IDManager(int lastID = 0, int increment = 1);

    // The next id, or -1 when the next one would not fit in an int: ids never
    // wrap around to negative numbers, and -1 is no valid job id. The manager
    // stays where it is then.
    int NewID();
    int LastID() const { return m_lastID; }

private:
    int m_lastID;
    int m_increment;
};
