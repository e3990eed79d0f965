#include "store/database.h"

#include <QDateTime>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QSqlTableModel>

namespace {

// An integer of a result, with ok false for an SQL null (such as MAX over an
// empty table) or a value that is no number.
bool ReadInt(const QVariant& value, int* result)
{
    if (value.isNull())
        return false;
    bool ok = false;
    const int number = value.toInt(&ok);
    if (ok)
        *result = number;
    return ok;
}

QString Quoted(const QString& text)
{
    return QLatin1Char('\'') + text + QLatin1Char('\'');
}

Tavrol_JobType JobTypeFromRecord(const QSqlRecord& record)
{
    const int id = record.value(QStringLiteral("JobTypeID")).toInt();
    const QString name = record.value(QStringLiteral("Name")).toString();
    const QString application = record.value(QStringLiteral("ApplicationName")).toString();
    const QString path = record.value(QStringLiteral("ExecutablePath")).toString();
    const int queueID = record.value(QStringLiteral("DefaultQueueID")).toInt();
    const QString inputFilter = record.value(QStringLiteral("InputFileFilter")).toString();
    const QString outputFilter = record.value(QStringLiteral("OutputFileFilter")).toString();
    const QString environment = record.value(QStringLiteral("EnvironmentVariables")).toString();
    const QString commandLine = record.value(QStringLiteral("GenericCommandLine")).toString();
    // Created and LastModified are not part of a job type; Icon is not read.
    return Tavrol_JobType(id, name, application, path, Tavrol_JobType::QueueNameFromID(queueID),
                          commandLine, inputFilter, outputFilter, environment);
}

} // namespace

QString Tavrol_Database::Now()
{
    return TimestampText(QDateTime::currentDateTime());
}

// What QDateTime::toString(Qt::ISODate) gives for a local time, such as
// 2024-05-17T14:03:09, written directly: the store writes several of these
// for every row. Other times go through Qt.
QString Tavrol_Database::TimestampText(const QDateTime& time)
{
    const QDate date = time.date();
    const QTime clock = time.time();
    if (time.timeSpec() != Qt::LocalTime || !date.isValid() || !clock.isValid() ||
        date.year() < 0 || date.year() > 9999)
        return time.toString(Qt::ISODate);
    QString text(19, Qt::Uninitialized);
    QChar* out = text.data();
    const auto put = [&out](int value, int width) {
        for (int digit = width - 1; digit >= 0; --digit) {
            out[digit] = QLatin1Char(char('0' + value % 10));
            value /= 10;
        }
        out += width;
    };
    const auto separator = [&out](char character) { *out++ = QLatin1Char(character); };
    put(date.year(), 4);
    separator('-');
    put(date.month(), 2);
    separator('-');
    put(date.day(), 2);
    separator('T');
    put(clock.hour(), 2);
    separator(':');
    put(clock.minute(), 2);
    separator(':');
    put(clock.second(), 2);
    return text;
}

// The text of TimestampText read straight back; anything else goes through
// Qt, which is what QVariant::toDateTime does with a string.
QDateTime Tavrol_Database::TimestampFromText(const QString& text)
{
    const auto number = [&text](int from, int width, int* value) {
        *value = 0;
        for (int index = from; index < from + width; ++index) {
            const char16_t character = text[index].unicode();
            if (character < u'0' || character > u'9')
                return false;
            *value = *value * 10 + (character - u'0');
        }
        return true;
    };
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    const bool plain = text.size() == 19 && text[4] == u'-' && text[7] == u'-' &&
                       text[10] == u'T' && text[13] == u':' && text[16] == u':' &&
                       number(0, 4, &year) && number(5, 2, &month) && number(8, 2, &day) &&
                       number(11, 2, &hour) && number(14, 2, &minute) && number(17, 2, &second);
    const QDate date(year, month, day);
    const QTime clock(hour, minute, second);
    if (!plain || !date.isValid() || !clock.isValid())
        return QDateTime::fromString(text, Qt::ISODate);
    return QDateTime(date, clock);
}

// ---- The add pattern ------------------------------------------------------

bool Tavrol_Database::InsertRow(const InsertTarget& target, bool forceNew, int* id,
                                std::vector<Column>& columns)
{
    if (!Open() || !CreateTables())
        return false;
    // With forceNew a row of the same name cannot stop the insert, so the
    // lookup is only made when its answer matters; that keeps an add from
    // scanning a table that grows for years.
    if (!forceNew) {
        int found = 0;
        if (FindKeyByName(target, &found)) {
            if (id)
                *id = found;
            return true;
        }
    }
    if (!BeginTransaction())
        return false;
    const int key = NextKey(target);
    if (id)
        *id = key;
    columns.front().Value = key;
    // A failed insert leaves the transaction open: the store never rolls back.
    if (!ExecuteInsert(target.Table, columns))
        return false;
    return Commit();
}

