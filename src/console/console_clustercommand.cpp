// The console's "add cluster job type": a job type whose program runs on a
// Slurm cluster through tavrol-slurm, as the window's job type dialog makes
// one with the same fields.

#include "console/console_worker.h"

#include "jobtypes/clusterjobtype.h"

#include <QFileInfo>

#include <cstdio>

namespace {

void PrintFact(const QString& text)
{
    const QByteArray bytes = (QLatin1Char('\n') + text + QStringLiteral("\n\n")).toLocal8Bit();
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stdout);
    std::fflush(stdout);
}

} // namespace

void Tavrol_Console_Worker::AddClusterJobType() const
{
    QString name;
    QString program;
    QString partition;
    QString resources;
    if (!Ask("\n<Tavrol> Enter Job Type Name:  ", name) || name.trimmed().isEmpty() ||
        !Ask("\n<Tavrol> Enter Program Path on the Cluster:  ", program) ||
        program.trimmed().isEmpty() ||
        !Ask("\n<Tavrol> Enter Slurm Partition (empty: the default):  ", partition) ||
        !Ask("\n<Tavrol> Enter Slurm Resources (e.g. --cpus-per-task=8 --mem=16G "
             "--time=1-00:00:00):  ",
             resources)) {
        PrintFact(QStringLiteral("No job type was added."));
        return;
    }
    Tavrol_JobType jobType = Tavrol_ClusterJobType::Make(name, program, partition, resources);
    if (!QFileInfo(jobType.ExecutablePath).isExecutable()) {
        PrintFact(QStringLiteral("No job type was added: the runner ") + jobType.ExecutablePath +
                  QStringLiteral(" is missing."));
        return;
    }
    bool nameTaken = false;
    OnMainThread([&jobType, &nameTaken] {
        nameTaken = !Tavrol_JobType::ByName(jobType.Name).Name.isEmpty();
        if (!nameTaken)
            Tavrol_JobType::Add(jobType);
    });
    if (nameTaken) {
        PrintFact(QStringLiteral("No job type was added: there is a job type named ") +
                  jobType.Name + QLatin1Char('.'));
        return;
    }
    PrintFact(QStringLiteral("Job type ") + jobType.Name + QStringLiteral(" added: ") +
              jobType.GenericCommandLine);
}
