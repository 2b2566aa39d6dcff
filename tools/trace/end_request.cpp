#include "tools/trace/end_request.h"

#include <csignal>
#include <initializer_list>

namespace tools {

namespace {

// NOLINTBEGIN(cppcoreguidelines-avoid-non-const-global-variables): a handler has nothing else
volatile std::sig_atomic_t IsRequested = 0;
volatile std::sig_atomic_t IsWriting = 0;
// NOLINTEND(cppcoreguidelines-avoid-non-const-global-variables)

// The signal's own action is in force again (SA_RESETHAND).
void Remember(int signal) {
    IsRequested = 1;
    if (IsWriting != 0) {
        (void)raise(signal);
    }
}

}  // namespace

void TakeEndRequests() {
    struct sigaction action {};
    action.sa_handler = Remember;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int signal : {SIGINT, SIGTERM}) {
        // What a shell has put into the background keeps ignoring the terminal's interrupt.
        struct sigaction before {};
        if (sigaction(signal, nullptr, &before) == 0 && before.sa_handler != SIG_IGN) {
            (void)sigaction(signal, &action, nullptr);
        }
    }
}

bool IsEndRequested() {
    return IsRequested != 0;
}

CEndableWrite::CEndableWrite() {
    IsWriting = 1;
}

CEndableWrite::~CEndableWrite() {
    IsWriting = 0;
}

}  // namespace tools
