#pragma once

#include <QString>
#include <QStringList>

#include <vector>

// Files: jobtype.cpp (the record), jobtype_list.cpp (the process-wide list and
// the default types).
//
// How one external program is run: a plain value, copied freely. Jobs hold
// their own copy. Through its static operations the class also keeps the one
// process-wide list of job types, equal to the JobTypes table of the project.
class Tavrol_JobType
{
public:
    Tavrol_JobType() = default;
    Tavrol_JobType(int jobTypeID, const QString& name, const QString& applicationName,
                   const QString& executablePath, const QString& defaultQueue,
                   const QString& genericCommandLine, const QString& inputFileFilter,
                   const QString& outputFileFilter, const QString& environmentVariables);

    bool operator==(const Tavrol_JobType& other) const;
    bool operator!=(const Tavrol_JobType& other) const { return !(*this == other); }

    bool IsValid() const;
    int DefaultQueueID() const; // 0 long, 1 short, 2 queueless, -1 unknown
    bool UsesInputFile() const;
    bool UsesInputFile2() const;
    bool HandlesInputFile(const QString& filePath) const;

    // The parts of a file dialog filter that begin with "*.", in order: the
    // words before a parenthesis and any part with text before "*." drop out.
    static QStringList FilterPatterns(const QString& filter);

    // The queue name that a DefaultQueueID of the table stands for; empty for
    // any number but 0, 1 and 2.
    static QString QueueNameFromID(int defaultQueueID);

    // The job type for a file: the type of that id when jobTypeID is 0 or
    // more, else the first whose input filter takes the file. An index into
    // jobTypes, or -1.
    static int IndexForFile(const std::vector<Tavrol_JobType>& jobTypes, const QString& filePath,
                            int jobTypeID);
    static int IndexOfID(const std::vector<Tavrol_JobType>& jobTypes, int jobTypeID);

    int JobTypeID = 0;
    QString Name;
    QString ApplicationName;
    QString ExecutablePath;
    QString DefaultQueue;
    QString GenericCommandLine;
    QString InputFileFilter;
    QString OutputFileFilter;
    QString EnvironmentVariables;

    // The process-wide list.
    static void Add(Tavrol_JobType& jobType);
    static bool GetAll(std::vector<Tavrol_JobType>& jobTypes);
    static bool GetAll(std::vector<Tavrol_JobType>& jobTypes, QStringList& names);
    static Tavrol_JobType ByID(int jobTypeID);
    static Tavrol_JobType ByName(const QString& name);
    static void SetAll(const std::vector<Tavrol_JobType>& jobTypes);
    static void Clear();
    static void Remove(const Tavrol_JobType& jobType);
    static void RemoveAll();
    static void Update(const Tavrol_JobType& jobType);

    // Refills the list from the current project: its job type rows, or nothing
    // when it has none or there is no project. The main window's
    // ReloadJobTypes runs this.
    static void ReloadFromStore();

    static void AddDefaults();
    static void AddDefaultOmbrix();
    static void AddDefaultGaussian();
    static void AddDefaultGMMX();
    static void AddDefaultCubegen();
    static void AddDefaultFormchk();
    static void AddDefaultFreqchk();
    static void AddDefaultCubman();
};
