// Throughput of many threads that write at the same time.
#pragma once

#include "bench/measure.h"

namespace bench {

// Nanoseconds of wall time for one entry, of all that the threads write together.
Sample TimePerEntryOfMany(const Work& work, std::size_t threads);

}  // namespace bench
