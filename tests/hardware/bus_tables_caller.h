// What the C part of the bus tables' test offers to the C++ part.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

// Calls every function of the bus tables on the prepared tree. 0, or the line of the check that
// failed.
int CheckBusTables(void);

// Calls them where there is nothing to read.
int CheckMissingSources(void);

#ifdef __cplusplus
}
#endif
