#pragma once

#include "processes/process.h"

#include <QObject>
#include <QProcess>
#include <QTimer>

#include <vector>

// Reads the process table without waiting for `ps`: the command runs beside
// the event loop, and its rows arrive with TableReadSignal. One read at a
// time; asking again while one runs changes nothing.
class Tavrol_ProcessTableReader : public QObject
{
    Q_OBJECT

public:
    explicit Tavrol_ProcessTableReader(QObject* parent = nullptr);
    ~Tavrol_ProcessTableReader() override;

    void Start();
    bool IsReading() const { return m_reading; }
    // The rows of the last read that ended; empty before the first.
    const std::vector<Tavrol_Process>& Rows() const { return m_rows; }

signals:
    void TableReadSignal();

private:
    void FinishedSlot();

    QProcess m_ps;
    QTimer m_deadline;
    std::vector<Tavrol_Process> m_rows;
    bool m_reading = false;
};
