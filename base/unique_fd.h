// Owner of a file descriptor.
#pragma once

#include <unistd.h>

#include <utility>

#include "base/cancellation.h"

// Closes its descriptor when it goes; -1 when it holds none. Movable, not copyable.
class CUniqueFd {
public:
    CUniqueFd() = default;
    explicit CUniqueFd(int fd) : m_Fd(fd) {}
    CUniqueFd(CUniqueFd&& other) noexcept : m_Fd(other.Release()) {}
    CUniqueFd& operator=(CUniqueFd&& other) noexcept {
        if (this != &other) {
            Reset(other.Release());
        }
        return *this;
    }
    CUniqueFd(const CUniqueFd&) = delete;
    CUniqueFd& operator=(const CUniqueFd&) = delete;
    ~CUniqueFd() { Reset(); }

    [[nodiscard]] int Get() const { return m_Fd; }
    [[nodiscard]] bool IsValid() const { return m_Fd >= 0; }
    // Hands the descriptor to the caller, who closes it from now on.
    [[nodiscard]] int Release() { return std::exchange(m_Fd, -1); }
    void Reset(int fd = -1) {
        const int old = std::exchange(m_Fd, fd);
        if (old >= 0) {
            const CCancellationHold hold;  // close is a cancellation point
            close(old);
        }
    }

private:
    int m_Fd = -1;
};
