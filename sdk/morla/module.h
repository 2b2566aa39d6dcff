// The contract between the reference switch library and an extension module.
//
// Part of the SDK; C++11. A module is a shared library "*.so" in the module directory: one class
// that implements ModuleInterface, and one line that exports it:
//
//     #include "morla/module.h"
//
//     class Fans : public ModuleInterface {
//     public:
//         const char* Name() const override { return "fans"; }
//         const char* Version() const override { return "1.0"; }
//         void Run(ModuleContext& context) override {
//             do {
//                 LookAtFans();
//             } while (!context.WaitForStop(1000));
//         }
//     };
//     MORLA_MODULE(Fans)
//
// Life of a module; the switch brings every module to a step before the first goes to the next:
//   1. the library is loaded, the object created, Name and Version asked
//   2. Init       false, or an exception: the module is unloaded again
//   3. Run        in a thread of its own, until the module returns or is asked to stop
//   4. OnNotice   while it runs: the daemon, or the system, is going down
//   5. Stop       returns at once; Run then has to return within the stop time-out
//   6. the object is destroyed, the library unloaded
//
// Every operation is called in a thread that the switch made for it, with SIGINT, SIGTERM, SIGHUP
// and SIGALRM blocked: threads of the module inherit that mask and must keep it. Only Run overlaps
// with other operations (OnNotice and Stop, which never overlap with each other). A module that
// raises an exception or overstays a time-out is named in the trace; the others go on.
#ifndef MORLA_MODULE_H
#define MORLA_MODULE_H

#include <cstdint>

#include "morla/switch.h"

// Raised with every change of the two classes below. A module with another number is not loaded.
#define MORLA_MODULE_ABI 1U

// What a module learns from its switch. Valid from Init until the module is destroyed; thread-safe.
class ModuleContext {
public:
    enum : std::uint32_t { kNoTimeLimit = 0xFFFFFFFFU };

    // RUN_MODE_...: how the daemon was started.
    virtual std::uint32_t RunMode() const = 0;
    // Whether the module has to look at everything anew instead of trusting what it stored.
    virtual bool IsForceRescan() const = 0;
    // The value of a key in the section of the module's name in the switch's configuration file,
    // or `fallback` (which may be null) where there is none. Lives as long as the context.
    virtual const char* Setting(const char* key, const char* fallback) const = 0;

    virtual bool IsStopRequested() const = 0;
    // Sleeps until the module is asked to stop (true) or the milliseconds have passed (false). The
    // call is a cancellation point.
    virtual bool WaitForStop(std::uint32_t timeoutMs) const = 0;
    // A descriptor that becomes and stays readable with the request to stop, for poll and its like.
    // It belongs to the switch: neither read nor close it.
    virtual int StopDescriptor() const = 0;

protected:
    ~ModuleContext() = default;
};

// A module. No operation but Run may take long.
class ModuleInterface {
public:
    virtual ~ModuleInterface() = default;

    // Names it in the trace and in the configuration file: 1 to 31 letters, digits, "_", "-", ".".
    // No two modules have the same name.
    virtual const char* Name() const = 0;
    virtual const char* Version() const = 0;

    // False when the module has nothing to do here; it is then unloaded.
    virtual bool Init(ModuleContext& context) {
        static_cast<void>(context);
        return true;
    }
    // The module's work. A module may return early; it then stays loaded until the daemon stops.
    virtual void Run(ModuleContext& context) = 0;
    // Wakes Run where it waits for something else than the context's stop request, which has been
    // made before this call.
    virtual void Stop() {}
    // `notice` is a SwitchNotice; `runLevel` 0 (halt) or 6 (reboot) with kNotifyOsShutdown, and -1
    // with every other notice.
    virtual void OnNotice(std::uint32_t notice, std::int32_t runLevel) {
        static_cast<void>(notice);
        static_cast<void>(runLevel);
    }
};

// What a module exports, under these plain names. MORLA_MODULE defines all three.
extern "C" {
extern MORLA_EXPORT const std::uint32_t morla_module_abi;
// Null when there is no memory.
MORLA_EXPORT ModuleInterface* morla_module_create();
MORLA_EXPORT void morla_module_destroy(ModuleInterface* module);
}

#define MORLA_MODULE(ModuleClass)                            \
    const std::uint32_t morla_module_abi = MORLA_MODULE_ABI; \
    ModuleInterface* morla_module_create() {                 \
        return new ModuleClass;                              \
    }                                                        \
    void morla_module_destroy(ModuleInterface* module) {     \
        delete module;                                       \
    }

#endif
