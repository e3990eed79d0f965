// Each input is a project file, opened the way a user opens one in the
// console's main object: copied into a fresh memory store, the schema
// upgraded, the version and "LastJobID" checked, the queues, finished jobs
// and job types reloaded; then used and saved, or refused (fuzz/fuzzenv.cpp).

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
    FuzzEnv::OpenProjectFile(QByteArray(reinterpret_cast<const char*>(data), qsizetype(size)));
    return 0;
}
