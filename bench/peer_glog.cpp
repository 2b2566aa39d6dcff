#include <glog/logging.h>

#include "base/paths.h"
#include "bench/peers.h"

namespace bench {

namespace {

Work OpenOn(const std::string& file) {
    if (!google::IsGoogleLoggingInitialized()) {
        FLAGS_logbuflevel = -1;  // every entry is written at once
        FLAGS_stderrthreshold = google::NUM_SEVERITIES;
        google::InitGoogleLogging("bench");
        google::SetLogDestination(google::GLOG_INFO, file.c_str());
        google::SetLogSymlink(google::GLOG_INFO, "");
    }
    return [](std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            LOG(INFO) << "FAN " << static_cast<int>(i & 7U) << ": " << 4711U << " rpm in zone "
                      << "rear";
        }
    };
}

}  // namespace

Peer Glog() {
    const std::string file = std::string(paths::kTraceDirectory) + "/peer_glog";
    return {file, [file] {
                return Work(OpenOn(file));
            }};
}

}  // namespace bench
