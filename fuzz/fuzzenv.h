#pragma once

// The sandbox the fuzz targets run in, and the way each of them drives one
// input through the program. The normal test suite replays the seed corpora
// through the same functions (tests/*/tst_*corpus.cpp).
//
// The sandbox is a console-mode main object with its views and a new
// project, where nothing an input asks for can start a real program or leave
// the harness: every default job type runs /bin/true, the long and short
// queues are paused, "sh" only echoes its words and "clear" does nothing.

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <vector>

class Tavrol_AppWindow;

namespace FuzzEnv {

// Made at the first call: the sandbox directory (home, settings, programs,
// input files), the environment, the QApplication unless there is one, and
// the main object.
Tavrol_AppWindow& Window();
// The sandbox directory, also the working directory each input starts in. It
// holds the input files water.gjf, water.chk, water.fchk, water.cube,
// mol.gmmx, mol.dat and notes.txt.
QString WorkDir();
// Back to the state Window() made: the working directory, no running job, a
// fresh unmodified project with the default job types, job ids from 1.
void Reset();
// Aborts (a finding) when the condition fails.
void Check(bool condition);
// Sends standard output to /dev/null, for the speed of a fuzzing run.
void DiscardStandardOutput();

// What opening one project file did.
struct ProjectOutcome
{
    bool Opened = false;
    // The JobIDs of the long queue's rows after the save and its reload: the
    // file's own and the job queued in the opened project.
    std::vector<int> LongJobIDs;
};
// Writes the bytes as a project file and opens it as a user does. An opened
// project is used: a job queued, the caption, the list, and a save over the
// file, which reloads it. A refused one must leave no project. The sandbox
// is reset before and after.
ProjectOutcome OpenProjectFile(const QByteArray& bytes);

// Feeds the bytes to the console's prompt as its standard input and returns
// once the worker has read them all and its prompt has ended. The sandbox is
// reset before, not after, so that the caller can look at the result.
void RunConsoleSession(const QByteArray& input);

// What a request did.
struct SubmitOutcome
{
    bool SubmitJob = false; // its action was "submitjob"
    // The job rows it added to the project, by queue.
    std::size_t LongJobs = 0;
    std::size_t ShortJobs = 0;
    std::size_t QueuelessJobs = 0;
    std::size_t JobsAdded() const { return LongJobs + ShortJobs + QueuelessJobs; }
};
// Reads the bytes as the request server reads a client's message and carries
// a "submitjob" through the main object's submission. The sandbox is reset
// before, not after.
SubmitOutcome SubmitRequest(const QByteArray& bytes);

} // namespace FuzzEnv
