// The contract between the daemon and its switch library, "libswitch.so".
//
// Part of the SDK; C++11. A switch library is a shared library that exports the three C functions
// at the end of this header and hands out one object that implements SwitchInterface. The daemon
// opens it with RTLD_NOW | RTLD_GLOBAL through the ordinary library search path.
//
// Life of a switch, every call made by the daemon's main thread:
//   1. SW_QueryInterface(0, &interface)    the library hands out its object
//   2. LoadModules(config)                 false: nothing is started, the daemon idles
//   3. StartAllModules()                   only after a successful step 2
//   4. Notify(kNotifyStop, ...), and Notify(kNotifyOsShutdown, ...) when the system goes down too
//   5. StopAllModules(), UnloadModules(0)
//   6. SW_Release(), then the library is closed
//
// Exceptions that leave SW_QueryInterface, LoadModules or UnloadModules are caught by the daemon
// and count as false; exceptions from any other operation end the process. SIGINT, SIGTERM, SIGHUP
// and SIGALRM are blocked before the library is loaded: threads that it creates inherit that mask
// and must keep it.
#ifndef MORLA_SWITCH_H
#define MORLA_SWITCH_H

#include <cstddef>
#include <cstdint>

#include "morla/trace_interface.h"

// How the daemon was started. Two 32-bit words, in this order.
struct _ExtensionModuleLoaderConfig {
    std::uint32_t Flags;    // bit 0: force rescan; the others are 0
    std::uint32_t RunMode;  // RUN_MODE_...
};
static_assert(sizeof(_ExtensionModuleLoaderConfig) == 8 &&
                  offsetof(_ExtensionModuleLoaderConfig, RunMode) == 4,
              "two words without padding");

enum : std::uint32_t { kLoaderFlagForceRescan = 1U };

enum RunMode : std::uint32_t {
    RUN_MODE_AGENT = 0,
    RUN_MODE_AGENTLESS = 5,
    RUN_MODE_TOVIN = 7,
    RUN_MODE_PLEXA = 8,
    RUN_MODE_MORLA_PLEXA = 10
};

enum SwitchNotice : std::uint32_t {
    kNotifyStop = 0x20000,       // the daemon is going to stop; no data
    kNotifyOsShutdown = 0x30000  // the system is going down; data: an int32_t run level,
                                 // 0 (halt) or 6 (reboot), valid during the call only
};

// The switch object. Virtual slots (Itanium C++ ABI): 0 and 1 the complete and the deleting
// destructor, then one each from 2 in the order below; declare nothing in between. The daemon never
// deletes the object: SW_Release ends its life.
class MORLA_EXPORT SwitchInterface {
public:
    virtual ~SwitchInterface() = default;

    // Slot 2. Loads the extension modules; false when that failed.
    virtual bool LoadModules(const _ExtensionModuleLoaderConfig& config) = 0;
    // Slot 3. Unloads the registered extension modules. The daemon passes 0.
    virtual bool UnloadModules(std::uint32_t reserved) = 0;
    // Slot 4.
    virtual void StartAllModules() = 0;
    // Slot 5. Returns when every module has stopped, or was given up.
    virtual void StopAllModules() = 0;

    // Slots 6 to 15 are reserved; the daemon does not call them.
    virtual void Reserved6() {}
    virtual void Reserved7() {}
    virtual void Reserved8() {}
    virtual void Reserved9() {}
    virtual void Reserved10() {}
    virtual void Reserved11() {}
    virtual void Reserved12() {}
    virtual void Reserved13() {}
    virtual void Reserved14() {}
    virtual void Reserved15() {}

    // Slot 16. `notice` is a SwitchNotice, `data` what it says there (or null), `reserved` 0.
    virtual void Notify(std::uint32_t notice, void* data, int reserved) = 0;
};

// The entry points, exported under these plain names. SW_AddRef and SW_Release may be missing.
// Selector 0 of SW_QueryInterface asks for the switch object; a null result or 0 (false) means that
// there is none, and the daemon then ends with an error. Only the low byte of the result counts.
extern "C" {
typedef void (*SW_AddRef_Function)();   // kept by the daemon, never called
typedef void (*SW_Release_Function)();  // called once, after UnloadModules
typedef bool (*SW_QueryInterface_Function)(std::uint32_t selector, SwitchInterface** object);
}

#define MORLA_SWITCH_ADD_REF         "SW_AddRef"
#define MORLA_SWITCH_RELEASE         "SW_Release"
#define MORLA_SWITCH_QUERY_INTERFACE "SW_QueryInterface"

#endif
