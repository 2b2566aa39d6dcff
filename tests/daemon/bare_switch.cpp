// A "libswitch.so" without SW_QueryInterface and SW_Release.
#include "morla/switch.h"

extern "C" {
MORLA_EXPORT void SW_AddRef();
void SW_AddRef() {}
}
