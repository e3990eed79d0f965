#include "jobtypes/clusterjobtype.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QStringList>

namespace Tavrol_ClusterJobType {

QString RunnerPath()
{
    return QDir(QCoreApplication::applicationDirPath()).filePath(QStringLiteral("tavrol-slurm"));
}

Tavrol_JobType Make(const QString& name, const QString& programPath, const QString& partition,
                    const QString& resources, const QString& runnerPath)
{
    QStringList words{QStringLiteral("@EXEFILE")};
    if (!partition.trimmed().isEmpty())
        words << QStringLiteral("--partition=") + partition.trimmed();
    if (!resources.trimmed().isEmpty())
        words << resources.simplified();
    words << QStringLiteral("--") << programPath.trimmed() << QStringLiteral("@INFILE")
          << QStringLiteral("@OUTFILE");
    return Tavrol_JobType(0, name.trimmed(), QFileInfo(programPath.trimmed()).fileName(),
                          runnerPath, QStringLiteral("Long"), words.join(QLatin1Char(' ')),
                          QStringLiteral("All Files (*)"), QStringLiteral("Output Files (*.out)"),
                          QString());
}

} // namespace Tavrol_ClusterJobType
