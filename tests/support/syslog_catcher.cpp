#include "tests/support/syslog_catcher.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>

#include <gtest/gtest.h>

#include "tests/support/private_root_guard.h"
#include "tests/support/wait_for.h"

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

bool CSyslogCatcher::WaitForLine(const std::string& text) {
    const auto isThere = [&] {
        const std::vector<std::string>& lines = Lines();
        return std::any_of(lines.begin(), lines.end(), [&](const std::string& line) {
            return line.find(text) != std::string::npos;
        });
    };
    return WaitUntil(isThere, "/dev");
}
