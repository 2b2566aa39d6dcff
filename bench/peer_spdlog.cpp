#include <spdlog/logger.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/null_sink.h>

#include <memory>

#include "base/paths.h"
#include "bench/peers.h"

namespace bench {

namespace {

spdlog::sink_ptr MakeSink(SpdlogSink sink, const std::string& file) {
    switch (sink) {
    case SpdlogSink::kFlushed:
    case SpdlogSink::kBuffered: return std::make_shared<spdlog::sinks::basic_file_sink_st>(file);
    case SpdlogSink::kFlushedByMany:
        return std::make_shared<spdlog::sinks::basic_file_sink_mt>(file);
    case SpdlogSink::kNull:
    case SpdlogSink::kDropped: break;
    }
    return std::make_shared<spdlog::sinks::null_sink_st>();
}

Work OpenOn(const std::string& file, SpdlogSink sink) {
    const auto logger = std::make_shared<spdlog::logger>("bench", MakeSink(sink, file));
    logger->set_pattern("%Y-%m-%d %H:%M:%S.%e [%t] %n %v");
    if (sink == SpdlogSink::kFlushed || sink == SpdlogSink::kFlushedByMany) {
        logger->flush_on(spdlog::level::info);
    }
    if (sink == SpdlogSink::kDropped) {
        logger->set_level(spdlog::level::err);
    }
    return [logger](std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            logger->info("FAN {}: {} rpm in zone {}", static_cast<int>(i & 7U), 4711U, "rear");
        }
    };
}

}  // namespace

Peer Spdlog(SpdlogSink sink) {
    const std::string file = std::string(paths::kTraceDirectory) + "/peer_spdlog";
    return {file, [file, sink] {
                return Work(OpenOn(file, sink));
            }};
}

}  // namespace bench
