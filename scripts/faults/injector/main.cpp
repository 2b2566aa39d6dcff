// Runs a command and makes one of its system calls fail: ./dev faults.
//
// Exits as 0 when the command ran, whatever became of it (the report tells), 64 for wrong use, 70
// when it could not be started.
#include "scripts/faults/injector/order.h"
#include "scripts/faults/injector/tracer.h"

int main(int, char** argv) {
    constexpr int kExitUsage = 64;
    constexpr int kExitBroken = 70;
    const auto order = ParseOrder(argv + 1);
    if (!order) {
        return kExitUsage;
    }
    return CTracer(*order).Run() ? 0 : kExitBroken;
}
