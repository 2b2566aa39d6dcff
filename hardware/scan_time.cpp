#include "hardware/scan_time.h"

#include <algorithm>
#include <utility>

bounded_call::Outcome CScanTime::Run(const std::string& key, std::chrono::milliseconds limit,
                                     std::function<void()> call) {
    const auto begin = std::chrono::steady_clock::now();
    const auto wait =
        std::min(limit, std::chrono::duration_cast<std::chrono::milliseconds>(m_Left));
    const bounded_call::Outcome outcome = bounded_call::Run(key, wait, std::move(call));
    m_Left -= std::min<std::chrono::nanoseconds>(m_Left, std::chrono::steady_clock::now() - begin);
    return outcome;
}
