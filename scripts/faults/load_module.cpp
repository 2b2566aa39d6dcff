// A module whose threads trace as fast as they can until it is asked to stop.
//
// Settings, in the section [load] of the switch's configuration file:
//     Threads         how many; at most 50
//     AlwaysEveryMs   how often each thread writes an entry for the log, too
#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <thread>
#include <vector>

#include "morla/debug.h"
#include "morla/module.h"
#include "scripts/faults/load_text.h"

namespace {

using Clock = std::chrono::steady_clock;

class CLoad final : public ModuleInterface {
public:
    const char* Name() const override { return "load"; }
    const char* Version() const override { return "1.0"; }

    bool Init(ModuleContext& context) override {
        m_AlwaysEvery = std::chrono::milliseconds(
            std::strtoul(context.Setting("AlwaysEveryMs", "100"), nullptr, 10));
        m_Threads =
            static_cast<unsigned int>(std::strtoul(context.Setting("Threads", ""), nullptr, 10));
        return m_Threads > 0 && m_Threads <= load::kThreads;
    }

    void Run(ModuleContext& context) override {
        std::vector<std::thread> threads;
        threads.reserve(m_Threads);
        for (unsigned int thread = 0; thread < m_Threads; ++thread) {
            threads.emplace_back([this, thread] { Write(thread); });
        }
        (void)context.WaitForStop(ModuleContext::kNoTimeLimit);
        m_IsStopping = true;
        for (std::thread& thread : threads) {
            thread.join();
        }
    }

private:
    // Takes the pages of the thread's stack that its calls may come to need, so that memory which
    // grows later is no thread's first look at a changed configuration, or first wrap.
    static void TouchStack() {
        std::array<volatile char, std::size_t{32} * 1024> stack{};
        for (volatile char& byte : stack) {
            byte = 0;
        }
    }

    void Write(unsigned int thread) const {
        TouchStack();
        constexpr unsigned int kLookAtClockEvery = 64;
        const unsigned int level = load::LevelOf(thread);
        unsigned long long number = 0;
        unsigned long long always = 0;
        Clock::time_point nextAlways = Clock::now();
        while (!m_IsStopping.load(std::memory_order_relaxed)) {
            ++number;
            const std::string_view filler = load::Filler(thread, number);
            const auto length = static_cast<int>(filler.size());
            if (number % kLookAtClockEvery == 0 && Clock::now() >= nextAlways &&
                !load::IsLong(number)) {
                nextAlways += m_AlwaysEvery;
                ++always;
                Debug.PrintAlways(load::kFormat, thread, number, length, filler.data(), number);
            } else {
                Debug.Print(level, load::kFormat, thread, number, length, filler.data(), number);
            }
        }
        Debug.Print(0, load::kEndFormat, thread, number, always);
    }

    unsigned int m_Threads = 0;
    std::chrono::milliseconds m_AlwaysEvery{};
    std::atomic<bool> m_IsStopping{false};
};

}  // namespace

MORLA_MODULE(CLoad)
