#include <log4cplus/fileappender.h>
#include <log4cplus/initializer.h>
#include <log4cplus/layout.h>
#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include <memory>

#include "base/paths.h"
#include "bench/peers.h"

namespace bench {

namespace {

Work OpenOn(const std::string& file) {
    static const log4cplus::Initializer initializer;
    constexpr bool kImmediateFlush = true;
    log4cplus::SharedAppenderPtr appender(
        new log4cplus::FileAppender(file, std::ios_base::app, kImmediateFlush));
    appender->setLayout(
        std::make_unique<log4cplus::PatternLayout>("%D{%Y-%m-%d %H:%M:%S.%q} [%t] %c %m%n"));
    auto logger = log4cplus::Logger::getInstance("bench");
    logger.removeAllAppenders();
    logger.setAdditivity(false);
    logger.addAppender(appender);
    logger.setLogLevel(log4cplus::INFO_LOG_LEVEL);
    return [logger](std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            LOG4CPLUS_INFO(logger, "FAN " << static_cast<int>(i & 7U) << ": " << 4711U
                                          << " rpm in zone "
                                          << "rear");
        }
    };
}

}  // namespace

Peer Log4cplus() {
    const std::string file = std::string(paths::kTraceDirectory) + "/peer_log4cplus";
    return {file, [file] {
                return Work(OpenOn(file));
            }};
}

}  // namespace bench
