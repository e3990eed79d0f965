// tavrol-slurm: submission, the guard, following the job and its end.
#include "slurm/slurmrunner.h"

#include <fcntl.h>
#include <limits.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <sstream>
#include <thread>

namespace TavrolSlurm {

namespace {

// Slurm ends a short job within a second or two; later polls come less
// often so that many waiting runners cost the controller little.
constexpr int FirstPollMs = 100;
constexpr int LongestPollMs = 1000;
// The guard keeps cancelling until squeue shows no job of the name, for a
// submission that was still on its way when the runner died.
constexpr int GuardCancelSeconds = 30;

// sbatch calls at a time from the runners of one user and cluster on a host.
constexpr int SubmitSlots = 4;
// sbatch tries again when the controller was too busy to answer.
constexpr int SubmitAttempts = 4;
// Runners of one user share one look at all jobs, taken at most this often,
// and never more often than the controller can answer with ease: the next
// look waits at least this many times as long as the last one took.
constexpr int SharedTableAgeMs = 500;
constexpr int SharedTableCostFactor = 4;

// The message that tells the guard the job ended in Slurm.
constexpr char FinishedByte = 'F';

void Complain(const std::string& text)
{
    const std::string line = "tavrol-slurm: " + text + "\n";
    const ssize_t ignored = ::write(STDERR_FILENO, line.data(), line.size());
    (void)ignored;
}

bool WriteAll(int fd, const char* data, size_t size)
{
    while (size > 0) {
        const ssize_t written = ::write(fd, data, size);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        data += written;
        size -= static_cast<size_t>(written);
    }
    return true;
}

void SleepMs(int milliseconds)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

std::vector<char*> ArgvOf(std::vector<std::string>& words)
{
    std::vector<char*> argv;
    for (std::string& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    return argv;
}

struct CommandResult
{
    bool Exited = false;
    int ExitCode = -1;
    std::string Output;
};

// Runs a Slurm client with `input` on its standard input and collects its
// standard output, and its standard error with it when mergeErrors is set
// (else that goes to ours).
CommandResult RunCommand(std::vector<std::string> words, const std::string& input = std::string(),
                         bool mergeErrors = false)
{
    CommandResult result;
    int in[2];
    int out[2];
    if (::pipe2(in, O_CLOEXEC) != 0)
        return result;
    if (::pipe2(out, O_CLOEXEC) != 0) {
        ::close(in[0]);
        ::close(in[1]);
        return result;
    }
    std::vector<char*> argv = ArgvOf(words);
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::dup2(in[0], STDIN_FILENO);
        ::dup2(out[1], STDOUT_FILENO);
        if (mergeErrors)
            ::dup2(out[1], STDERR_FILENO);
        ::execvp(argv[0], argv.data());
        _exit(127);
    }
    ::close(in[0]);
    ::close(out[1]);
    if (pid > 0) {
        WriteAll(in[1], input.data(), input.size());
        ::close(in[1]);
        char buffer[4096];
        for (;;) {
            const ssize_t got = ::read(out[0], buffer, sizeof buffer);
            if (got < 0 && errno == EINTR)
                continue;
            if (got <= 0)
                break;
            result.Output.append(buffer, static_cast<size_t>(got));
        }
        int status = 0;
        while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
        }
        result.Exited = WIFEXITED(status);
        result.ExitCode = result.Exited ? WEXITSTATUS(status) : -1;
    } else {
        ::close(in[1]);
    }
    ::close(out[0]);
    return result;
}

std::string HostName()
{
    char name[HOST_NAME_MAX + 1] = {};
    if (::gethostname(name, sizeof name - 1) != 0)
        return "host";
    std::string host(name);
    return host.substr(0, host.find('.'));
}

// A name no other job has: the guard finds the job by it even when the
// runner died before sbatch told it the job id.
std::string UniqueJobName()
{
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    std::ostringstream name;
    name << "tavrol-" << HostName() << '-' << ::getpid() << '-' << std::hex
         << std::chrono::duration_cast<std::chrono::microseconds>(now).count();
    return name.str();
}

std::string CurrentDirectory()
{
    std::vector<char> buffer(PATH_MAX + 1);
    return ::getcwd(buffer.data(), buffer.size()) ? std::string(buffer.data()) : std::string();
}

// ---- The guard ----------------------------------------------------------

bool NoJobNamed(const std::string& name)
{
    const CommandResult listed = RunCommand({"squeue", "-h", "-n", name, "-o", "%i"});
    return listed.Exited && listed.ExitCode == 0 &&
           listed.Output.find_first_not_of(" \n") == std::string::npos;
}

void CancelJobs(const std::string& name)
{
    // Wall time, not attempts: a controller that is gone makes each client
    // wait for its own time limit.
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(GuardCancelSeconds);
    while (std::chrono::steady_clock::now() < end) {
        RunCommand({"scancel", "-n", name});
        if (NoJobNamed(name))
            return;
        SleepMs(1000);
    }
}

// Runs in a session of its own, outside the runner's process tree, so that
// killing the runner and its children leaves it alive. It holds only the
// read end of the pipe: the pipe closes when the runner ends, however it
// ends, and then the job is cancelled unless the runner said it finished.
[[noreturn]] void Guard(int readEnd, const std::string& jobName, const std::string& base)
{
    ::setsid();
    ::signal(SIGHUP, SIG_IGN);
    ::signal(SIGINT, SIG_IGN);
    ::signal(SIGTERM, SIG_IGN);
    ::signal(SIGPIPE, SIG_IGN);
    const int null = ::open("/dev/null", O_RDWR);
    if (null >= 0) {
        ::dup2(null, STDIN_FILENO);
        ::dup2(null, STDOUT_FILENO);
        ::dup2(null, STDERR_FILENO);
        if (null > STDERR_FILENO)
            ::close(null);
    }
    if (::chdir("/") != 0) {
        // Nothing needs the directory; only its mount is left alone.
    }
    bool finished = false;
    char buffer[64];
    for (;;) {
        const ssize_t got = ::read(readEnd, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        if (std::memchr(buffer, FinishedByte, static_cast<size_t>(got)))
            finished = true;
    }
    if (!finished) {
        CancelJobs(jobName);
        // The runner had no chance to remove its files.
        ::unlink((base + ".out").c_str());
        ::unlink((base + ".in").c_str());
    }
    _exit(0);
}

// Forks the guard twice removed, so that it is nobody's child here; returns
// the write end that only this process holds, or -1.
int StartGuard(const std::string& jobName, const std::string& base)
{
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
        return -1;
    const pid_t middle = ::fork();
    if (middle < 0) {
        ::close(ends[0]);
        ::close(ends[1]);
        return -1;
    }
    if (middle == 0) {
        ::close(ends[1]);
        const pid_t guard = ::fork();
        if (guard == 0)
            Guard(ends[0], jobName, base);
        _exit(guard > 0 ? 0 : 1);
    }
    ::close(ends[0]);
    int status = 0;
    while (::waitpid(middle, &status, 0) < 0 && errno == EINTR) {
    }
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        ::close(ends[1]);
        return -1;
    }
    return ends[1];
}

// ---- Standard input and output -------------------------------------------

// The file the job reads as its standard input: ours when it is a file,
// else a copy of what a pipe brings, else nothing.
std::string InputFileForJob(const std::string& copyPath, bool& copied)
{
    copied = false;
    struct stat own = {};
    if (::isatty(STDIN_FILENO) || ::fstat(STDIN_FILENO, &own) != 0)
        return "/dev/null";
    if (S_ISREG(own.st_mode)) {
        std::vector<char> target(PATH_MAX + 1);
        const ssize_t length = ::readlink("/proc/self/fd/0", target.data(), PATH_MAX);
        struct stat named = {};
        if (length > 0) {
            const std::string path(target.data(), static_cast<size_t>(length));
            if (::stat(path.c_str(), &named) == 0 && named.st_ino == own.st_ino &&
                named.st_dev == own.st_dev)
                return path;
        }
    }
    if (!S_ISREG(own.st_mode) && !S_ISFIFO(own.st_mode) && !S_ISSOCK(own.st_mode))
        return "/dev/null";
    const int copy = ::open(copyPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (copy < 0)
        return "/dev/null";
    char buffer[65536];
    for (;;) {
        const ssize_t got = ::read(STDIN_FILENO, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        WriteAll(copy, buffer, static_cast<size_t>(got));
    }
    ::close(copy);
    copied = true;
    return copyPath;
}

// Copies what the job has written to its output file since the last call
// to our standard output. The file is opened afresh each time, so that a
// shared file system shows what the compute node wrote.
class OutputFollower
{
public:
    explicit OutputFollower(std::string path) : m_path(std::move(path)) {}

    void CopyNew()
    {
        const int fd = ::open(m_path.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd < 0)
            return;
        if (::lseek(fd, m_offset, SEEK_SET) == m_offset) {
            char buffer[65536];
            for (;;) {
                const ssize_t got = ::read(fd, buffer, sizeof buffer);
                if (got < 0 && errno == EINTR)
                    continue;
                if (got <= 0)
                    break;
                WriteAll(STDOUT_FILENO, buffer, static_cast<size_t>(got));
                m_offset += got;
            }
        }
        ::close(fd);
    }

private:
    std::string m_path;
    off_t m_offset = 0;
};

// ---- Slurm ---------------------------------------------------------------

// The id of the job of this name that Slurm holds, if any.
std::string JobNamed(const std::string& name)
{
    const CommandResult listed = RunCommand({"squeue", "-h", "-n", name, "-o", "%i"});
    if (!listed.Exited || listed.ExitCode != 0)
        return std::string();
    const std::string id = listed.Output.substr(0, listed.Output.find_first_of(" \n"));
    return id.find_first_not_of("0123456789_") == std::string::npos ? id : std::string();
}

bool IsBusyController(const std::string& message)
{
    for (const char* sign : {"timed out", "Unable to contact", "temporarily", "Connection"}) {
        if (message.find(sign) != std::string::npos)
            return true;
    }
    return false;
}

std::string Submit(const Invocation& invocation, const std::string& jobName,
                   const std::string& directory, const std::string& input,
                   const std::string& output)
{
    std::vector<std::string> words = {"sbatch", "--parsable"};
    words.insert(words.end(), invocation.SbatchOptions.begin(), invocation.SbatchOptions.end());
    // After the caller's options, so that these win.
    words.push_back("--job-name=" + jobName);
    words.push_back("--chdir=" + directory);
    words.push_back("--input=" + input);
    words.push_back("--output=" + output);
    words.push_back("--open-mode=truncate");
    for (int attempt = 1;; ++attempt) {
        const CommandResult result = RunCommand(words, BatchScript(invocation.Program), true);
        if (result.Exited && result.ExitCode == 0) {
            // "id" or "id;cluster".
            const std::string id = result.Output.substr(0, result.Output.find_first_of(";\n"));
            if (!id.empty() && id.find_first_not_of("0123456789_") == std::string::npos)
                return id;
        }
        // A busy controller may have taken the job although sbatch gave up
        // waiting for its answer: the unique name finds it.
        const std::string taken = JobNamed(jobName);
        if (!taken.empty())
            return taken;
        if (attempt == SubmitAttempts || !IsBusyController(result.Output)) {
            WriteAll(STDERR_FILENO, result.Output.data(), result.Output.size());
            return std::string();
        }
        SleepMs(1000 * attempt);
    }
}

enum class PollResult
{
    Known,
    Unknown, // the controller answered that there is no such job
    NoAnswer,
    NotYet, // the last look at all jobs was taken before this job was submitted
};

PollResult PollOne(const std::string& jobId, JobState& state)
{
    const CommandResult result = RunCommand({"scontrol", "-o", "show", "job", jobId}, {}, true);
    if (result.Exited && result.ExitCode == 0 && ParseJobLine(result.Output, state))
        return PollResult::Known;
    if (result.Output.find("Invalid job id") != std::string::npos)
        return PollResult::Unknown;
    return PollResult::NoAnswer;
}

// The monotonic clock, which every runner on the host shares and which a
// change of the wall clock does not move.
struct timespec Now()
{
    struct timespec now = {};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return now;
}

bool Before(const struct timespec& a, const struct timespec& b)
{
    return a.tv_sec < b.tv_sec || (a.tv_sec == b.tv_sec && a.tv_nsec < b.tv_nsec);
}

long long MillisecondsBetween(const struct timespec& from, const struct timespec& to)
{
    return (to.tv_sec - from.tv_sec) * 1000LL + (to.tv_nsec - from.tv_nsec) / 1000000;
}

// One `scontrol -o show job` of all jobs, shared through a file by every
// runner of this user and cluster on this host: two hundred waiting runners
// cost the controller one request every half second, not two hundred.
class SharedJobTable
{
public:
    SharedJobTable()
    {
        const char* configuration = std::getenv("SLURM_CONF");
        std::ostringstream directory;
        directory << "/tmp/tavrol-slurm-" << ::getuid();
        m_directory = directory.str();
        std::ostringstream key;
        key << std::hex << std::hash<std::string>()(configuration ? configuration : "");
        m_table = m_directory + "/jobs-" + key.str();
        m_lock = m_table + ".lock";
        ::mkdir(m_directory.c_str(), 0700);
        // Only a directory of our own, which nobody else can write.
        struct stat info = {};
        m_usable = ::lstat(m_directory.c_str(), &info) == 0 && S_ISDIR(info.st_mode) &&
                   info.st_uid == ::getuid() && (info.st_mode & 0077) == 0;
    }

    bool Usable() const { return m_usable; }
    std::string SlotPath(int slot) const { return m_table + ".submit" + std::to_string(slot); }

    // The job as the last table shows it. A table older than the job is
    // not renewed for it: the job waits for the next look, so that runners
    // submitted one after another do not make the looks come back to back.
    PollResult Look(const std::string& jobId, const struct timespec& submitted, JobState& state)
    {
        if (!Refresh())
            return PollResult::NoAnswer;
        const std::string text = ReadTable();
        TableHeader header;
        if (!ParseHeader(text, header))
            return PollResult::NoAnswer;
        if (Before(header.Started, submitted))
            return PollResult::NotYet;
        const std::string marker = "JobId=" + jobId + " ";
        for (size_t start = 0; start < text.size();) {
            const size_t end = std::min(text.find('\n', start), text.size());
            if (text.compare(start, marker.size(), marker) == 0)
                return ParseJobLine(text.substr(start, end - start), state) ? PollResult::Known
                                                                            : PollResult::NoAnswer;
            start = end + 1;
        }
        return PollResult::Unknown;
    }

private:
    // The table's first line: when its look began (a job submitted before
    // that is in it) and how long the controller took to answer.
    struct TableHeader
    {
        struct timespec Started = {};
        long long TookMs = 0;
    };

    static std::string HeaderLine(const TableHeader& header)
    {
        std::ostringstream line;
        line << "#tavrol-slurm " << header.Started.tv_sec << ' ' << header.Started.tv_nsec << ' '
             << header.TookMs << '\n';
        return line.str();
    }

    static bool ParseHeader(const std::string& text, TableHeader& header)
    {
        std::istringstream line(text.substr(0, text.find('\n')));
        std::string tag;
        long long seconds = 0;
        long long nanoseconds = 0;
        if (!(line >> tag >> seconds >> nanoseconds >> header.TookMs) || tag != "#tavrol-slurm")
            return false;
        header.Started.tv_sec = static_cast<time_t>(seconds);
        header.Started.tv_nsec = static_cast<long>(nanoseconds);
        return true;
    }

    bool ReadHeader(TableHeader& header) const
    {
        std::string first(128, '\0');
        const int fd = ::open(m_table.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd < 0)
            return false;
        const ssize_t got = ::read(fd, first.data(), first.size());
        ::close(fd);
        if (got <= 0)
            return false;
        first.resize(static_cast<size_t>(got));
        return ParseHeader(first, header);
    }

    // Under the lock: takes a new table when the last one is old enough.
    // False when there is none and the controller did not answer.
    bool Refresh()
    {
        const int lock = ::open(m_lock.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
        if (lock < 0)
            return false;
        bool ok = false;
        if (::flock(lock, LOCK_EX) == 0) {
            TableHeader header;
            const bool have = ReadHeader(header);
            const long long waitMs =
                std::max<long long>(SharedTableAgeMs, SharedTableCostFactor * header.TookMs);
            ok = (have && MillisecondsBetween(header.Started, Now()) < waitMs) || TakeTable();
            ::flock(lock, LOCK_UN);
        }
        ::close(lock);
        return ok;
    }

    bool TakeTable()
    {
        TableHeader header;
        header.Started = Now();
        const CommandResult result = RunCommand({"scontrol", "-o", "show", "job"}, {}, true);
        if (!result.Exited || result.ExitCode != 0)
            return false;
        header.TookMs = MillisecondsBetween(header.Started, Now());
        const std::string temporary = m_table + ".new";
        const int fd =
            ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0600);
        if (fd < 0)
            return false;
        const std::string first = HeaderLine(header);
        const bool written = WriteAll(fd, first.data(), first.size()) &&
                             WriteAll(fd, result.Output.data(), result.Output.size());
        ::close(fd);
        return written && ::rename(temporary.c_str(), m_table.c_str()) == 0;
    }

    std::string ReadTable() const
    {
        std::string text;
        const int fd = ::open(m_table.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd < 0)
            return text;
        char buffer[65536];
        for (;;) {
            const ssize_t got = ::read(fd, buffer, sizeof buffer);
            if (got < 0 && errno == EINTR)
                continue;
            if (got <= 0)
                break;
            text.append(buffer, static_cast<size_t>(got));
        }
        ::close(fd);
        return text;
    }

    std::string m_directory;
    std::string m_table;
    std::string m_lock;
    bool m_usable = false;
};

// Ends this process by the signal, as the program ended; without a core
// file, which would be this runner's and not the program's.
[[noreturn]] void EndBySignal(int signalNumber)
{
    const struct rlimit noCore = {0, 0};
    ::setrlimit(RLIMIT_CORE, &noCore);
    ::signal(signalNumber, SIG_DFL);
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, signalNumber);
    ::sigprocmask(SIG_UNBLOCK, &set, nullptr);
    ::raise(signalNumber);
    _exit(128 + signalNumber);
}

// Removes the runner's own files when it leaves by any ordinary way.
class TemporaryFiles
{
public:
    TemporaryFiles() = default;
    TemporaryFiles(const TemporaryFiles&) = delete;
    TemporaryFiles& operator=(const TemporaryFiles&) = delete;
    ~TemporaryFiles() { RemoveAll(); }

    void Add(const std::string& path) { m_paths.push_back(path); }
    void RemoveAll()
    {
        for (const std::string& path : m_paths)
            ::unlink(path.c_str());
        m_paths.clear();
    }

private:
    std::vector<std::string> m_paths;
};

// A controller that does not answer for this long is given up on.
constexpr int NoAnswerLimit = 120;
// A job the controller no longer knows, asked this many times in a row.
constexpr int UnknownLimit = 5;

// One of a few places to submit from: many runners started at once would
// otherwise swamp the controller with sbatch calls. Held until destroyed.
class SubmissionSlot
{
public:
    explicit SubmissionSlot(const SharedJobTable& table)
    {
        if (!table.Usable())
            return;
        for (int slot = 0; slot < SubmitSlots; ++slot) {
            if (Take(table.SlotPath(slot), LOCK_EX | LOCK_NB))
                return;
        }
        // All taken: wait in line at one of them, without spinning.
        Take(table.SlotPath(static_cast<int>(::getpid() % SubmitSlots)), LOCK_EX);
    }
    SubmissionSlot(const SubmissionSlot&) = delete;
    SubmissionSlot& operator=(const SubmissionSlot&) = delete;
    ~SubmissionSlot()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }

private:
    // False when the slot is held by another; a slot that cannot be opened
    // counts as taken, so that the runner submits at once.
    bool Take(const std::string& path, int operation)
    {
        const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
        if (fd < 0)
            return true;
        int locked;
        while ((locked = ::flock(fd, operation)) != 0 && errno == EINTR) {
        }
        if (locked != 0) {
            ::close(fd);
            return false;
        }
        m_fd = fd;
        return true;
    }

    int m_fd = -1;
};

int Follow(const std::string& jobId, const struct timespec& submitted, OutputFollower& follower,
           int guardPipe, TemporaryFiles& files)
{
    SharedJobTable table;
    int pollMs = FirstPollMs;
    int noAnswers = 0;
    int unknowns = 0;
    for (;;) {
        SleepMs(pollMs);
        pollMs = std::min(LongestPollMs, pollMs * 3 / 2);
        follower.CopyNew();
        JobState state;
        const PollResult result =
            table.Usable() ? table.Look(jobId, submitted, state) : PollOne(jobId, state);
        switch (result) {
        case PollResult::NotYet:
            continue;
        case PollResult::NoAnswer:
            if (++noAnswers >= NoAnswerLimit) {
                Complain("Slurm does not answer about job " + jobId);
                return ExitJobLost;
            }
            continue;
        case PollResult::Unknown:
            // A job just submitted may not be listed at once on every
            // controller; one that ended long ago has been purged.
            if (++unknowns >= UnknownLimit) {
                Complain("Slurm no longer knows job " + jobId);
                return ExitJobLost;
            }
            continue;
        case PollResult::Known:
            noAnswers = 0;
            unknowns = 0;
            break;
        }
        if (!IsFinalState(state.State))
            continue;
        follower.CopyNew();
        WriteAll(guardPipe, &FinishedByte, 1);
        ::close(guardPipe);
        const Outcome outcome = OutcomeOf(state, jobId);
        if (!outcome.Reason.empty())
            Complain(outcome.Reason);
        if (outcome.Signal > 0) {
            files.RemoveAll();
            EndBySignal(outcome.Signal);
        }
        return outcome.ExitCode;
    }
}

} // namespace

