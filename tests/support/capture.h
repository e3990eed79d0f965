#pragma once

// Catching what the process itself writes to its standard streams.

#include <QByteArray>
#include <QString>
#include <QTemporaryFile>

#include <cstdio>

namespace TestSupport {

// Sends one of the process's standard streams into a temporary file while it
// lives, or until its bytes are taken.
class OutputCapture
{
public:
    explicit OutputCapture(std::FILE* stream);
    ~OutputCapture();
    OutputCapture(const OutputCapture&) = delete;
    OutputCapture& operator=(const OutputCapture&) = delete;

    // Ends the capture and gives everything written meanwhile.
    QByteArray Bytes();
    // The same in the local 8-bit encoding.
    QString Text() { return QString::fromLocal8Bit(Bytes()); }

private:
    void Restore();

    std::FILE* m_stream;
    QTemporaryFile m_file;
    int m_saved = -1;
};

class StdoutCapture : public OutputCapture
{
public:
    StdoutCapture() : OutputCapture(stdout) {}
};

class StderrCapture : public OutputCapture
{
public:
    StderrCapture() : OutputCapture(stderr) {}
};

// Standard output of a piece of code.
template <typename Action> QByteArray StandardOutputOf(Action action)
{
    StdoutCapture capture;
    action();
    return capture.Bytes();
}

// Standard error of a piece of code.
template <typename Action> QByteArray StandardErrorOf(Action action)
{
    StderrCapture capture;
    action();
    return capture.Bytes();
}

} // namespace TestSupport