// The name is pasted between quotes as it stands: a quote in it breaks the
// statement, which then reads as not found.
bool Tavrol_Database::FindKeyByName(const InsertTarget& target, int* key)
{
    QSqlQuery query(Database);
    query.setForwardOnly(true);
    const QString sql = QStringLiteral("SELECT ") + target.KeyColumn + QStringLiteral(" FROM ") +
                        target.Table + QStringLiteral(" WHERE Name = ") + Quoted(target.Name) +
                        QStringLiteral(" LIMIT 1");
    if (!query.exec(sql) || !query.next())
        return false;
    return ReadInt(query.value(0), key);
}

// MAX(key) plus one; 0 for an empty table. The key is the table's integer
// primary key, so MAX is a single index step however long the table is.
int Tavrol_Database::NextKey(const InsertTarget& target)
{
    int maximum = 0;
    const bool found = SelectPreparedInt(QStringLiteral("SELECT MAX(") + target.KeyColumn +
                                             QStringLiteral(") FROM ") + target.Table,
                                         &maximum);
    return found ? maximum + 1 : 0;
}

// The values are bound, never pasted into the statement, so quotes in them are
// harmless.
bool Tavrol_Database::ExecuteInsert(const QString& table, const std::vector<Column>& columns)
{
    QString names;
    QString placeholders;
    std::vector<QVariant> values;
    values.reserve(columns.size());
    for (const Column& column : columns) {
        if (!values.empty()) {
            names += QLatin1Char(',');
            placeholders += QLatin1Char(',');
        }
        names += column.Name;
        placeholders += QLatin1Char('?');
        values.push_back(column.Value);
    }
    return ExecutePrepared(QStringLiteral("INSERT INTO ") + table + QStringLiteral(" (") + names +
                               QStringLiteral(") VALUES (") + placeholders + QLatin1Char(')'),
                           values);
}

// The statements' own outcome is not looked at: the commit decides.
bool Tavrol_Database::RunInTransaction(const QStringList& statements)
{
    if (!BeginTransaction())
        return false;
    for (const QString& statement : statements) {
        QSqlQuery query(Database);
        query.exec(statement);
    }
    return Commit();
}

bool Tavrol_Database::ReadFirstRow(const QString& sql, QSqlRecord& record)
{
    QSqlQuery query(Database);
    query.setForwardOnly(true);
    if (!query.exec(sql) || !query.next())
        return false;
    record = query.record();
    return true;
}

// ---- General data ---------------------------------------------------------

bool Tavrol_Database::AddGeneralData(const QString& name, const QString& dataStr, bool forceNew,
                                     int* id)
{
    std::vector<Column> columns = {
        {QStringLiteral("GeneralDataID"), QVariant(0)},
        {QStringLiteral("Name"), QVariant(name)},
        {QStringLiteral("DataStr"), QVariant(dataStr)},
        {QStringLiteral("Created"), QVariant(Now())},
        {QStringLiteral("LastModified"), QVariant(Now())},
    };
    return InsertRow({QStringLiteral("GeneralData"), QStringLiteral("GeneralDataID"), name},
                     forceNew, id, columns);
}

bool Tavrol_Database::SetGeneralData(const QString& name, const QString& dataStr)
{
    // The same few names are set again and again (LastJobID with every new
    // job), so the lookup is kept prepared.
    if (!SelectPreparedHasRow(QStringLiteral("SELECT * FROM GeneralData WHERE Name = ") +
                              Quoted(name) + QStringLiteral(" LIMIT 1"))) {
        int id = -1;
        return AddGeneralData(name, dataStr, false, &id);
    }
    return RunInTransaction({QStringLiteral("UPDATE GeneralData SET DataStr = '") + dataStr +
                             QStringLiteral("', LastModified = '") + Now() +
                             QStringLiteral("' WHERE Name = '") + name + QLatin1Char('\'')});
}

bool Tavrol_Database::DeleteGeneralData(const QString& name)
{
    return RunInTransaction(
        {QStringLiteral("DELETE FROM GeneralData WHERE Name = '") + name + QLatin1Char('\'')});
}

bool Tavrol_Database::GetGeneralData(const QString& name, QString& dataStr)
{
    dataStr = QString();
    QSqlRecord row;
    if (!ReadFirstRow(QStringLiteral("SELECT * FROM GeneralData WHERE Name = ") + Quoted(name) +
                          QStringLiteral(" LIMIT 1"),
                      row))
        return false;
    dataStr = row.value(QStringLiteral("DataStr")).toString();
    return true;
}

// ---- Job types ------------------------------------------------------------

bool Tavrol_Database::AddJobType(const Tavrol_JobType& jobType, bool forceNew, int* id)
{
    const QString now = Now();
    std::vector<Column> columns = {
        {QStringLiteral("JobTypeID"), QVariant(0)},
        {QStringLiteral("Name"), QVariant(jobType.Name)},
        {QStringLiteral("ApplicationName"), QVariant(jobType.ApplicationName)},
        {QStringLiteral("ExecutablePath"), QVariant(jobType.ExecutablePath)},
        {QStringLiteral("Icon"), QVariant(QByteArray())},
        {QStringLiteral("DefaultQueueID"), QVariant(jobType.DefaultQueueID())},
        {QStringLiteral("InputFileFilter"), QVariant(jobType.InputFileFilter)},
        {QStringLiteral("OutputFileFilter"), QVariant(jobType.OutputFileFilter)},
        {QStringLiteral("EnvironmentVariables"), QVariant(jobType.EnvironmentVariables)},
        {QStringLiteral("GenericCommandLine"), QVariant(jobType.GenericCommandLine)},
        {QStringLiteral("Created"), QVariant(now)},
        {QStringLiteral("LastModified"), QVariant(Now())},
    };
    return InsertRow({QStringLiteral("JobTypes"), QStringLiteral("JobTypeID"), jobType.Name},
                     forceNew, id, columns);
}

