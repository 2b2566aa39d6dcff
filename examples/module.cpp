// An example module: says in the trace, every few seconds, how long it has been running.
//
// Setting, in the section [uptime] of /etc/quorvat/switch.ini:
//     IntervalSeconds   from one line to the next; 10 when not given
#include "morla/module.h"

#include <cstdint>
#include <cstdlib>

#include "morla/debug.h"

namespace {

class Uptime : public ModuleInterface {
public:
    const char* Name() const override { return "uptime"; }
    const char* Version() const override { return "1.0"; }

    bool Init(ModuleContext& context) override {
        const unsigned long seconds =
            std::strtoul(context.Setting("IntervalSeconds", "10"), nullptr, 10);
        m_Interval = static_cast<std::uint32_t>(seconds);
        return seconds >= 1 && seconds <= 3600;
    }

    void Run(ModuleContext& context) override {
        unsigned long passed = 0;
        do {
            Debug.Print(1, "\nUPTIME              : %lu s", passed);
            passed += m_Interval;
        } while (!context.WaitForStop(m_Interval * 1000));
        Debug.Print(1, "\nUPTIME              : asked to stop");
    }

private:
    std::uint32_t m_Interval = 0;  // seconds
};

}  // namespace

MORLA_MODULE(Uptime)
