#include "capture.h"

#include <unistd.h>

namespace TestSupport {

OutputCapture::OutputCapture(std::FILE* stream) : m_stream(stream)
{
    std::fflush(m_stream);
    if (!m_file.open())
        return;
    m_saved = dup(fileno(m_stream));
    dup2(m_file.handle(), fileno(m_stream));
}

OutputCapture::~OutputCapture()
{
    Restore();
}

QByteArray OutputCapture::Bytes()
{
    Restore();
    m_file.seek(0);
    return m_file.readAll();
}

void OutputCapture::Restore()
{
    if (m_saved < 0)
        return;
    std::fflush(m_stream);
    dup2(m_saved, fileno(m_stream));
    close(m_saved);
    m_saved = -1;
}

} // namespace TestSupport