bool ParseArguments(const std::vector<std::string>& arguments, Invocation& invocation)
{
    const auto separator = std::find(arguments.begin(), arguments.end(), "--");
    if (separator == arguments.end() || separator + 1 == arguments.end())
        return false;
    invocation.SbatchOptions.assign(arguments.begin(), separator);
    invocation.Program.assign(separator + 1, arguments.end());
    return true;
}

std::string ShellQuoted(const std::string& word)
{
    std::string quoted = "'";
    for (const char c : word) {
        if (c == '\'')
            quoted += "'\\''";
        else
            quoted += c;
    }
    return quoted + "'";
}

std::string BatchScript(const std::vector<std::string>& program)
{
    std::string script = "#!/bin/sh\nexec";
    for (const std::string& word : program)
        script += ' ' + ShellQuoted(word);
    return script + '\n';
}

bool ParseJobLine(const std::string& line, JobState& state)
{
    std::istringstream fields(line);
    std::string field;
    bool haveState = false;
    bool haveExit = false;
    while (fields >> field) {
        if (field.rfind("JobState=", 0) == 0) {
            state.State = field.substr(9);
            haveState = !state.State.empty();
        } else if (field.rfind("ExitCode=", 0) == 0) {
            const std::string value = field.substr(9);
            const size_t colon = value.find(':');
            if (colon == std::string::npos)
                continue;
            state.ExitCode = std::atoi(value.substr(0, colon).c_str());
            state.Signal = std::atoi(value.substr(colon + 1).c_str());
            haveExit = true;
        }
    }
    return haveState && haveExit;
}

