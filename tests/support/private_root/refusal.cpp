#include "tests/support/private_root/refusal.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "base/error_text.h"

void Refuse(std::string_view step, int error) {
    // ENOSPC and EUSERS: the limit of namespaces is 0 or reached. ENOSYS: none in this kernel.
    const bool forbidden =
        error == EPERM || error == EACCES || error == ENOSPC || error == EUSERS || error == ENOSYS;
    (void)std::fprintf(stderr, "private_root: %s%.*s: %s\n",
                       forbidden ? "namespaces are forbidden here: " : "",
                       static_cast<int>(step.size()), step.data(), CErrorText(error).Get());
    _exit(forbidden ? kExitForbidden : kExitBroken);
}

void Demand(bool isDone, std::string_view step) {
    if (!isDone) {
        const int error = errno;
        Refuse(step, error);
    }
}
