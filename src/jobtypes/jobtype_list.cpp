#include "jobtypes/jobtype.h"

#include "app/globals.h"
#include "platform/filesys.h"
#include "store/database.h"
#include "store/database_manager.h"
#include "window/appwindow.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {

// The one list of job types of the process, in the order of the JobTypes
// table after a project is opened or a type added.
std::vector<Tavrol_JobType>& TheList()
{
    static std::vector<Tavrol_JobType> list;
    return list;
}

// Adds a default type when its executable exists; id 0, and the executable's
// file name as the application name.
void AddDefault(const QString& name, const QString& executablePath, const QString& defaultQueue,
                const QString& commandLine, const QString& inputFilter, const QString& outputFilter,
                const QString& environment)
{
    if (!QFile::exists(executablePath))
        return;
    Tavrol_JobType jobType(0, name, QFileInfo(executablePath).fileName(), executablePath,
                           defaultQueue, commandLine, inputFilter, outputFilter, environment);
    Tavrol_JobType::Add(jobType);
}

QString GaussianUtility(const char* program)
{
    return Quolix_FileSys::GaussExeDirPath() + QLatin1Char('/') + QLatin1String(program);
}

} // namespace

void Tavrol_JobType::Add(Tavrol_JobType& jobType)
{
    TheList().push_back(jobType);
    if (Tavrol_Database* database = Tavrol_Database_Manager::Current()) {
        // A type of an existing name makes a new row.
        int jobTypeID = jobType.JobTypeID;
        database->AddJobType(jobType, true, &jobTypeID);
        jobType.JobTypeID = jobTypeID;
    }
    // The list becomes the table again, with its ids and order.
    if (TavrolAppWindow)
        TavrolAppWindow->ReloadJobTypes();
    else
        Tavrol_JobType::ReloadFromStore();
}

bool Tavrol_JobType::GetAll(std::vector<Tavrol_JobType>& jobTypes)
{
    jobTypes = TheList();
    return true;
}

bool Tavrol_JobType::GetAll(std::vector<Tavrol_JobType>& jobTypes, QStringList& names)
{
    jobTypes = TheList();
    names.clear();
    for (const Tavrol_JobType& jobType : jobTypes)
        names.append(jobType.Name);
    return true;
}

Tavrol_JobType Tavrol_JobType::ByID(int jobTypeID)
{
    for (const Tavrol_JobType& jobType : TheList()) {
        if (jobType.JobTypeID == jobTypeID)
            return jobType;
    }
    return Tavrol_JobType();
}

Tavrol_JobType Tavrol_JobType::ByName(const QString& name)
{
    for (const Tavrol_JobType& jobType : TheList()) {
        if (jobType.Name == name)
            return jobType;
    }
    return Tavrol_JobType();
}

void Tavrol_JobType::SetAll(const std::vector<Tavrol_JobType>& jobTypes)
{
    TheList() = jobTypes;
}

void Tavrol_JobType::Clear()
{
    TheList().clear();
}

void Tavrol_JobType::Remove(const Tavrol_JobType& jobType)
{
    std::vector<Tavrol_JobType>& list = TheList();
    for (size_t index = 0; index < list.size();) {
        if (list[index] != jobType) {
            ++index;
            continue;
        }
        list.erase(list.begin() + std::ptrdiff_t(index));
        if (Tavrol_Database* database = Tavrol_Database_Manager::Current())
            database->DeleteJobType(jobType.JobTypeID);
    }
}

void Tavrol_JobType::RemoveAll()
{
    std::vector<Tavrol_JobType>& list = TheList();
    while (!list.empty()) {
        const int jobTypeID = list.front().JobTypeID;
        list.erase(list.begin());
        if (Tavrol_Database* database = Tavrol_Database_Manager::Current())
            database->DeleteJobType(jobTypeID);
    }
}

void Tavrol_JobType::Update(const Tavrol_JobType& jobType)
{
    for (Tavrol_JobType& entry : TheList()) {
        if (entry.JobTypeID != jobType.JobTypeID)
            continue;
        entry = jobType;
        if (Tavrol_Database* database = Tavrol_Database_Manager::Current())
            database->UpdateJobType(jobType.JobTypeID, jobType);
        return;
    }
}

