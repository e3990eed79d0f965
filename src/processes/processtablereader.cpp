#include "processes/processtablereader.h"

Tavrol_ProcessTableReader::Tavrol_ProcessTableReader(QObject* parent) : QObject(parent)
{
    m_deadline.setSingleShot(true);
    // A `ps` that has not ended in time gives what it printed so far.
    connect(&m_deadline, &QTimer::timeout, &m_ps, &QProcess::kill);
    connect(&m_ps, &QProcess::finished, this, &Tavrol_ProcessTableReader::FinishedSlot);
    connect(&m_ps, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            FinishedSlot();
    });
}

Tavrol_ProcessTableReader::~Tavrol_ProcessTableReader()
{
    m_ps.disconnect(this);
    if (m_ps.state() != QProcess::NotRunning) {
        m_ps.kill();
        m_ps.waitForFinished(1000);
    }
}

void Tavrol_ProcessTableReader::Start()
{
    if (m_reading)
        return;
    m_reading = true;
    m_deadline.start(Tavrol_Process::PsTimeoutMs);
    m_ps.start(Tavrol_Process::PsProgram(), Tavrol_Process::PsArguments(), QIODevice::ReadWrite);
}

void Tavrol_ProcessTableReader::FinishedSlot()
{
    if (!m_reading)
        return;
    m_reading = false;
    m_deadline.stop();
    m_rows = Tavrol_Process::ParseProcessTable(m_ps.readAllStandardOutput());
    emit TableReadSignal();
}
