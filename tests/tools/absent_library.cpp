// A library that is not found when the test runs.
#include "morla/trace_interface.h"

extern "C" MORLA_EXPORT void FromAbsentLibrary();

void FromAbsentLibrary() {}
