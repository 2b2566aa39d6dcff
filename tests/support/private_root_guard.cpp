#include "tests/support/private_root_guard.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "tests/support/private_root_marker.h"

void RequirePrivateRoot() {
    if (access(kPrivateRootMarker, F_OK) == 0) {
        return;
    }
    (void)std::fputs(
        "This test writes to real paths. Run it through ctest, or as\n"
        "    build/tests/support/private_root -- TEST\n",
        stderr);
    std::_Exit(EXIT_FAILURE);
}
