#include <boost/log/attributes/current_thread_id.hpp>
#include <boost/log/expressions.hpp>
#include <boost/log/sources/severity_logger.hpp>
#include <boost/log/support/date_time.hpp>
#include <boost/log/trivial.hpp>
#include <boost/log/utility/setup/common_attributes.hpp>
#include <boost/log/utility/setup/file.hpp>

#include "base/paths.h"
#include "bench/peers.h"

namespace bench {

namespace {

Work OpenOn(const std::string& file) {
    namespace log = boost::log;
    namespace expr = boost::log::expressions;
    log::core::get()->remove_all_sinks();
    log::add_common_attributes();
    log::add_file_log(
        log::keywords::file_name = file, log::keywords::open_mode = std::ios_base::app,
        log::keywords::auto_flush = true,
        log::keywords::format =
            expr::stream << expr::format_date_time<boost::posix_time::ptime>("TimeStamp",
                                                                             "%Y-%m-%d %H:%M:%S.%f")
                         << " ["
                         << expr::attr<log::attributes::current_thread_id::value_type>("ThreadID")
                         << "] bench " << expr::smessage);
    return [](std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            BOOST_LOG_TRIVIAL(info)
                << "FAN " << static_cast<int>(i & 7U) << ": " << 4711U << " rpm in zone "
                << "rear";
        }
    };
}

}  // namespace

Peer BoostLog() {
    const std::string file = std::string(paths::kTraceDirectory) + "/peer_boost";
    return {file, [file] {
                return Work(OpenOn(file));
            }};
}

}  // namespace bench
