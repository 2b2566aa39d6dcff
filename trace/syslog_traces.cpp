#include "trace/syslog_traces.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <mutex>

#include "base/cancellation.h"

namespace {

constexpr std::size_t kMessageSize = 1024;

// One connection for the process, made on demand and left open: messages may come until its end.
// NOLINTBEGIN(cppcoreguidelines-avoid-non-const-global-variables): process-wide by purpose
constinit std::atomic<SysLogTraces*> Connection{nullptr};
constinit std::mutex ConnectionLock;  // guards the creation
// NOLINTEND(cppcoreguidelines-avoid-non-const-global-variables)

// A format of newlines only is used whole.
const char* SkipNewlines(const char* format) {
    const char* const text = format + std::strspn(format, "\n");
    return *text != '\0' ? text : format;
}

}  // namespace

SysLogTraces::SysLogTraces() {
    openlog(program_invocation_short_name, LOG_PID | LOG_CONS | LOG_NDELAY, LOG_LOCAL1);
}

SysLogTraces::~SysLogTraces() {
    const CCancellationHold hold;
    closelog();
}

SysLogTraces* SysLogTraces::getConnection() noexcept {
    SysLogTraces* connection = Connection.load(std::memory_order_acquire);
    if (connection != nullptr) {
        return connection;
    }
    const CCancellationHold hold;
    const std::lock_guard guard(ConnectionLock);
    connection = Connection.load(std::memory_order_relaxed);
    if (connection == nullptr) {
        // NOLINTNEXTLINE(bugprone-unhandled-exception-at-new): without memory the process ends
        connection = new SysLogTraces;
        Connection.store(connection, std::memory_order_release);
    }
    return connection;
}

void SysLogTraces::logMessage(const char* message, SysLogLevel level) const volatile noexcept {
    if (message == nullptr) {
        return;
    }
    const CCancellationHold hold;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    // Deliberate: the message is the format; callers keep "%" out of it or double it.
    syslog(level, message);
#pragma GCC diagnostic pop
}

void SysLogTraces::logMessageVaList(const char* format, va_list args) const volatile {
    std::array<char, kMessageSize> text{};
    if (std::vsnprintf(text.data(), text.size(), SkipNewlines(format), args) < 0) {
        logMessage("ERROR: cann't format message", kSysLogInfo);
        return;
    }
    logMessage(text.data(), kSysLogInfo);
}

const char* SysLogTraces::getProcName() const {
    return program_invocation_short_name;
}
