#include "processes/finishedjobslist.h"

#include <cstring>
#include <tuple>

// An entry's texts, in one buffer: a byte that says how the characters are
// kept (1 as Latin-1 when every character of them fits, 2 as UTF-16), then
// for each text of TextFields a qint32 length in characters (-1 for a null
// text) followed by its characters.
namespace {

// The fields of a job: a new one must find its place in an entry, in Common
// or in the texts.
static_assert(std::tuple_size<decltype(std::declval<Tavrol_JobRecord&>().Tie())>::value == 26,
              "every field of a job is kept by the finished jobs list");

QString Tavrol_JobRecord::*const TextFields[] = {
    &Tavrol_JobRecord::Name,
    &Tavrol_JobRecord::InputFilePath,
    &Tavrol_JobRecord::InputFilePath2,
    &Tavrol_JobRecord::StandardInputFile,
    &Tavrol_JobRecord::StandardOutputFile,
    &Tavrol_JobRecord::OutputFilePath,
    &Tavrol_JobRecord::ChkFile,
    &Tavrol_JobRecord::ChkFile1,
    &Tavrol_JobRecord::StdOutAndStdErr,
};

constexpr qint32 NullLength = -1;

bool FitsLatin1(const QString& text)
{
    for (const QChar character : text) {
        if (character.unicode() > 0xff)
            return false;
    }
    return true;
}

// Equal texts, null and empty told apart.
bool Same(const QString& left, const QString& right)
{
    return left.isNull() == right.isNull() && left == right;
}

bool SameType(const Tavrol_JobType& left, const Tavrol_JobType& right)
{
    return left.JobTypeID == right.JobTypeID && Same(left.Name, right.Name) &&
           Same(left.ApplicationName, right.ApplicationName) &&
           Same(left.ExecutablePath, right.ExecutablePath) &&
           Same(left.DefaultQueue, right.DefaultQueue) &&
           Same(left.GenericCommandLine, right.GenericCommandLine) &&
           Same(left.InputFileFilter, right.InputFileFilter) &&
           Same(left.OutputFileFilter, right.OutputFileFilter) &&
           Same(left.EnvironmentVariables, right.EnvironmentVariables);
}

bool SameReplacements(const Tavrol_Replacements& left, const Tavrol_Replacements& right)
{
    if (left.size() != right.size())
        return false;
    for (size_t i = 0; i < left.size(); ++i) {
        if (!Same(left[i].first, right[i].first) || !Same(left[i].second, right[i].second))
            return false;
    }
    return true;
}

void Append(QByteArray& buffer, const void* data, size_t size)
{
    buffer.append(static_cast<const char*>(data), static_cast<qsizetype>(size));
}

QByteArray PackTexts(const Tavrol_Job& job)
{
    bool latin1 = true;
    qsizetype characters = 0;
    for (const auto field : TextFields) {
        latin1 = latin1 && FitsLatin1(job.*field);
        characters += (job.*field).size();
    }
    const char width = latin1 ? 1 : 2;
    QByteArray buffer;
    buffer.reserve(1 + qsizetype(std::size(TextFields) * sizeof(qint32)) + characters * width);
    buffer.append(width);
    for (const auto field : TextFields) {
        const QString& text = job.*field;
        const qint32 length = text.isNull() ? NullLength : qint32(text.size());
        Append(buffer, &length, sizeof length);
        if (latin1)
            buffer.append(text.toLatin1());
        else
            Append(buffer, text.constData(), size_t(text.size()) * sizeof(QChar));
    }
    return buffer;
}

void UnpackTexts(const QByteArray& buffer, Tavrol_Job& job)
{
    const char* position = buffer.constData();
    const char width = *position++;
    for (const auto field : TextFields) {
        qint32 length = 0;
        std::memcpy(&length, position, sizeof length);
        position += sizeof length;
        QString& text = job.*field;
        if (length == NullLength) {
            text = QString();
        } else if (width == 1) {
            text = QString::fromLatin1(position, length);
            position += length;
        } else {
            text.resize(length);
            std::memcpy(text.data(), position, size_t(length) * sizeof(QChar));
            position += size_t(length) * sizeof(QChar);
        }
    }
}

} // namespace