void Tavrol_JobType::ReloadFromStore()
{
    if (Tavrol_Database* database = Tavrol_Database_Manager::Current()) {
        std::vector<Tavrol_JobType> stored = database->LoadJobTypes();
        if (!stored.empty()) {
            SetAll(stored);
            return;
        }
    }
    Clear();
}

void Tavrol_JobType::AddDefaults()
{
    AddDefaultOmbrix();
    AddDefaultGaussian();
    AddDefaultGMMX();
    AddDefaultCubegen();
    AddDefaultFormchk();
    AddDefaultFreqchk();
    AddDefaultCubman();
}

void Tavrol_JobType::AddDefaultOmbrix()
{
    AddDefault(QStringLiteral("Ombrix"), Quolix_FileSys::OmbrixExePath(), QStringLiteral("Short"),
               QStringLiteral("@EXEFILE -nproc=0 -b @INFILE"),
               QStringLiteral("Ombrix Input Files (*.dat *.odat)"),
               QStringLiteral("Ombrix Output Files (*.out *.oout)"), QString());
}

void Tavrol_JobType::AddDefaultGaussian()
{
    AddDefault(QStringLiteral("Gaussian"), Quolix_FileSys::GaussExePath(), QStringLiteral("Long"),
               QStringLiteral("@EXEFILE @INFILE @OUTFILE"),
               QStringLiteral("Gaussian Input Files (*.gjf)"),
               QStringLiteral("Gaussian Log Files (*.log)"),
               QStringLiteral("GAUSS_EXEDIR=") + Quolix_FileSys::GaussExeDirPath());
}

void Tavrol_JobType::AddDefaultGMMX()
{
    if (!AppBaseDir)
        return;
    AddDefault(QStringLiteral("GMMX"), AppBaseDir->absolutePath() + QStringLiteral("/gmmx"),
               QStringLiteral("Short"), QStringLiteral("@EXEFILE @INFILE @OUTFILE"),
               QStringLiteral("GMMX Input Files (*.gmmx)"),
               QStringLiteral("GMMX Output Files (*.sdf)"), QString());
}

void Tavrol_JobType::AddDefaultCubegen()
{
    AddDefault(QStringLiteral("Cubegen"), GaussianUtility("cubegen"), QStringLiteral("Short"),
               QStringLiteral("@EXEFILE @MEMORY @KIND @INFILE @OUTFILE @NPTS @HEADER"),
               QStringLiteral("Gaussian Formatted Checkpoint Files (*.fchk *.fch)"),
               QStringLiteral("Cube Files (*.cube *.cub)"), QStringLiteral("GAUSS_MEMDEF=@MEMORY"));
}

void Tavrol_JobType::AddDefaultFormchk()
{
    AddDefault(QStringLiteral("Formchk"), GaussianUtility("formchk"), QStringLiteral("Short"),
               QStringLiteral("@EXEFILE -3 @INFILE @OUTFILE"),
               QStringLiteral("Gaussian Checkpoint Files (*.chk)"),
               QStringLiteral("Gaussian Formatted Checkpoint Files (*.fchk *.fch)"),
               QStringLiteral("GAUSS_MEMDEF=@MEMORY"));
}

void Tavrol_JobType::AddDefaultFreqchk()
{
    AddDefault(QStringLiteral("Freqchk"), GaussianUtility("freqchk"), QStringLiteral("Short"),
               QStringLiteral("@EXEFILE @INFILE @SAVE @NFD @SEL\nn\n@TEMP\n@PRESS\n@SCALE\n@ISO\n"
                              "@PROJ\n@SELINPUT\n"),
               QStringLiteral("Gaussian Checkpoint Files (*.chk *.fchk *.fch)"),
               QStringLiteral("Gaussian Frequency Files (*.gfrq)"),
               QStringLiteral("GAUSS_MEMDEF=@MEMORY"));
}

void Tavrol_JobType::AddDefaultCubman()
{
    AddDefault(QStringLiteral("Cubman"), GaussianUtility("cubman"), QStringLiteral("Short"),
               QStringLiteral("@EXEFILE\n@KIND\n@INFILE1\ny\n@INFILE2\ny\n@OUTFILE\ny\n@SCALE\n"),
               QStringLiteral("Cube Files (*.cube *.cub)"),
               QStringLiteral("Cube Files (*.cube *.cub)"), QStringLiteral("GAUSS_MEMDEF=@MEMORY"));
}
