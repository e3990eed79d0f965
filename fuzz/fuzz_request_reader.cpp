// Feeds arbitrary bytes to the request reader, as a whole message and as one
// line, and checks what it can of the result.

#include "server/message.h"

#include <QBuffer>
#include <QByteArray>

#include <cstdint>
#include <cstdlib>

namespace {

void Check(bool condition)
{
    if (!condition)
        std::abort();
}

qsizetype TotalSize(const Tavrol_Request& request)
{
    qsizetype total =
        request.ClientName.size() + request.ClientAppName.size() + request.ClientAddress.size() +
        request.ClientPort.size() + request.ClientUID.size() + request.ClientGID.size() +
        request.ClientNotification.size() + request.Action.size() + request.JobSilent.size() +
        request.JobTypeName.size() + request.JobClass.size() + request.JobName.size() +
        request.JobQueue.size() + request.JobInputFile.size() + request.JobInputFile2.size() +
        request.JobStandardInputFile.size() + request.JobOutputFile.size() +
        request.JobStandardOutputFile.size() + request.JobChkFile.size() +
        request.JobChkFile1.size();
    for (const auto& [name, value] : request.JobVariables) {
        // A variable's name keeps its "@" and never holds the "=".
        Check(name.startsWith(QLatin1Char('@')));
        Check(!name.contains(QLatin1Char('=')));
        Check(!value.contains(QLatin1String("_;_")));
        total += name.size() + value.size();
    }
    return total;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    QByteArray bytes(reinterpret_cast<const char*>(data), qsizetype(size));
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    const Tavrol_Request request = Tavrol_Message::ReadRequest(&buffer);
    TotalSize(request);

    // The same bytes as one line: only a line of the message can be a key.
    Tavrol_Request single;
    const QString line = QString::fromLocal8Bit(bytes);
    Tavrol_Message::ClassifyLine(single, line);
    Check(TotalSize(single) <= line.size());
    Check(single.JobVariables.size() <= 1);
    return 0;
}
