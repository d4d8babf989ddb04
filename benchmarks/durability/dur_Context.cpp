// Tells, in front of all results, what the files are on.

#include "dur_Files.h"

#include <benchmark/benchmark.h>

namespace {
[[maybe_unused]] const bool s_told = (benchmark::AddCustomContext("file_system", dur_FileSystem()), true);
} // namespace
