#include "jobs/job.h"

#include "platform/filesys.h"
#include "platform/process.h"
#include "processes/process.h"

#include <QFile>
#include <QFileInfo>

#include <cstddef>
#include <tuple>
#include <type_traits>
#include <utility>

namespace {

const char* const StatusWords[] = {"Unknown",   "Pending", "Running", "Finished",
                                   "Completed", "Crashed", "Failed",  "Killed"};
constexpr int StatusWordCount = 8;

QString Converted(const QString& path)
{
    return Quolix_FileSys::ConvertFilename(path, true, false);
}

// Converts to the type of any field, so that a brace initialization with N of
// them compiles exactly when the record has at least N fields.
struct AnyField
{
    template <typename T> operator T() const; // never defined: used in unevaluated contexts only
};

template <typename Record, typename Indices, typename = void> struct TakesFields : std::false_type
{
};

template <typename Record, std::size_t... Index>
struct TakesFields<Record, std::index_sequence<Index...>,
                   std::void_t<decltype(Record{(void(Index), AnyField{})...})>> : std::true_type
{
};

template <typename Record, std::size_t Count = 0> constexpr std::size_t FieldCount()
{
    if constexpr (TakesFields<Record, std::make_index_sequence<Count + 1>>::value)
        return FieldCount<Record, Count + 1>();
    else
        return Count;
}

// Copies and comparisons go through the record and its Tie(): a field missing
// from Tie() would be silently left out of operator==.
static_assert(std::is_aggregate_v<Tavrol_JobRecord>, "the record must stay a plain aggregate");
static_assert(FieldCount<Tavrol_JobRecord>() ==
                  std::tuple_size_v<decltype(std::declval<const Tavrol_JobRecord&>().Tie())>,
              "Tavrol_JobRecord::Tie() must name every field");

} // namespace

Tavrol_Job::Tavrol_Job() = default;

Tavrol_Job::Tavrol_Job(const QString& name, const Tavrol_JobType& jobType,
                       const QString& clientName, const QString& clientAppName,
                       const QString& clientAddress, int clientPort, int clientUID, int clientGID,
                       int queueID, const QString& queueName, const QString& inputFilePath,
                       const QString& inputFilePath2, int jobID, const QString& jobClass)
{
    JobClass = jobClass;
    Name = name;
    ClientName = clientName;
    ClientAppName = clientAppName;
    ClientAddress = clientAddress;
    ClientPort = clientPort;
    ClientUID = clientUID;
    ClientGID = clientGID;
    JobType = jobType;
    QueueID = queueID;
    QueueName = queueName;
    InputFilePath = inputFilePath;
    InputFilePath2 = inputFilePath2;
    JobID = jobID;
    SetDefaultOutputFilePath();
}

// A copy is a record of the job, never a second owner of its run: the record
// part is copied, Process stays null and no connection is carried over.
Tavrol_Job::Tavrol_Job(const Tavrol_Job& other) : QObject(), Tavrol_JobRecord(other) {}

// The own Process is kept as it is: assigning a record does not end or hand
// over a run.
Tavrol_Job& Tavrol_Job::operator=(const Tavrol_Job& other)
{
    if (this != &other)
        static_cast<Tavrol_JobRecord&>(*this) = other;
    return *this;
}

// A job that goes while its program still runs (at exit, one that the kill
// loop passed over) takes the whole program with it, children first as Kill
// does: the runner alone would end only the top process and leave its
// children running with nobody to record them.
Tavrol_Job::~Tavrol_Job()
{
    if (Process && Process->state() != QProcess::NotRunning && !Process->WasKilled) {
        const int pid = Process->ProcessID();
        if (pid > 0)
            Tavrol_Process::KillChildProcesses(pid);
    }
    delete Process;
}

// Every field but Process, in declared order, up to the first difference.
bool Tavrol_Job::operator==(const Tavrol_Job& other) const
{
    return Tie() == other.Tie();
}

QString Tavrol_Job::StatusToString(int status)
{
    if (status < 0 || status >= StatusWordCount)
        return QString();
    return QLatin1String(StatusWords[status]);
}

Tavrol_JobStatus Tavrol_Job::StatusFromString(const QString& word)
{
    for (int status = 0; status < StatusWordCount; ++status) {
        if (word.compare(QLatin1String(StatusWords[status]), Qt::CaseInsensitive) == 0)
            return static_cast<Tavrol_JobStatus>(status);
    }
    return JobStatusUnknown;
}

void Tavrol_Job::SetStatus(Tavrol_JobStatus status, bool stamp)
{
    const Tavrol_JobStatus previous = Status;
    Status = status;
    emit StatusSetSignal(this, previous);
    if (!stamp)
        return;
    const QDateTime now = QDateTime::currentDateTime();
    if (status == JobStatusPending)
        Submitted = now;
    else if (status == JobStatusRunning)
        Started = now;
    else if (status >= JobStatusFinished && status <= JobStatusKilled)
        Finished = now;
}

bool Tavrol_Job::IsFinished() const
{
    return Status >= JobStatusFinished && Status <= JobStatusKilled;
}

