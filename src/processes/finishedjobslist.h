#pragma once

#include "jobs/job.h"

#include <QByteArray>
#include <QDateTime>

#include <cstddef>
#include <deque>
#include <iterator>
#include <vector>

// The history of ended jobs, kept compactly: years of it must fit in memory
// beside the project's own store. An entry keeps a job's numbers and times as
// they are, the fields that most jobs repeat (job type, queue name, client,
// class, replacements) once for all jobs that have the same ones, and its own
// texts packed in one buffer. Reading an entry gives back a Tavrol_Job equal
// to the one put in, field by field (a null text stays null), without a
// process.
class Tavrol_FinishedJobsList
{
public:
    class const_iterator
    {
    public:
        using iterator_category = std::input_iterator_tag;
        using value_type = Tavrol_Job;
        using difference_type = std::ptrdiff_t;
        using pointer = void;
        using reference = Tavrol_Job;

        const_iterator(const Tavrol_FinishedJobsList* list, size_t index)
            : m_list(list), m_index(index)
        {
        }
        Tavrol_Job operator*() const { return (*m_list)[m_index]; }
        const_iterator& operator++()
        {
            ++m_index;
            return *this;
        }
        bool operator==(const const_iterator& other) const { return m_index == other.m_index; }
        bool operator!=(const const_iterator& other) const { return m_index != other.m_index; }

    private:
        const Tavrol_FinishedJobsList* m_list;
        size_t m_index;
    };

    size_t size() const { return m_entries.size(); }
    bool empty() const { return m_entries.empty(); }
    Tavrol_Job operator[](size_t index) const;
    Tavrol_Job front() const { return (*this)[0]; }
    Tavrol_Job back() const { return (*this)[m_entries.size() - 1]; }
    const_iterator begin() const { return const_iterator(this, 0); }
    const_iterator end() const { return const_iterator(this, m_entries.size()); }

    // A job's id without making the whole job, for searches.
    int JobIDAt(size_t index) const { return m_entries[index].JobID; }

    void push_back(const Tavrol_Job& job);
    void erase(size_t index);
    void clear();

private:
    // What many jobs have alike, kept once.
    struct Common
    {
        Tavrol_JobType JobType;
        QString JobClass;
        QString ClientName;
        QString ClientAppName;
        QString ClientAddress;
        QString QueueName;
        Tavrol_Replacements Replacements;
    };
    struct Entry
    {
        QByteArray Texts; // the job's own texts, see finishedjobslist.cpp
        QDateTime Submitted;
        QDateTime Started;
        QDateTime Finished;
        quint32 CommonIndex = 0;
        int JobID = -1;
        int QueueID = -1;
        Tavrol_JobStatus Status = JobStatusUnknown;
        int ClientPort = -1;
        int ClientUID = -1;
        int ClientGID = -1;
        int ClientNotification = 0;
    };

    // Calls visit with each field an entry keeps as it is, and the job's field
    // it holds; the same for the texts of Common.
    template <typename Visit> static void ForEachEntryField(Visit visit);
    template <typename Visit> static void ForEachCommonText(Visit visit);

    quint32 CommonIndexOf(const Tavrol_Job& job);

    std::deque<Entry> m_entries;
    std::vector<Common> m_common;
    quint32 m_lastCommon = 0;
};
