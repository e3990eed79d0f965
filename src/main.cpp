#include "app/entry.h"

int main(int argc, char** argv)
{
    return TavrolMain(argc, argv);
}
