#pragma once

#include <QString>

#include <atomic>

// A wake-up that another thread can raise to end a blocking console read.
// Once raised it stays raised: every later read through it ends at once, so
// a stopping console never takes up another line.
class Tavrol_ConsoleWake
{
public:
    Tavrol_ConsoleWake();
    ~Tavrol_ConsoleWake();
    Tavrol_ConsoleWake(const Tavrol_ConsoleWake&) = delete;
    Tavrol_ConsoleWake& operator=(const Tavrol_ConsoleWake&) = delete;

    void Raise(); // safe from any thread, and more than once
    bool IsRaised() const { return m_raised.load(); }
    int Descriptor() const { return m_readEnd; } // readable once raised; -1 if none

private:
    std::atomic<bool> m_raised{false};
    int m_readEnd = -1;
    int m_writeEnd = -1;
};

// Reads one console line from a file descriptor, the way the prompt reads:
// up to a line feed, into a buffer of 1040 bytes (a longer line is cut to
// what fits and the rest of it is dropped), a zero byte ending the text,
// Latin-1, trimmed. At the end of the input it does not stop: it looks again
// after a pause. The descriptor is read byte by byte and nothing is held back,
// so that readers on other threads or in other code see the rest of the input.
//
// Returns false, with an empty line, when the wake-up is raised before a whole
// line has come; what had been read of that line is dropped.
bool Tavrol_ReadConsoleLine(int descriptor, const Tavrol_ConsoleWake* wake, QString& line);
