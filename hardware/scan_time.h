// The time that all questions of one scan may take together.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

#include "hardware/bounded_call.h"

// Not thread-safe: one scan asks one question after another.
class CScanTime {
public:
    explicit CScanTime(std::uint32_t limitMs) : m_Left(std::chrono::milliseconds(limitMs)) {}

    [[nodiscard]] bool IsUsedUp() const { return m_Left < std::chrono::milliseconds(1); }
    // As bounded_call::Run, for `limit` or for what is left when that is less. The time that it
    // takes is used up.
    [[nodiscard]] bounded_call::Outcome Run(const std::string& key, std::chrono::milliseconds limit,
                                            std::function<void()> call);

    // For people, where a question is left out.
    static constexpr char kUsedUp[] = "the time of the scan was used up";

private:
    std::chrono::nanoseconds m_Left;
};