// Values are pasted as they stand: a quote in any of them breaks the statement
// silently, and the commit still answers true.
bool Tavrol_Database::UpdateJobType(int jobTypeID, const Tavrol_JobType& jobType)
{
    const QString sql = QStringLiteral("UPDATE JobTypes SET Name = '") + jobType.Name +
                        QStringLiteral("', ApplicationName = '") + jobType.ApplicationName +
                        QStringLiteral("', ExecutablePath = '") + jobType.ExecutablePath +
                        QStringLiteral("', DefaultQueueID = ") +
                        QString::number(jobType.DefaultQueueID()) +
                        QStringLiteral(", InputFileFilter = '") + jobType.InputFileFilter +
                        QStringLiteral("', OutputFileFilter = '") + jobType.OutputFileFilter +
                        QStringLiteral("', EnvironmentVariables = '") +
                        jobType.EnvironmentVariables + QStringLiteral("', GenericCommandLine = '") +
                        jobType.GenericCommandLine + QStringLiteral("', LastModified = '") + Now() +
                        QStringLiteral("' WHERE JobTypeID = ") + QString::number(jobTypeID);
    return RunInTransaction({sql});
}

bool Tavrol_Database::DeleteJobType(int jobTypeID)
{
    return RunInTransaction(
        {QStringLiteral("DELETE FROM JobTypes WHERE JobTypeID = ") + QString::number(jobTypeID)});
}

std::vector<Tavrol_JobType> Tavrol_Database::LoadJobTypes()
{
    std::vector<Tavrol_JobType> jobTypes;
    QSqlTableModel model(nullptr, Database);
    model.setTable(QStringLiteral("JobTypes"));
    if (!SelectAll(model))
        return jobTypes;
    const int rows = model.rowCount();
    jobTypes.reserve(size_t(rows));
    for (int row = 0; row < rows; ++row)
        jobTypes.push_back(JobTypeFromRecord(model.record(row)));
    return jobTypes;
}

Tavrol_JobType Tavrol_Database::GetJobType(int jobTypeID)
{
    QSqlRecord row;
    if (!ReadFirstRow(QStringLiteral("SELECT * FROM JobTypes WHERE JobTypeID = ") +
                          QString::number(jobTypeID),
                      row))
        return Tavrol_JobType();
    return JobTypeFromRecord(row);
}

// ---- Queues ---------------------------------------------------------------

bool Tavrol_Database::AddQueue(const QString& name, int maxRunningJobs, int* id)
{
    const QString now = Now();
    std::vector<Column> columns = {
        {QStringLiteral("QueueID"), QVariant(0)},
        {QStringLiteral("Name"), QVariant(name)},
        {QStringLiteral("Created"), QVariant(now)},
        {QStringLiteral("LastModified"), QVariant(Now())},
        {QStringLiteral("MaxRunningJobs"), QVariant(maxRunningJobs)},
    };
    // A queue of this name always stands: its key is given back, its limit kept.
    return InsertRow({QStringLiteral("Queues"), QStringLiteral("QueueID"), name}, false, id,
                     columns);
}

bool Tavrol_Database::SetQueueMaxRunningJobs(const QString& name, int maxRunningJobs)
{
    if (!Open() || !CreateTables())
        return false;
    const int queueID = GetQueueID(name);
    if (queueID < 0)
        return false;
    const QString where = QStringLiteral(" WHERE QueueID = ") + QString::number(queueID);
    return RunInTransaction(
        {QStringLiteral("UPDATE Queues SET MaxRunningJobs = ") + QString::number(maxRunningJobs) +
             where,
         QStringLiteral("UPDATE Queues SET LastModified = '") + Now() + QLatin1Char('\'') + where});
}

int Tavrol_Database::GetQueueID(const QString& name)
{
    QSqlRecord row;
    if (!ReadFirstRow(QStringLiteral("SELECT * FROM Queues WHERE Name = ") +
                          Quoted(Quolix_SQLEscape(name)),
                      row))
        return -1;
    int queueID = -1;
    return ReadInt(row.value(QStringLiteral("QueueID")), &queueID) ? queueID : -1;
}

int Tavrol_Database::GetQueueMaxRunningJobs(const QString& name)
{
    QSqlRecord row;
    if (!ReadFirstRow(QStringLiteral("SELECT * FROM Queues WHERE Name = ") +
                          Quoted(Quolix_SQLEscape(name)),
                      row))
        return -1;
    int maxRunningJobs = -1;
    return ReadInt(row.value(QStringLiteral("MaxRunningJobs")), &maxRunningJobs) ? maxRunningJobs
                                                                                 : -1;
}
