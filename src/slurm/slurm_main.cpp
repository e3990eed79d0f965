// tavrol-slurm: a job type's executable that runs the real program on a
// Slurm cluster (see slurmrunner.h).
#include "slurm/slurmrunner.h"

#include <cstdio>
#include <string>
#include <vector>

int main(int argc, char* argv[])
{
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    TavrolSlurm::Invocation invocation;
    if (!TavrolSlurm::ParseArguments(arguments, invocation)) {
        std::fputs("usage: tavrol-slurm [sbatch options] -- program [arguments]\n", stderr);
        return TavrolSlurm::ExitUsage;
    }
    return TavrolSlurm::Run(invocation);
}
