#pragma once

#include "jobtypes/jobtype.h"

#include <QString>

// A job type whose program runs on a Slurm cluster: its executable is the
// runner tavrol-slurm, and its template carries the sbatch options and the
// real program, e.g.
//   @EXEFILE --partition=chem --cpus-per-task=8 -- /opt/prog/prog @INFILE @OUTFILE
namespace Tavrol_ClusterJobType {

// The runner installed beside the running tavrol.
QString RunnerPath();

// The job type; partition and resources may be empty (the cluster's
// defaults). The real program gets the input and the output file, like the
// Gaussian type.
Tavrol_JobType Make(const QString& name, const QString& programPath, const QString& partition,
                    const QString& resources, const QString& runnerPath = RunnerPath());

} // namespace Tavrol_ClusterJobType
