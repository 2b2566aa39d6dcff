#include "tests/support/syslog_catcher.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>

#include <gtest/gtest.h>

#include "tests/support/poll_for.h"
#include "tests/support/private_root_guard.h"

namespace {

constexpr char kSocketPath[] = "/dev/log";

}  // namespace

CSyslogCatcher::CSyslogCatcher()
    : m_Socket(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
    RequirePrivateRoot();
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, kSocketPath, sizeof kSocketPath);
    (void)unlink(kSocketPath);
    // The socket interface takes every kind of address as a sockaddr.
    EXPECT_EQ(bind(m_Socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0)
        << "cannot catch the system log: " << std::strerror(errno);
}

CSyslogCatcher::~CSyslogCatcher() {
    (void)unlink(kSocketPath);
}

const std::vector<std::string>& CSyslogCatcher::Lines() {
    std::array<char, 8192> bytes{};
    for (ssize_t got = 0; (got = recv(m_Socket.Get(), bytes.data(), bytes.size(), 0)) >= 0;) {
        m_Lines.emplace_back(bytes.data(), static_cast<std::size_t>(got));
    }
    return m_Lines;
}

bool CSyslogCatcher::Contains(const std::string& text) {
    const std::vector<std::string>& lines = Lines();
    return std::any_of(lines.begin(), lines.end(), [&](const std::string& line) {
        return line.find(text) != std::string::npos;
    });
}

bool CSyslogCatcher::WaitForLine(const std::string& text, std::chrono::milliseconds limit) {
    using std::chrono::milliseconds;
    using std::chrono::steady_clock;
    const steady_clock::time_point end = steady_clock::now() + limit;
    while (!Contains(text)) {
        const auto left = std::chrono::ceil<milliseconds>(end - steady_clock::now());
        if (!IsReadableWithin(m_Socket.Get(), std::max(left, milliseconds(0)))) {
            return Contains(text);
        }
    }
    return true;
}