bool IsFinalState(const std::string& state)
{
    static const char* const finalStates[] = {
        "COMPLETED", "FAILED",        "CANCELLED", "TIMEOUT",  "NODE_FAIL",
        "PREEMPTED", "OUT_OF_MEMORY", "BOOT_FAIL", "DEADLINE",
    };
    return std::any_of(std::begin(finalStates), std::end(finalStates),
                       [&state](const char* name) { return state == name; });
}

Outcome OutcomeOf(const JobState& state, const std::string& jobId)
{
    const std::string job = "Slurm job " + jobId;
    Outcome outcome;
    if (state.State == "COMPLETED") {
        outcome.ExitCode = 0;
    } else if (state.State == "FAILED" && state.Signal > 0) {
        outcome.Signal = state.Signal;
    } else if (state.State == "FAILED" && state.ExitCode > 0) {
        outcome.ExitCode = state.ExitCode;
    } else if (state.State == "CANCELLED") {
        outcome = {ExitCancelled, 0, job + " was cancelled"};
    } else if (state.State == "TIMEOUT") {
        outcome = {ExitTimeout, 0, job + " reached its time limit"};
    } else if (state.State == "NODE_FAIL") {
        outcome = {ExitNodeFail, 0, job + " ended because its node failed"};
    } else if (state.State == "OUT_OF_MEMORY") {
        outcome = {ExitOutOfMemory, 0, job + " ran out of memory"};
    } else if (state.State == "PREEMPTED") {
        outcome = {ExitPreempted, 0, job + " was preempted"};
    } else {
        outcome = {ExitOtherState, 0, job + " ended in state " + state.State};
    }
    return outcome;
}

