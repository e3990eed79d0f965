#include "jobtypes/jobtype.h"

#include "jobs/queueid.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>

Tavrol_JobType::Tavrol_JobType(int jobTypeID, const QString& name, const QString& applicationName,
                               const QString& executablePath, const QString& defaultQueue,
                               const QString& genericCommandLine, const QString& inputFileFilter,
                               const QString& outputFileFilter, const QString& environmentVariables)
    : JobTypeID(jobTypeID), Name(name), ApplicationName(applicationName),
      ExecutablePath(executablePath), DefaultQueue(defaultQueue),
      GenericCommandLine(genericCommandLine), InputFileFilter(inputFileFilter),
      OutputFileFilter(outputFileFilter), EnvironmentVariables(environmentVariables)
{
}

bool Tavrol_JobType::operator==(const Tavrol_JobType& other) const
{
    return JobTypeID == other.JobTypeID && Name == other.Name &&
           ApplicationName == other.ApplicationName && ExecutablePath == other.ExecutablePath &&
           DefaultQueue == other.DefaultQueue && GenericCommandLine == other.GenericCommandLine &&
           InputFileFilter == other.InputFileFilter && OutputFileFilter == other.OutputFileFilter &&
           EnvironmentVariables == other.EnvironmentVariables;
}

bool Tavrol_JobType::IsValid() const
{
    if (JobTypeID < 0)
        return false;
    if (Name.isEmpty() || ApplicationName.isEmpty() || ExecutablePath.isEmpty())
        return false;
    if (!QFile::exists(ExecutablePath))
        return false;
    return GenericCommandLine.contains(QLatin1String("@EXEFILE"), Qt::CaseInsensitive);
}

int Tavrol_JobType::DefaultQueueID() const
{
    return Tavrol_QueueID::FromWord(DefaultQueue);
}

QString Tavrol_JobType::QueueNameFromID(int defaultQueueID)
{
    return Tavrol_QueueID::DefaultQueueName(defaultQueueID);
}

int Tavrol_JobType::IndexOfID(const std::vector<Tavrol_JobType>& jobTypes, int jobTypeID)
{
    const auto found =
        std::find_if(jobTypes.begin(), jobTypes.end(), [jobTypeID](const Tavrol_JobType& type) {
            return type.JobTypeID == jobTypeID;
        });
    return found == jobTypes.end() ? -1 : static_cast<int>(found - jobTypes.begin());
}

int Tavrol_JobType::IndexForFile(const std::vector<Tavrol_JobType>& jobTypes,
                                 const QString& filePath, int jobTypeID)
{
    if (jobTypeID >= 0)
        return IndexOfID(jobTypes, jobTypeID);
    const auto found =
        std::find_if(jobTypes.begin(), jobTypes.end(), [&filePath](const Tavrol_JobType& type) {
            return type.HandlesInputFile(filePath);
        });
    return found == jobTypes.end() ? -1 : static_cast<int>(found - jobTypes.begin());
}

bool Tavrol_JobType::UsesInputFile() const
{
    return GenericCommandLine.contains(QLatin1String("@INFILE"), Qt::CaseInsensitive);
}

bool Tavrol_JobType::UsesInputFile2() const
{
    return GenericCommandLine.contains(QLatin1String("@INFILE2"), Qt::CaseInsensitive);
}

bool Tavrol_JobType::HandlesInputFile(const QString& filePath) const
{
    const QString suffix = QFileInfo(filePath).suffix();
    for (QString pattern : FilterPatterns(InputFileFilter.trimmed())) {
        pattern.remove(QLatin1String("*."));
        if (pattern.compare(suffix, Qt::CaseInsensitive) == 0)
            return true;
    }
    return false;
}

QStringList Tavrol_JobType::FilterPatterns(const QString& filter)
{
    QString words = filter;
    words.replace(QLatin1Char('('), QLatin1Char(' '));
    words.replace(QLatin1Char(')'), QLatin1Char(' '));
    QStringList patterns;
    for (const QString& part : words.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
        if (part.startsWith(QLatin1String("*.")))
            patterns << part;
    }
    return patterns;
}
