#include "jobtypes/jobtype.h"

#include <QFile>
#include <QFileInfo>

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
    if (DefaultQueue.startsWith(QLatin1String("Long"), Qt::CaseInsensitive))
        return 0;
    if (DefaultQueue.startsWith(QLatin1String("Short"), Qt::CaseInsensitive))
        return 1;
    if (DefaultQueue.startsWith(QLatin1String("None"), Qt::CaseInsensitive) ||
        DefaultQueue.startsWith(QLatin1String("Queueless"), Qt::CaseInsensitive))
        return 2;
    return -1;
}

QString Tavrol_JobType::QueueNameFromID(int defaultQueueID)
{
    switch (defaultQueueID) {
    case 0:
        return QStringLiteral("Long");
    case 1:
        return QStringLiteral("Short");
    case 2:
        return QStringLiteral("Queueless");
    default:
        return QString();
    }
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