template <typename Visit> void Tavrol_FinishedJobsList::ForEachEntryField(Visit visit)
{
    visit(&Entry::Submitted, &Tavrol_JobRecord::Submitted);
    visit(&Entry::Started, &Tavrol_JobRecord::Started);
    visit(&Entry::Finished, &Tavrol_JobRecord::Finished);
    visit(&Entry::JobID, &Tavrol_JobRecord::JobID);
    visit(&Entry::QueueID, &Tavrol_JobRecord::QueueID);
    visit(&Entry::Status, &Tavrol_JobRecord::Status);
    visit(&Entry::ClientPort, &Tavrol_JobRecord::ClientPort);
    visit(&Entry::ClientUID, &Tavrol_JobRecord::ClientUID);
    visit(&Entry::ClientGID, &Tavrol_JobRecord::ClientGID);
    visit(&Entry::ClientNotification, &Tavrol_JobRecord::ClientNotification);
}

template <typename Visit> void Tavrol_FinishedJobsList::ForEachCommonText(Visit visit)
{
    visit(&Common::JobClass, &Tavrol_JobRecord::JobClass);
    visit(&Common::ClientName, &Tavrol_JobRecord::ClientName);
    visit(&Common::ClientAppName, &Tavrol_JobRecord::ClientAppName);
    visit(&Common::ClientAddress, &Tavrol_JobRecord::ClientAddress);
    visit(&Common::QueueName, &Tavrol_JobRecord::QueueName);
}

Tavrol_Job Tavrol_FinishedJobsList::operator[](size_t index) const
{
    const Entry& entry = m_entries[index];
    const Common& common = m_common[entry.CommonIndex];
    Tavrol_Job job;
    job.JobType = common.JobType;
    job.Replacements = common.Replacements;
    ForEachCommonText([&](auto kept, auto field) { job.*field = common.*kept; });
    UnpackTexts(entry.Texts, job);
    ForEachEntryField([&](auto kept, auto field) { job.*field = entry.*kept; });
    return job;
}

void Tavrol_FinishedJobsList::push_back(const Tavrol_Job& job)
{
    Entry entry;
    entry.Texts = PackTexts(job);
    entry.CommonIndex = CommonIndexOf(job);
    ForEachEntryField([&](auto kept, auto field) { entry.*kept = job.*field; });
    m_entries.push_back(std::move(entry));
}

void Tavrol_FinishedJobsList::erase(size_t index)
{
    m_entries.erase(m_entries.begin() + static_cast<std::ptrdiff_t>(index));
}

void Tavrol_FinishedJobsList::clear()
{
    m_entries.clear();
    m_common.clear();
    m_lastCommon = 0;
}

// Consecutive jobs mostly share their common part; a few others are looked
// through, and past that a job simply gets a part of its own.
quint32 Tavrol_FinishedJobsList::CommonIndexOf(const Tavrol_Job& job)
{
    const auto matches = [&job](const Common& common) {
        bool same = SameType(common.JobType, job.JobType) &&
                    SameReplacements(common.Replacements, job.Replacements);
        ForEachCommonText(
            [&](auto kept, auto field) { same = same && Same(common.*kept, job.*field); });
        return same;
    };
    if (m_lastCommon < m_common.size() && matches(m_common[m_lastCommon]))
        return m_lastCommon;
    constexpr size_t LookedThrough = 256;
    const size_t first = m_common.size() > LookedThrough ? m_common.size() - LookedThrough : 0;
    for (size_t index = m_common.size(); index > first; --index) {
        if (matches(m_common[index - 1])) {
            m_lastCommon = static_cast<quint32>(index - 1);
            return m_lastCommon;
        }
    }
    Common& common = m_common.emplace_back();
    common.JobType = job.JobType;
    common.Replacements = job.Replacements;
    ForEachCommonText([&](auto kept, auto field) { common.*kept = job.*field; });
    m_lastCommon = static_cast<quint32>(m_common.size() - 1);
    return m_lastCommon;
}
