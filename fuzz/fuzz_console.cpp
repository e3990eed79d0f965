// Each input is a console session: lines typed at the prompt, through the
// real reader, the command dispatch and every question a command asks
// (queue, job type, input file, the exit question and the save question
// behind it). fuzz/fuzzenv.cpp says how the session ends and why nothing
// in it can start a real program or end the process.

#include "fuzzenv.h"

#include <QByteArray>

#include <cstdint>

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    FuzzEnv::DiscardStandardOutput();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzEnv::RunConsoleSession(QByteArray(reinterpret_cast<const char*>(data), qsizetype(size)));
    return 0;
}
