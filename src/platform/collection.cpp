#include "platform/collection.h"

#include <algorithm>

void Quolix_Collection::Sort(std::vector<int>& values)
{
    std::sort(values.begin(), values.end());
}
