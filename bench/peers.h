// The loggers of the field, each writing the entry of bench::PrintEntries.
//
// Each has a source file of its own, because their macros do not get on with each other. Files go
// to the trace directory under names that begin with the peer's file name.
#pragma once

#include <functional>
#include <string>

#include "bench/measure.h"

namespace bench {

struct Peer {
    std::string File;            // what the names of its files begin with
    std::function<Work()> Open;  // ready to write entries
};

enum class SpdlogSink {
    kFlushed,        // a file, flushed with every entry
    kFlushedByMany,  // the same for many threads
    kBuffered,       // a file
    kNull,           // formats, and writes nothing
    kDropped,        // the entry is above the level
};

Peer Spdlog(SpdlogSink sink);
Peer Glog();
Peer Log4cplus();
Peer BoostLog();

// The sample, after which the files of the peer are cut to nothing.
Sample ThenCut(Sample sample, const std::string& prefix);

}  // namespace bench
