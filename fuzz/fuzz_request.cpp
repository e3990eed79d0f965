// Each input is a client's message: read as the request server reads it,
// then a "submitjob" goes through the main object's submission as the
// server hands it over after its user check: the job type by name or by the
// input file's extension, the input file the type needs, the queue words,
// the direct job with its client fields, files and variables, and its queue.
// fuzz/request.dict holds the keys and words; fuzz/fuzzenv.cpp the sandbox.

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
    const FuzzEnv::SubmitOutcome outcome =
        FuzzEnv::SubmitRequest(QByteArray(reinterpret_cast<const char*>(data), qsizetype(size)));
    // One request makes at most one job on the console's direct path.
    FuzzEnv::Check(outcome.JobsAdded() <= 1);
    return 0;
}