bool Tavrol_Job::IsValid() const
{
    if (!JobType.IsValid())
        return false;
    if (QueueID < 0 || QueueName.isEmpty())
        return false;
    if (JobType.UsesInputFile() && (InputFilePath.isEmpty() || !QFile::exists(InputFilePath)))
        return false;
    // The second input stays optional even for a type that can take one.
    if (JobType.UsesInputFile2() && !InputFilePath2.isEmpty() && !QFile::exists(InputFilePath2))
        return false;
    return JobID >= 0;
}

void Tavrol_Job::SetInputFilePath(const QString& path)
{
    InputFilePath = path;
    if (OutputFilePath.isEmpty())
        SetDefaultOutputFilePath();
}

void Tavrol_Job::SetInputFilePath2(const QString& path)
{
    InputFilePath2 = path;
    if (OutputFilePath.isEmpty())
        SetDefaultOutputFilePath();
}

void Tavrol_Job::SetStandardInputFile(const QString& path)
{
    StandardInputFile = path;
}

void Tavrol_Job::SetStandardOutputFile(const QString& path)
{
    StandardOutputFile = path;
}

// The output file is the input file with the extension of the first "*."
// pattern of the type's output filter; Ombrix output follows the generation of
// its input's extension.
void Tavrol_Job::SetDefaultOutputFilePath()
{
    OutputFilePath.clear();
    if (InputFilePath.isEmpty())
        return;
    const QString& filter = JobType.OutputFileFilter;
    if (filter.contains(QLatin1String("Ombrix Output"), Qt::CaseInsensitive)) {
        OutputFilePath = InputFilePath;
        const QString suffix = QFileInfo(InputFilePath).suffix();
        const int mode = Quolix_FileSys::IsNewOmbrixFileExtension(suffix) ? 0 : 1;
        Quolix_FileSys::SetFileExtension(OutputFilePath, Quolix_FileSys::OmbrixOutputFile, mode);
        return;
    }
    // Only the first pattern counts.
    const QStringList patterns = Tavrol_JobType::FilterPatterns(filter);
    if (patterns.isEmpty())
        return;
    OutputFilePath = InputFilePath;
    QString extension = patterns.first();
    extension.remove(QLatin1Char('*'));
    Quolix_FileSys::SetFileExtension(OutputFilePath, extension);
}

QString Tavrol_Job::CommandLine(QString* arguments) const
{
    QString result = JobType.GenericCommandLine;

    // A quoted placeholder loses its quotes: the converted path brings its own.
    result.replace(QLatin1String("\"@INFILE\""), QLatin1String("@INFILE"));
    result.replace(QLatin1String("\"@EXEFILE\""), QLatin1String("@EXEFILE"));
    result.replace(QLatin1String("\"@OUTFILE\""), QLatin1String("@OUTFILE"));

    // "@INFILE" is a prefix of "@INFILE1" and "@INFILE2", so those go first.
    result.replace(QLatin1String("@INFILE1"), Converted(InputFilePath));

    // cubman asks for a second cube only when it is given one: without it the
    // question and its confirmation leave the answers.
    const QLatin1String secondInputAnswer("@INFILE2\ny\n");
    if (result.contains(secondInputAnswer, Qt::CaseInsensitive) && InputFilePath2.isEmpty() &&
        JobType.ExecutablePath.contains(QLatin1String("cubman"), Qt::CaseInsensitive)) {
        result.remove(secondInputAnswer, Qt::CaseInsensitive);
    } else {
        result.replace(QLatin1String("@INFILE2"), Converted(InputFilePath2));
    }

    result.replace(QLatin1String("@INFILE"), Converted(InputFilePath));

    if (arguments)
        *arguments = result;

    result.replace(QLatin1String("@EXEFILE"), Converted(JobType.ExecutablePath));
    if (arguments)
        arguments->replace(QLatin1String("@EXEFILE"), QString());

    if (result.contains(QLatin1String("@OUTFILE"), Qt::CaseInsensitive)) {
        const QString output = Converted(OutputFilePath);
        result.replace(QLatin1String("@OUTFILE"), output);
        if (arguments)
            arguments->replace(QLatin1String("@OUTFILE"), output);
    }

    for (const auto& [placeholder, value] : Replacements) {
        // An empty placeholder would match between every two characters.
        if (placeholder.isEmpty() || !result.contains(placeholder, Qt::CaseInsensitive))
            continue;
        result.replace(placeholder, value, Qt::CaseInsensitive);
        if (arguments)
            arguments->replace(placeholder, value, Qt::CaseInsensitive);
    }
    return result;
}

void Tavrol_Job::SplitArguments(const QString& expanded, QString& arguments, QString& standardInput)
{
    const int lineFeed = expanded.indexOf(QLatin1Char('\n'));
    if (lineFeed < 0) {
        arguments = expanded;
        standardInput.clear();
        return;
    }
    standardInput = expanded.mid(lineFeed + 1);
    arguments = expanded.left(lineFeed).trimmed();
}
