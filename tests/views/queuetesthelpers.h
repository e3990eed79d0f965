#pragma once

// Helpers of the queue, view and listing tests: a job type on the stand-in
// program, input files that keep a job running, jobs made by hand, a memory
// project, and the capture of what the process prints on standard output.

#include "app/globals.h"
#include "capture.h"
#include "jobs/job.h"
#include "jobtypes/jobtype.h"
#include "statementtrace.h"
#include "store/database.h"
#include "store/database_manager.h"
#include "testsupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QPointer>
#include <QRegularExpression>
#include <QSqlDriver>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QTemporaryFile>
#include <QTest>

#include <sqlite3.h>

#include <cstdio>
#include <memory>
#include <unistd.h>
#include <vector>

namespace QueueTest {

constexpr int WaitMs = 30000;

// The stand-in under the name of a chemistry program.
inline QString StandinPath()
{
    return TestSupport::FixturePath(QStringLiteral("gaussian/g16/g16"));
}

// A valid job type that runs the stand-in on "*.gjf" and "*.com" files.
inline Tavrol_JobType StandinJobType(int id = 0, const QString& name = QStringLiteral("Standin"))
{
    return Tavrol_JobType(id, name, QStringLiteral("Standin App"), StandinPath(),
                          QStringLiteral("Long"), QStringLiteral("@EXEFILE @INFILE @OUTFILE"),
                          QStringLiteral("Input Files (*.gjf *.com)"),
                          QStringLiteral("Output Files (*.log)"), QString());
}

// An input file of the stand-in: it sleeps so many seconds, then exits.
inline QString WriteInput(const QDir& directory, const QString& name, int sleepSeconds,
                          int exitCode = 0)
{
    const QString path = directory.absoluteFilePath(name);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return QString();
    file.write(QStringLiteral("#standin sleep=%1\n#standin exit=%2\n")
                   .arg(sleepSeconds)
                   .arg(exitCode)
                   .toLatin1());
    return path;
}

// A job of the stand-in for a queue, made as a submitter would make it. No
// client address, so its end tells nobody.
inline Tavrol_Job* MakeJob(const QString& inputPath, int jobId, int queueId = 0,
                           const QString& queueName = QStringLiteral("Long"),
                           const Tavrol_JobType& jobType = StandinJobType())
{
    return new Tavrol_Job(QFileInfo(inputPath).fileName(), jobType, QStringLiteral("testhost"),
                          QStringLiteral("TestClient"), QString(), -1, -1, -1, queueId, queueName,
                          inputPath, QString(), jobId, QString());
}

// Kills what still runs and waits until each run has delivered its end, so
// that the jobs can be deleted.
inline void StopJobs(const std::vector<Tavrol_Job*>& jobs)
{
    for (Tavrol_Job* job : jobs) {
        if (job && job->Status == JobStatusRunning && job->Process)
            job->Kill();
    }
    for (Tavrol_Job* job : jobs) {
        if (!job)
            continue;
        (void)QTest::qWaitFor([job] { return job->Process == nullptr; }, WaitMs);
    }
}

// Owns jobs made in a test that the test keeps to itself (queues never delete).
class JobsOwner
{
public:
    JobsOwner() = default;
    JobsOwner(const JobsOwner&) = delete;
    JobsOwner& operator=(const JobsOwner&) = delete;
    ~JobsOwner()
    {
        StopJobs(m_jobs);
        for (Tavrol_Job* job : m_jobs)
            delete job;
    }
    Tavrol_Job* Keep(Tavrol_Job* job)
    {
        m_jobs.push_back(job);
        return job;
    }

private:
    std::vector<Tavrol_Job*> m_jobs;
};

// A new memory project with its tables and the two queue rows, as the
// new-project sequence makes it. Closed again at the end of the scope.
class MemoryProject
{
public:
    MemoryProject()
    {
        Tavrol_Database_Manager* manager = Tavrol_Database_Manager::Instance();
        manager->CloseAll();
        m_database = manager->GetDatabase(SQLiteMemory, QString(), false);
        if (m_database && m_database->Open() && m_database->CreateTables()) {
            int id = -1;
            m_database->AddQueue(QStringLiteral("Long"), 1, &id);
            m_database->AddQueue(QStringLiteral("Short"), 1, &id);
        }
    }
    ~MemoryProject() { Tavrol_Database_Manager::Instance()->CloseAll(); }
    MemoryProject(const MemoryProject&) = delete;
    MemoryProject& operator=(const MemoryProject&) = delete;

    Tavrol_Database* Database() const { return m_database; }

    // One column of every row of a table, in key order, as text.
    QStringList Column(const QString& table, const QString& column) const
    {
        QStringList values;
        QSqlQuery query(m_database->Database);
        query.exec(QStringLiteral("SELECT ") + column + QStringLiteral(" FROM ") + table +
                   QStringLiteral(" ORDER BY 1"));
        while (query.next())
            values.append(query.value(0).toString());
        return values;
    }

private:
    Tavrol_Database* m_database = nullptr;
};

using TestSupport::StatementTrace;
using TestSupport::StdoutCapture;

} // namespace QueueTest
