// An example module that uses the host services: watches the memory of a process. C++20.
//
// Setting, in the section [watch] of /etc/quorvat/switch.ini:
//     Process   its name, as the kernel has it: at most 15 characters; "init" when not given
#include "morla/debug.h"
#include "morla/module.h"
#include "os/process.h"

namespace {

class Watch : public ModuleInterface {
public:
    const char* Name() const override { return "watch"; }
    const char* Version() const override { return "1.0"; }

    void Run(ModuleContext& context) override {
        const char* const name = context.Setting("Process", "init");
        do {
            unsigned int pid = CProcess::kNone;
            unsigned long kilobytes = 0;
            if (!CProcess::FindProcess(pid, name)) {
                Debug.Print(1, "\nWATCH               : no process \"%s\"", name);
            } else if (CProcess::GetProcessMemorySpecificInfo(pid, &kilobytes,
                                                              "VmRSS:", CProcess::kilobytes)) {
                Debug.Print(1, "\nWATCH               : %s (%u) has %lu KB", name, pid, kilobytes);
            }
        } while (!context.WaitForStop(60000));
    }
};

}  // namespace

MORLA_MODULE(Watch)
