#include "console/consoleinput.h"

#include <cerrno>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace {

constexpr int ReadBufferSize = 1040;
// At the end of the input the reader looks again after this pause.
constexpr int EndOfInputRetryMilliseconds = 50;

enum class ByteResult
{
    Byte,
    EndOfInput,
    Woken
};

bool IsRaised(const Tavrol_ConsoleWake* wake)
{
    return wake && wake->IsRaised();
}

// Sleeps the pause at the end of the input, unless the wake-up comes first.
bool PauseUnlessWoken(const Tavrol_ConsoleWake* wake)
{
    pollfd wakeFd{wake ? wake->Descriptor() : -1, POLLIN, 0};
    while (poll(&wakeFd, 1, EndOfInputRetryMilliseconds) < 0 && errno == EINTR) {
    }
    return IsRaised(wake);
}

// Waits until the descriptor has something to say or the wake-up is raised,
// then takes at most one byte.
ByteResult NextByte(int descriptor, const Tavrol_ConsoleWake* wake, char* byte)
{
    for (;;) {
        if (IsRaised(wake))
            return ByteResult::Woken;
        pollfd fds[2] = {{descriptor, POLLIN, 0}, {wake ? wake->Descriptor() : -1, POLLIN, 0}};
        if (poll(fds, 2, -1) < 0) {
            if (errno == EINTR)
                continue;
            return ByteResult::EndOfInput;
        }
        if (fds[1].revents != 0 || IsRaised(wake))
            return ByteResult::Woken;
        const ssize_t count = read(descriptor, byte, 1);
        if (count == 1)
            return ByteResult::Byte;
        if (count < 0 && (errno == EINTR || errno == EAGAIN || errno == EWOULDBLOCK))
            continue;
        return ByteResult::EndOfInput; // end of file, a hung-up terminal or a read error
    }
}

} // namespace

Tavrol_ConsoleWake::Tavrol_ConsoleWake()
{
    int ends[2] = {-1, -1};
    // Close-on-exec: the programs of jobs must not inherit it.
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) == 0) {
        m_readEnd = ends[0];
        m_writeEnd = ends[1];
    }
}

Tavrol_ConsoleWake::~Tavrol_ConsoleWake()
{
    if (m_readEnd >= 0)
        close(m_readEnd);
    if (m_writeEnd >= 0)
        close(m_writeEnd);
}

void Tavrol_ConsoleWake::Raise()
{
    if (m_raised.exchange(true))
        return;
    // One byte that nobody drains keeps the read end readable for good.
    const char byte = 1;
    while (m_writeEnd >= 0 && write(m_writeEnd, &byte, 1) < 0 && errno == EINTR) {
    }
}

bool Tavrol_ReadConsoleLine(int descriptor, const Tavrol_ConsoleWake* wake, QString& line)
{
    line.clear();
    char buffer[ReadBufferSize];
    int length = 0;
    for (;;) {
        char byte = 0;
        const ByteResult result = NextByte(descriptor, wake, &byte);
        if (result == ByteResult::Woken)
            return false;
        if (result == ByteResult::EndOfInput) {
            // The end of the input is no stop: more may come, so look again
            // after a pause instead of spinning.
            if (PauseUnlessWoken(wake))
                return false;
            continue;
        }
        if (byte == '\n')
            break;
        if (length < ReadBufferSize - 1)
            buffer[length++] = byte;
        // else: the line is longer than the buffer; the rest of it is dropped.
    }
    buffer[length] = '\0';
    line = QString::fromLatin1(buffer).trimmed(); // a zero byte ends the text, as in C
    return true;
}
