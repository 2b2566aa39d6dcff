// The example module: a line in the trace every few seconds, and one for each step of its life.
//
// Settings, in the section [heartbeat] of the switch's configuration file:
//     IntervalSeconds   from one beat to the next, 1 to 86400; 10 when not given
#include <cstdint>
#include <cstdlib>

#include "modules/example/system_load.h"
#include "morla/debug.h"
#include "morla/module.h"

namespace {

constexpr unsigned long kDefaultInterval = 10;     // seconds
constexpr unsigned long kLongestInterval = 86400;  // seconds

class CHeartbeat final : public ModuleInterface {
public:
    CHeartbeat() { Debug.Print(1, "\nHEARTBEAT           : created"); }
    ~CHeartbeat() override { Debug.Print(1, "\nHEARTBEAT           : destroyed"); }
    CHeartbeat(const CHeartbeat&) = delete;
    CHeartbeat& operator=(const CHeartbeat&) = delete;

    const char* Name() const override { return "heartbeat"; }
    const char* Version() const override { return "1.0"; }

    bool Init(ModuleContext& context) override {
        m_Interval = std::strtoul(context.Setting("IntervalSeconds", ""), nullptr, 10);
        if (m_Interval == 0 || m_Interval > kLongestInterval) {
            m_Interval = kDefaultInterval;
        }
        Debug.Print(1, "\nHEARTBEAT           : run mode %u, force rescan %d, every %lu s",
                    context.RunMode(), context.IsForceRescan() ? 1 : 0, m_Interval);
        return true;
    }

    void Run(ModuleContext& context) override {
        unsigned int beat = 0;
        do {
            ++beat;
            Beat(beat);
        } while (!context.WaitForStop(static_cast<std::uint32_t>(m_Interval * 1000)));
        Debug.Print(1, "\nHEARTBEAT           : ended after %u beats", beat);
    }

    void Stop() override { Debug.Print(1, "\nHEARTBEAT           : asked to stop"); }

    void OnNotice(std::uint32_t notice, std::int32_t runLevel) override {
        if (notice == kNotifyStop) {
            Debug.Print(1, "\nHEARTBEAT           : the daemon is going to stop");
        } else if (notice == kNotifyOsShutdown) {
            Debug.Print(1, "\nHEARTBEAT           : the system is going down, run level %d",
                        runLevel);
        }
    }

private:
    static void Beat(unsigned int beat) {
        const SystemLoad load = ReadSystemLoad();
        Debug.Print(1, "\nHEARTBEAT           : beat %u, load %s, %llu KiB available", beat,
                    load.LoadAverage.empty() ? "unknown" : load.LoadAverage.c_str(),
                    static_cast<unsigned long long>(load.AvailableMemory.value_or(0)));
    }

    unsigned long m_Interval = kDefaultInterval;  // seconds
};

}  // namespace

MORLA_MODULE(CHeartbeat)
