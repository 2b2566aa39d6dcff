// A library that writes through the virtual slots of the trace object, knowing its interface only.
#include "morla/debug.h"

extern "C" MORLA_EXPORT void CallTrace();

namespace {

// Not inlined: the compiler would see which object it is and call its class directly.
__attribute__((noinline)) void WriteThrough(CDebugTraceConfig& trace) {
    trace.Print(1, "slot caller: Print %d", 1);
    trace.PrintAlways("slot caller: PrintAlways %d", 2);
    trace.PrintAlways(6, "slot caller: PrintAlways with level %d", 3);
    if (trace.IsMaster()) {
        trace.PrintAlways("slot caller: is the master");
    }
}

}  // namespace

void CallTrace() {
    CDebugTraceConfig* volatile trace = &Debug;
    WriteThrough(*trace);
}
