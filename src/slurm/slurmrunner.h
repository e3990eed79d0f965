#pragma once

// tavrol-slurm: runs one program as a Slurm batch job and stands for it as a
// local process, so that Tavrol's queues, kill and status work unchanged.
//
//   tavrol-slurm [sbatch options] -- program [arguments]
//
// The job starts in the current directory with this process's standard
// input; its standard output and error come out on this process's standard
// output while it runs; this process ends as the job ends (see ExitStatus).
// A guard outside this process's tree cancels the job when this process
// dies before Slurm has ended the job, even by signal 9.

#include <string>
#include <vector>

namespace TavrolSlurm {

// What this process ends with when the job did not end by itself.
enum ExitStatus
{
    ExitUsage = 2,
    ExitCancelled = 201,
    ExitTimeout = 202,
    ExitNodeFail = 203,
    ExitOutOfMemory = 204,
    ExitPreempted = 205,
    ExitOtherState = 206,
    ExitSubmitFailed = 207,
    ExitJobLost = 208,
    ExitSetupFailed = 209,
};

struct Invocation
{
    std::vector<std::string> SbatchOptions;
    std::vector<std::string> Program; // the program and its arguments
};

// False when there is no "--" followed by a program.
bool ParseArguments(const std::vector<std::string>& arguments, Invocation& invocation);

// The batch script that runs the program in place of the shell, so that the
// job ends as the program does, by its exit code or its signal.
std::string BatchScript(const std::vector<std::string>& program);

// A word quoted for /bin/sh.
std::string ShellQuoted(const std::string& word);

// The fields of one line of `scontrol show job -o`.
struct JobState
{
    std::string State; // JobState, e.g. RUNNING, COMPLETED, FAILED
    int ExitCode = 0;
    int Signal = 0;
};
bool ParseJobLine(const std::string& line, JobState& state);

// True for the states in which Slurm has ended the job for good.
bool IsFinalState(const std::string& state);

// How a final state is passed on: the exit status, or a signal to end by
// (Signal > 0), and the one-line reason for standard error (empty for a job
// that ended by itself).
struct Outcome
{
    int ExitCode = 0;
    int Signal = 0;
    std::string Reason;
};
Outcome OutcomeOf(const JobState& state, const std::string& jobId);

int Run(const Invocation& invocation);

} // namespace TavrolSlurm
