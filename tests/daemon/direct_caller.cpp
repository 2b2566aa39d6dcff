// A library that names `Debug` and calls every operation of the SDK's class directly.
#include "morla/debug.h"

extern "C" MORLA_EXPORT void CallTrace();

namespace {

void PrintLists(const char* format, ...) MORLA_PRINTF(1, 2);
void PrintLists(const char* format, ...) {
    va_list args;
    va_start(args, format);
    va_list copy;
    va_copy(copy, args);
    Debug.PrintAlwaysV(format, copy, "direct");
    va_end(copy);
    va_copy(copy, args);
    Debug.ClientPrintV(format, copy, "client");
    va_end(copy);
    Debug.PrintV(1, format, args);
    va_end(args);
}

}  // namespace

void CallTrace() {
    Debug.Print(1, "direct caller: Print %d", 1);
    Debug.PrintAlways("direct caller: PrintAlways %d", 2);
    Debug.PrintAlways(6, "direct caller: PrintAlways with level %d", 3);
    PrintLists("direct caller: list %d", 4);
    Debug.PrintAlways("direct caller: master %d, level 1 %d, level 7 %d, active %d",
                      static_cast<int>(Debug.IsMaster()), static_cast<int>(Debug.IsLevelActive(1)),
                      static_cast<int>(Debug.IsLevelActive(7)),
                      static_cast<int>(Debug.IsTracingActive()));
}
