#pragma once

#include <vector>

class Quolix_Collection
{
public:
    static void Sort(std::vector<int>& values); // ascending
};
