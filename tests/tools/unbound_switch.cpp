// A switch library that expects what nobody has: a function, and a library that is not there.
#include "morla/debug.h"
#include "morla/switch.h"

extern "C" {
MORLA_EXPORT bool SW_QueryInterface(std::uint32_t selector, SwitchInterface** object);
void FromAbsentLibrary();
}
void NobodyHasThis(int number);

bool SW_QueryInterface(std::uint32_t selector, SwitchInterface** /*object*/) {
    NobodyHasThis(static_cast<int>(selector));
    FromAbsentLibrary();
    Debug.Print(1, "never");
    return false;
}