namespace {

// Descriptors left open by whoever started this process (a lock its own
// parent held, say) would otherwise stay open in the guard while the job runs.
void CloseInheritedDescriptors()
{
    if (::close_range(STDERR_FILENO + 1, ~0U, 0) == 0)
        return;
    const long limit = std::min(::sysconf(_SC_OPEN_MAX), 65536L);
    for (int fd = STDERR_FILENO + 1; fd < limit; ++fd)
        ::close(fd);
}

} // namespace

int Run(const Invocation& invocation)
{
    CloseInheritedDescriptors();
    // Whoever started this process (Tavrol) may die by signal 9 too: this
    // process then follows it, and the guard cancels the job.
    const pid_t parent = ::getppid();
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent)
        return ExitSetupFailed;

    const std::string directory = CurrentDirectory();
    if (directory.empty()) {
        Complain("cannot tell the current directory");
        return ExitSetupFailed;
    }
    const std::string jobName = UniqueJobName();
    const std::string base = directory + "/." + jobName;

    TemporaryFiles files;
    bool inputCopied = false;
    const std::string input = InputFileForJob(base + ".in", inputCopied);
    if (inputCopied)
        files.Add(input);
    const std::string output = base + ".out";
    files.Add(output);

    const int guardPipe = StartGuard(jobName, base);
    if (guardPipe < 0) {
        Complain("cannot start the guard that cancels the job");
        return ExitSetupFailed;
    }
    std::string jobId;
    {
        const SharedJobTable table;
        const SubmissionSlot slot(table);
        jobId = Submit(invocation, jobName, directory, input, output);
    }
    // The controller holds the job now: a table taken later lists it.
    const struct timespec submitted = Now();
    if (jobId.empty()) {
        // The guard makes sure that no job of the name was left behind.
        Complain("sbatch could not submit the job");
        return ExitSubmitFailed;
    }
    OutputFollower follower(output);
    return Follow(jobId, submitted, follower, guardPipe, files);
}

} // namespace TavrolSlurm
